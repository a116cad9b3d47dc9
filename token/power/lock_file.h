#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "token/base/file.h"

namespace token {

// The file beside an image on which its users' locks stand. The image itself carries SQLite's
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

    // While it lives, nobody else connects to or powers the image. Waits.
    class Connecting {
      public:
        explicit Connecting(const LockFile& file);
        Connecting(const Connecting&) = delete;
        Connecting& operator=(const Connecting&) = delete;
        ~Connecting();

      private:
        const LockFile& file_;
        std::unique_lock<std::mutex> thread_;  // the system tells processes apart, not threads
    };

    // Read and written while Connecting. What cannot be read is no memory.
    Memory memory() const;
    void setMemory(const Memory& memory) const;

    // Makes the image this LockFile's to serve, for as long as it lives. Called while Connecting,
    // when isServed is false.
    void serve() const;
    bool isServed() const;
    // The number of the process that serves it, or that did last.
    std::int32_t server() const;

    // Shows that the user with this number is there, for as long as this LockFile is.
    void showUser(std::uint32_t user) const;
    // Of another LockFile's user; one's own are not seen.
    bool isUserThere(std::uint32_t user) const;
    bool isAnyUserThere() const;

  private:
    struct Content;

    // Gives a lock file that the superuser has made to the image's owner, who could not use it
    // otherwise.
    void shareWithOwnerOf(const std::string& imagePath) const;

    Content content() const;
    void store(const Content& content) const;
    bool setLock(short type, std::int64_t at, bool wait) const;
    bool isLocked(std::int64_t from, std::int64_t length) const;

    std::string path_;
    File file_;
    mutable std::mutex connecting_;
};

// Whether the token of an image is powered by anybody. Makes no lock file.
bool isPowered(const std::string& imagePath);

}  // namespace token
