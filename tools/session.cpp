#include "tools/session.h"

#include <algorithm>
#include <utility>

namespace tools {
namespace {

constexpr const char* neverGiven = "3f003f00";  // the root's own id, which nothing else has

// The token answered, with a status word.
bool isRefusal(std::uint32_t result) {
    return result >> 16 == 0xE006;
}

void tellWait(void*, const char* text) {
    tellAside(text);
}

}  // namespace

Session::Session(const Options& options) : options_(options) {
    ksigil_set_waiting(tellWait, nullptr);
    const char* const reader = options.reader ? options.reader->c_str() : nullptr;
    require(ksigil_open(reader, &token_), "cannot open the reader");
    ksigil_set_progress(onProgress, this);
}

// What ends by another exception than its own has nobody to tell a failure to.
Session::~Session() {
    if (isLoggedIn_) {
        ksigil_logout(token_);
    }
    ksigil_set_progress(nullptr, nullptr);
    ksigil_close(token_);
}

int Session::onProgress(void* context, std::uint64_t done, std::uint64_t total) {
    static_cast<Session*>(context)->progress_.show(done, total);
    return platform::isInterrupted() ? 1 : 0;
}

void Session::run(const std::function<void()>& work) {
    lock();
    try {
        try {
            work();
        } catch (const LoginWanted&) {
            logIn();
            work();
        }
    } catch (const Failure& failure) {
        std::string left = standing_;
        try {
            leave();
        } catch (const Failure& further) {
            left += (left.empty() ? "" : "; ") + std::string(further.what());
        }
        throw left.empty() ? Failure(failure) : failure.with(left);
    }
    platform::tellWorkIsDone();
    leave();
    if (platform::isInterrupted()) {
        throw Failure("ended by a signal; the work on the token is done");
    }
}

void Session::logInToStay() {
    const Password word = password();
    run([&] {
        logInWith(word);
        require(platform::isInterrupted() ? KSIGIL_CANCELLED : KSIGIL_OK, "not logged in");
        isLoggedIn_ = false;
    });
}

void Session::requireLogin() {
    const std::uint32_t result =
        attempt([&](ksigil_token* token) { return ksigil_make_directory(token, neverGiven, 1); });
    if (result == KSIGIL_OK) {
        require(ksigil_remove(token_, neverGiven), std::string("cannot remove ") + neverGiven);
    } else if (result == KSIGIL_NO_LOGIN || !isRefusal(result)) {
        require(result, "cannot see whether somebody is logged in");
    }
}

bool Session::hasValue(const std::string& key) {
    constexpr std::size_t block = 8;
    std::uint8_t output[block]{};
    std::size_t length = 0;
    const std::uint32_t result =
        ksigil_encrypt(token_, key.c_str(), output, 0, output, block, &length);
    require(isRefusal(result) ? KSIGIL_OK : result, "cannot look at " + key);
    return result != noValue;
}

void Session::logInWith(const Password& word) {
    const std::uint32_t result = ksigil_login(token_, word.bytes().data(), word.bytes().size());
    isLoggedIn_ = result == KSIGIL_OK || !isRefusal(result);  // it may have got through
    if (result == KSIGIL_NO_LOGIN) {
        throw Failure("cannot log in: the password is wrong, or blocked (0xe0066982)");
    }
    require(result, "cannot log in");
}

void Session::logIn() {
    hasAsked_ = true;
    progress_.clear();
    require(ksigil_unlock(token_), "cannot give the token back");
    if (!hasChanged_) {
        held_.reset();
    }
    const Password word = password();
    progress_.restart();
    lock();
    logInWith(word);
}

Password Session::password() const {
    return options_.passwordFile.empty()
               ? Password::ofTerminal("Password: ", "name a file with --password-file")
               : Password::ofFile(options_.passwordFile);
}

void Session::lock() {
    require(ksigil_lock(token_), "cannot lock the token");
    held_.emplace();
}

void Session::leave() {
    progress_.clear();
    const bool wasLoggedIn = std::exchange(isLoggedIn_, false);
    const std::uint32_t loggedOut = wasLoggedIn ? ksigil_logout(token_) : KSIGIL_OK;
    const bool isGone = loggedOut == KSIGIL_NO_TOKEN || loggedOut == KSIGIL_TOKEN_REMOVED;
    require(isGone ? KSIGIL_OK : loggedOut, "cannot log out, the login may stay");
    require(ksigil_unlock(token_), "cannot give the token back");
    held_.reset();
}

std::uint32_t Session::attempt(const Operation& operation) {
    if (platform::isInterrupted()) {
        return KSIGIL_CANCELLED;
    }
    std::uint32_t result = operation(token_);
    if (result == KSIGIL_NO_LOGIN && !hasAsked_) {
        if (!hasChanged_) {
            throw LoginWanted();
        }
        logIn();
        result = operation(token_);
    }
    return result;
}

void Session::require(std::uint32_t result, const std::string& what) {
    if (result != KSIGIL_OK) {
        throw Failure(what, result);
    }
}

void Session::look(const std::string& what, const Operation& operation) {
    require(attempt(operation), what);
}

void Session::change(const std::string& what, const Operation& operation) {
    require(attempt(operation), what);
    hasChanged_ = true;
}

std::optional<ksigil_object> Session::find(const std::string& path) {
    ksigil_object object{};
    const std::uint32_t result = attempt(
        [&](ksigil_token* token) { return ksigil_get_object(token, path.c_str(), &object); });
    if (result == KSIGIL_NOT_FOUND) {
        return std::nullopt;
    }
    require(result, "cannot look at " + path);
    return object;
}

ksigil_object Session::object(const std::string& path) {
    ksigil_object object{};
    look("cannot look at " + path,
         [&](ksigil_token* token) { return ksigil_get_object(token, path.c_str(), &object); });
    return object;
}

std::vector<ksigil_object> Session::children(const std::string& path) {
    std::vector<ksigil_object> found(KSIGIL_MAX_CHILDREN);
    std::size_t count = 0;
    look("cannot list " + path, [&](ksigil_token* token) {
        return ksigil_list(token, path.c_str(), found.data(), found.size(), &count);
    });
    found.resize(count);
    return found;
}

ksigil_token_info Session::info() {
    ksigil_token_info info{};
    look("cannot ask the token about itself",
         [&](ksigil_token* token) { return ksigil_get_token_info(token, &info); });
    return info;
}

std::uint64_t Session::freeBytes() {
    const ksigil_token_info about = info();
    return about.bytes_total - std::min(about.bytes_used, about.bytes_total);
}

Bytes Session::read(const std::string& path, std::size_t offset, std::size_t length) {
    Bytes bytes(length);
    look("cannot read " + path, [&](ksigil_token* token) {
        return ksigil_read(token, path.c_str(), offset, bytes.data(), length);
    });
    progress_.add(length);
    return bytes;
}

void Session::makeFile(const std::string& path, std::size_t size, bool isPrivate) {
    change("cannot make " + path, [&](ksigil_token* token) {
        return ksigil_make_file(token, path.c_str(), size, isPrivate ? 1 : 0);
    });
}

void Session::makeDirectory(const std::string& path, bool isPrivate) {
    change("cannot make " + path, [&](ksigil_token* token) {
        return ksigil_make_directory(token, path.c_str(), isPrivate ? 1 : 0);
    });
}

void Session::makeKey(const std::string& path, bool isTwoFactor) {
    change("cannot make " + path, [&](ksigil_token* token) {
        return ksigil_make_key(token, path.c_str(), isTwoFactor ? 1 : 0);
    });
}

void Session::write(const std::string& path, std::size_t offset, const Bytes& bytes) {
    change("cannot write " + path, [&](ksigil_token* token) {
        return ksigil_write(token, path.c_str(), offset, bytes.data(), bytes.size());
    });
    progress_.add(bytes.size());
}

void Session::writeKey(const std::string& path, const Bytes& value) {
    change("cannot give " + path + " its value", [&](ksigil_token* token) {
        return ksigil_write_key(token, path.c_str(), value.data(), value.size());
    });
}

void Session::remove(const std::string& path) {
    change("cannot remove " + path,
           [&](ksigil_token* token) { return ksigil_remove(token, path.c_str()); });
}

void Session::removeTree(const std::string& path) {
    change("cannot remove all of " + path,
           [&](ksigil_token* token) { return ksigil_remove_tree(token, path.c_str()); });
}

bool Session::removeAgain(const std::string& path, const Failure& behind) {
    if (!isRefusal(behind.result()) && behind.result() != KSIGIL_CANCELLED) {
        return false;
    }
    ksigil_set_progress(nullptr, nullptr);
    const std::uint32_t result = ksigil_remove(token_, path.c_str());
    ksigil_set_progress(onProgress, this);
    return result == KSIGIL_OK;
}

}  // namespace tools
