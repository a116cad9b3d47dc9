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
    if (!isPath(path) || !isBuffer(bytes, length) || !isRange(offset, length)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, reading(length), [=](ApduTalker& talker) {
        return readInto(talker, path, offset, bytes, length);
    });
}

uint32_t ksigil_read_file(ksigil_token* token, const char* path, uint8_t* bytes, size_t capacity,
                          size_t* length) {
    if (!isPath(path) || !isBuffer(bytes, capacity) || length == nullptr) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, reading(capacity), [=](ApduTalker& talker) {
        std::size_t size = 0;
        const u32 rv = sizeOf(talker, path, size);
        if (rv != result::success) {
            return rv;
        }
        *length = size;
        return size > capacity ? KSIGIL_BUFFER_TOO_SMALL : readInto(talker, path, 0, bytes, size);
    });
}

uint32_t ksigil_write(ksigil_token* token, const char* path, size_t offset, const uint8_t* bytes,
                      size_t length) {
    if (!isPath(path) || !isBuffer(bytes, length) || !isRange(offset, length)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, writing(length), [=](ApduTalker& talker) {
        return QVFileSystem().writeFile(talker, path, static_cast<u32>(offset),
                                        bytesOf(bytes, length));
    });
}

uint32_t ksigil_write_file(ksigil_token* token, const char* path, const uint8_t* bytes,
                           size_t length) {
    if (!isPath(path) || !isBuffer(bytes, length) || length > largestRange) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, writing(length), [=](ApduTalker& talker) {
        std::size_t size = 0;
        u32 rv = sizeOf(talker, path, size);
        if (rv == result::success) {
            rv = size == length ? QVFileSystem().writeFile(talker, path, 0, bytesOf(bytes, length))
                                : KSIGIL_INVALID_ARGUMENT;
        }
        return rv;
    });
}
