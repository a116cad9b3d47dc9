// The frames of the word r over a file of 60,000 bytes, through pcscd: sent by a bare loop, by the
// services, and by scriptor. script/bench-reader starts it on a token of its own; nothing here
// passes or fails.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>

#include "Components/qv_aid/qv_filesystem.h"
#include "apdulib/rm_apdutalker.h"
#include "bench/bare_loop.h"

namespace {

constexpr u32 fileBytes = 60000;
constexpr u32 frameBytes = 986;
constexpr const char* filePath = "3f000001";
constexpr const char* reader = "VDW ifdh 0 00 00";
constexpr int rounds = 101;

void need(bool holds) {
    if (!holds) {
        throw std::runtime_error("the token does not answer as it should");
    }
}

std::vector<std::vector<u8>> framesOfRead() {
    std::vector<std::vector<u8>> frames{{0, 0xA4, 0, 0, 0, 0, 6, 0, 2, 0, 0x3F, 1, 0}};
    for (u32 at = 0; at < fileBytes; at += frameBytes) {
        const u32 length = std::min(frameBytes, fileBytes - at);
        frames.push_back({0, 0xB0, 0, 0, 0, 0, 4, static_cast<u8>(at), static_cast<u8>(at >> 8),
                          static_cast<u8>(length), static_cast<u8>(length >> 8)});
    }
    return frames;
}

double microseconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
        .count();
}

// Sorts the times.
double show(const char* name, std::vector<double>& times, double perFrame) {
    std::sort(times.begin(), times.end());
    const auto at = [&times](double part) {
        return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
    };
    std::printf("%-34s %9.0f us (%5.1f us a frame); 10%% to 90%%: %.0f to %.0f us\n", name, at(0.5),
                at(0.5) / perFrame, at(0.1), at(0.9));
    return at(0.5);
}

void run(const std::string& folder) {
    RMApduTalker talker(reader, 2);
    QVFileSystem fs;
    std::vector<u8> bytes(fileBytes, 0x5A);
    need(talker.create() == 0 && fs.createFile(talker, filePath, fileBytes, false) == 0);
    need(fs.writeFile(talker, filePath, 0, bytes) == 0);
    const auto frames = framesOfRead();
    const auto count = static_cast<double>(frames.size());
    std::ofstream script(folder + "/frames");
    for (const auto& frame : frames) {
        for (const u8 byte : frame) {
            char digits[4];
            std::snprintf(digits, sizeof digits, "%02X ", byte);
            script << digits;
        }
        script << '\n';
    }
    script.close();

    const BareLoop loop(reader);
    std::vector<double> bare;
    std::vector<double> ours;
    std::vector<double> interpreted;
    for (int round = 0; round < rounds; ++round) {
        const auto timeBare = [&] {
            bare.push_back(microseconds(
                [&] { need(loop.send(frames) == fileBytes + 2 * frames.size() + 8); }));
        };
        const auto timeOurs = [&] {
            ours.push_back(microseconds([&] {
                need(talker.lock() == 0 && fs.readFile(talker, filePath, 0, fileBytes, bytes) == 0);
                need(talker.unlock(0) == 0);
            }));
        };
        // Whoever comes second must not profit from it.
        if (round % 2 == 0) {
            timeBare();
            timeOurs();
        } else {
            timeOurs();
            timeBare();
        }
    }
    const std::string command = std::string("scriptor -r '") + reader + "' <" + folder +
                                "/frames >" + folder + "/replies 2>&1";
    for (int round = 0; round < 5; ++round) {
        interpreted.push_back(microseconds([&] { need(std::system(command.c_str()) == 0); }));
    }
    const double limit = show("bare loop on libpcsclite", bare, count);
    std::printf("ratio to the bare loop: %.3f\n",
                show("services through the talker", ours, count) / limit);
    show("scriptor, its start included", interpreted, count);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        run(argc > 1 ? argv[1] : ".");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ksigil_reader_bench: %s\n", error.what());
        return 1;
    }
}
