#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "token/bytes.h"
#include "token/object.h"
#include "token/password.h"
#include "token/sql.h"

namespace token {

// The durable token: its tree, contents, password and whether it stands in its reader, kept in one
// SQLite file. A change is on the disk when its commit returns. Throws Fault, and the change at
// hand then comes to nothing. Any thread; one call at a time.
class Image {
  public:
    struct Usage {
        std::uint32_t objects;
        std::uint32_t bytes;
    };

    // Opens an image that isImage() knows as one.
    explicit Image(const std::string& path);

    // What a change asks before it becomes durable; false lets nothing of it happen.
    using Fence = std::function<bool()>;

    // A change and all that was looked at for it: nobody else changes anything meanwhile, and
    // nothing is changed unless it is committed. The operations that change need one.
    class Change {
      public:
        explicit Change(Image& image);

        // Throws Fault if the fence gives false.
        void commit(const Fence& fence);

      private:
        std::unique_lock<std::recursive_mutex> guard_;
        Transaction transaction_;
    };

    bool exists(std::int64_t number);
    std::optional<Object> child(std::int64_t parent, std::uint16_t id);
    // In order of creation, at most `limit`.
    std::vector<std::uint16_t> children(std::int64_t parent, std::uint32_t limit);
    std::uint32_t childCount(std::int64_t parent);
    Usage usage();

    // A new file is zeros, a new key has no value. `object.number` is not read.
    void create(std::int64_t parent, const Object& object);
    void remove(const Object& object);

    // Ranges lie inside the file: the caller has compared them with its size.
    void read(const Object& file, std::uint16_t offset, std::uint16_t length, Buffer& out);
    void write(const Object& file, std::uint16_t offset, Bytes bytes);

    // Nothing for a key that was never written.
    std::optional<KeyValue> key(const Object& key);
    void setKey(const Object& key, Bytes value);

    PasswordRecord password();
    void setPassword(const PasswordRecord& record);

    Buffer serial();
    bool present();
    void setPresent(bool present);

  private:
    struct Statements {
        explicit Statements(Database& database);

        Statement exists, child, children, childCount, usage;
        Statement create, createPage, remove, removePages;
        Statement readPages, readPage, writePage;
        Statement key, setKey;
        Statement password, setPassword;
        Statement token, setPresent;
    };

    void writePage(const Object& file, std::int64_t page, std::int64_t at, Bytes bytes);

    std::recursive_mutex mutex_;
    Database database_;
    Statements statements_;
};

}  // namespace token
