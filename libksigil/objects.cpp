#include <algorithm>
#include <charconv>
#include <cstring>
#include <string>
#include <vector>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_token_info.h"
#include "apdulib/apdu_info.h"
#include "apdulib/token_names.h"
#include "include/ksigil.h"
#include "include/little_endian.h"
#include "libksigil/arguments.h"
#include "libksigil/operation.h"

using namespace ksigil;

namespace {

u32 askForVersion(ApduTalker& talker, u16& version) {
    ApduGetWord frame;
    Le16 word = 0;
    static_assert(sizeof word == sizeof(ApduGetWord::Reply));
    u32 rv = transmitChecked(talker, frame);
    if (rv == result::success && frame.replyDataLength() < sizeof word) {
        rv = result::communicationError;
    }
    if (rv == result::success) {
        std::memcpy(static_cast<void*>(&word), frame.reply(), sizeof word);
        version = word;
    }
    return rv;
}

u32 askForInfo(ApduTalker& talker, ksigil_token_info& info) {
    QVTokenInfo told;
    u16 version = 0;
    u32 rv = readTokenInfo(talker, told);
    if (rv == result::success) {
        rv = askForVersion(talker, version);
    }
    if (rv == result::success) {
        std::copy(told.serial.begin(), told.serial.end(), info.serial);
        info.bytes_used = told.bytesUsed;
        info.bytes_total = told.bytesTotal;
        info.packages = told.packages;
        info.version = version;
        info.colour = told.colour;
    }
    return rv;
}

ksigil_object objectOf(const QVFileInfo& info) {
    ksigil_object object{};
    std::from_chars(info.name.data(), info.name.data() + info.name.size(), object.id, 16);
    object.type = info.type;
    object.attribute = info.attribute;
    object.size = info.size;
    return object;
}

// Runs a call that makes an object.
template <typename Work>
u32 onNewPath(ksigil_token* token, const char* path, const Work& work) {
    constexpr std::size_t rootLength = 4;
    if (isPath(path) && std::strlen(path) == rootLength) {
        return withReason(KSIGIL_INVALID_ARGUMENT,
                          "an object is made in a directory: its path has two levels or more");
    }
    return onPath(token, path, {}, work);
}

}  // namespace

uint32_t ksigil_get_token_info(ksigil_token* token, ksigil_token_info* info) {
    if (info == nullptr) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, [=](ApduTalker& talker) { return askForInfo(talker, *info); });
}

const char* ksigil_colour_name(uint8_t colour) {
    return colourName(colour);
}

const char* ksigil_package_name(unsigned int package) {
    return packageName(package);
}

uint32_t ksigil_get_object(ksigil_token* token, const char* path, ksigil_object* object) {
    if (object == nullptr) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onPath(token, path, {}, [=](ApduTalker& talker, const std::string& at) {
        QVFileInfo info;
        const u32 rv = QVFileSystem().getFileInfo(talker, at, info);
        if (rv == result::success) {
            *object = objectOf(info);
        }
        return rv;
    });
}

uint32_t ksigil_list(ksigil_token* token, const char* path, ksigil_object* children,
                     size_t capacity, size_t* count) {
    if (count == nullptr || !isBuffer(children, capacity)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onPath(token, path, {}, [=](ApduTalker& talker, const std::string& at) {
        std::vector<QVFileInfo> found;
        const u32 rv = QVFileSystem().directoryPath(talker, at, found);
        if (rv != result::success) {
            return rv;
        }
        *count = found.size();
        if (found.size() > capacity) {
            return KSIGIL_BUFFER_TOO_SMALL;
        }
        std::transform(found.begin(), found.end(), children, objectOf);
        return KSIGIL_OK;
    });
}

uint32_t ksigil_make_file(ksigil_token* token, const char* path, size_t size, int is_private) {
    if (size > largestRange) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onNewPath(token, path, [=](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().createFile(talker, at, static_cast<u32>(size), is_private != 0);
    });
}

uint32_t ksigil_make_directory(ksigil_token* token, const char* path, int is_private) {
    return onNewPath(token, path, [=](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().createDirectory(talker, at, is_private != 0);
    });
}

uint32_t ksigil_make_key(ksigil_token* token, const char* path, int is_two_factor) {
    return onNewPath(token, path, [=](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().createFile(talker, at, is_two_factor != 0);
    });
}

uint32_t ksigil_remove(ksigil_token* token, const char* path) {
    return onPath(token, path, {}, [](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().deletePath(talker, at);
    });
}

uint32_t ksigil_remove_tree(ksigil_token* token, const char* path) {
    return onPath(token, path, {}, [](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().del(talker, at);
    });
}
