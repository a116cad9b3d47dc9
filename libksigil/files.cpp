#include <algorithm>
#include <string>
#include <vector>

#include "Components/qv_aid/qv_filesystem.h"
#include "apdulib/apdu_file.h"
#include "include/ksigil.h"
#include "libksigil/arguments.h"
#include "libksigil/operation.h"

using namespace ksigil;

namespace {

constexpr const char* otherSize =
    "the file has another size, which it keeps: remove it and make it anew";

Transfer reading(std::size_t length) {
    return {ApduReadBinary::instruction, largestChunk, length};
}

Transfer writing(std::size_t length) {
    return {ApduWriteBinary::instruction, largestChunk, length};
}

// Reads into the caller's memory, also what came before a failure.
u32 readInto(ApduTalker& talker, const std::string& path, std::size_t offset, u8* bytes,
             std::size_t length) {
    std::vector<u8> read;
    const u32 rv = QVFileSystem().readFile(talker, path, static_cast<u32>(offset),
                                           static_cast<u32>(length), read);
    const auto arrived = std::copy(read.begin(), read.end(), bytes) - bytes;
    std::fill(bytes + arrived, bytes + length, u8{0});
    return rv;
}

u32 sizeOf(ApduTalker& talker, const std::string& path, std::size_t& size) {
    QVFileInfo info;
    const u32 rv = QVFileSystem().getFileInfo(talker, path, info);
    size = info.size;
    return rv;
}

}  // namespace

uint32_t ksigil_read(ksigil_token* token, const char* path, size_t offset, uint8_t* bytes,
                     size_t length) {
    if (!isBuffer(bytes, length)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    if (const u32 bad = checkRange(offset, length); bad != KSIGIL_OK) {
        return bad;
    }
    return onPath(token, path, reading(length), [=](ApduTalker& talker, const std::string& at) {
        return readInto(talker, at, offset, bytes, length);
    });
}

uint32_t ksigil_read_file(ksigil_token* token, const char* path, uint8_t* bytes, size_t capacity,
                          size_t* length) {
    if (!isBuffer(bytes, capacity) || length == nullptr) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onPath(token, path, reading(0), [=](MeteredTalker& talker, const std::string& at) {
        std::size_t size = 0;
        u32 rv = sizeOf(talker, at, size);
        if (rv == result::success && size > capacity) {
            rv = KSIGIL_BUFFER_TOO_SMALL;
        } else if (rv == result::success) {
            talker.expect(size);
            rv = readInto(talker, at, 0, bytes, size);
        }
        if (rv == result::success || rv == KSIGIL_BUFFER_TOO_SMALL) {
            *length = size;
        }
        return rv;
    });
}

uint32_t ksigil_write(ksigil_token* token, const char* path, size_t offset, const uint8_t* bytes,
                      size_t length) {
    if (!isBuffer(bytes, length)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    if (const u32 bad = checkRange(offset, length); bad != KSIGIL_OK) {
        return bad;
    }
    return onPath(token, path, writing(length), [=](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().writeFile(talker, at, static_cast<u32>(offset),
                                        bytesOf(bytes, length));
    });
}

uint32_t ksigil_write_file(ksigil_token* token, const char* path, const uint8_t* bytes,
                           size_t length) {
    if (!isBuffer(bytes, length) || length > largestRange) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onPath(token, path, writing(length), [=](ApduTalker& talker, const std::string& at) {
        std::size_t size = 0;
        u32 rv = sizeOf(talker, at, size);
        if (rv == result::success) {
            rv = size == length ? QVFileSystem().writeFile(talker, at, 0, bytesOf(bytes, length))
                                : because(KSIGIL_INVALID_ARGUMENT, otherSize);
        }
        return rv;
    });
}
