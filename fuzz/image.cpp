#include "tests/toolbox/trial_token.h"
#include "token/base/fault.h"
#include "token/care/check.h"
#include "token/care/owner.h"

// An image's bytes, which are used and checked.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder folder("/dev/shm");
    const std::string path = folder.file("token.db");
    std::filesystem::remove(path + "-journal");
    std::ofstream(path).write(reinterpret_cast<const char*>(data), static_cast<long>(size));
    TrialToken token(path);
    token.see();
    token.send("D0 0000010061 D6 00000000000000000000000000000000 E0 0101B80B0900 E2 01 D4 0161");
    try {
        const auto key = token::keyOfPowered(path);
        token::check(path, key ? &*key : nullptr);
    } catch (const token::Fault&) {
    }
    return 0;
}
