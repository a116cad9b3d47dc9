#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>

#include "include/ksigil.h"
#include "platform/posix/embedded_resource_manager.h"
#include "tests/toolbox/process.h"
#include "tests/toolbox/recording_resource_manager.h"
#include "tests/toolbox/scratch_image.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

// A handle on the usual reader, closed in the end.
struct Handle {
    ksigil_token* token = nullptr;
    Handle() { EXPECT_EQ(ksigil_open(nullptr, &token), 0U) << ksigil_reason(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { ksigil_close(token); }
};

// On a fresh token of its own.
struct Library : testing::Test {
    ScratchFolder folder;
    token::ImagePlace place{folder.file("token.db"), false};
    platform::EmbeddedResourceManager manager{place};

    Library() {
        putFreshImage(folder.file("token.db"));
        platform::useResourceManager(&manager);
    }
    ~Library() override { platform::useResourceManager(nullptr); }
};

struct Call {
    const char* name;
    std::function<uint32_t(ksigil_token*)> call;
};

// One call of each function that takes a token, with arguments that it takes.
std::vector<Call> callsOnTokens() {
    static std::array<u8, 64> bytes{};
    static ksigil_object object;
    static ksigil_entry entry;
    static ksigil_token_info info;
    static ksigil_protector protector;
    static size_t count = 0;
    static uint16_t id = 0;
    static const char* const path = "3f000001";
    u8* const b = bytes.data();
    return {
        {"thread_done", ksigil_thread_done},
        {"lock", ksigil_lock},
        {"unlock", ksigil_unlock},
        {"logout", ksigil_logout},
        {"login", [b](auto* t) { return ksigil_login(t, b, 4); }},
        {"change", [b](auto* t) { return ksigil_change_password(t, b, 4); }},
        {"info", [](auto* t) { return ksigil_get_token_info(t, &info); }},
        {"object", [](auto* t) { return ksigil_get_object(t, path, &object); }},
        {"list", [](auto* t) { return ksigil_list(t, "3F00", &object, 1, &count); }},
        {"file", [](auto* t) { return ksigil_make_file(t, path, 8, 0); }},
        {"directory", [](auto* t) { return ksigil_make_directory(t, path, 0); }},
        {"key", [](auto* t) { return ksigil_make_key(t, path, 0); }},
        {"remove", [](auto* t) { return ksigil_remove(t, path); }},
        {"tree", [](auto* t) { return ksigil_remove_tree(t, path); }},
        {"read", [b](auto* t) { return ksigil_read(t, path, 0, b, 8); }},
        {"read_file", [b](auto* t) { return ksigil_read_file(t, path, b, 64, &count); }},
        {"write", [b](auto* t) { return ksigil_write(t, path, 0, b, 8); }},
        {"write_file", [b](auto* t) { return ksigil_write_file(t, path, b, 8); }},
        {"write_key", [b](auto* t) { return ksigil_write_key(t, path, b, 16); }},
        {"encrypt", [b](auto* t) { return ksigil_encrypt(t, path, b, 8, b, 64, &count); }},
        {"decrypt", [b](auto* t) { return ksigil_decrypt(t, path, b, 8, b, 64, &count); }},
        {"p_encrypt", [b](auto* t) { return ksigil_protector_encrypt(t, b, 8, b, 64, &count); }},
        {"p_decrypt", [b](auto* t) { return ksigil_protector_decrypt(t, b, 8, b, 64, &count); }},
        {"protector", [](auto* t) { return ksigil_get_protector(t, &protector); }},
        {"prepare", [](auto* t) { return ksigil_prepare_protector(t, nullptr); }},
        {"entries", [](auto* t) { return ksigil_list_entries(t, &entry, 1, &count); }},
        {"get_entry", [b](auto* t) { return ksigil_get_entry(t, 1, b); }},
        {"set_entry", [b](auto* t) { return ksigil_set_entry(t, 1, b); }},
        {"remove_entry", [](auto* t) { return ksigil_remove_entry(t, 1); }},
        {"find", [](auto* t) { return ksigil_find_directory(t, 0x1000, &id); }},
    };
}

TEST_F(Library, KnowsAHandleThatIsNone) {
    ksigil_token* closed = nullptr;
    ASSERT_EQ(ksigil_open("VDW ifdh 0", &closed), 0U);
    ksigil_close(closed);
    ksigil_close(closed);
    ksigil_close(nullptr);
    static int other = 0;
    for (const Call& one : callsOnTokens()) {
        for (ksigil_token* handle : {closed, static_cast<ksigil_token*>(nullptr),
                                     reinterpret_cast<ksigil_token*>(&other)}) {
            EXPECT_EQ(one.call(handle), KSIGIL_INVALID_HANDLE) << one.name;
            EXPECT_THAT(ksigil_reason(), HasSubstr("handle is closed"));
        }
    }
    const std::string tooLong(200, 'x');
    for (const char* reader : {"", "other", tooLong.c_str()}) {
        EXPECT_EQ(ksigil_open(reader, &closed), KSIGIL_UNKNOWN_READER);
        EXPECT_EQ(closed, nullptr);
    }
}

TEST_F(Library, RefusesArgumentsBeforeItSendsThem) {
    RecordingResourceManager recorder;
    const Handle handle;
    recorder.take();
    u8 b[8];
    size_t n = 0;
    ksigil_token* const t = handle.token;
    const std::string deep(1024, '1');
    const uint32_t bad[] = {
        ksigil_open(nullptr, nullptr),
        ksigil_readers(nullptr, 1, &n),
        ksigil_readers(nullptr, 0, nullptr),
        ksigil_login(t, nullptr, 1),
        ksigil_login(t, b, 65536),
        ksigil_get_token_info(t, nullptr),
        ksigil_get_object(t, "3f00", nullptr),
        ksigil_list(t, "3f00", nullptr, 1, &n),
        ksigil_list(t, deep.c_str(), nullptr, 0, &n),
        ksigil_make_file(t, "3f000001", 65536, 0),
        ksigil_make_directory(t, nullptr, 0),
        ksigil_read(t, "3f000001", 65535, b, 1),
        ksigil_read(t, "3f000001", SIZE_MAX, b, 2),
        ksigil_read_file(t, "3f000001", b, 8, nullptr),
        ksigil_write(t, "3f000001", 1, nullptr, 1),
        ksigil_write_file(t, nullptr, b, 1),
        ksigil_encrypt(t, "3f000001", b, 8, b, 8, nullptr),
        ksigil_protector_decrypt(t, nullptr, 8, b, 8, &n),
        ksigil_get_protector(t, nullptr),
        ksigil_list_entries(t, nullptr, 1, &n),
        ksigil_get_entry(t, 1, nullptr),
        ksigil_set_entry(t, 1, nullptr),
        ksigil_find_directory(t, 0xFFF0, nullptr),
    };
    for (std::size_t i = 0; i < std::size(bad); ++i) {
        EXPECT_EQ(bad[i], KSIGIL_INVALID_ARGUMENT) << "call " << i;
    }
    EXPECT_EQ(ksigil_write_key(t, "3f000001", b, 8), KSIGIL_INVALID_PARAMETER);
    EXPECT_EQ(ksigil_encrypt(t, "3f000001", b, 8, b, 8, &n), KSIGIL_BUFFER_TOO_SMALL);
    EXPECT_EQ(n, 16U);
    EXPECT_EQ(recorder.take(), "");
    for (const char* path : {"", "3f0", "3f00x001", "3f00\033[1"}) {
        EXPECT_EQ(ksigil_remove(t, path), KSIGIL_INVALID_ARGUMENT);
        EXPECT_THAT(ksigil_reason(), HasSubstr("4 hexadecimal digits"));
        EXPECT_THAT(recorder.take(), testing::Not(HasSubstr("transmit")));
    }
}

// Answers each frame with the token's success.
struct AnsweringManager : RecordingResourceManager {
    u32 transmit(u32 card, u32 header, const u8* send, u32 length, u8* reply, u32& room) override {
        const u32 rv = RecordingResourceManager::transmit(card, header, send, length, reply, room);
        std::copy_n("\x00\x90", 2, reply);
        room = 2;
        return rv;
    }
};

// A command that may have been lost is not sent again: another program may have selected something
// else in between.
TEST_F(Library, ForgetsALostConnection) {
    constexpr uint32_t other = 0x80100016;
    const std::string frame = " | begin 101 | transmit 101 2 0 8 2";
    const std::string ended = " | end 101 0", dropped = " | disconnect 101 0 | release 1";
    const struct {
        const char* call;
        std::string lost, otherwise;
    } places[] = {{"begin", " | begin 101" + dropped, " | begin 101"},
                  {"transmit", frame + dropped, frame + ended},
                  {"end", frame + ended + dropped, frame + ended + dropped}};
    for (const uint32_t rv :
         {uint32_t{6}, KSIGIL_READER_GONE, KSIGIL_TOKEN_RESET, KSIGIL_TOKEN_REMOVED, other}) {
        for (const auto& [call, lost, otherwise] : places) {
            AnsweringManager recorder;
            const Handle handle;
            EXPECT_EQ(recorder.take(), " | open 1");
            recorder.results[call] = {rv};
            EXPECT_EQ(ksigil_logout(handle.token), rv);
            const std::string calls = recorder.take();
            EXPECT_EQ(calls, rv == other ? otherwise : lost) << call << ' ' << std::hex << rv;
            EXPECT_EQ(ksigil_unlock(handle.token), 0U);
            EXPECT_EQ(recorder.take(), "");
            EXPECT_EQ(ksigil_logout(handle.token), 0U);
            EXPECT_EQ(recorder.take().starts_with(" | open 2"), calls.ends_with(dropped));
        }
        AnsweringManager recorder;
        const Handle handle;
        EXPECT_EQ(ksigil_lock(handle.token) + ksigil_lock(handle.token), 0U);
        recorder.results["transmit"] = {rv};
        EXPECT_EQ(ksigil_logout(handle.token), rv);
        recorder.take();
        EXPECT_EQ(ksigil_unlock(handle.token) + ksigil_unlock(handle.token), 0U);
        EXPECT_EQ(recorder.take(), rv == other ? ended : "");
    }
}

TEST_F(Library, GivesEachOf64ThreadsAConnection) {
    AnsweringManager recorder;
    const Handle handle, same;
    std::atomic<int> connected = 0, finished = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 63; ++i) {
        threads.emplace_back([&] {
            EXPECT_EQ(ksigil_lock(handle.token), 0U);
            EXPECT_EQ(ksigil_lock(same.token), 0U);
            ++connected;
            while (finished == 0) {
                std::this_thread::yield();
            }
            EXPECT_EQ(ksigil_thread_done(same.token), 0U);
        });
    }
    while (connected < 63) {
        std::this_thread::yield();
    }
    const auto fromOneMore = [&](uint32_t expected) {
        std::jthread([&] {
            EXPECT_EQ(ksigil_logout(handle.token), expected);
            EXPECT_EQ(ksigil_thread_done(handle.token), 0U);
        }).join();
    };
    fromOneMore(KSIGIL_TOO_MANY_THREADS);
    finished = 1;
    threads.clear();
    recorder.take();
    fromOneMore(KSIGIL_OK);
    EXPECT_THAT(recorder.take(), ContainsRegex("open 65.*disconnect 165 0 . release 65$"));
}

std::string kindsOf(ksigil_token* token, const char* path) {
    std::vector<ksigil_object> found(KSIGIL_MAX_CHILDREN);
    size_t count = 0;
    EXPECT_EQ(ksigil_list(token, path, found.data(), found.size(), &count), 0U);
    EXPECT_EQ(count == 0 ? 0 : ksigil_list(token, path, nullptr, 0, &count),
              count == 0 ? 0 : KSIGIL_BUFFER_TOO_SMALL);
    std::ostringstream told;
    for (size_t i = 0; i < count; ++i) {
        told << ' ' << std::hex << found[i].id << '/' << int{found[i].type} << '/'
             << int{found[i].attribute} << '/' << std::dec << found[i].size;
    }
    return told.str();
}

TEST_F(Library, WorksOnATokensObjects) {
    const Handle handle;
    ksigil_token* const t = handle.token;
    const u8 password[] = {'1', '2', '3', '4'}, next[] = {0, 255, ' '};
    EXPECT_EQ(ksigil_make_file(t, "3f000001", 3000, 1), KSIGIL_NO_LOGIN);
    EXPECT_THAT(ksigil_reason(), HasSubstr("password"));
    EXPECT_EQ(ksigil_login(t, password, 3), KSIGIL_NO_LOGIN);
    EXPECT_EQ(ksigil_login(t, password, 4), 0U);
    EXPECT_EQ(ksigil_change_password(t, next, 3) + ksigil_logout(t) + ksigil_login(t, next, 3), 0U);
    EXPECT_EQ(ksigil_make_file(t, "3F00AbCd", 3000, 1) + ksigil_make_directory(t, "3f001000", 0) +
                  ksigil_make_key(t, "3f0010000002", 1) + ksigil_make_file(t, "3f0010000003", 0, 0),
              0U);
    EXPECT_EQ(kindsOf(t, "3f00"), " abcd/1/1/3000 1000/2/0/0");
    EXPECT_EQ(kindsOf(t, "3f001000"), " 2/3/3/24 3/1/0/0");

    std::vector<u8> written(3000), read(3000, 0xEE);
    for (std::size_t i = 0; i < written.size(); ++i) {
        written[i] = static_cast<u8>(i * 7);
    }
    size_t length = 0;
    EXPECT_EQ(ksigil_write_file(t, "3f00abcd", written.data(), 2999), KSIGIL_INVALID_ARGUMENT);
    EXPECT_EQ(ksigil_write_file(t, "3f00abcd", written.data(), 3000), 0U);
    EXPECT_EQ(ksigil_write(t, "3f00abcd", 2999, written.data(), 1), 0U);
    written[2999] = written[0];
    EXPECT_EQ(ksigil_read_file(t, "3f00abcd", read.data(), 2999, &length), KSIGIL_BUFFER_TOO_SMALL);
    EXPECT_EQ(length, 3000U);
    EXPECT_EQ(read[0], 0xEE);
    EXPECT_EQ(ksigil_read_file(t, "3f00abcd", read.data(), 3000, &length), 0U);
    EXPECT_EQ(read, written);
    EXPECT_EQ(ksigil_read(t, "3f00abcd", 10, read.data(), 2), 0U);
    EXPECT_EQ(read[1], written[11]);

    EXPECT_EQ(ksigil_write_key(t, "3f0010000002", written.data(), 16), 0U);
    EXPECT_EQ(ksigil_protector_encrypt(t, written.data(), 9, read.data(), 16, &length),
              KSIGIL_NO_PROTECTOR);
    int isWeak = 7;
    ksigil_protector protector{};
    EXPECT_EQ(ksigil_prepare_protector(t, &isWeak) + ksigil_get_protector(t, &protector), 0U);
    EXPECT_EQ(protector.key, std::string("3f0030000001"));
    EXPECT_EQ(isWeak + protector.has_entry + protector.has_directory + protector.has_key, 3);
    std::vector<u8> text(written.begin(), written.begin() + 9), cipher(16);
    EXPECT_EQ(ksigil_encrypt(t, "3f0010000002", text.data(), 9, cipher.data(), 16, &length), 0U);
    EXPECT_EQ(ksigil_decrypt(t, "3f0010000002", cipher.data(), 16, cipher.data(), 16, &length), 0U);
    EXPECT_EQ(std::vector<u8>(cipher.begin(), cipher.begin() + static_cast<long>(length)), text);
    EXPECT_EQ(ksigil_protector_encrypt(t, text.data(), 9, cipher.data(), 16, &length), 0U);
    EXPECT_EQ(ksigil_protector_decrypt(t, cipher.data(), 16, cipher.data(), 16, &length), 0U);
    EXPECT_EQ(std::vector<u8>(cipher.begin(), cipher.begin() + static_cast<long>(length)), text);

    EXPECT_EQ(ksigil_remove(t, "3f001000"), KSIGIL_NOT_EMPTY);
    EXPECT_EQ(ksigil_remove_tree(t, "3f001000"), 0U);
    ksigil_object object;
    EXPECT_EQ(ksigil_get_object(t, "3f001000", &object), KSIGIL_NOT_FOUND);
    EXPECT_EQ(ksigil_remove_tree(t, "3f00"), 0U);
    EXPECT_EQ(kindsOf(t, "3f00"), "");

    ksigil_token_info info{};
    EXPECT_EQ(ksigil_get_token_info(t, &info), 0U);
    EXPECT_EQ(ksigil_colour_name(info.colour), std::string("Ice"));
    EXPECT_EQ(info.bytes_used, 0U);
    EXPECT_EQ(info.version, 0x100);
}

std::string pathInRoot(uint16_t id) {
    char path[9];
    std::snprintf(path, sizeof path, "3f00%04x", id);
    return path;
}

TEST_F(Library, LosesNoEntryToOneTooMany) {
    const Handle handle;
    ksigil_token* const t = handle.token;
    const u8 content[] = {1, 2, 3, 4};
    const u8 key[16] = {};
    u8 read[4] = {};
    size_t count = 9;
    std::vector<ksigil_entry> entries(KSIGIL_MAX_ENTRIES);
    EXPECT_EQ(ksigil_list_entries(t, entries.data(), 0, &count), 0U);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(ksigil_get_entry(t, 7, read), KSIGIL_NOT_FOUND);
    EXPECT_EQ(ksigil_set_entry(t, 7, content) + ksigil_get_entry(t, 7, read), 0U);
    EXPECT_EQ(read[3], 4);
    EXPECT_EQ(ksigil_get_entry(t, 8, read), KSIGIL_INVALID_PARAMETER);
    // Another's key in the place where one without the protector's entry would be looked for.
    u8 output[16];
    EXPECT_EQ(ksigil_make_key(t, "3f000001", 0) + ksigil_write_key(t, "3f000001", key, 16), 0U);
    EXPECT_EQ(ksigil_protector_encrypt(t, content, 4, output, 16, &count), KSIGIL_NO_PROTECTOR);
    EXPECT_EQ(ksigil_remove_entry(t, 7), 0U);
    uint16_t id = 0;
    EXPECT_EQ(ksigil_find_directory(t, 0xA1A1, &id), 0U);
    EXPECT_EQ(id, 0xA1A2);

    constexpr size_t full = 30 + 9 * size_t{KSIGIL_MAX_ENTRIES};
    EXPECT_EQ(ksigil_remove(t, "3f00a1a1") + ksigil_make_file(t, "3f00a1a1", full, 0), 0U);
    EXPECT_EQ(ksigil_set_entry(t, 7, content), KSIGIL_NO_SPACE);
    EXPECT_EQ(ksigil_prepare_protector(t, nullptr), KSIGIL_NO_SPACE);
    EXPECT_EQ(ksigil_set_entry(t, 0, content), 0U);
    EXPECT_EQ(ksigil_list_entries(t, entries.data(), entries.size(), &count), 0U);
    EXPECT_EQ(count, size_t{KSIGIL_MAX_ENTRIES});
    EXPECT_EQ(entries[0].content[3], 4);

    // To rewrite the table on a token that has 8 bytes free would lose it.
    ksigil_token_info info{};
    EXPECT_EQ(ksigil_remove(t, "3f00a1a1") + ksigil_set_entry(t, 7, content), 0U);
    EXPECT_EQ(ksigil_get_token_info(t, &info), 0U);
    for (size_t left = info.bytes_total - info.bytes_used - 8, size; left > 0; left -= size) {
        size = std::min<size_t>(left, KSIGIL_MAX_FILE_SIZE);
        EXPECT_EQ(ksigil_find_directory(t, 0x2000, &id), 0U);
        EXPECT_EQ(ksigil_make_file(t, pathInRoot(id).c_str(), size, 0), 0U);
    }
    EXPECT_EQ(ksigil_set_entry(t, 8, content), KSIGIL_NO_TOKEN_MEMORY);
    EXPECT_EQ(ksigil_prepare_protector(t, nullptr), KSIGIL_NO_TOKEN_MEMORY);
    EXPECT_EQ(ksigil_set_entry(t, 7, content) + ksigil_get_entry(t, 7, read), 0U);
}

struct Told {
    std::string text;
    uint64_t endAt;
};

int tell(void* context, uint64_t done, uint64_t total) {
    Told& told = *static_cast<Told*>(context);
    told.text += ' ' + std::to_string(done) + '/' + std::to_string(total);
    return done == told.endAt ? 1 : 0;
}

TEST_F(Library, EndsBetweenTwoFrames) {
    const Handle handle;
    ksigil_token* const t = handle.token;
    std::vector<u8> bytes(2000, 5);
    EXPECT_EQ(ksigil_make_file(t, "3f000001", 2000, 0) + ksigil_make_key(t, "3f000002", 0), 0U);
    size_t length = 0;
    Told told;
    ksigil_set_progress(tell, &told);
    const struct {
        std::function<uint32_t()> call;
        std::string whole;
        uint64_t endAt;
        std::string cut;
    } cases[] = {
        {[&] { return ksigil_write(t, "3f000001", 0, bytes.data(), 2000); },
         " 0/2000 986/2000 1972/2000", 986, " 0/2000 986/2000"},
        {[&] { return ksigil_read(t, "3f000001", 0, bytes.data(), 2000); },
         " 0/2000 986/2000 1972/2000", 1972, " 0/2000 986/2000 1972/2000"},
        {[&] { return ksigil_read_file(t, "3f000001", bytes.data(), 2000, &length); },
         " 0/2000 0/2000 986/2000 1972/2000", 986, " 0/2000 0/2000 986/2000"},
        {[&] { return ksigil_encrypt(t, "3f000002", bytes.data(), 9, bytes.data(), 16, &length); },
         " 0/16 8/16", 8, " 0/16 8/16"},
        {[&] { return ksigil_remove_tree(t, "3f00"); }, " 1/0 2/0 3/0 4/0 5/0 6/0 7/0", 5,
         " 1/0 2/0 3/0 4/0 5/0"},
    };
    const u8 key[16] = {};
    EXPECT_EQ(ksigil_write_key(t, "3f000002", key, 16), 0U);
    for (const auto& one : cases) {
        told = {"", one.endAt};
        EXPECT_EQ(one.call(), KSIGIL_CANCELLED);
        EXPECT_EQ(told.text, one.cut);
        told = {"", 99999};
        EXPECT_EQ(one.call(), 0U) << one.whole;
        EXPECT_EQ(told.text.substr(0, one.whole.size()), one.whole);
        EXPECT_EQ(ksigil_unlock(t), 0U);
    }
    const u8 content[4] = {};
    for (uint64_t frame = 1; frame < 5; ++frame) {
        told = {"", frame};
        EXPECT_EQ(ksigil_set_entry(t, 1, content), KSIGIL_CANCELLED);
        EXPECT_TRUE(told.text.ends_with(" " + std::to_string(frame) + "/0")) << told.text;
    }
    ksigil_set_progress(nullptr, nullptr);
}

// The parent's handle is nothing to a child, and what the child does to it is nothing to the
// parent.
TEST_F(Library, StaysWithTheProcessThatOpenedIt) {
    platform::useResourceManager(nullptr);
    setenv("KSIGIL_TOKEN", folder.file("token.db").c_str(), 1);
    const Handle handle;
    EXPECT_EQ(ksigil_lock(handle.token), 0U);
    const pid_t child = fork();
    if (child == 0) {
        ksigil_token* other = nullptr;
        const bool isNothing = ksigil_logout(handle.token) == KSIGIL_INVALID_HANDLE &&
                               ksigil_open(nullptr, &other) == KSIGIL_INVALID_HANDLE;
        ksigil_close(handle.token);
        _exit(isNothing ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ksigil_logout(handle.token) + ksigil_unlock(handle.token), 0U);
}

TEST_F(Library, SaysWhyAReaderCannotBeOpened) {
    ksigil_reader readers[2];
    size_t count = 0;
    EXPECT_EQ(ksigil_readers(readers, 2, &count), 0U);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(readers[0].name, std::string("VDW ifdh 0"));
    EXPECT_EQ(readers[0].has_token, 1);
    EXPECT_EQ(ksigil_readers(readers, 0, &count), KSIGIL_BUFFER_TOO_SMALL);
    token::Slot(place).remove();
    ksigil_token* token = nullptr;
    EXPECT_EQ(ksigil_open(nullptr, &token), KSIGIL_NO_TOKEN);
    EXPECT_EQ(ksigil_reason(), std::string("the token was removed from its reader"));
    EXPECT_EQ(ksigil_readers(readers, 2, &count), 0U);
    EXPECT_EQ(readers[0].has_token, 0);
    put(folder.file("token.db"), "no image");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ksigil_open(nullptr, &token), 0x80100066U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(ksigil_reason(), HasSubstr("is not a token image"));
    EXPECT_STREQ(ksigil_result_text(0xE0066407), "Bad path (not found).");
}

}  // namespace
