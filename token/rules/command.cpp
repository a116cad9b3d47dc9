#include "token/rules/command.h"

namespace token {

bool parse(Bytes bytes, Command& command) {
    constexpr std::size_t headerLength = 7;
    if (bytes.size() < headerLength || bytes[4] != 0) {
        return false;
    }
    if (get16BigEndian(bytes, 5) != bytes.size() - headerLength) {
        return false;
    }
    command = {bytes[0], bytes[1], bytes[2], bytes[3], bytes.subspan(headerLength)};
    return true;
}

}  // namespace token
