#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace token {

using Bytes = std::span<const std::uint8_t>;
using Buffer = std::vector<std::uint8_t>;

// Numbers stand low byte first, in data fields, replies and seals, unless a name says otherwise.
inline std::uint16_t get16(Bytes bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

inline void put16(Buffer& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

inline std::uint32_t get32(Bytes bytes, std::size_t at) {
    return std::uint32_t{get16(bytes, at + 2)} << 16 | get16(bytes, at);
}

inline void put32(Buffer& out, std::uint32_t value) {
    put16(out, static_cast<std::uint16_t>(value));
    put16(out, static_cast<std::uint16_t>(value >> 16));
}

inline void put64(Buffer& out, std::uint64_t value) {
    put32(out, static_cast<std::uint32_t>(value));
    put32(out, static_cast<std::uint32_t>(value >> 32));
}

// High byte first: a frame's length, a message's length to the reader's driver, the database's own
// numbers.
inline std::uint16_t get16BigEndian(Bytes bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

inline std::uint32_t get32BigEndian(Bytes bytes, std::size_t at) {
    return std::uint32_t{get16BigEndian(bytes, at)} << 16 | get16BigEndian(bytes, at + 2);
}

inline void put16BigEndian(Buffer& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

}  // namespace token
