#pragma once

#include <fstream>
#include <sstream>
#include <string>

inline std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline void put(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}
