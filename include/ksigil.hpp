#pragma once

// libksigil in C++20: ksigil.h with handles that close themselves, and exceptions. ksigil.h says
// what each function does, its ranges and what a failure leaves; here a failure is thrown as Error.

#include <ksigil.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ksigil {

using Bytes = std::vector<std::uint8_t>;
using BytesView = std::span<const std::uint8_t>;

enum class Access { isPublic = KSIGIL_PUBLIC, isPrivate = KSIGIL_PRIVATE };
enum class Factors { one = KSIGIL_ONE_FACTOR, two = KSIGIL_TWO_FACTOR };

// The bytes of a text, which has to outlive them.
inline BytesView bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class Error : public std::runtime_error {
  public:
    // The calling thread's last failure, whose result this is.
    explicit Error(std::uint32_t result) : Error(result, ksigil_reason()) {}

    Error(std::uint32_t result, const std::string& reason)
        : std::runtime_error(lineOf(result, reason)), code_(result), reason_(reason) {}

    std::uint32_t code() const noexcept { return code_; }                    // the result number
    const char* text() const noexcept { return ksigil_result_text(code_); }  // its words
    const std::string& reason() const noexcept { return reason_; }           // why; may be empty

  private:
    static std::string lineOf(std::uint32_t result, const std::string& reason) {
        std::array<char, 16> number{};
        std::snprintf(number.data(), number.size(), " (0x%08X)", static_cast<unsigned int>(result));
        const std::string words = reason.empty() ? ksigil_result_text(result) : reason;
        return words + number.data();
    }

    std::uint32_t code_;
    std::string reason_;
};

// Told of an operation's progress; true ends it with KSIGIL_CANCELLED. What it throws ends it too,
// and is thrown on by the operation.
using Progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

// Told of a long wait for another process. What it throws is dropped.
using Waiting = std::function<void(std::string_view text)>;

namespace detail {

inline thread_local Progress progress;
inline thread_local std::exception_ptr thrown;  // by the thread's progress callback
inline Waiting waiting;

extern "C" inline int ksigilTellProgress(void*, std::uint64_t done, std::uint64_t total) {
    try {
        return progress(done, total) ? 1 : 0;
    } catch (...) {
        thrown = std::current_exception();
        return 1;
    }
}

extern "C" inline void ksigilTellWaiting(void*, const char* text) {
    try {
        waiting(text);
    } catch (...) {  // the wait goes on all the same
    }
}

inline void check(std::uint32_t result) {
    if (const std::exception_ptr exception = std::exchange(thrown, nullptr)) {
        std::rethrow_exception(exception);
    }
    if (result != KSIGIL_OK) {
        throw Error(result);
    }
}

// A text as C takes it: one with a zero in it would be cut off there.
inline const char* whole(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        throw Error(KSIGIL_INVALID_ARGUMENT, "there is a zero byte in the name");
    }
    return text.c_str();
}

// What a function lists that takes room, capacity and count.
template <typename Item, typename List>
std::vector<Item> listed(std::size_t capacity, List list) {
    std::vector<Item> items(capacity);
    std::size_t count = 0;
    std::uint32_t result = list(items.data(), items.size(), &count);
    while (result == KSIGIL_BUFFER_TOO_SMALL && count > items.size()) {
        items.resize(count);
        result = list(items.data(), items.size(), &count);
    }
    check(result);
    items.resize(count);
    return items;
}

}  // namespace detail

inline std::string version() {
    return ksigil_version();
}

inline std::string resultText(std::uint32_t result) {
    return ksigil_result_text(result);
}

inline std::string colourName(std::uint8_t colour) {
    return ksigil_colour_name(colour);
}

inline std::string packageName(unsigned int package) {
    return ksigil_package_name(package);
}

// The calling thread's; an empty one for none.
inline void setProgress(Progress progress) {
    detail::progress = std::move(progress);
    ksigil_set_progress(detail::progress ? detail::ksigilTellProgress : nullptr, nullptr);
}

// The process's; an empty one for none. No operation may be in flight in any thread.
inline void setWaiting(Waiting waiting) {
    detail::waiting = std::move(waiting);
    ksigil_set_waiting(detail::waiting ? detail::ksigilTellWaiting : nullptr, nullptr);
}

inline std::vector<ksigil_reader> readers() {
    return detail::listed<ksigil_reader>(8, ksigil_readers);
}

// An open token. Moved from, it serves only to be assigned to.
class Token {
  public:
    // Opens the reader that QVSh works on.
    Token() { detail::check(ksigil_open(nullptr, &token_)); }

    explicit Token(const std::string& reader) {
        detail::check(ksigil_open(detail::whole(reader), &token_));
    }

    Token(Token&& other) noexcept : token_(std::exchange(other.token_, nullptr)) {}
    Token& operator=(Token&& other) noexcept {
        std::swap(token_, other.token_);
        return *this;
    }
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;
    ~Token() { ksigil_close(token_); }

    ksigil_token* get() const noexcept { return token_; }

    // Closes the calling thread's connection.
    void threadDone() { detail::check(ksigil_thread_done(token_)); }

    void login(BytesView password) {
        detail::check(ksigil_login(token_, password.data(), password.size()));
    }
    void login(std::string_view password) { login(bytesOf(password)); }
    void logout() { detail::check(ksigil_logout(token_)); }
    void changePassword(BytesView password) {
        detail::check(ksigil_change_password(token_, password.data(), password.size()));
    }
    void changePassword(std::string_view password) { changePassword(bytesOf(password)); }

    ksigil_token_info info() const {
        ksigil_token_info info{};
        detail::check(ksigil_get_token_info(token_, &info));
        return info;
    }

