#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Components/qv_aid/qv_password.h"
#include "include/ksigil.h"
#include "include/reader_name.h"
#include "libksigil/arguments.h"
#include "libksigil/handles.h"
#include "libksigil/operation.h"
#include "platform/process.h"
#include "platform/resource_manager.h"

using namespace ksigil;

namespace {

using Reader = platform::ResourceManager::Reader;

// Longer names could not be told whole, and no reader has one.
bool isReaderName(const std::string& name) {
    return !name.empty() && name.size() < KSIGIL_READER_NAME_LENGTH;
}

u32 tellReaders(const std::vector<Reader>& found, ksigil_reader* readers, std::size_t capacity,
                std::size_t& count) {
    count = found.size();
    if (count > capacity) {
        return KSIGIL_BUFFER_TOO_SMALL;
    }
    for (std::size_t i = 0; i < count; ++i) {
        readers[i] = {};
        found[i].name.copy(readers[i].name, sizeof readers[i].name - 1);
        readers[i].has_token = found[i].hasToken ? 1 : 0;
    }
    return KSIGIL_OK;
}

// Under two names of one reader a thread would have two connections, and wait for itself. So the
// name by which it is in use already is taken for the other.
std::string nameInUse(const std::string& name) {
    const std::vector<std::string> open = openReaderNames();
    if (std::find(open.begin(), open.end(), name) != open.end()) {
        return name;
    }
    platform::ResourceManager& manager = platform::resourceManager();
    for (const std::string& other : open) {
        if (manager.listedName(other) == manager.listedName(name)) {
            return other;
        }
    }
    return name;
}

u32 openReader(const char* reader, ksigil_token** token) {
    const std::string name = reader != nullptr ? reader : readerName;
    if (platform::isForked()) {
        return withReason(KSIGIL_INVALID_HANDLE);
    }
    if (!isReaderName(name)) {
        return withReason(KSIGIL_UNKNOWN_READER);
    }
    const platform::SilentCalls silence;
    const auto talker = std::make_shared<RMApduTalker>(nameInUse(name), SCARD_SHARE_SHARED);
    u32 rv = talker->create();
    if (rv == result::success) {
        ReaderContext* connected = nullptr;
        rv = talker->getContext(connected);
    }
    if (rv == result::success) {
        *token = openHandle(talker);
    }
    return withReason(rv, silence.reason());
}

using PasswordUse = u32 (QVPassword::*)(ApduTalker&, const std::vector<u8>&) const;

u32 withPassword(ksigil_token* token, const u8* password, std::size_t length, PasswordUse use) {
    if (!isBuffer(password, length) || length > largestRange) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, [=](ApduTalker& talker) {
        return (QVPassword().*use)(talker, bytesOf(password, length));
    });
}

}  // namespace

const char* ksigil_version(void) {
    return KSIGIL_VERSION;
}

void ksigil_set_waiting(ksigil_waiting waiting, void* context) {
    guarded([=] {
        std::function<void(const std::string&)> notice;
        if (waiting != nullptr) {
            notice = [=](const std::string& text) { waiting(context, text.c_str()); };
        }
        platform::setLongWaitNotice(std::move(notice));
        return KSIGIL_OK;
    });
}

uint32_t ksigil_readers(ksigil_reader* readers, size_t capacity, size_t* count) {
    if (count == nullptr || !isBuffer(readers, capacity)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return guarded([=] {
        std::vector<Reader> found;
        std::string why;
        u32 rv = platform::resourceManager().readers(found, why);
        if (rv == result::success) {
            rv = tellReaders(found, readers, capacity, *count);
        }
        return withReason(rv, why);
    });
}

uint32_t ksigil_open(const char* reader, ksigil_token** token) {
    if (token == nullptr) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    *token = nullptr;
    return guarded([=] { return openReader(reader, token); });
}

void ksigil_close(ksigil_token* token) {
    closeHandle(token);
}

uint32_t ksigil_thread_done(ksigil_token* token) {
    return guarded([=] { return Operation(token, {}).disconnect(); });
}

uint32_t ksigil_lock(ksigil_token* token) {
    return guarded([=] { return Operation(token, {}).keepLock(); });
}

uint32_t ksigil_unlock(ksigil_token* token) {
    return guarded([=] { return Operation(token, {}).giveLockBack(); });
}

uint32_t ksigil_login(ksigil_token* token, const uint8_t* password, size_t length) {
    return withPassword(token, password, length, &QVPassword::login);
}

uint32_t ksigil_logout(ksigil_token* token) {
    return onToken(token, [](ApduTalker& talker) { return QVPassword().logout(talker); });
}

uint32_t ksigil_change_password(ksigil_token* token, const uint8_t* password, size_t length) {
    return withPassword(token, password, length, &QVPassword::changePassword);
}
