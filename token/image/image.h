#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "token/base/bytes.h"
#include "token/image/object.h"
#include "token/image/password.h"
#include "token/image/sealer.h"
#include "token/image/sql.h"

namespace token {

// The durable token: its tree, contents, password and whether it stands in its reader, kept in one
// SQLite file. A change is on the disk when its commit returns. Throws Fault: then nothing
// has changed, or all of it where the disk failed only after the change. Any thread may call; calls
// wait for each other.
//
// The content of private files and the value of two-factor keys are sealed under the image's secret
// key. Those who touch them give the key; for everything else it may be null. A seal that does not
// hold is a Fault.
class Image {
  public:
    struct Usage {
        std::uint32_t objects;
        std::uint32_t bytes;
    };

    // Opens an image that isImage() knows as one.
    explicit Image(const std::string& path);
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image();

    // Asked before a change becomes durable; false lets nothing of it happen.
    using Fence = std::function<bool()>;
    static bool always() { return true; }

    // While it lives, nobody else changes the image. Nothing is changed unless it is committed. The
    // operations that change the image need one.
    class Change {
      public:
        explicit Change(Image& image);

        // Throws Fault if the fence gives false. A change of the password, a key's value or
        // whether the token is in its reader, and a removal, leave nothing of what was before in
        // any file; they wait for those who read the image.
        void commit(const Fence& fence);

      private:
        Image& image_;
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
    void create(std::int64_t parent, const Object& object, const SecretKey* secret);
    void remove(const Object& object);

    // Ranges lie inside the file: the caller has compared them with its size.
    void read(const Object& file, std::uint16_t offset, std::uint16_t length, Buffer& out,
              const SecretKey* secret);
    void write(const Object& file, std::uint16_t offset, Bytes bytes, const SecretKey* secret);

    // Whether the key was ever written; one that was not has no value.
    bool hasKey(const Object& key);
    KeyValue key(const Object& key, const SecretKey* secret);
    void setKey(const Object& key, Bytes value, const SecretKey* secret);

    PasswordRecord password();
    void setPassword(const PasswordRecord& record);
    // Counts a login as failed, before it is judged. False, with nothing counted, if the password
    // is blocked.
    bool countFailedLogin();
    void setFailures(std::uint32_t failures);

    // Random, made with the image.
    const Buffer& serial() const { return serial_; }
    bool present();
    void setPresent(bool present);

    // Does away with what writing to files has overwritten, where nobody stands in the way. Waits
    // for nobody.
    void forgetOverwritten();

  private:
    struct Statements {
        explicit Statements(Database& database);

        Statement exists, child, children, childCount, usage;
        Statement create, createPage, remove, removePages;
        Statement readPages, readPage, writePage;
        Statement key, setKey;
        Statement present, setPresent;
    };

    void needRow(Query& query) const;
    void changeRow(Query& query);
    static Object objectIn(const Query& query);
    void createPages(const Object& file, const SecretKey* secret);
    void removePages(const Object& object);

    // The sealer for an object, none for one that is not sealed.
    std::optional<Sealer> sealerFor(const Object& object, const SecretKey* secret) const;
    Buffer unsealPage(const Object& file, std::int64_t page, Bytes row,
                      std::optional<Sealer>& sealer) const;
    Buffer sealPage(const Object& file, std::int64_t page, Buffer bytes,
                    std::optional<Sealer>& sealer) const;
    void writePage(const Object& file, std::int64_t page, std::int64_t at, Bytes bytes,
                   std::optional<Sealer>& sealer);

    std::recursive_mutex mutex_;
    Database database_;
    bool holdsOld_ = false;  // what must not outlive its change
    Buffer serial_;
    Statements statements_;
};

}  // namespace token
