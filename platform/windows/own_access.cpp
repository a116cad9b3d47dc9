#include "platform/windows/own_access.h"

#include <sddl.h>

#include <array>
#include <cstdint>
#include <string>

#include "platform/windows/own_handle.h"

namespace platform {
namespace {

// The SID of the process's user, which lies in `room`; null on failure.
PSID userIn(std::array<std::uint64_t, 32>& room) {
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) {
        return nullptr;
    }
    const OwnHandle owned(token);
    DWORD size = sizeof room;
    if (GetTokenInformation(token, TokenUser, room.data(), size, &size) == FALSE) {
        return nullptr;
    }
    return static_cast<TOKEN_USER*>(static_cast<void*>(room.data()))->User.Sid;
}

}  // namespace

bool isOwners(PSID owner) {
    std::array<std::uint64_t, 32> room{};
    const PSID user = userIn(room);
    return user != nullptr && EqualSid(user, owner) != FALSE;
}

OwnBlock<void> ownersAlone() {
    std::array<std::uint64_t, 32> room{};
    char* text = nullptr;
    const PSID user = userIn(room);
    if (user == nullptr || ConvertSidToStringSidA(user, &text) == FALSE) {
        return nullptr;
    }
    const OwnBlock<char> sid(text);
    const std::string name = text;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(
        ("O:" + name + "D:P(A;;FA;;;" + name + ")").c_str(), SDDL_REVISION_1, &descriptor, nullptr);
    return OwnBlock<void>(descriptor);
}

}  // namespace platform
