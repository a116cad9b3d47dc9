#include "token/base/fault.h"

#include <system_error>

namespace token {

Fault systemFault(const std::string& act, const std::string& path, int error) {
    return Fault(act + " " + path + ": " + std::generic_category().message(error));
}

void needSuccess(int error, const std::string& act, const std::string& path) {
    if (error != 0) {
        throw systemFault(act, path, error);
    }
}

}  // namespace token
