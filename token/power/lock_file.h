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
    // system gives numbers out anew.
    struct Memory {
        std::int32_t id = -1;
        std::uint64_t stamp = 0;
    };

    // Opens or makes PATH.lock, with mode 0600. Throws Fault, also for a file that is none of
    // these.
    explicit LockFile(const std::string& imagePath);
    // Whether there is one.
    static bool isBeside(const std::string& imagePath);

    // While it lives, nobody else connects to the image, powers it or replaces it. Waits.
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

    // Read and written under a ConnectLock. A record that cannot be read names no memory.
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

    Content content() const;
    void store(const Content& content) const;

    std::string path_;
    File file_;
    mutable std::mutex connecting_;
};

// Whether the token of an image is powered by anybody. Makes no lock file.
bool isPowered(const std::string& imagePath);

}  // namespace token
