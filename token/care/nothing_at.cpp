#include "token/care/nothing_at.h"

#include "token/base/fault.h"
#include "token/base/system.h"

namespace token {

void needNothingAt(const std::string& path) {
    FileFacts facts;
    if (system().look(path, Links::stopAt, facts) == 0 && facts.kind != FileFacts::Kind::nothing) {
        throw Fault(path + " exists already");
    }
}

}  // namespace token
