#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "platform/win32.h"

// What this system gives where systems differ.

// Where something lies in a mapping: all views of one have the same address.
inline std::uintptr_t placeInView(const void* address) {
    return reinterpret_cast<std::uintptr_t>(address);
}

inline void expectAttributes(const SECURITY_ATTRIBUTES* attributes) {
    EXPECT_EQ(attributes, nullptr);
}

// A handle of the resource manager's has as many bits as the table of talkers keeps.
static_assert(sizeof(SCARDCONTEXT) == 4 && sizeof(SCARDHANDLE) == 4);

constexpr bool smallMappingsHaveRoom = false;
