#include "token/care/overview.h"

#include "token/base/fault.h"
#include "token/care/image_copy.h"
#include "token/care/tree.h"
#include "token/image/object.h"

namespace token {
namespace {

void readState(Database& database, Overview& overview) {
    Statement statement(database,
                        "SELECT user_version, serial, present FROM pragma_user_version, token");
    Query query(statement);
    if (!query.step()) {
        throw Fault("a row of the image is missing");
    }
    overview.version = query.integer(0);
    overview.serial = query.buffer(1);
    overview.present = query.integer(2) != 0;
}

void readFailedLogins(Database& database, Overview& overview) {
    Statement statement(database, "SELECT failures FROM password");
    Query query(statement);
    overview.failedLogins = query.step() ? query.integer(0) : 0;
}

void readEntries(Database& database, Overview& overview) {
    const Tree tree(database);
    overview.entries.push_back({"3f00", typeDirectory, attributePublic, 0});
    for (const ObjectRow& row : tree.inOrder()) {
        overview.entries.push_back({tree.pathOf(row).text, row.type, row.attribute, row.size});
    }
}

}  // namespace

Overview overviewOf(const std::string& path) {
    ImageCopy copy = copyImage(path);
    Overview overview;
    overview.powered = copy.isInUse;
    overview.hasLog = copy.hasLog;
    readState(copy.database, overview);
    readFailedLogins(copy.database, overview);
    readEntries(copy.database, overview);
    return overview;
}

}  // namespace token
