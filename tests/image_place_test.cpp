#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "tests/toolbox/scratch_image.h"
#include "tests/toolbox/sql.h"
#include "tests/toolbox/token_frames.h"
#include "token/door/slot.h"
#include "token/image/image_header.h"

namespace {

namespace fs = std::filesystem;
using token::Outcome;

std::string connectTo(const token::ImagePlace& place) {
    token::Slot slot(place);
    std::unique_ptr<token::Connection> connection;
    std::string why;
    const Outcome outcome = slot.connect(connection, why);
    return outcome == Outcome::good ? "good" : why;
}

struct WrongPlace {
    const char* reason;
    void (*prepare)(const std::string& path);
};

void putText(const std::string& path) {
    put(path, std::string(5000, 'x'));
}

template <int version>
void putVersion(const std::string& path) {
    putFreshImage(path);
    sql(path, "PRAGMA user_version = " + std::to_string(version));
}

const WrongPlace wrongPlaces[] = {
    {"is not a file", [](const std::string& path) { fs::create_directory(path); }},
    {"is not a file", [](const std::string& path) { mkfifo(path.c_str(), 0600); }},
    {"is empty", [](const std::string& path) { put(path, ""); }},
    {"is not a token image", putText},
    {"is not a token image",  // in write-ahead mode, which an opening to write would touch
     [](const std::string& path) { sql(path, "PRAGMA journal_mode = WAL; CREATE TABLE t (x)"); }},
    {"is a token image of version 1", putVersion<1>},
    {"is a token image of version 2", putVersion<2>},
    {"is a token image of version 4; this program knows version 3", putVersion<4>},
    {"no such table",
     [](const std::string& path) {
         sql(path,
             "PRAGMA application_id = 0x6B536967; PRAGMA user_version = 3; CREATE TABLE t (x)");
     }},
    {"has a second name",
     [](const std::string& path) {
         putFreshImage(path);
         fs::create_hard_link(path, path + ".second");
     }},
    {"cannot be found",
     [](const std::string& path) { fs::create_symlink(path + ".nothing", path); }},
};

TEST(ImageFileTest, WhatIsNoImageIsNeverWritten) {
    for (const WrongPlace& wrong : wrongPlaces) {
        const ScratchFolder folder(Medium::disk);
        const std::string path = folder.file("a 100%?#.db");
        wrong.prepare(path);
        const bool file = fs::is_regular_file(path);
        const std::string before = file ? contentOf(path) : "";
        EXPECT_NE(connectTo({path, false}).find(wrong.reason), std::string::npos)
            << wrong.reason << ": " << connectTo({path, false});
        EXPECT_EQ(file ? contentOf(path) : "", before) << wrong.reason;
    }
}

TEST(ImageFileTest, PlacesThatCannotBeUsedAreRefused) {
    const ScratchFolder folder(Medium::disk);
    EXPECT_NE(connectTo({folder.file("no/token.db"), false}).find("cannot be found"),
              std::string::npos);
    EXPECT_FALSE(fs::exists(folder.file("no")));
    EXPECT_NE(connectTo({"", true}).find("has no place"), std::string::npos);
    EXPECT_NE(connectTo({"/proc/token.db", false}).find("/proc/token.db"), std::string::npos);
    putText(folder.file("file"));
    EXPECT_NE(connectTo({folder.file("file/ksigil/token.db"), true}).find("folder"),
              std::string::npos);

    const std::string image = folder.file("token.db");
    putFreshImage(image);
    sqlite3* holder = nullptr;
    sqlite3_open(image.c_str(), &holder);
    sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
    EXPECT_NE(connectTo({image, false}).find("locked"), std::string::npos);
    sqlite3_close(holder);
    EXPECT_EQ(connectTo({image, false}), "good");
    fs::remove(image + ".lock");
    fs::create_symlink(folder.file("file"), image + ".lock");
    EXPECT_NE(connectTo({image, false}).find("cannot lock"), std::string::npos);
    fs::remove(image + ".lock");
    putText(image + ".lock");
    EXPECT_NE(connectTo({image, false}).find("something else"), std::string::npos);
    EXPECT_EQ(contentOf(image + ".lock"), std::string(5000, 'x'));
    fs::remove(image + ".lock");
    fs::remove(image);
    putText(image + "-journal");
    EXPECT_NE(connectTo({image, false}).find("put the image back"), std::string::npos);
}

TEST(ImageFileTest, ACrashInTheMidstOfAChangeIsNoReasonToRefuse) {
    const ScratchFolder folder(Medium::disk);
    const std::string path = folder.file("token.db");
    putFreshImage(path);
    fs::resize_file(path, fs::file_size(path) - 4096);  // the first page still counts what is gone
    EXPECT_TRUE(token::isImage(path));
}

TEST(ImageFileTest, TheDefaultPlaceIsMadeForItsOwnerAlone) {
    const ScratchFolder folder(Medium::disk);
    const std::string path = folder.file("share/ksigil/token.db");
    const mode_t mask = umask(0277);
    EXPECT_EQ(connectTo({path, true}), "good");
    umask(mask);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(path + ".lock").permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(folder.file("share/ksigil")).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(folder.file("share")).permissions(), fs::perms(0700));
}

TEST(ImageFileTest, TheEnvironmentNamesThePlace) {
    struct Case {
        const char* token;
        const char* data;
        const char* home;
        const char* path;
    };
    const Case cases[] = {
        {"t.db", "/data", "/home/x", "t.db"},
        {"", "/data", "/home/x", "/data/ksigil/token.db"},
        {"", "data", "/home/x", "/home/x/.local/share/ksigil/token.db"},
        {"", "", "/home/x", "/home/x/.local/share/ksigil/token.db"},
        {"", "", "home", ""},
    };
    for (const Case& c : cases) {
        setenv("KSIGIL_TOKEN", c.token, 1);
        setenv("XDG_DATA_HOME", c.data, 1);
        setenv("HOME", c.home, 1);
        EXPECT_EQ(token::imagePlace().path, c.path);
    }
}

TEST(ImageFileTest, ALinkToAnImageLeadsToTheSameToken) {
    const ScratchFolder folder(Medium::disk);
    putFreshImage(folder.file("token.db"));
    fs::create_symlink("token.db", folder.file("link.db"));
    token::Slot one({folder.file("token.db"), false});
    token::Slot other({folder.file("link.db"), false});
    std::unique_ptr<token::Connection> first;
    std::unique_ptr<token::Connection> second;
    std::string why;
    ASSERT_EQ(one.connect(first, why), Outcome::good) << why;
    ASSERT_EQ(other.connect(second, why), Outcome::good) << why;
    answer(*first, frameOf("a4", "0001003f"));
    EXPECT_EQ(answer(*second, frameOf("d2", "000000")), "00000090");

    // Another image in its place would meet a power that is not its own.
    fs::remove(folder.file("token.db"));
    putFreshImage(folder.file("token.db"));
    const std::string before = contentOf(folder.file("token.db"));
    EXPECT_NE(connectTo({folder.file("token.db"), false}).find("another image"), std::string::npos);
    EXPECT_EQ(contentOf(folder.file("token.db")), before);
}

}  // namespace
