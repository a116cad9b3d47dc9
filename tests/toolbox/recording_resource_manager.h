#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "include/basic_types.h"
#include "platform/resource_manager.h"

// In use while it exists. Keeps each call in words; succeeds but for the results that a test has
// queued. The nth context is n, and its card 100 + n.
class RecordingResourceManager : public platform::ResourceManager {
  public:
    RecordingResourceManager() { platform::useResourceManager(this); }
    ~RecordingResourceManager() override { platform::useResourceManager(nullptr); }

    std::map<std::string, std::deque<u32>> results;
    std::map<std::string, std::function<void()>> during;  // what the next call of the name runs
    u32 protocol = 2;

    // The calls since the last take. " | open 1" is context 1 and its connection as usual.
    std::string take() { return std::exchange(calls_, {}); }

    std::string leadsTo() const override { return "a recorder"; }
    u32 readers(std::vector<Reader>& readers, std::string&) override {
        readers.push_back({"VDW ifdh 0", true});
        return record("readers", {});
    }
    u32 establish(u32 scope, u32& context, std::string&) override {
        const u32 rv = record("establish", {scope});
        context = rv == 0 ? ++contexts_ : context;
        return rv;
    }
    u32 release(u32 context) override { return record("release", {context}); }
    u32 connect(u32 context, const char* reader, u32 mode, u32 protocols, u32& card, u32& active,
                std::string&) override {
        const u32 rv = record("connect", {context, mode, protocols}, " " + std::string(reader));
        card = rv == 0 ? 100 + context : card;
        active = protocol;
        return rv;
    }
    u32 reconnect(u32 card, u32 mode, u32 protocols, u32 initialization, u32& active) override {
        active = protocol;
        return record("reconnect", {card, mode, protocols, initialization});
    }
    u32 disconnect(u32 card, u32 how) override { return record("disconnect", {card, how}); }
    u32 begin(u32 card, std::string&) override { return record("begin", {card}); }
    u32 end(u32 card, u32 how) override { return record("end", {card, how}); }
    // The reply is one byte; a failure leaves no room for another.
    u32 transmit(u32 card, u32 header, const u8* send, u32 length, u8* reply, u32& room) override {
        const u32 rv = record("transmit", {card, header, send[0], length, room});
        reply[0] = 0x90;
        room = rv == 0 ? 1 : 0;
        return rv;
    }

  private:
    u32 record(const std::string& call, std::initializer_list<u32> numbers,
               const std::string& text = "") {
        std::unique_lock guard(mutex_);
        calls_ += " | " + call;
        for (const u32 number : numbers) {
            calls_ += ' ' + std::to_string(number);
        }
        calls_ += text;
        const std::string context = std::to_string(*numbers.begin());
        const std::string usual = " | establish 2 | connect " + context + " 2 3 VDW ifdh 0";
        if (calls_.ends_with(usual)) {
            calls_.replace(calls_.size() - usual.size(), usual.size(), " | open " + context);
        }
        std::deque<u32>& queued = results[call];
        queued.push_back(0);
        const u32 rv = queued.front();
        queued.pop_front();
        const auto work = during.extract(call);
        guard.unlock();
        if (work) {
            work.mapped()();
        }
        return rv;
    }

    std::mutex mutex_;
    std::string calls_;
    std::atomic<u32> contexts_ = 0;
};
