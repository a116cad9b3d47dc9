#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "token/base/file.h"

namespace token {

// The facts about a path.
struct FileFacts {
    enum class Kind { nothing, file, link, other };

    Kind kind = Kind::nothing;
    FileIdentity identity{};
    std::uint64_t size = 0;   // bytes
    std::uint64_t names = 0;  // hard links
};

enum class Links { follow, stopAt };

// All that the token asks of the operating system for its files, their locks and its shared memory.
// The database has an interface of its own, for the image and its journal.
//
// A function that gives an int gives 0, or the system's error number, whose words systemFault
// tells; it has then changed nothing, unless it says otherwise. Paths are taken as they stand. Any
// thread may call at any time.
class System {
  public:
    // An absent file is Kind::nothing and no error.
    virtual int look(const std::string& path, Links links, FileFacts& facts) = 0;
    virtual int checkReadable(const std::string& path) = 0;

    // Makes a folder with mode 0700, whatever the umask. One that is there is left as it is.
    virtual int makeFolder(const std::string& path) = 0;
    // Makes an empty file with mode 0600, whatever the umask, and a name that nobody has: `path`
    // with a point and six characters behind it, which `made` becomes.
    virtual int makeFileBeside(const std::string& path, std::string& made) = 0;
    // Return when the file's content, or the names in the folder, are on the disk.
    virtual int syncFile(const std::string& path) = 0;
    virtual int syncFolder(const std::string& path) = 0;

    // Gives a file a second name; EEXIST if there is one of that name.
    virtual int addName(const std::string& path, const std::string& second) = 0;
    // Renames a file; EEXIST if there is one of the new name.
    virtual int renameToNew(const std::string& from, const std::string& to) = 0;
    // Renames a file in the place of one that may be there.
    virtual int renameOver(const std::string& from, const std::string& to) = 0;
    virtual int remove(const std::string& path) = 0;

    // Opens a file for locks, reading and writing, and makes a missing one, with mode 0600. Follows
    // no link, and waits for nobody.
    virtual int openLockFile(const std::string& path, File& file) = 0;
    // Gives a file that the superuser has open to the owner of another one, if there is that one.
    // For everybody else it does nothing.
    virtual int giveToOwnerOf(const std::string& path, const File& file) = 0;
    virtual int look(const File& file, FileFacts& facts) = 0;
    // Reads from the file's start, and gives how many bytes there were, at most those of `bytes`.
    virtual std::size_t readStart(const File& file, std::span<std::byte> bytes) = 0;
    virtual int writeStart(const File& file, std::span<const std::byte> bytes) = 0;

    // A lock on a byte of a file, which need not exist. It belongs to the open file, and goes with
    // it or with its process. Two locks of one open file do not exclude each other.
    virtual int lock(const File& file, std::int64_t place) = 0;     // waits
    virtual int tryLock(const File& file, std::int64_t place) = 0;  // fails where another holds it
    virtual void unlock(const File& file, std::int64_t place) = 0;
    // Whether another open file holds a lock in the range; `length` 0 is up to the end of all.
    virtual bool isLocked(const File& file, std::int64_t from, std::int64_t length) = 0;

    // A region of zeros that processes share, and that is gone with the last of them, however it
    // ends. Others attach it by its number. It comes into no core dump and not into the swap, where
    // the system allows.
    virtual int makeMemory(std::size_t bytes, std::int32_t& number, void*& address) = 0;
    // Null if it is gone, not of this size, or another user's.
    virtual void* attachMemory(std::int32_t number, std::size_t bytes) = 0;
    virtual void detachMemory(void* address) = 0;

    virtual std::int32_t processNumber() = 0;

  protected:
    ~System() = default;  // nobody owns one: the operating system's outlives all that use it
};

// The one in use: the operating system's, until another is put in its place.
System& system();
System& operatingSystem();

// Puts another in front, null for the operating system's. For programs that let its calls fail; no
// call may be in flight.
void useSystem(System* front);

}  // namespace token
