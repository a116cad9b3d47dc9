#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

// A test that is about a disk has its folder there; memory spares all others the waiting.
enum class Medium { memory, disk };

// A folder of the test's own, gone with it.
class ScratchFolder {
  public:
    explicit ScratchFolder(Medium medium = Medium::memory) {
        namespace fs = std::filesystem;
        const bool inMemory = medium == Medium::memory && fs::is_directory("/dev/shm");
        const fs::path parent = inMemory ? "/dev/shm" : fs::temp_directory_path();
        std::random_device random;
        do {
            path_ = (parent / ("ksigil-" + std::to_string(random()))).string();
        } while (!fs::create_directory(path_));
        fs::permissions(path_, fs::perms::owner_all);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() { std::filesystem::remove_all(path_); }

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

inline std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline void put(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}
