#include "token/image/image_header.h"

#include <array>
#include <cerrno>
#include <cstring>

#include "token/base/bytes.h"
#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/image/companions.h"
#include "token/image/image_format.h"
#include "token/image/sql.h"

namespace token {
namespace {

// The database's own header: its numbers stand high byte first.
class Header {
  public:
    // Read through the database's own open file, but not as a database: nothing is locked,
    // recovered or written, and a crash that left the file shorter or longer than it says does no
    // harm.
    explicit Header(const std::string& path) {
        const Database database(path, SQLITE_OPEN_READONLY);
        sqlite3_file* file = nullptr;
        sqlite3_file_control(database.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
        const int error = file == nullptr || file->pMethods == nullptr
                              ? SQLITE_CANTOPEN
                              : file->pMethods->xRead(file, bytes_.data(), length, 0);
        if (error != SQLITE_OK && error != SQLITE_IOERR_SHORT_READ) {
            throw Fault(path + " cannot be read: " + sqlite3_errstr(error));
        }
    }

    bool isOfDatabase() const { return std::memcmp(bytes_.data(), "SQLite format 3", 16) == 0; }
    std::int64_t applicationId() const { return number(68); }
    std::int64_t version() const { return number(60); }
    bool isLogged() const { return bytes_[18] == writeAheadMode && bytes_[19] == writeAheadMode; }

  private:
    static constexpr int length = 100;

    std::int64_t number(std::size_t at) const { return get32BigEndian(bytes_, at); }

    std::array<std::uint8_t, length> bytes_{};
};

// Both numbers stand in the file's first bytes from its making on.
void checkHeader(const std::string& path) {
    const Header header(path);
    if (!header.isOfDatabase() || header.applicationId() != imageApplicationId) {
        throw Fault(path + " is not a token image");
    }
    if (header.version() != imageVersion) {
        throw Fault(path + " is a token image of version " + std::to_string(header.version()) +
                    "; this program knows version " + std::to_string(imageVersion));
    }
    if (!header.isLogged()) {
        throw Fault(path + " is a token image in another journal mode than with a write-ahead log");
    }
}

std::string secondNameOf(const std::string& path, const FileFacts& facts) {
    const std::string aside = path + ".replaced";
    FileFacts other;
    const bool wasSetAside = system().look(aside, Links::stopAt, other) == 0 &&
                             other.kind == FileFacts::Kind::file &&
                             other.identity == facts.identity;
    if (!wasSetAside) {
        return " (a hard link), so its locks would not hold";
    }
    const std::string logs =
        lengthOfLog(aside) == 0 ? ""
                                : "move " + aside + logEnding + " to " + path + logEnding + " and ";
    return ", " + aside + ": a restore was cut off. Repeat it, or, to keep the old image, " + logs +
           "remove that name";
}

}  // namespace

bool isImage(const std::string& path) {
    FileFacts facts;
    needSuccess(system().look(path, Links::follow, facts), "cannot look at the image", path);
    if (facts.kind == FileFacts::Kind::nothing) {
        return false;
    }
    if (facts.kind != FileFacts::Kind::file) {
        throw Fault(path + " is not a file");
    }
    if (facts.size == 0) {
        throw Fault(path + " is empty, not a token image");
    }
    if (facts.size > longestImage) {
        throw Fault(path + " is longer than any token image");
    }
    if (facts.names > 1) {
        throw Fault(path + " has a second name" + secondNameOf(path, facts));
    }
    checkHeader(path);
    return true;
}

FileIdentity identityOf(const std::string& path) {
    FileFacts facts;
    const int error = system().look(path, Links::follow, facts);
    const bool isThere = facts.kind != FileFacts::Kind::nothing;
    needSuccess(error != 0 || isThere ? error : ENOENT, "cannot look at the image", path);
    return facts.identity;
}

void needImage(const std::string& path) {
    if (!isImage(path)) {
        throw Fault("there is no image " + path);
    }
}

}  // namespace token
