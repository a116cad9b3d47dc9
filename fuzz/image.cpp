#include <filesystem>

#include "tests/toolbox/trial_token.h"
#include "token/base/fault.h"
#include "token/care/check.h"
#include "token/care/owner.h"

// An image's bytes, which are used and checked.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder folder;
    const std::string path = folder.file("token.db");
    std::filesystem::remove(path + "-wal");
    put(path, std::string(reinterpret_cast<const char*>(data), size));
    TrialToken token(path);
    token.see();
    token.send("d0 0000010061 d6 00000000000000000000000000000000 e0 0101b80b0900 e2 01 d4 0161");
    try {
        const auto key = token::keyOfPowered(path);
        token::check(path, key ? &*key : nullptr);
    } catch (const token::Fault&) {
    }
    return 0;
}
