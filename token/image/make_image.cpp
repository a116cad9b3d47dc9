#include "token/image/make_image.h"

#include "token/base/gcrypt.h"
#include "token/image/companions.h"
#include "token/image/image_bytes.h"
#include "token/image/image_format.h"
#include "token/image/new_file.h"
#include "token/image/password.h"
#include "token/image/tables.h"

namespace token {
namespace {

Buffer freshSerial() {
    Buffer serial(serialLength);
    useGcrypt();
    gcry_create_nonce(serial.data(), serial.size());
    return serial;
}

void insertPassword(Database& database, Bytes serial) {
    static constexpr std::uint8_t freshPassword[] = {'1', '2', '3', '4'};
    const WipedKey key = freshKey();
    const PasswordRecord record = wrap(key, freshPassword, serial);
    Statement statement(database, "INSERT INTO password VALUES (1, ?, ?, ?, ?, 0)");
    Query(statement)
        .bind(std::int64_t{record.costN})
        .bind(std::int64_t{record.costP})
        .bind(record.salt)
        .bind(record.wrappedKey)
        .run();
}

Buffer freshImage() {
    Database database;
    database.execute("BEGIN");
    makeTables(database);
    const Buffer serial = freshSerial();
    Statement token(database, "INSERT INTO token VALUES (1, ?, 1)");
    Query(token).bind(serial).run();
    insertPassword(database, serial);
    database.execute("COMMIT");
    const std::string numbers = "PRAGMA application_id = " + std::to_string(imageApplicationId) +
                                "; PRAGMA user_version = " + std::to_string(imageVersion);
    database.execute(numbers.c_str());
    return bytesOf(database);
}

}  // namespace

void makeImage(const std::string& path) {
    needNoLog(path);
    NewFile file(path);
    file.write(freshImage());
    file.publishNew(path);
    syncFolderOf(path);
}

}  // namespace token
