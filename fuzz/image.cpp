#include <array>
#include <filesystem>

#include "tests/toolbox/trial_token.h"
#include "token/base/fault.h"
#include "token/care/check.h"
#include "token/care/image_copy.h"
#include "token/care/owner.h"
#include "token/image/image_bytes.h"

// An image's bytes, or those of the log beside a sound one, which are used and checked.

namespace {

// A log with the head, the salts and the sums without which it counts for nothing.
std::string summed(std::string log) {
    constexpr std::size_t head = 32, frame = 24 + 4096;
    std::array<std::uint32_t, 2> sum{};
    const auto add = [&](std::size_t at, std::size_t end) {
        for (std::size_t n = 0; at < end; n = 1 - n, at += 4) {
            sum[n] += token::get32BigEndian({reinterpret_cast<std::uint8_t*>(&log[at]), 4}, 0) +
                      sum[1 - n];
        }
    };
    const auto putSum = [&](std::size_t at) {
        for (std::size_t i = 0; i < 8; ++i) {
            log[at + i] = static_cast<char>(sum[i / 4] >> (24 - i % 4 * 8));
        }
    };
    log.resize(std::max(log.size(), head));
    log.replace(0, 12, {"\x37\x7f\x06\x83\0\x2d\xe2\x18\0\0\x10\0", 12});
    add(0, 24);
    putSum(24);
    for (std::size_t at = head; at + frame <= log.size(); at += frame) {
        log.replace(at + 8, 8, log, 16, 8);
        add(at, at + 8);
        add(at + 24, at + frame);
        putSum(at + 16);
    }
    return log;
}

void use(const std::string& path) {
    TrialToken token(path);
    token.see();
    token.send("d0 0000010061 d6 00000000000000000000000000000000 e0 0101b80b0900 e2 01 d4 0161");
    try {
        const auto key = token::keyOfPowered(path);
        token::check(path, key ? &*key : nullptr);
    } catch (const token::Fault&) {
    }
}

// What a copy in memory makes of the log is what the database does.
void compareWithCopy(const std::string& path, const std::string& copyPath) {
    try {
        token::ImageCopy copy = token::copyImage(path);
        const token::Buffer bytes = token::bytesOf(copy.database);
        put(copyPath, {bytes.begin(), bytes.end()});
    } catch (const token::Fault&) {
        return;
    }
    if (TrialToken(copyPath).see() != TrialToken(path).see()) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder folder;
    const std::string path = folder.file("token.db"), log = path + "-wal";
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::filesystem::remove(log);
    put(path, input);
    use(path);
    putTrialImage(path);
    put(log, summed(input));
    std::filesystem::permissions(log, std::filesystem::perms(0600));
    compareWithCopy(path, folder.file("copy.db"));
    use(path);
    return 0;
}
