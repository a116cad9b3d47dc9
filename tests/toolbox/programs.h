#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/toolbox/process.h"
#include "tests/toolbox/scratch_folder.h"

// Programs run in a folder that is their temporary directory and holds their token and
// configuration.
struct Programs : testing::Test, ScratchFolder {
    void put(const std::string& name, const std::string& text) { ::put(file(name), text); }

    std::string run(const std::string& commands) const {
        return ::run("umask 0; cd " + path() +
                     "; export TMPDIR=$PWD KSIGIL_PCSC=embedded KSIGIL_LOGGING=$PWD/conf"
                     " KSIGIL_TOKEN=$PWD/token.db; shell='timeout 20 " QVSH " any'; " +
                     commands);
    }
};
