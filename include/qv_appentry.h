#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "include/basic_types.h"
#include "include/little_endian.h"

class ApduTalker;

// One application entry, the same in memory and in the token's file.
struct AppEntryRecord {
    static constexpr u8 usualMarker = '#';

    AppEntryRecord() = default;

    // `c` is 4 bytes, which is asserted.
    AppEntryRecord(u32 applicationId, const std::vector<u8>& c);

    u8 marker;
    ksigil::Le32 id;
    std::array<u8, 4> content;
};

static_assert(sizeof(AppEntryRecord) == 9 && alignof(AppEntryRecord) == 1 &&
              std::is_trivially_copyable_v<AppEntryRecord>);

namespace ksigil {
// The directory ids from which applications start to look for a free one.
inline constexpr const char* applicationDirectories[] = {
    "8000", "7000", "6000", "9000", "4000", "3500", "4500", "2000", "3000", "8500", "5500",
};
inline constexpr const char* protectorDirectory = applicationDirectories[8];
}  // namespace ksigil

// The token's table of application entries: 4 bytes of content, the digits of a directory's id, for
// a 32-bit application id. It is the public file "3f00a1a1": a label of 30 bytes, then records of
// 9, at most `mostRecords` of them, in no order. A record's marker, the label and a tail of fewer
// than 9 bytes are not looked at; a rewrite puts the label right and drops the tail.
//
// The caller holds the card lock, across all operations that belong together: a change is a read of
// the file and a rewrite, and an id that was found free is free only as long as the lock is held.
//
// Results of every operation, beside those that it names itself, are those of QVFileSystem's
// operations; 0 is success. Unless it says otherwise, output arguments are as they were after a
// failure. The class has no data.
class QVAppEntry {
  public:
    static constexpr std::size_t mostRecords = 7278;

    // Adds an entry, or replaces the content of the one with that id, which keeps its place; makes
    // the file if there is none. `content` is exactly 4 bytes, which is asserted. A failure leaves
    // the file as `writeAppEntryFile` does.
    u32 set_kSAppEntry(ApduTalker& talker, u32 id, const std::vector<u8>& content) const;

    // Reads an entry's 4 bytes. result::invalidParameter: there is no entry with that id.
    // 0xE0066407: there is no file.
    u32 get_kSAppEntry(ApduTalker& talker, u32 id, std::vector<u8>& content) const;

    // Takes an entry out; the file stays also without any. Results are those of `get_kSAppEntry`,
    // with nothing changed. Another failure leaves the file as `writeAppEntryFile` does.
    u32 remove_kSAppEntry(ApduTalker& talker, u32 id) const;

    // Without a file no entry exists, which is no failure.
    u32 isAppEntryExist(ApduTalker& talker, u32 id, bool& exists) const;

    // 0 if an entry with that id is there or finds room. Where it gives another number,
    // `set_kSAppEntry` would lose all entries: result::notEnoughMemory, the file holds as many as
    // it can; 0xE0066409, the token has no memory for one more.
    u32 checkRoom(ApduTalker& talker, u32 id) const;

    // Finds the first id from `directory` on (hexadecimal digits, from 1000 to ffef) that no object
    // in the root has; `directory` becomes that id, in lower case. Makes and reserves nothing.
    // result::invalidParameter: `directory` is no hexadecimal number of 16 bits; nothing is sent.
    // result::notEnoughMemory: no id below fff0 is free; `directory` is the last one tried, or as
    // it was if none was.
    u32 findNextDirectory(ApduTalker& talker, std::string& directory) const;

    // Appends the file's records to `records`.
    u32 readAppEntryFile(ApduTalker& talker, std::vector<AppEntryRecord>& records) const;

    // Deletes the file and makes it anew with these records. After a failure the old file is gone,
    // and the new one absent or incomplete.
    u32 writeAppEntryFile(ApduTalker& talker, const std::vector<AppEntryRecord>& records) const;

    // The first record with that id, or the end.
    static std::vector<AppEntryRecord>::iterator findAppEntry(std::vector<AppEntryRecord>& records,
                                                              u32 id);
};
