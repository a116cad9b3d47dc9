#pragma once

#include <cstdint>
#include <type_traits>

#include "token/base/secret.h"
#include "token/image/object.h"

namespace token {

// The state of a powered token between frames, lost with its power. It lies in memory that
// processes share, hence plain values only.
struct Session {
    Object selected;
    std::uint16_t level = 0;  // of the selected object, 1 for the root; 0: nothing is selected
    bool loggedIn = false;
    SecretKey key{};  // of the private content; zeros unless logged in

    bool hasSelection() const { return level != 0; }
    void deselect() { level = 0; }

    void logIn(const SecretKey& unwrapped) {
        loggedIn = true;
        key = unwrapped;
    }
    void logOut() {
        loggedIn = false;
        wipe(key);
    }
};

static_assert(std::is_trivially_copyable_v<Session>);

}  // namespace token
