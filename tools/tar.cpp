#include "tools/tar.h"

#include <archive.h>
#include <archive_entry.h>
#include <dlfcn.h>

#include <memory>

#include "include/ksigil.h"
#include "tools/failure.h"
#include "tools/files.h"
#include "tools/outlet.h"

namespace tools {
namespace {

// libarchive, loaded when a tar file is first met: the other commands are not to wait for it.
class Library {
  public:
    static const Library& get() {
        static const Library library;
        return library;
    }

  private:
    // A function that takes the type of what it is put into.
    struct Address {
        void* address;

        template <typename Function>
        operator Function*() const {
            return reinterpret_cast<Function*>(address);
        }
    };

    Address find(const char* name) const {
        void* const found = handle_ == nullptr ? nullptr : dlsym(handle_, name);
        if (found == nullptr) {
            throw Failure("tar files need the library libarchive: install it (libarchive13)");
        }
        return {found};
    }

    void* handle_ = dlopen("libarchive.so.13", RTLD_NOW | RTLD_LOCAL);

  public:
    decltype(&::archive_error_string) archive_error_string = find("archive_error_string");
    decltype(&::archive_errno) archive_errno = find("archive_errno");
    decltype(&::archive_read_new) archive_read_new = find("archive_read_new");
    decltype(&::archive_read_free) archive_read_free = find("archive_read_free");
    decltype(&::archive_read_support_format_tar) archive_read_support_format_tar =
        find("archive_read_support_format_tar");
    decltype(&::archive_read_open_fd) archive_read_open_fd = find("archive_read_open_fd");
    decltype(&::archive_read_next_header) archive_read_next_header =
        find("archive_read_next_header");
    decltype(&::archive_read_data) archive_read_data = find("archive_read_data");
    decltype(&::archive_write_new) archive_write_new = find("archive_write_new");
    decltype(&::archive_write_free) archive_write_free = find("archive_write_free");
    decltype(&::archive_write_set_format_pax_restricted) archive_write_set_format_pax_restricted =
        find("archive_write_set_format_pax_restricted");
    decltype(&::archive_write_set_bytes_in_last_block) archive_write_set_bytes_in_last_block =
        find("archive_write_set_bytes_in_last_block");
    decltype(&::archive_write_open_fd) archive_write_open_fd = find("archive_write_open_fd");
    decltype(&::archive_write_header) archive_write_header = find("archive_write_header");
    decltype(&::archive_write_data) archive_write_data = find("archive_write_data");
    decltype(&::archive_write_close) archive_write_close = find("archive_write_close");
    decltype(&::archive_entry_new) archive_entry_new = find("archive_entry_new");
    decltype(&::archive_entry_free) archive_entry_free = find("archive_entry_free");
    decltype(&::archive_entry_filetype) archive_entry_filetype = find("archive_entry_filetype");
    decltype(&::archive_entry_hardlink) archive_entry_hardlink = find("archive_entry_hardlink");
    decltype(&::archive_entry_pathname) archive_entry_pathname = find("archive_entry_pathname");
    decltype(&::archive_entry_set_filetype) archive_entry_set_filetype =
        find("archive_entry_set_filetype");
    decltype(&::archive_entry_set_mtime) archive_entry_set_mtime = find("archive_entry_set_mtime");
    decltype(&::archive_entry_set_pathname) archive_entry_set_pathname =
        find("archive_entry_set_pathname");
    decltype(&::archive_entry_set_perm) archive_entry_set_perm = find("archive_entry_set_perm");
    decltype(&::archive_entry_set_size) archive_entry_set_size = find("archive_entry_set_size");
};

constexpr std::size_t blockSize = 10240;

using Archive = std::unique_ptr<archive, int (*)(archive*)>;

class Writer final : public Outlet {
  public:
    Writer(int descriptor, const std::string& name)
        : name_(name), archive_(library_.archive_write_new(), library_.archive_write_free) {
        check(library_.archive_write_set_format_pax_restricted(archive_.get()));
        // As short into a pipe as into a file.
        check(library_.archive_write_set_bytes_in_last_block(archive_.get(), 1));
        check(library_.archive_write_open_fd(archive_.get(), descriptor));
    }

