#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "token/base/file.h"

namespace token {

// The file beside an image on which its users' locks stand. The image itself carries the database's
// locks, which a second opening and closing of it would drop. A lock here belongs to the LockFile
// that took it and goes with it, or with its process, however that ends. The file is never removed.
class LockFile {
  public:
    // Which memory holds the powered token, and the stamp by which that memory is known again: the
    // system gives numbers out anew. Numbers count in their space only. The name is that of the
    // memory that was made last.
    struct Memory {
        std::int32_t id = -1;
        std::uint64_t stamp = 0;
        std::uint64_t space = 0;
        std::int32_t name = 0;
    };

    // Opens or makes PATH.lock, with mode 0600. Throws Fault. One that is there counts only if
    // nobody else can have put it there or hold its locks: a regular file with one name, of this
    // user or the image's owner, without permissions for others.
    explicit LockFile(const std::string& imagePath);
    // Whether there is one.
    static bool isBeside(const std::string& imagePath);

    // While it lives, nobody else connects to the image, powers it or replaces it. Waits as long as
    // the one who has it lives, and has that told. Throws Fault where this process is asked to end.
    class ConnectLock {
      public:
        explicit ConnectLock(const LockFile& file);
        ConnectLock(const ConnectLock&) = delete;
        ConnectLock& operator=(const ConnectLock&) = delete;
        ~ConnectLock();

      private:
        const LockFile& file_;
        std::unique_lock<std::mutex> thread_;  // the system tells open files apart, not threads
    };

    // The user who, beside this one, may have made the powered token's memory.
    std::uint32_t owner() const { return owner_; }

    // Written under a ConnectLock. A record that cannot be read names no memory.
    Memory memory() const;
    void setMemory(const Memory& memory) const;

    // Makes the image this LockFile's to serve, for as long as it lives. Called under a
    // ConnectLock, when isServed is false.
    void serve() const;
    bool isServed() const;
    // The number of the process that serves it, or that did last.
    std::int32_t server() const;

    // Locks the place of the user with this number, for as long as this LockFile is there.
    void lockUser(std::uint32_t user) const;
    // Of another LockFile's user; one's own are not seen.
    bool isUserThere(std::uint32_t user) const;
    bool isAnyUserThere() const;

  private:
    struct Content;

    void judge(const std::string& imagePath);
    Content content() const;
    int store(const Content& content) const;
    std::int32_t connecting() const;
    void setConnecting(std::int32_t process) const;

    std::string path_;
    File file_;
    std::uint32_t owner_ = 0;
    mutable std::mutex connectMutex_;
};

// Where there is no image any more: throws Fault while somebody still uses the one that was
// removed.
void needNoUserLeft(const LockFile& lockFile, const std::string& imagePath);

// Whether the token of an image is powered by anybody. Makes no lock file.
bool isPowered(const std::string& imagePath);

}  // namespace token