    ksigil_object object(const std::string& path) const {
        ksigil_object object{};
        detail::check(ksigil_get_object(token_, detail::whole(path), &object));
        return object;
    }

    std::vector<ksigil_object> list(const std::string& path) const {
        const char* const text = detail::whole(path);
        return detail::listed<ksigil_object>(
            KSIGIL_MAX_CHILDREN,
            [this, text](ksigil_object* children, std::size_t capacity, std::size_t* count) {
                return ksigil_list(token_, text, children, capacity, count);
            });
    }

    void makeFile(const std::string& path, std::size_t size, Access access = Access::isPublic) {
        detail::check(ksigil_make_file(token_, detail::whole(path), size,
                                       access == Access::isPrivate ? 1 : 0));
    }
    void makeDirectory(const std::string& path, Access access = Access::isPublic) {
        detail::check(ksigil_make_directory(token_, detail::whole(path),
                                            access == Access::isPrivate ? 1 : 0));
    }
    void makeKey(const std::string& path, Factors factors = Factors::one) {
        detail::check(
            ksigil_make_key(token_, detail::whole(path), factors == Factors::two ? 1 : 0));
    }
    void remove(const std::string& path) {
        detail::check(ksigil_remove(token_, detail::whole(path)));
    }
    void removeTree(const std::string& path) {
        detail::check(ksigil_remove_tree(token_, detail::whole(path)));
    }

    // Reads as many bytes as `bytes` has.
    void read(const std::string& path, std::size_t offset, std::span<std::uint8_t> bytes) const {
        detail::check(ksigil_read(token_, detail::whole(path), offset, bytes.data(), bytes.size()));
    }
    Bytes readFile(const std::string& path) const {
        Bytes bytes(KSIGIL_MAX_FILE_SIZE);
        std::size_t length = 0;
        detail::check(
            ksigil_read_file(token_, detail::whole(path), bytes.data(), bytes.size(), &length));
        bytes.resize(length);
        return bytes;
    }
    void write(const std::string& path, std::size_t offset, BytesView bytes) {
        detail::check(
            ksigil_write(token_, detail::whole(path), offset, bytes.data(), bytes.size()));
    }
    void writeFile(const std::string& path, BytesView bytes) {
        detail::check(ksigil_write_file(token_, detail::whole(path), bytes.data(), bytes.size()));
    }
    void writeKey(const std::string& path, BytesView value) {
        detail::check(ksigil_write_key(token_, detail::whole(path), value.data(), value.size()));
    }

    Bytes encrypt(const std::string& path, BytesView input) const {
        return underKey(ksigil_encrypt, path, input);
    }
    Bytes decrypt(const std::string& path, BytesView input) const {
        return underKey(ksigil_decrypt, path, input);
    }

    Bytes protectorEncrypt(BytesView input) const {
        return underProtector(ksigil_protector_encrypt, input);
    }
    Bytes protectorDecrypt(BytesView input) const {
        return underProtector(ksigil_protector_decrypt, input);
    }
    ksigil_protector protector() const {
        ksigil_protector protector{};
        detail::check(ksigil_get_protector(token_, &protector));
        return protector;
    }
    // Whether the key was made without a random source of the system, and keeps nothing secret.
    bool prepareProtector() {
        int isWeak = 0;
        detail::check(ksigil_prepare_protector(token_, &isWeak));
        return isWeak != 0;
    }

    using EntryContent = std::array<std::uint8_t, KSIGIL_ENTRY_LENGTH>;

    std::vector<ksigil_entry> entries() const {
        return detail::listed<ksigil_entry>(
            KSIGIL_MAX_ENTRIES,
            [this](ksigil_entry* entries, std::size_t capacity, std::size_t* count) {
                return ksigil_list_entries(token_, entries, capacity, count);
            });
    }
    EntryContent entry(std::uint32_t id) const {
        EntryContent content{};
        detail::check(ksigil_get_entry(token_, id, content.data()));
        return content;
    }
    void setEntry(std::uint32_t id, const EntryContent& content) {
        detail::check(ksigil_set_entry(token_, id, content.data()));
    }
    void removeEntry(std::uint32_t id) { detail::check(ksigil_remove_entry(token_, id)); }

    std::uint16_t findDirectory(std::uint16_t first) const {
        std::uint16_t id = 0;
        detail::check(ksigil_find_directory(token_, first, &id));
        return id;
    }

  private:
    static constexpr std::size_t mostPadding = 8;

    template <typename Cipher>
    Bytes underKey(Cipher cipher, const std::string& path, BytesView input) const {
        Bytes output(input.size() + mostPadding);
        std::size_t length = 0;
        detail::check(cipher(token_, detail::whole(path), input.data(), input.size(), output.data(),
                             output.size(), &length));
        output.resize(length);
        return output;
    }

    template <typename Cipher>
    Bytes underProtector(Cipher cipher, BytesView input) const {
        Bytes output(input.size() + mostPadding);
        std::size_t length = 0;
        detail::check(
            cipher(token_, input.data(), input.size(), output.data(), output.size(), &length));
        output.resize(length);
        return output;
    }

    ksigil_token* token_ = nullptr;
};

// Holds the token's card lock, for the thread that made it. It must not outlive the token.
class Lock {
  public:
    explicit Lock(const Token& token) : token_(token.get()) { detail::check(ksigil_lock(token_)); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() {
        if (token_ != nullptr) {
            ksigil_unlock(token_);
        }
    }

    // Gives it back before the end, and says so where that fails.
    void unlock() {
        if (token_ != nullptr) {
            detail::check(ksigil_unlock(std::exchange(token_, nullptr)));
        }
    }

  private:
    ksigil_token* token_;
};

}  // namespace ksigil
