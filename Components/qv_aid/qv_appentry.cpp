#include "include/qv_appentry.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_token_info.h"
#include "apdulib/status_message.h"
#include "include/log_gate.h"
#include "include/result_numbers.h"
#include "support/assertion.h"

using namespace ksigil;

namespace {

constexpr char filePath[] = "3f00a1a1";
constexpr char label[] = "kSigil application entry file.";
constexpr std::size_t labelLength = sizeof label - 1;
constexpr std::size_t recordLength = sizeof(AppEntryRecord);
constexpr u32 endOfDirectoryIds = 0xFFF0;

static_assert(labelLength == 30);

bool isFileAbsent(u32 rv) {
    return static_cast<u16>(rv) == status::pathNotFound;
}

// Whether all of the text is the number's digits.
bool parseDirectoryId(const std::string& digits, u16& id) {
    const char* const end = digits.data() + digits.size();
    const std::from_chars_result parsed = std::from_chars(digits.data(), end, id, 16);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

std::string formatDirectoryId(u32 id) {
    char digits[8];
    return {digits, std::to_chars(std::begin(digits), std::end(digits), id, 16).ptr};
}

}  // namespace

AppEntryRecord::AppEntryRecord(u32 applicationId, const std::vector<u8>& c)
    : marker(usualMarker), id(applicationId) {
    // The site keeps the file and line under which it is known, whatever moves around it.
    if (!(c.size() == 4)) {
        assertionFailed("c.size() == 4", "include/qv_appentry", 144);
    }
    std::copy(c.begin(), c.end(), content.begin());
}

u32 QVAppEntry::set_kSAppEntry(ApduTalker& talker, u32 id, const std::vector<u8>& content) const {
    const OperationLog log = logEntered("set_kSAppEntry");
    const AppEntryRecord record(id, content);
    std::vector<AppEntryRecord> records;
    u32 rv = readAppEntryFile(talker, records);
    if (rv == result::success || isFileAbsent(rv)) {
        const auto found = findAppEntry(records, id);
        if (found != records.end()) {
            *found = record;
        } else {
            records.push_back(record);
        }
        rv = writeAppEntryFile(talker, records);
    }
    return log.serviceExit(rv);
}

u32 QVAppEntry::get_kSAppEntry(ApduTalker& talker, u32 id, std::vector<u8>& content) const {
    const OperationLog log = logEntered("get_kSAppEntry");
    std::vector<AppEntryRecord> records;
    u32 rv = readAppEntryFile(talker, records);
    if (rv == result::success) {
        const auto found = findAppEntry(records, id);
        if (found != records.end()) {
            content.assign(found->content.begin(), found->content.end());
        } else {
            rv = result::invalidParameter;
        }
    }
    return log.serviceExit(rv);
}

u32 QVAppEntry::remove_kSAppEntry(ApduTalker& talker, u32 id) const {
    const OperationLog log = logEntered("remove_kSAppEntry");
    std::vector<AppEntryRecord> records;
    u32 rv = readAppEntryFile(talker, records);
    if (rv == result::success) {
        const auto found = findAppEntry(records, id);
        if (found != records.end()) {
            records.erase(found);
            rv = writeAppEntryFile(talker, records);
        } else {
            rv = result::invalidParameter;
        }
    }
    return log.serviceExit(rv);
}

u32 QVAppEntry::isAppEntryExist(ApduTalker& talker, u32 id, bool& exists) const {
    const OperationLog log = logEntered("isAppEntryExist");
    std::vector<AppEntryRecord> records;
    u32 rv = readAppEntryFile(talker, records);
    if (rv == result::success) {
        exists = findAppEntry(records, id) != records.end();
    } else if (isFileAbsent(rv)) {
        exists = false;
        rv = result::success;
    }
    return log.serviceExit(rv);
}

u32 QVAppEntry::checkRoom(ApduTalker& talker, u32 id) const {
    std::vector<AppEntryRecord> records;
    u32 rv = readAppEntryFile(talker, records);
    const bool isNewFile = isFileAbsent(rv);
    if (rv != result::success && !isNewFile) {
        return rv;
    }
    if (findAppEntry(records, id) != records.end()) {
        return result::success;
    }
    if (records.size() >= mostRecords) {
        return result::notEnoughMemory;
    }
    QVTokenInfo info;
    rv = readTokenInfo(talker, info);
    const u64 used = u64{info.bytesUsed} + recordLength + (isNewFile ? labelLength : 0);
    if (rv == result::success && used > info.bytesTotal) {
        rv = result::statusWordBase | status::notEnoughMemory;
    }
    return rv;
}

u32 QVAppEntry::findNextDirectory(ApduTalker& talker, std::string& directory) const {
    const OperationLog log = logEntered("findNextDirectory");
    u16 start = 0;
    std::vector<std::string> names;
    u32 rv = parseDirectoryId(directory, start) ? result::success : result::invalidParameter;
    if (rv == result::success) {
        rv = QVFileSystem().dir(talker, rootPath, names);
    }
    if (rv == result::success) {
        rv = result::notEnoughMemory;
        for (u32 id = start; id < endOfDirectoryIds && rv != result::success; ++id) {
            directory = formatDirectoryId(id);
            if (std::find(names.begin(), names.end(), directory) == names.end()) {
                rv = result::success;
            }
        }
    }
    return log.serviceExit(rv);
}

u32 QVAppEntry::readAppEntryFile(ApduTalker& talker, std::vector<AppEntryRecord>& records) const {
    const OperationLog log = logEntered("readAppEntryFile");
    const QVFileSystem fileSystem;
    QVFileInfo info;
    std::vector<u8> bytes;
    u32 rv = fileSystem.getFileInfo(talker, filePath, info);
    if (rv == result::success) {
        rv = fileSystem.readFile(talker, filePath, 0, info.size, bytes);
    }
    if (rv == result::success) {
        for (std::size_t at = labelLength; at + recordLength <= bytes.size(); at += recordLength) {
            std::memcpy(&records.emplace_back(), bytes.data() + at, recordLength);
        }
    }
    return log.serviceExit(rv);
}

u32 QVAppEntry::writeAppEntryFile(ApduTalker& talker,
                                  const std::vector<AppEntryRecord>& records) const {
    const OperationLog log = logEntered("writeAppEntryFile");
    const QVFileSystem fileSystem;
    std::vector<u8> bytes(labelLength + records.size() * recordLength);
    std::memcpy(bytes.data(), label, labelLength);
    if (!records.empty()) {
        std::memcpy(bytes.data() + labelLength, records.data(), records.size() * recordLength);
    }

    fileSystem.del(talker, filePath);  // an absent file is no obstacle
    u32 rv = fileSystem.createFile(talker, filePath, static_cast<u32>(bytes.size()), false);
    if (rv == result::success) {
        rv = fileSystem.writeFile(talker, filePath, 0, bytes);
    }
    return log.serviceExit(rv);
}

std::vector<AppEntryRecord>::iterator QVAppEntry::findAppEntry(std::vector<AppEntryRecord>& records,
                                                               u32 id) {
    return std::find_if(records.begin(), records.end(),
                        [id](const AppEntryRecord& record) { return record.id == id; });
}
