#include "include/ksigil.h"

#include <array>
#include <cstdlib>
#include <thread>

#include "fuzz/script.h"
#include "platform/resource_manager.h"

namespace {

// A manager that fails where the input says so; its token answers as the input tells it.
class ScriptedManager : public platform::ResourceManager {
  public:
    explicit ScriptedManager(Script& script) : script_(script) {
        platform::useResourceManager(this);
    }
    ~ScriptedManager() override { platform::useResourceManager(nullptr); }

    std::string leadsTo() const override { return "a script"; }
    u32 readers(std::vector<Reader>& readers, std::string& why) override {
        for (int left = script_.next() % 4; left > 0; --left) {
            readers.push_back({std::string(script_.next(), 'r'), left == 1});
        }
        return fate(why);
    }
    u32 establish(u32, u32& context, std::string& why) override {
        context = ++last_;
        return fate(why);
    }
    u32 release(u32) override { return fate(); }
    u32 connect(u32, const char*, u32, u32, u32& card, u32& protocol, std::string& why) override {
        card = ++last_;
        protocol = script_.next();
        return fate(why);
    }
    u32 reconnect(u32, u32, u32, u32, u32&) override { return fate(); }
    u32 disconnect(u32, u32) override { return fate(); }
    u32 begin(u32, std::string& why) override { return fate(why); }
    u32 end(u32, u32) override { return fate(); }
    u32 transmit(u32, u32, const u8* send, u32 length, u8* receive, u32& room) override {
        return script_.transmit(send, length, receive, &room);
    }

  private:
    // One call in 16 fails, as a lost connection or otherwise.
    u32 fate() {
        static constexpr u32 numbers[] = {6, 0x80100017, 0x80100068, 0x80100069, 0x80100016};
        const u8 kind = script_.next();
        return kind % 16 == 15 ? numbers[kind / 16 % std::size(numbers)] : 0;
    }
    u32 fate(std::string& why) {
        const u32 rv = fate();
        why = rv == 0 ? why : std::string(script_.next() * 9UL, 'w');
        return rv;
    }

    Script& script_;
    u32 last_ = 0;
};

// What the calls of one input work on. A handle may be closed, null or made up.
struct Caller {
    Script& script;
    std::array<ksigil_token*, 4> tokens{nullptr, nullptr, nullptr,
                                        reinterpret_cast<ksigil_token*>(~uintptr_t{})};
    Bytes bytes = Bytes(70000, 0x5A);
    std::vector<ksigil_object> objects = std::vector<ksigil_object>(KSIGIL_MAX_CHILDREN);
    std::vector<ksigil_entry> entries = std::vector<ksigil_entry>(KSIGIL_MAX_ENTRIES);
    std::array<ksigil_reader, 3> readers{};
    size_t count = 0;

