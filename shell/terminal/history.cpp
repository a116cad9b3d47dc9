#include "shell/terminal/history.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>

namespace ksigil {
namespace {

constexpr std::size_t longestLine = 4096;  // bytes
constexpr off_t largestFile = 16 << 20;

std::string folder() {
    const char* const state = std::getenv("XDG_STATE_HOME");
    const char* const home = std::getenv("HOME");
    if (state != nullptr && *state == '/') {
        return std::string(state) + "/ksigil";
    }
    return home != nullptr && *home == '/' ? std::string(home) + "/.local/state/ksigil" : "";
}

// Makes what is missing of the folder, for its owner alone.
void makeFolder(const std::filesystem::path& path) {
    std::filesystem::path made;
    for (const auto& part : path) {
        made /= part;
        mkdir(made.c_str(), 0700);
    }
}

// The file, opened and locked against other shells, for as long as this lives.
class LockedFile {
  public:
    explicit LockedFile(const std::string& path) {
        constexpr int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
        bool isCurrent = false;
        while (!isCurrent) {
            close();
            descriptor_ = open(path.c_str(), flags, 0600);
            if (descriptor_ < 0 || !lock() || fstat(descriptor_, &about_) != 0 ||
                !S_ISREG(about_.st_mode) || about_.st_uid != geteuid() || about_.st_nlink > 1) {
                close();
                return;
            }
            // Another shell may have put a shorter one in its place meanwhile.
            isCurrent = about_.st_nlink != 0;
        }
        fchmod(descriptor_, 0600);
    }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;
    ~LockedFile() { close(); }

    bool isOpen() const { return descriptor_ >= 0; }

    std::string content() const {
        std::string bytes(static_cast<std::size_t>(std::min(about_.st_size, largestFile)), '\0');
        const off_t begin = about_.st_size - static_cast<off_t>(bytes.size());
        const ssize_t count = pread(descriptor_, bytes.data(), bytes.size(), begin);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }

    // All of it or nothing.
    void append(const std::string& bytes) const {
        if (write(descriptor_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) &&
            ftruncate(descriptor_, about_.st_size) != 0) {
            // A part of a line stays.
        }
    }

  private:
    // Waits a little for another shell, and not for one that was stopped.
    bool lock() const {
        constexpr timespec pause{0, 10'000'000};
        constexpr int mostPauses = 20;
        for (int pauses = 0; pauses < mostPauses; ++pauses) {
            if (flock(descriptor_, LOCK_EX | LOCK_NB) == 0) {
                return true;
            }
            nanosleep(&pause, nullptr);
        }
        return false;
    }

    void close() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
            descriptor_ = -1;
        }
    }

    int descriptor_ = -1;
    struct stat about_ {};
};

std::vector<std::string> linesOf(const std::string& content) {
    std::vector<std::string> lines;
    std::istringstream stream(content);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The old file stays where the new one cannot be written whole.
void replace(const std::string& path, const std::vector<std::string>& lines) {
    std::string bytes;
    for (const std::string& line : lines) {
        bytes += line + "\n";
    }
    std::string name = path + ".XXXXXX";
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor >= 0) {
        const bool isWhole =
            write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
            fsync(descriptor) == 0;
        close(descriptor);
        if (!isWhole || std::rename(name.c_str(), path.c_str()) != 0) {
            unlink(name.c_str());
        }
    }
}

}  // namespace

History::History() {
    const std::string in = folder();
    if (!in.empty()) {
        makeFolder(in);
        path_ = in + "/history";
    }
}

std::vector<std::string> History::load() const {
    std::vector<std::string> lines;
    const LockedFile file(path_);
    if (file.isOpen()) {
        lines = linesOf(file.content());
        if (lines.size() > mostLines) {
            lines.erase(lines.begin(), lines.end() - mostLines);
            replace(path_, lines);
        }
    }
    return lines;
}

void History::append(const std::string& line) const {
    if (line.size() <= longestLine) {
        const LockedFile file(path_);
        if (file.isOpen()) {
            file.append(line + "\n");
        }
    }
}

}  // namespace ksigil
