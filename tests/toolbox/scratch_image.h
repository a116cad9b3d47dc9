#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "token/door/slot.h"
#include "token/image/make_image.h"

// A folder of the test's own, gone with it.
class ScratchFolder {
  public:
    explicit ScratchFolder(const std::string& parent = std::filesystem::temp_directory_path()) {
        std::string name = parent + "/ksigil-XXXXXX";
        path_ = mkdtemp(name.data());
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() { std::filesystem::remove_all(path_); }

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// Puts a fresh image at the path: a copy, since the making of one takes its time.
inline void putFreshImage(const std::string& path) {
    static const ScratchFolder folder;
    static const bool made = (token::makeImage(folder.file("fresh.db")), true);
    static_cast<void>(made);
    std::filesystem::copy_file(folder.file("fresh.db"), path);
}

inline std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

// Works on an image behind its token's back. Gives the last row's first value.
inline std::string sql(const std::string& path, const std::string& statements) {
    sqlite3* database = nullptr;
    std::string value;
    const auto keep = [](void* to, int, char** row, char**) {
        static_cast<std::string*>(to)->assign(row[0]);
        return 0;
    };
    sqlite3_open(path.c_str(), &database);
    sqlite3_exec(database, statements.c_str(), keep, &value, nullptr);
    EXPECT_STREQ(sqlite3_errmsg(database), "not an error") << statements;
    sqlite3_close(database);
    return value;
}

inline token::Buffer bytesOf(const std::string& hex) {
    token::Buffer bytes;
    std::string digits;
    for (const char c : hex) {
        if (c != ' ') {
            digits += c;
        }
    }
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

inline std::string hexOf(token::Bytes bytes) {
    std::string hex;
    for (const std::uint8_t byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", byte);
        hex += digits;
    }
    return hex;
}

// A whole frame from the instruction byte and the data field, both in hexadecimal.
inline token::Buffer frameOf(const std::string& ins, const std::string& data) {
    const token::Buffer field = bytesOf(data);
    token::Buffer frame = bytesOf("00" + ins + "000000");
    frame.push_back(static_cast<std::uint8_t>(field.size() >> 8));
    frame.push_back(static_cast<std::uint8_t>(field.size()));
    frame.insert(frame.end(), field.begin(), field.end());
    return frame;
}

inline std::string nameOf(token::Outcome outcome) {
    static constexpr const char* names[] = {"good",  "unusable", "absent", "removed",
                                            "reset", "notHeld",  "served"};
    return names[static_cast<int>(outcome)];
}

// The whole reply in hexadecimal, the status word's low byte first as on the wire; or the outcome.
inline std::string answer(token::Connection& connection, token::Bytes frame) {
    token::Buffer reply;
    const token::Outcome outcome = connection.transmit(frame, reply);
    return outcome == token::Outcome::good ? hexOf(reply) : nameOf(outcome);
}
