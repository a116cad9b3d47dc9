#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>
#include <vector>

#include "platform/posix/handle.h"

namespace platform {

class Region : public SystemObject {
  public:
    explicit Region(SIZE_T size)
        : size_(size), words_((size + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t)) {}

    Region* asRegion() override { return this; }

    SIZE_T size() const { return size_; }
    void* address() { return words_.data(); }

  private:
    SIZE_T size_;
    std::vector<std::uint64_t> words_;
};

namespace {

std::mutex viewsMutex;

// Never destroyed, as the names are not.
std::vector<std::shared_ptr<SystemObject>>& views() {
    static auto& all = *std::make_unique<std::vector<std::shared_ptr<SystemObject>>>().release();
    return all;
}

std::shared_ptr<SystemObject> makeRegion(SIZE_T size) {
    try {
        return std::make_shared<Region>(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace
}  // namespace platform

using platform::handleOf;
using platform::Region;

HANDLE CreateFileMappingA(HANDLE file, const SECURITY_ATTRIBUTES*, DWORD protect, DWORD sizeHigh,
                          DWORD sizeLow, LPCSTR name) {
    if (file != INVALID_HANDLE_VALUE || protect != PAGE_READWRITE || sizeHigh != 0 ||
        sizeLow == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return platform::openNamed(
        name, [](platform::SystemObject& object) { return object.asRegion() != nullptr; },
        platform::makeRegion, sizeLow);
}

LPVOID MapViewOfFile(HANDLE mapping, DWORD, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes) {
    const platform::Handle* known = handleOf(mapping);
    Region* region = known == nullptr ? nullptr : known->object->asRegion();
    if (region == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    if (offsetHigh != 0 || offsetLow != 0 || bytes > region->size()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const std::lock_guard guard(platform::viewsMutex);
    platform::views().push_back(known->object);
    return region->address();
}

BOOL UnmapViewOfFile(LPCVOID view) {
    const std::lock_guard guard(platform::viewsMutex);
    auto& views = platform::views();
    const auto found = std::find_if(views.begin(), views.end(), [view](const auto& object) {
        return object->asRegion()->address() == view;
    });
    if (found == views.end()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    views.erase(found);
    return TRUE;
}
