#pragma once

#include <dlfcn.h>
#include <gcrypt.h>

#include "tests/toolbox/scratch_image.h"

// A token with one of everything, for one source of a program.

// Such tokens come and go by the thousand: scrypt has its least cost here, whatever was asked for.
gpg_error_t gcry_kdf_derive(const void* password, std::size_t length, int algorithm, int,
                            const void* salt, std::size_t saltLength, unsigned long parallel,
                            std::size_t keyLength, void* key) {
    static const auto derive =
        reinterpret_cast<decltype(&gcry_kdf_derive)>(dlsym(RTLD_NEXT, "gcry_kdf_derive"));
    return derive(password, length, algorithm, 2, salt, saltLength, parallel, keyLength, key);
}

const std::string firstLogin = "20 0431323334 ";
const std::string otherPassword = "10616E6F746865722070617373776F7264 ";  // "another password"
const std::string keyValue = "74776F20666163746F722076616C7565";          // "two factor value"

// 3000 bytes, no two pages alike: "private 1000private 1001...".
const std::string privateText = [] {
    std::string text;
    for (int i = 1000; i < 1250; ++i) {
        const std::string words = "private " + std::to_string(i);
        text += hexOf({reinterpret_cast<const std::uint8_t*>(words.data()), words.size()});
    }
    return text;
}();

struct TrialToken {
    explicit TrialToken(const std::string& path) : slot({path, false}) {
        slot.connect(connection, why);
    }

    // Instructions and data fields in turn, as in "A4 0001003F D2 000000". Gives the last reply.
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
        send((login == "0090" ? "" : firstLogin) + "A4 0001003F");
        return {send("A4 0002003F0100 B0 0000DC05"), send("A4 0002003F0200 B0 0000B80B"),
                send("A4 0002003F0300 D8 010000000000000000"), send("A4 0001003F D2 000000"),
                login};
    }

    // 1 is a public file of 1500 zeros, 2 a private one of `privateText`, 3 a two-factor key.
    void fill() {
        send(firstLogin + "A4 0001003F E0 0100DC050100 E0 0101B80B0200 E0 030318000300 " +
             "A4 0002003F0200 D0 0000B80B" + privateText + " A4 0002003F0300 D6 " + keyValue);
    }

    std::string why;
    token::Slot slot;
    std::unique_ptr<token::Connection> connection;
};

inline void putTrialImage(const std::string& path) {
    static const ScratchFolder folder;
    static const std::string made = folder.file("trial.db");
    if (!std::filesystem::exists(made)) {
        putFreshImage(made);
        TrialToken(made).fill();
    }
    std::ofstream(path) << contentOf(made);
}
