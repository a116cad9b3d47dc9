#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "include/ksigil.h"
#include "platform/program/interrupt.h"
#include "tools/failure.h"
#include "tools/options.h"
#include "tools/password.h"
#include "tools/progress.h"

namespace tools {

constexpr std::uint32_t noValue = 0xE0066405;  // of a key that is used

// A run's way to the token. All of its work is done under one card lock. Where the token refuses
// without a login, the password is asked for, with no lock held, and the login ends with the work.
//
// Every operation throws Failure, with `standing` behind it; one that is begun after a signal came
// does, too.
class Session {
  public:
    explicit Session(const Options& options);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    // Locks, works, logs out where it logged in, and unlocks. Work that was refused for want of a
    // login before it changed anything is begun anew behind the login.
    void run(const std::function<void()>& work);
    void logInToStay();

    // Where work needs a login further on: sees to it before the first change.
    void requireLogin();

    // A sentence on what a failure would leave now; empty for what changes nothing.
    void stand(const std::string& sentence) { standing_ = sentence; }

    ksigil_object object(const std::string& path);
    std::optional<ksigil_object> find(const std::string& path);
    std::vector<ksigil_object> children(const std::string& path);
    ksigil_token_info info();
    std::uint64_t freeBytes();
    Bytes read(const std::string& path, std::size_t offset, std::size_t length);

    void makeFile(const std::string& path, std::size_t size, bool isPrivate);
    void makeDirectory(const std::string& path, bool isPrivate);
    void makeKey(const std::string& path, bool isTwoFactor);
    void write(const std::string& path, std::size_t offset, const Bytes& bytes);
    bool hasValue(const std::string& key);
    void writeKey(const std::string& path, const Bytes& value);
    void remove(const std::string& path);
    void removeTree(const std::string& path);

    // For what is used in one place only.
    using Operation = std::function<std::uint32_t(ksigil_token*)>;
    void look(const std::string& what, const Operation& operation);
    void change(const std::string& what, const Operation& operation);

    // Takes a change back behind a failure, also after a signal. False: that failed, or was not
    // tried, since what failed was not refused by the token and may have been carried out.
    bool removeAgain(const std::string& path, const Failure& behind);

    Progress& progress() { return progress_; }

  private:
    struct LoginWanted {};

    std::uint32_t attempt(const Operation& operation);
    static void require(std::uint32_t result, const std::string& what);
    void lock();
    void logIn();
    void logInWith(const Password& word);
    void leave();
    Password password() const;
    static int onProgress(void* context, std::uint64_t done, std::uint64_t total);

    const Options& options_;
    std::optional<platform::Held> held_;  // while it has the lock
    Progress progress_;
    ksigil_token* token_ = nullptr;
    bool hasAsked_ = false;
    bool isLoggedIn_ = false;
    bool hasChanged_ = false;
    std::string standing_;
};

}  // namespace tools
