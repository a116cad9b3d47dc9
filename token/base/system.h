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
    std::uint32_t owner = 0;
    std::uint32_t mode = 0;  // the permission bits
};

enum class Links { follow, stopAt };

// All that the token asks of the operating system for its files, their locks and its shared memory.
// The database has an interface of its own, for the image and its log.
//
// A function that gives an int gives 0, or the system's error number, whose words systemFault
// tells; it has then changed nothing, unless it says otherwise. Paths are taken as they stand. Any
// thread may call at any time. One file for each operating system implements the class.
class System {
  public:
    // An absent file is Kind::nothing and no error.
    virtual int look(const std::string& path, Links links, FileFacts& facts);
    virtual int checkReadable(const std::string& path);
    // Of a folder: whether files can be made in it.
    virtual int checkWritable(const std::string& path);
    // Opens a file for reading. Follows no link, and waits for nobody.
    virtual int openToRead(const std::string& path, File& file);

    // Makes a folder with mode 0700, whatever the umask. One that is there is left as it is.
    virtual int makeFolder(const std::string& path);
    // Makes an empty file with mode 0600, whatever the umask, for reading and writing, of a name
    // that nobody has: `path` with a point and six characters behind it, which `made` becomes.
    virtual int makeFileBeside(const std::string& path, std::string& made, File& file);
    // Takes all permissions of other users off a regular file that has one name.
    virtual int closeToOthers(const std::string& path);
    // Return when the file's content, or the names in the folder, are on the disk.
    virtual int syncFile(const std::string& path);
    virtual int syncFolder(const std::string& path);

    // Gives a file a second name; EEXIST if there is one of that name.
    virtual int addName(const std::string& path, const std::string& second);
    // Renames a file; EEXIST if there is one of the new name. Where the file system knows no such
    // renaming, the file gets the new name and then loses the old one; an end of the process in
    // between leaves both.
    virtual int renameToNew(const std::string& from, const std::string& to);
    // Renames a file in the place of one that may be there.
    virtual int renameOver(const std::string& from, const std::string& to);
    virtual int remove(const std::string& path);

    // Opens a file for locks, reading and writing, and makes a missing one, with mode 0600. Follows
    // no link, and waits for nobody. A file of this user that one who made it left without any
    // permission, since the umask took all and he was ended, gets that mode.
    virtual int openLockFile(const std::string& path, File& file);
    // Gives a file that the superuser has open to the owner of another one, if there is that one.
    // For everybody else it does nothing.
    virtual int giveToOwnerOf(const std::string& path, const File& file);
    virtual int look(const File& file, FileFacts& facts);
    // Reads from the file's start, and gives how many bytes there were, at most those of `bytes`.
    virtual std::size_t readStart(const File& file, std::span<std::byte> bytes);
    virtual int writeStart(const File& file, std::span<const std::byte> bytes);

    // A lock on a byte of a file, which need not exist. It belongs to the open file, and goes with
    // it or with its process. Two locks of one open file do not exclude each other.
    // `lock` waits for nobody, and gives EAGAIN where another holds it.
    virtual int lock(const File& file, std::int64_t place);
    virtual void unlock(const File& file, std::int64_t place);
    // Whether another open file holds a lock in the range; `length` 0 is up to the end of all.
    virtual bool isLocked(const File& file, std::int64_t from, std::int64_t length);
    // Of the database's locks, which belong to processes: another one that has one in the range of
    // a file that this one has open; 0 if it is not known.
    virtual std::int32_t processThatLocks(const std::string& path, std::int64_t from,
                                          std::int64_t length);

    // A region of zeros that processes share, readable for its user alone, which comes into no core
    // dump and not into the swap, where the system allows. Others attach it by its number. Its
    // name, which is not 0, is for finding one whose maker was ended; EEXIST if there is one of it.
    virtual int makeMemory(std::int32_t name, std::size_t bytes, std::int32_t& number);
    // EACCES unless this user, or `owner` where this is the superuser, has made it and it is his
    // alone. Some other error if it is gone, or not of this size.
    virtual int attachMemory(std::int32_t number, std::size_t bytes, std::uint32_t owner,
                             void*& address);
    virtual void detachMemory(void* address);
    // From now on it has no name, and is gone with the last process that has it, however that ends.
    virtual int letMemoryGo(std::int32_t number);
    // Removes the one of this name if this user has made it and nobody has it. One that there is
    // not is no error.
    virtual int removeMemory(std::int32_t name);
    // Which space the numbers are of: processes of two spaces share no memory. 0 if not known.
    virtual std::uint64_t memorySpace();

    virtual std::int32_t processNumber();
    // Whether there is a process of this number.
    virtual bool isProcess(std::int32_t number);
    // The number of the user in whose name the process acts; 0 is the superuser.
    virtual std::uint32_t userNumber();
};

// The one in use. It outlives all that use it.
System& system();

// Who else may have put something into a file beside an image, in words that follow "it is":
// "another user's", or "open to other users". Null for one that is the image's owner's or this
// user's, and closed to all others.
inline const char* reachOfOthers(const FileFacts& facts, std::uint32_t imageOwner) {
    if (facts.owner != imageOwner && facts.owner != system().userNumber()) {
        return "another user's";
    }
    return (facts.mode & 077) != 0 ? "open to other users" : nullptr;
}

// Puts one in front whose class overrides some calls, or null. For programs that let calls fail; no
// call may be in flight.
void useSystem(System* front);

}  // namespace token