    ksigil_token*& token() { return tokens[script.next() % tokens.size()]; }
    size_t upTo(size_t most) { return (script.next() * 256UL + script.next()) % (most + 1); }
    size_t offset() { return script.next() == 0xFF ? SIZE_MAX - 5 : upTo(0xFFFF); }
    const char* path() {
        static constexpr const char* paths[] = {"3f00", "3f000001", "3F00a1a1", "3f0030000001",
                                                "",     "3f0",      "3f00zzzz", nullptr};
        return paths[script.next() % std::size(paths)];
    }
    u8* buffer() { return script.next() == 0xFF ? nullptr : bytes.data(); }
};

int cancel(void* context, uint64_t, uint64_t) {
    return static_cast<Caller*>(context)->script.next() == 0xFF ? 1 : 0;
}

using Operation = void (*)(Caller& c);
constexpr Operation operations[] = {
    [](Caller& c) { ksigil_open(nullptr, &c.tokens[c.script.next() % 3]); },
    [](Caller& c) { ksigil_close(c.token()); },
    [](Caller& c) { ksigil_thread_done(c.token()); },
    [](Caller& c) { ksigil_lock(c.token()); },
    [](Caller& c) { ksigil_unlock(c.token()); },
    [](Caller& c) { std::thread([&c] { ksigil_logout(c.token()); }).join(); },
    [](Caller& c) { ksigil_set_progress(c.script.next() % 2 == 0 ? cancel : nullptr, &c); },
    [](Caller& c) { ksigil_readers(c.readers.data(), c.upTo(c.readers.size()), &c.count); },
    [](Caller& c) { ksigil_login(c.token(), c.buffer(), c.upTo(66000)); },
    [](Caller& c) { ksigil_change_password(c.token(), c.buffer(), c.upTo(40)); },
    [](Caller& c) {
        ksigil_token_info info;
        ksigil_get_token_info(c.token(), &info);
    },
    [](Caller& c) { ksigil_get_object(c.token(), c.path(), c.objects.data()); },
    [](Caller& c) {
        ksigil_list(c.token(), c.path(), c.objects.data(), c.upTo(c.objects.size()), &c.count);
    },
    [](Caller& c) { ksigil_make_file(c.token(), c.path(), c.offset(), 1); },
    [](Caller& c) { ksigil_make_directory(c.token(), c.path(), 0); },
    [](Caller& c) { ksigil_make_key(c.token(), c.path(), 1); },
    [](Caller& c) { ksigil_remove(c.token(), c.path()); },
    [](Caller& c) { ksigil_remove_tree(c.token(), c.path()); },
    [](Caller& c) { ksigil_read(c.token(), c.path(), c.offset(), c.buffer(), c.upTo(66000)); },
    [](Caller& c) { ksigil_read_file(c.token(), c.path(), c.buffer(), c.upTo(66000), &c.count); },
    [](Caller& c) { ksigil_write(c.token(), c.path(), c.offset(), c.buffer(), c.upTo(66000)); },
    [](Caller& c) { ksigil_write_file(c.token(), c.path(), c.buffer(), c.upTo(66000)); },
    [](Caller& c) { ksigil_write_key(c.token(), c.path(), c.buffer(), c.upTo(17)); },
    [](Caller& c) {
        ksigil_encrypt(c.token(), c.path(), c.buffer(), c.upTo(99), c.buffer(), 99, &c.count);
    },
    [](Caller& c) {
        ksigil_decrypt(c.token(), c.path(), c.buffer(), c.upTo(99), c.buffer(), 99, &c.count);
    },
    [](Caller& c) {
        ksigil_protector_encrypt(c.token(), c.buffer(), c.upTo(20), c.buffer(), 20, &c.count);
    },
    [](Caller& c) {
        ksigil_protector_decrypt(c.token(), c.buffer(), c.upTo(20), c.buffer(), 20, &c.count);
    },
    [](Caller& c) {
        ksigil_protector protector;
        ksigil_get_protector(c.token(), &protector);
    },
    [](Caller& c) { ksigil_prepare_protector(c.token(), nullptr); },
    [](Caller& c) {
        ksigil_list_entries(c.token(), c.entries.data(), c.upTo(c.entries.size()), &c.count);
    },
    [](Caller& c) { ksigil_get_entry(c.token(), 0x30003000, c.buffer()); },
    [](Caller& c) { ksigil_set_entry(c.token(), c.script.next(), c.buffer()); },
    [](Caller& c) { ksigil_remove_entry(c.token(), 0x30003000); },
    [](Caller& c) {
        uint16_t id = 0;
        ksigil_find_directory(c.token(), static_cast<uint16_t>(c.offset()), &id);
    },
};

}  // namespace

// A number of operations, each with what it needs; between them the replies.
extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Script script(data, size);
    const ScriptedManager manager(script);
    Caller caller{script};
    ksigil_open(nullptr, &caller.tokens[0]);
    for (int left = script.next() % 32; left >= 0; --left) {
        operations[script.next() % std::size(operations)](caller);
        if (*ksigil_reason() == '\0' && ksigil_unlock(nullptr) != KSIGIL_INVALID_HANDLE) {
            std::abort();
        }
    }
    ksigil_set_progress(nullptr, nullptr);
    for (ksigil_token* token : caller.tokens) {
        ksigil_close(token);
    }
    return 0;
}
