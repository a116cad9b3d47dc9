#include "token/base/fault.h"

#include <cerrno>
#include <system_error>

namespace token {

Fault systemFault(const std::string& act, const std::string& path) {
    return Fault(act + " " + path + ": " + std::generic_category().message(errno));
}

}  // namespace token
