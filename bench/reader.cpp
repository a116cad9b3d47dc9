// The frames by which a file of 60,000 bytes is read and written, through pcscd: sent by a bare
// loop, by the services, by the shared library and, for reading, by scriptor. script/bench-reader
// starts it on a token of its own; nothing here passes or fails.

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
#include "include/ksigil.h"

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

using Frames = std::vector<std::vector<u8>>;

Frames framesOfRead() {
    Frames frames{{0, 0xA4, 0, 0, 0, 0, 6, 0, 2, 0, 0x3F, 1, 0}};
    for (u32 at = 0; at < fileBytes; at += frameBytes) {
        const u32 length = std::min(frameBytes, fileBytes - at);
        frames.push_back({0, 0xB0, 0, 0, 0, 0, 4, static_cast<u8>(at), static_cast<u8>(at >> 8),
                          static_cast<u8>(length), static_cast<u8>(length >> 8)});
    }
    return frames;
}

// The same ranges, with content behind them.
Frames framesOfWrite() {
    Frames frames = framesOfRead();
    for (std::vector<u8>& frame : frames) {
        if (frame[1] == 0xB0) {
            const std::size_t field = 4UL + frame[9] + 256UL * frame[10];
            frame[1] = 0xD0;
            frame[5] = static_cast<u8>(field >> 8);
            frame[6] = static_cast<u8>(field);
            frame.resize(7 + field, 0x5A);
        }
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

// One of two ways to do the same.
struct Way {
    const char* name;
    std::function<void()> work;
    std::vector<double> times;
};

// Whoever comes second in a round must not profit from it.
void compare(Way bare, Way ours, double frames) {
    for (int round = 0; round < rounds; ++round) {
        Way& first = round % 2 == 0 ? bare : ours;
        Way& second = round % 2 == 0 ? ours : bare;
        first.times.push_back(microseconds(first.work));
        second.times.push_back(microseconds(second.work));
    }
    const double limit = show(bare.name, bare.times, frames);
    std::printf("ratio to the bare loop: %.3f\n", show(ours.name, ours.times, frames) / limit);
}

void showScriptor(const Frames& frames, const std::string& folder) {
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
    const std::string command = std::string("scriptor -r '") + reader + "' <" + folder +
                                "/frames >" + folder + "/replies 2>&1";
    std::vector<double> times;
    for (int round = 0; round < 5; ++round) {
        times.push_back(microseconds([&] { need(std::system(command.c_str()) == 0); }));
    }
    show("scriptor, its start included", times, static_cast<double>(frames.size()));
}

void run(const std::string& folder) {
    RMApduTalker talker(reader, 2);
    QVFileSystem fs;
    std::vector<u8> bytes(fileBytes, 0x5A);
    ksigil_token* token = nullptr;
    need(talker.create() == 0 && fs.createFile(talker, filePath, fileBytes, false) == 0);
    need(fs.writeFile(talker, filePath, 0, bytes) == 0 && ksigil_open(reader, &token) == 0);
    const Frames reading = framesOfRead();
    const Frames writing = framesOfWrite();
    const auto count = static_cast<double>(reading.size());
    const BareLoop loop(reader);
    const auto read = [&] { need(loop.send(reading) == fileBytes + 2 * reading.size() + 8); };
    const auto write = [&] { need(loop.send(writing) == 2 * writing.size() + 8); };
    const auto services = [&] {
        need(talker.lock() == 0 && fs.readFile(talker, filePath, 0, fileBytes, bytes) == 0);
        need(talker.unlock(0) == 0);
    };
    const auto libraryReads = [&] {
        need(ksigil_read(token, filePath, 0, bytes.data(), fileBytes) == 0);
    };
    const auto libraryWrites = [&] {
        need(ksigil_write(token, filePath, 0, bytes.data(), fileBytes) == 0);
    };
    compare({"reads of a bare loop on libpcsclite", read, {}},
            {"services through the talker", services, {}}, count);
    compare({"reads of a bare loop", read, {}}, {"ksigil_read", libraryReads, {}}, count);
    compare({"writes of a bare loop", write, {}}, {"ksigil_write", libraryWrites, {}}, count);
    showScriptor(reading, folder);
    ksigil_close(token);
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
