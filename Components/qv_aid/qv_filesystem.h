#pragma once

#include <string>
#include <vector>

#include "Components/qv_aid/qv_file_info.h"
#include "apdulib/apdu_talker.h"
#include "include/basic_types.h"

namespace ksigil {
// The path of the token's root directory.
inline constexpr char rootPath[] = "3f00";

// The most bytes of a file's content in one frame.
inline constexpr u32 largestChunk = 986;
}  // namespace ksigil

// The token's tree of files, directories and DESX keys.
//
// A path is 4 hexadecimal digits of either case per level, from the root, with nothing between:
// "3f00a1a1" is a file in the root. The token keeps one selection, on which its commands act; each
// operation selects what it works on from the root anew and leaves the selection wherever its last
// frame put it.
//
// The caller holds the card lock from before an operation until after it: none is taken here, and
// another user of the token could move the selection between two frames. The class has no data;
// any number of threads may share one, each with a talker whose lock it holds.
//
// Results of every operation, beside those that it names itself:
//   0                             success
//   result::invalidArgument       a path that is empty, not a multiple of 4 digits long, or not
//                                 hexadecimal: nothing is sent
//   0xE006xxxx                    the token refused a frame with status word xxxx
//   result::communicationError    a reply that is too short for what it should hold
//   anything else                 the talker's failure code, unchanged
// An operation stops at the first frame that fails. Unless it says otherwise, its output arguments
// are then as they were.
class QVFileSystem {
  public:
    // Selects the object at `path` and describes it in `info`.
    u32 selectPath(ApduTalker& talker, const std::string& path, QVFileInfo& info) const;

    // Appends the records of the directory's children to `children`, in the token's order: one
    // frame a child and two more. Leaves the last child selected. At most 1024 children can be
    // reported; more give result::communicationError, and so does any child of a directory 255
    // levels deep, since a selection can name no more levels. After a failure the children before
    // it are in `children`.
    u32 directoryPath(ApduTalker& talker, const std::string& path,
                      std::vector<QVFileInfo>& children) const;

    // Deletes one object; the token refuses a directory that has children.
    u32 deletePath(ApduTalker& talker, const std::string& path) const;

    // Makes an object at `path`, in a directory that exists. `type` and `attribute` are those of
    // QVFileInfo. A size above 65535 bytes, or a path of one level, gives result::invalidArgument
    // with nothing sent.
    u32 create(ApduTalker& talker, u8 type, u8 attribute, const std::string& path, u32 size) const;

    // Append the names of the sub-directories, the records of all else (keys too), the names of
    // all children. One level only. Each costs the frames of `directoryPath`, gives its results,
    // and appends nothing on failure.
    u32 listDirectories(ApduTalker& talker, const std::string& path,
                        std::vector<std::string>& names) const;
    u32 listFiles(ApduTalker& talker, const std::string& path,
                  std::vector<QVFileInfo>& files) const;
    u32 dir(ApduTalker& talker, const std::string& path, std::vector<std::string>& names) const;

    u32 getFileInfo(ApduTalker& talker, const std::string& path, QVFileInfo& info) const;

    // Whether the token finds the path: its "not found" is a success that sets `exists` to false.
    u32 isFileExists(ApduTalker& talker, const std::string& path, bool& exists) const;

    // Reads `length` bytes from byte `offset`, at most 986 a frame; `bytes` becomes that long. A
    // length above 0 with `offset` + `length` above 65535 gives result::invalidArgument with
    // nothing sent. If a frame after the selection fails, `bytes` has its new length and what
    // arrived before.
    u32 readFile(ApduTalker& talker, const std::string& path, u32 offset, u32 length,
                 std::vector<u8>& bytes) const;

    // The same for the whole file, whose size a selection tells first.
    u32 readFile(ApduTalker& talker, const std::string& path, std::vector<u8>& bytes) const;

    // Writes `bytes` at byte `offset` of a file that exists, in ascending order, at most 986 a
    // frame. `offset` plus the size of `bytes`, if there are any, above 65535 gives
    // result::invalidArgument with nothing sent. What was written before a failure stays.
    u32 writeFile(ApduTalker& talker, const std::string& path, u32 offset,
                  const std::vector<u8>& bytes) const;

    // Gives the key object its value of exactly 16 bytes; any other size gives
    // result::invalidParameter with nothing sent.
    u32 writeFile(ApduTalker& talker, const std::string& path, const std::vector<u8>& key) const;

    // Make a file of `size` bytes (0 to 65535), a key without a value, a directory. Results are
    // those of `create`.
    u32 createFile(ApduTalker& talker, const std::string& path, u32 size, bool isPrivate) const;
    u32 createFile(ApduTalker& talker, const std::string& path, bool isTwoFactor) const;
    u32 createDirectory(ApduTalker& talker, const std::string& path, bool isPrivate) const;

    // Removes the object with all that is under it: children in the token's order, each before its
    // directory. The root itself, if written "3f00", stays. Stops at the first failure, whose
    // result it gives (those of `directoryPath` too); what was removed stays removed.
    u32 del(ApduTalker& talker, const std::string& path) const;

    // Runs `input` through the key at `path`, 8 bytes a frame, into `output`, which may be the same
    // vector. Encryption adds 1 to 8 bytes of padding, each of which holds their number; decryption
    // takes away as many as the last byte says. result::invalidArgument: decryption of nothing or
    // of a size that is no multiple of 8 (`output` is untouched), or a last byte that exceeds the
    // output's size (`output` is left as decrypted). If a block fails, `output` has the size of
    // all blocks and those before it.
    u32 desx(ApduTalker& talker, const std::string& path, bool encrypt,
             const std::vector<u8>& input, std::vector<u8>& output) const;

  private:
    // Both fail with result::invalidArgument; their output is then of no use. The parent of a path
    // of one level is the empty path.
    static u32 parsePath(const std::string& path, std::vector<u16>& ids);
    static u32 splitPath(const std::string& path, std::string& parent, u16& fileId);

    // The last 4 characters of a path that parses.
    static std::string fileNameOf(const std::string& path);
    // 4 lower-case digits.
    static std::string formatFileId(u16 fileId);
};