    void addFolder(const std::string& name) override { addHeader(name, AE_IFDIR, 0700, 0); }

    void addFile(const std::string& name, std::span<const std::uint8_t> content) override {
        addHeader(name, AE_IFREG, 0600, content.size());
        if (!content.empty()) {
            const auto written =
                library_.archive_write_data(archive_.get(), content.data(), content.size());
            check(written < 0 ? ARCHIVE_FATAL : ARCHIVE_OK);
        }
    }

    void close() const { check(library_.archive_write_close(archive_.get())); }

  private:
    void addHeader(const std::string& name, unsigned int type, mode_t mode,
                   std::size_t size) const {
        const std::unique_ptr<archive_entry, void (*)(archive_entry*)> entry(
            library_.archive_entry_new(), library_.archive_entry_free);
        library_.archive_entry_set_pathname(entry.get(), name.c_str());
        library_.archive_entry_set_filetype(entry.get(), type);
        library_.archive_entry_set_perm(entry.get(), mode);
        library_.archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
        library_.archive_entry_set_mtime(entry.get(), 0, 0);
        check(library_.archive_write_header(archive_.get(), entry.get()));
    }

    void check(int result) const {
        if (result != ARCHIVE_OK) {
            throw Failure::ofSystem("cannot write " + name_,
                                    library_.archive_errno(archive_.get()));
        }
    }

    const Library& library_ = Library::get();
    std::string name_;
    Archive archive_;
};

class Reader {
  public:
    Reader(int descriptor, const std::string& name)
        : name_(name), archive_(library_.archive_read_new(), library_.archive_read_free) {
        check(library_.archive_read_support_format_tar(archive_.get()));
        check(library_.archive_read_open_fd(archive_.get(), descriptor, blockSize));
    }

    // False at the end.
    bool next() {
        const int result = library_.archive_read_next_header(archive_.get(), &entry_);
        if (result != ARCHIVE_EOF) {
            check(result);
        }
        return result != ARCHIVE_EOF;
    }

    // Without the "./" that other programs put before it, and the '/' behind a folder.
    std::string name() const {
        const char* const found = library_.archive_entry_pathname(entry_);
        std::string name = found == nullptr ? "" : found;
        if (isFolder() && name.ends_with('/')) {
            name.pop_back();
        }
        return name.starts_with("./") ? name.substr(2) : name;
    }

    bool isFolder() const { return library_.archive_entry_filetype(entry_) == AE_IFDIR; }

    bool isFile() const {
        return library_.archive_entry_filetype(entry_) == AE_IFREG &&
               library_.archive_entry_hardlink(entry_) == nullptr;
    }

    Bytes content(std::size_t most) const {
        const auto read = [&](std::span<std::uint8_t> room) {
            const la_ssize_t count =
                library_.archive_read_data(archive_.get(), room.data(), room.size());
            check(count < 0 ? ARCHIVE_FATAL : ARCHIVE_OK);
            return static_cast<std::size_t>(count);
        };
        return readAll(read, most, name());
    }

  private:
    void check(int result) const {
        if (result != ARCHIVE_OK) {
            const char* const why = library_.archive_error_string(archive_.get());
            throw Failure("cannot read " + name_ + ": " + (why == nullptr ? "it is no tar" : why));
        }
    }

    const Library& library_ = Library::get();
    std::string name_;
    Archive archive_;
    archive_entry* entry_ = nullptr;
};

}  // namespace

void requireTar() {
    Library::get();
}

void writeTar(int descriptor, const std::string& name, const Tree& tree) {
    Writer writer(descriptor, name);
    putTree(tree, writer);
    writer.close();
}

void readTar(int descriptor, const std::string& name, Intake& intake) {
    Reader reader(descriptor, name);
    while (reader.next()) {
        if (reader.isFile()) {
            intake.addFile(reader.name(), reader.content(Intake::longest(reader.name())));
        } else if (!reader.isFolder()) {
            throw Failure(reader.name() + " is a link or a device");
        } else if (reader.name() != ".") {
            intake.addDirectory(reader.name());
        }
    }
}

}  // namespace tools
