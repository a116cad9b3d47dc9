#include "libksigil/handles.h"

#include <bit>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

#include "platform/process.h"

namespace ksigil {
namespace {

struct Handles {
    std::mutex mutex;
    std::uintptr_t last = 0;
    std::map<std::uintptr_t, std::shared_ptr<RMApduTalker>> talkers;
};

// Never destroyed: a program may close its handles while it exits.
Handles& handles() {
    static Handles& all = *std::make_unique<Handles>().release();
    return all;
}

std::uintptr_t numberOf(ksigil_token* handle) {
    return std::bit_cast<std::uintptr_t>(handle);
}

}  // namespace

ksigil_token* openHandle(std::shared_ptr<RMApduTalker> talker) {
    Handles& all = handles();
    const std::lock_guard guard(all.mutex);
    const std::uintptr_t number = ++all.last;
    all.talkers.emplace(number, std::move(talker));
    return std::bit_cast<ksigil_token*>(number);
}

std::shared_ptr<RMApduTalker> talkerOf(ksigil_token* handle) {
    if (platform::isForked()) {
        return nullptr;
    }
    Handles& all = handles();
    const std::lock_guard guard(all.mutex);
    const auto found = all.talkers.find(numberOf(handle));
    return found == all.talkers.end() ? nullptr : found->second;
}

std::vector<std::string> openReaderNames() {
    Handles& all = handles();
    const std::lock_guard guard(all.mutex);
    std::vector<std::string> names;
    names.reserve(all.talkers.size());
    for (const auto& [number, talker] : all.talkers) {
        names.push_back(talker->getReaderName());
    }
    return names;
}

void closeHandle(ksigil_token* handle) noexcept {
    if (platform::isForked()) {
        return;
    }
    Handles& all = handles();
    std::shared_ptr<RMApduTalker> closed;  // ends after the mutex is free: it may close connections
    const std::lock_guard guard(all.mutex);
    const auto found = all.talkers.find(numberOf(handle));
    if (found != all.talkers.end()) {
        closed = std::move(found->second);
        all.talkers.erase(found);
    }
}

}  // namespace ksigil
