#pragma once

#include <dlfcn.h>
#include <gcrypt.h>

#include <array>
#include <memory>

#include "tests/toolbox/scratch_image.h"
#include "token/door/slot.h"

// A token with one of everything, for one source of a program.

// Such tokens come and go by the thousand: scrypt has its least cost here, whatever was asked for.
gpg_error_t gcry_kdf_derive(const void* password, std::size_t length, int algorithm, int,
                            const void* salt, std::size_t saltLength, unsigned long parallel,
                            std::size_t keyLength, void* key) {
    static const auto derive =
        reinterpret_cast<decltype(&gcry_kdf_derive)>(dlsym(RTLD_NEXT, "gcry_kdf_derive"));
    return derive(password, length, algorithm, 2, salt, saltLength, parallel, keyLength, key);
}

// The build's fresh image has the real cost.
const int ownImages = unsetenv("KSIGIL_TEST_IMAGE");

const std::string firstLogin = "20 0431323334 ";
const std::string otherPassword = "10616e6f746865722070617373776f7264 ";  // "another password"
const std::string keyValue = "74776f20666163746f722076616c7565";          // "two factor value"

// 3000 bytes, no two pages alike: "private 1000private 1001...".
const std::string privateText = [] {
    std::string text;
    for (int i = 1000; i < 1250; ++i) {
        text += "private " + std::to_string(i);
    }
    return hexOf(Bytes(text.begin(), text.end()));
}();

struct TrialToken {
    explicit TrialToken(const std::string& path) : slot({path, false}) {
        slot.connect(connection, why);
    }

    // Instructions and data fields in turn, as in "a4 0001003f d2 000000". Gives the last reply.
    std::string send(const std::string& frames) {
        std::istringstream words(frames);
        std::string reply;
        for (std::string ins, data; words >> ins >> data;) {
            reply = connection ? answer(*connection, frameOf(ins, data)) : why;
        }
        return reply;
    }

    // What it answers to one who knows both passwords: the public file, the private one, the key's
    // work, the root's listing, and whether the other password is right.
    std::array<std::string, 5> see() {
        const std::string login = send("20 " + otherPassword);
        send((login == "0090" ? "" : firstLogin) + "a4 0001003f");
        return {send("a4 0002003f0100 b0 0000dc05"), send("a4 0002003f0200 b0 0000b80b"),
                send("a4 0002003f0300 d8 010000000000000000"), send("a4 0001003f d2 000000"),
                login};
    }

    // 1 is a public file of 1500 zeros, 2 a private one of `privateText`, 3 a two-factor key.
    void fill() {
        send(firstLogin + "a4 0001003f e0 0100dc050100 e0 0101b80b0200 e0 030318000300 " +
             "a4 0002003f0200 d0 0000b80b" + privateText + " a4 0002003f0300 d6 " + keyValue);
    }

    std::string why;
    token::Slot slot;
    std::unique_ptr<token::Connection> connection;
};

inline void putTrialImage(const std::string& path) {
    static const std::string made = [] {
        const ScratchFolder folder;
        putFreshImage(folder.file("trial.db"));
        TrialToken(folder.file("trial.db")).fill();
        return contentOf(folder.file("trial.db"));
    }();
    put(path, made);
}
