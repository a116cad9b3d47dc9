#pragma once

#include <unistd.h>

#include <cerrno>

#include "token/base/system.h"

// Stands in front of the operating system while it exists. The nth call that changes something
// fails with EIO, or ends the process before it is made.
class FrontSystem final : public token::System {
  public:
    enum class Strike { fail, end };

    FrontSystem(int callsBefore, Strike strike) : callsLeft_(callsBefore), strike_(strike) {
        token::useSystem(this);
    }
    FrontSystem(const FrontSystem&) = delete;
    FrontSystem& operator=(const FrontSystem&) = delete;
    ~FrontSystem() { token::useSystem(nullptr); }

    bool hasStruck() const { return callsLeft_ < 0; }

    int makeFolder(const std::string& path) override {
        return strikes() ? EIO : real().makeFolder(path);
    }
    int makeFileBeside(const std::string& path, std::string& made) override {
        return strikes() ? EIO : real().makeFileBeside(path, made);
    }
    int syncFile(const std::string& path) override {
        return strikes() ? EIO : real().syncFile(path);
    }
    int syncFolder(const std::string& path) override {
        return strikes() ? EIO : real().syncFolder(path);
    }
    int addName(const std::string& path, const std::string& second) override {
        return strikes() ? EIO : real().addName(path, second);
    }
    int renameToNew(const std::string& from, const std::string& to) override {
        return strikes() ? EIO : real().renameToNew(from, to);
    }
    int renameOver(const std::string& from, const std::string& to) override {
        return strikes() ? EIO : real().renameOver(from, to);
    }
    int remove(const std::string& path) override { return strikes() ? EIO : real().remove(path); }
    int openLockFile(const std::string& path, token::File& file) override {
        return strikes() ? EIO : real().openLockFile(path, file);
    }
    int giveToOwnerOf(const std::string& path, const token::File& file) override {
        return strikes() ? EIO : real().giveToOwnerOf(path, file);
    }
    int writeStart(const token::File& file, std::span<const std::byte> bytes) override {
        return strikes() ? EIO : real().writeStart(file, bytes);
    }
    int lock(const token::File& file, std::int64_t place) override {
        return strikes() ? EIO : real().lock(file, place);
    }
    int tryLock(const token::File& file, std::int64_t place) override {
        return strikes() ? EIO : real().tryLock(file, place);
    }
    int makeMemory(std::size_t bytes, std::int32_t& number, void*& address) override {
        return strikes() ? EIO : real().makeMemory(bytes, number, address);
    }

    int look(const std::string& path, token::Links links, token::FileFacts& facts) override {
        return real().look(path, links, facts);
    }
    int checkReadable(const std::string& path) override { return real().checkReadable(path); }
    int look(const token::File& file, token::FileFacts& facts) override {
        return real().look(file, facts);
    }
    std::size_t readStart(const token::File& file, std::span<std::byte> bytes) override {
        return real().readStart(file, bytes);
    }
    void unlock(const token::File& file, std::int64_t place) override {
        real().unlock(file, place);
    }
    bool isLocked(const token::File& file, std::int64_t from, std::int64_t length) override {
        return real().isLocked(file, from, length);
    }
    void* attachMemory(std::int32_t number, std::size_t bytes) override {
        return real().attachMemory(number, bytes);
    }
    void detachMemory(void* address) override { real().detachMemory(address); }
    std::int32_t processNumber() override { return real().processNumber(); }

  private:
    static System& real() { return token::operatingSystem(); }

    bool strikes() {
        const bool now = callsLeft_-- == 0;
        if (now && strike_ == Strike::end) {
            _exit(0);
        }
        return now;
    }

    int callsLeft_;
    Strike strike_;
};
