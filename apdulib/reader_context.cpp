#include "apdulib/reader_context.h"

#include <atomic>

#include "support/assertion.h"

namespace {

constexpr const char* site = "apdulib/rm_apdutalker";

}  // namespace

bool ReaderContext::inUse() {
    return std::atomic_ref(context).load(std::memory_order_acquire) != 0;
}

void ReaderContext::release() {
    std::atomic_ref(context).store(0, std::memory_order_release);
}

void ReaderContext::lockGrabbed() {
    if (grabbed != 0) {
        assertionFailed("!\"Double lock grabbed.\"", site, 71);
    }
    grabbed = 1;
}

void ReaderContext::lockReleased() {
    if (grabbed != 1) {
        assertionFailed("!\"Unlocked lock released.\"", site, 85);
    }
    grabbed = 0;
}

ReaderContext* ReaderContextTable::find(u32 threadId) {
    for (ReaderContext& record : records) {
        if (record.threadId == threadId) {
            return &record;
        }
    }
    return nullptr;
}

ReaderContext* ReaderContextTable::reserve() {
    for (ReaderContext& record : records) {
        if (!record.inUse()) {
            record.context = ReaderContext::reserved;
            return &record;
        }
    }
    return nullptr;
}
