#include "token/reader/served_token.h"

#include "token/base/fault.h"
#include "token/door/open_token.h"
#include "token/image/image_header.h"
#include "token/image/make_image.h"
#include "token/image/open_image.h"
#include "token/image/sql.h"
#include "token/rules/status.h"

namespace token {
namespace {

// A file that is no image is refused before a lock file comes to stand beside it.
std::string lookedAt(const ImagePlace& place) {
    std::string path = realImagePath(place, Missing::make);
    isImage(path);
    return path;
}

}  // namespace

ServedToken::ServedToken(const ImagePlace& place) : path_(lookedAt(place)), lockFile_(path_) {
    const LockFile::ConnectLock connectLock(lockFile_);
    needUnserved(lockFile_, path_);
    if (lockFile_.isAnyUserThere()) {
        throw Fault("the token is powered; serve it when nobody is connected to it");
    }
    if (!isImage(path_)) {
        makeImage(path_);
    }
    lockFile_.serve();
}

bool ServedToken::isInReader() const {
    const LockFile::ConnectLock connectLock(lockFile_);
    needImage(path_);
    Database database = openImage(path_);
    Statement statement(database, "SELECT present FROM token");
    Query query(statement);
    return query.step() && query.integer(0) != 0;
}

void ServedToken::powerOn() {
    if (!connection_) {
        connection_ = std::make_unique<Connection>(std::make_shared<OpenToken>(path_, Use::serve));
    }
}

void ServedToken::reset() {
    powerOn();
    connection_->reset();
}

std::optional<Buffer> ServedToken::answer(Bytes command) {
    Buffer reply;
    try {
        powerOn();
        if (connection_->transmit(command, reply) != Outcome::good) {
            return std::nullopt;
        }
    } catch (const Fault&) {
        put16(reply, status::imageFailed);
    }
    return reply;
}

}  // namespace token
