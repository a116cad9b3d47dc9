#include <algorithm>
#include <charconv>
#include <cstring>
#include <string>
#include <vector>

#include "Components/qv_aid/qv_filesystem.h"
#include "apdulib/apdu_info.h"
#include "apdulib/token_names.h"
#include "include/ksigil.h"
#include "include/little_endian.h"
#include "libksigil/arguments.h"
#include "libksigil/operation.h"

using namespace ksigil;

namespace {

// How the token tells of itself.
struct InfoReply {
    u8 colour;
    Le16 packages;
    u8 serial[8];
    Le32 bytesUsed;
    Le32 bytesTotal;
};

static_assert(sizeof(InfoReply) == sizeof(ApduGetInfo::Reply));
static_assert(sizeof(Le16) == sizeof(ApduGetWord::Reply));

// Copies the frame's reply if all of it arrived.
u32 ask(ApduTalker& talker, Apdu& frame, void* reply, u32 length) {
    u32 rv = transmitChecked(talker, frame);
    if (rv == result::success && frame.replyDataLength() < length) {
        rv = result::communicationError;
    }
    if (rv == result::success) {
        std::memcpy(reply, frame.reply(), length);
    }
    return rv;
}

u32 askForInfo(ApduTalker& talker, ksigil_token_info& info) {
    ApduGetInfo infoFrame;
    ApduGetWord wordFrame;
    InfoReply reply{};
    Le16 version = 0;
    u32 rv = ask(talker, infoFrame, &reply, sizeof reply);
    if (rv == result::success) {
        rv = ask(talker, wordFrame, &version, sizeof version);
    }
    if (rv == result::success) {
        std::copy(std::begin(reply.serial), std::end(reply.serial), info.serial);
        info.bytes_used = reply.bytesUsed;
        info.bytes_total = reply.bytesTotal;
        info.packages = reply.packages;
        info.version = version;
        info.colour = reply.colour;
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

// Runs a call of the services on the path.
template <typename Work>
u32 onPath(ksigil_token* token, const char* path, const Work& work) {
    if (!isPath(path)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, [&](ApduTalker& talker) { return work(talker, std::string(path)); });
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
    return onPath(token, path, [=](ApduTalker& talker, const std::string& at) {
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
    return onPath(token, path, [=](ApduTalker& talker, const std::string& at) {
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
    return onPath(token, path, [=](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().createFile(talker, at, static_cast<u32>(size), is_private != 0);
    });
}

uint32_t ksigil_make_directory(ksigil_token* token, const char* path, int is_private) {
    return onPath(token, path, [=](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().createDirectory(talker, at, is_private != 0);
    });
}

uint32_t ksigil_make_key(ksigil_token* token, const char* path, int is_two_factor) {
    return onPath(token, path, [=](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().createFile(talker, at, is_two_factor != 0);
    });
}

uint32_t ksigil_remove(ksigil_token* token, const char* path) {
    return onPath(token, path, [](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().deletePath(talker, at);
    });
}

uint32_t ksigil_remove_tree(ksigil_token* token, const char* path) {
    return onPath(token, path, [](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().del(talker, at);
    });
}
