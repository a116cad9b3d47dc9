#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "platform/win32.h"

// What this system gives where systems differ.

// Where something lies in a mapping: each view starts at another multiple of 64 KiB.
inline std::uintptr_t placeInView(const void* address) {
    return reinterpret_cast<std::uintptr_t>(address) % 65536;
}

// A list of who has access that is there and empty of entries gives it to nobody; none gives it to
// all.
inline void expectAttributes(const SECURITY_ATTRIBUTES* attributes) {
    ASSERT_NE(attributes, nullptr);
    EXPECT_EQ(attributes->nLength, 24U);
    EXPECT_EQ(attributes->bInheritHandle, TRUE);
    BOOL isThere = FALSE, isDefault = TRUE;
    PACL list = nullptr;
    EXPECT_NE(
        GetSecurityDescriptorDacl(attributes->lpSecurityDescriptor, &isThere, &list, &isDefault),
        FALSE);
    EXPECT_EQ(isThere, TRUE);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(isDefault, FALSE);
}

// They come in whole pages.
constexpr bool smallMappingsHaveRoom = true;
