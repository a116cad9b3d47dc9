#pragma once

#include <sys/wait.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

#include "shell/qv_shell.h"
#include "tests/toolbox/scratch_image.h"

// The shell in this process: what it writes, its exit status, and what it leaves unread.
inline std::string shell(const std::string& input) {
    std::istringstream in(input);
    std::ostringstream out;
    std::streambuf* const usual[] = {std::cin.rdbuf(in.rdbuf()), std::cout.rdbuf(out.rdbuf())};
    out << QVShell("VDW ifdh 0").run();
    std::cin.rdbuf(usual[0]);
    std::cout.rdbuf(usual[1]);
    return out.str() + input.substr(static_cast<std::size_t>(in.tellg()));
}

// Programs run in a folder that is their temporary directory and holds their token and
// configuration.
struct Programs : testing::Test, ScratchFolder {
    void put(const std::string& name, const std::string& text) {
        std::ofstream(file(name)) << text;
    }

    // What the commands write, with '/' for a line break, and their exit status. $self is the
    // test's own program in the role named.
    std::string run(const std::string& commands) const {
        setenv("SELF", std::filesystem::read_symlink("/proc/self/exe").c_str(), 1);
        const std::string preface =
            "umask 0; cd " + file("") +
            "; export TMPDIR=$PWD KSIGIL_PCSC=embedded KSIGIL_LOGGING=$PWD/conf"
            " KSIGIL_TOKEN=$PWD/token.db; self=\"timeout 20 $SELF --role\";"
            " shell='timeout 20 " QVSH " any'; ";
        FILE* const output = popen((preface + commands).c_str(), "r");
        std::string written(4096, '\0');
        written.resize(std::fread(written.data(), 1, written.size(), output));
        std::replace(written.begin(), written.end(), '\n', '/');
        return written + std::to_string(WEXITSTATUS(pclose(output)));
    }
};
