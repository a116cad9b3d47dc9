#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

#include "include/ksigil.h"
#include "include/qv_appentry.h"
#include "libksigil/arguments.h"
#include "libksigil/operation.h"

using namespace ksigil;

namespace {

constexpr u16 firstDirectory = 0x1000;
constexpr u16 lastDirectory = 0xFFEF;

ksigil_entry entryOf(const AppEntryRecord& record) {
    ksigil_entry entry{};
    entry.id = record.id;
    std::copy(record.content.begin(), record.content.end(), entry.content);
    return entry;
}

u32 setEntry(ApduTalker& talker, u32 id, const u8* content) {
    const QVAppEntry entries;
    u32 rv = entries.checkRoom(talker, id);
    if (rv == result::success) {
        rv = entries.set_kSAppEntry(talker, id, bytesOf(content, KSIGIL_ENTRY_LENGTH));
    }
    return rv;
}

}  // namespace

uint32_t ksigil_list_entries(ksigil_token* token, ksigil_entry* entries, size_t capacity,
                             size_t* count) {
    if (count == nullptr || !isBuffer(entries, capacity)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, [=](ApduTalker& talker) {
        std::vector<AppEntryRecord> records;
        const u32 rv = QVAppEntry().readAppEntryFile(talker, records);
        if (rv != result::success && rv != KSIGIL_NOT_FOUND) {
            return rv;
        }
        *count = records.size();
        if (records.size() > capacity) {
            return KSIGIL_BUFFER_TOO_SMALL;
        }
        std::transform(records.begin(), records.end(), entries, entryOf);
        return KSIGIL_OK;
    });
}

uint32_t ksigil_get_entry(ksigil_token* token, uint32_t id, uint8_t content[KSIGIL_ENTRY_LENGTH]) {
    if (content == nullptr) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, [=](ApduTalker& talker) {
        std::vector<u8> found;
        const u32 rv = QVAppEntry().get_kSAppEntry(talker, id, found);
        std::copy(found.begin(), found.end(), content);
        return rv;
    });
}

uint32_t ksigil_set_entry(ksigil_token* token, uint32_t id,
                          const uint8_t content[KSIGIL_ENTRY_LENGTH]) {
    if (content == nullptr) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, [=](ApduTalker& talker) { return setEntry(talker, id, content); });
}

uint32_t ksigil_remove_entry(ksigil_token* token, uint32_t id) {
    return onToken(token,
                   [=](ApduTalker& talker) { return QVAppEntry().remove_kSAppEntry(talker, id); });
}

uint32_t ksigil_find_directory(ksigil_token* token, uint16_t first, uint16_t* id) {
    if (id == nullptr || first < firstDirectory || first > lastDirectory) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, [=](ApduTalker& talker) {
        char digits[4];
        std::to_chars(std::begin(digits), std::end(digits), first, 16);
        std::string directory(std::begin(digits), std::end(digits));
        const u32 rv = QVAppEntry().findNextDirectory(talker, directory);
        if (rv == result::success) {
            std::from_chars(directory.data(), directory.data() + directory.size(), *id, 16);
        }
        return rv;
    });
}
