#include "tools/room.h"

#include "tools/failure.h"

namespace tools {

void Room::require(Session& session, const std::string& remedy) const {
    const auto free = static_cast<std::int64_t>(session.freeBytes());
    if (free < needed_) {
        throw Failure("the token has " + std::to_string(free) + " bytes free, and " +
                      std::to_string(needed_) + " are needed: remove something" + remedy);
    }
}

}  // namespace tools
