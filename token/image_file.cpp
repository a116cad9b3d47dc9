#include "token/image_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "token/fault.h"
#include "token/file.h"
#include "token/gcrypt.h"
#include "token/image_format.h"
#include "token/password.h"
#include "token/sql.h"

namespace token {
namespace {

namespace fs = std::filesystem;

constexpr const char* schema = R"(
PRAGMA journal_mode = MEMORY;
PRAGMA synchronous = OFF;
BEGIN;
CREATE TABLE token (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    serial BLOB NOT NULL,
    present INTEGER NOT NULL) STRICT;
CREATE TABLE password (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    cost_n INTEGER NOT NULL,
    cost_p INTEGER NOT NULL,
    salt BLOB NOT NULL,
    verifier BLOB NOT NULL) STRICT;
CREATE TABLE object (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    parent INTEGER NOT NULL,
    id INTEGER NOT NULL,
    type INTEGER NOT NULL,
    attribute INTEGER NOT NULL,
    size INTEGER NOT NULL,
    key BLOB,
    UNIQUE (parent, id)) STRICT;
CREATE TABLE page (
    number INTEGER PRIMARY KEY,
    bytes BLOB NOT NULL) STRICT;
)";

// A file that goes again unless it was kept.
class PassingFile {
  public:
    explicit PassingFile(std::string path) : path_(std::move(path)) {}
    PassingFile(const PassingFile&) = delete;
    PassingFile& operator=(const PassingFile&) = delete;
    ~PassingFile() {
        if (!kept_) {
            unlink(path_.c_str());
        }
    }

    void keep() { kept_ = true; }

  private:
    std::string path_;
    bool kept_ = false;
};

void makeFolders(const fs::path& folder) {
    if (folder.empty() || fs::exists(folder)) {
        return;
    }
    makeFolders(folder.parent_path());
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        throw systemFault("cannot make the folder", folder);
    }
}

std::string uriOf(const std::string& path) {
    std::string uri = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            char escaped[4];
            std::snprintf(escaped, sizeof escaped, "%%%02x", static_cast<unsigned>(c));
            uri += escaped;
        } else {
            uri += c;
        }
    }
    return uri;
}

std::int64_t pragma(Database& database, const char* sql) {
    Statement statement(database, sql);
    Query query(statement);
    return query.step() ? query.integer(0) : 0;
}

// Both numbers stand in the file's first bytes from its making on. Read as immutable, the file is
// neither locked nor recovered, so another program's database stays as it is.
void checkHeader(const std::string& path) {
    std::int64_t applicationId = 0;
    std::int64_t version = 0;
    try {
        Database database(uriOf(path) + "?immutable=1", SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
        applicationId = pragma(database, "PRAGMA application_id");
        version = pragma(database, "PRAGMA user_version");
    } catch (const Fault& fault) {
        throw Fault(path + " cannot be read as a token image: " + fault.what());
    }
    if (applicationId != imageApplicationId) {
        throw Fault(path + " is not a token image");
    }
    if (version != imageVersion) {
        throw Fault(path + " is a token image of version " + std::to_string(version) +
                    "; this program knows version " + std::to_string(imageVersion));
    }
}

void fill(const std::string& path) {
    static constexpr std::uint8_t freshPassword[] = {'1', '2', '3', '4'};
    Database database(path, SQLITE_OPEN_READWRITE);
    database.execute(schema);
    Buffer serial(8);
    useGcrypt();
    gcry_create_nonce(serial.data(), serial.size());
    Statement token(database, "INSERT INTO token VALUES (1, ?, 1)");
    Query(token).bind(serial).run();
    const PasswordRecord record = recordOf(freshPassword);
    Statement password(database, "INSERT INTO password VALUES (1, ?, ?, ?, ?)");
    Query(password)
        .bind(std::int64_t{record.costN})
        .bind(std::int64_t{record.costP})
        .bind(record.salt)
        .bind(record.verifier)
        .run();
    database.execute("COMMIT");
    const std::string numbers = "PRAGMA application_id = " + std::to_string(imageApplicationId) +
                                "; PRAGMA user_version = " + std::to_string(imageVersion) +
                                "; PRAGMA journal_mode = WAL";
    database.execute(numbers.c_str());
}

void syncToDisk(const std::string& path, int flags) {
    const File file(open(path.c_str(), flags | O_CLOEXEC));
    if (!file.isOpen() || fsync(file.descriptor()) != 0) {
        throw systemFault("cannot write", path);
    }
}

}  // namespace

std::string realImagePath(const ImagePlace& place) {
    if (place.path.empty()) {
        throw Fault(
            "the image has no place: KSIGIL_TOKEN, XDG_DATA_HOME and HOME are all unset or empty");
    }
    const fs::path path(place.path);
    try {
        if (place.isDefault) {
            makeFolders(path.parent_path());
        }
        if (fs::is_symlink(path)) {
            return fs::canonical(path);
        }
        return fs::canonical(path.has_parent_path() ? path.parent_path() : ".") / path.filename();
    } catch (const fs::filesystem_error& error) {
        throw Fault("the place of the image " + place.path +
                    " cannot be found: " + error.code().message());
    }
}

bool isImage(const std::string& path) {
    struct stat about {};
    if (stat(path.c_str(), &about) != 0) {
        if (errno == ENOENT) {
            return false;
        }
        throw systemFault("cannot look at the image", path);
    }
    if (!S_ISREG(about.st_mode)) {
        throw Fault(path + " is not a file");
    }
    if (about.st_size == 0) {
        throw Fault(path + " is empty, not a token image");
    }
    if (about.st_nlink > 1) {
        throw Fault(path + " has a second name (a hard link), so its locks would not hold");
    }
    checkHeader(path);
    return true;
}

void makeImage(const std::string& path) {
    const std::string unfinished = path + ".new";
    unlink(unfinished.c_str());  // left by a maker that died
    PassingFile passing(unfinished);
    {
        const File file(open(unfinished.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!file.isOpen()) {
            throw systemFault("cannot make the image", path);
        }
    }
    try {
        fill(unfinished);
    } catch (const Fault& fault) {
        throw Fault("cannot make the image " + path + ": " + fault.what());
    }
    syncToDisk(unfinished, O_RDONLY);
    if (renameat2(AT_FDCWD, unfinished.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0) {
        throw systemFault("cannot make the image", path);
    }
    passing.keep();
    syncToDisk(fs::path(path).parent_path(), O_RDONLY | O_DIRECTORY);
}

}  // namespace token
