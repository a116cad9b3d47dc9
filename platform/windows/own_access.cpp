#include "platform/windows/own_access.h"

#include <sddl.h>

#include <array>
#include <cstdint>
#include <string>

#include "platform/windows/own_handle.h"

namespace platform {
namespace {

// What the process's access token tells of its user, or of the owner of what he makes: a SID that
// lies in `room`; null on failure.
PSID sidOf(TOKEN_INFORMATION_CLASS what, std::array<std::uint64_t, 32>& room) {
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) {
        return nullptr;
    }
    const OwnHandle owned(token);
    DWORD size = sizeof room;
    if (GetTokenInformation(token, what, room.data(), size, &size) == FALSE) {
        return nullptr;
    }
    // Both structures start with the pointer.
    return *static_cast<PSID*>(static_cast<void*>(room.data()));
}

}  // namespace

bool isOwners(PSID owner) {
    std::array<std::uint64_t, 32> room{};
    for (const TOKEN_INFORMATION_CLASS what : {TokenUser, TokenOwner}) {
        const PSID own = sidOf(what, room);
        if (own != nullptr && EqualSid(own, owner) != FALSE) {
            return true;
        }
    }
    return false;
}

OwnBlock<void> ownersAlone() {
    std::array<std::uint64_t, 32> room{};
    char* text = nullptr;
    const PSID user = sidOf(TokenUser, room);
    if (user == nullptr || ConvertSidToStringSidA(user, &text) == FALSE) {
        return nullptr;
    }
    const OwnBlock<char> sid(text);
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(
        (std::string("D:P(A;;FA;;;") + text + ")").c_str(), SDDL_REVISION_1, &descriptor, nullptr);
    return OwnBlock<void>(descriptor);
}

}  // namespace platform
