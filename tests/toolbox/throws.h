#pragma once

#include <gmock/gmock.h>

#include <string>

#include "include/basic_types.h"
#include "support/exception.h"

template <class Exception = VDW::Win32Exception>
auto throwsWith(const char* words, u32 code) {
    return testing::Throws<Exception>(testing::AllOf(testing::Field(&Exception::message, words),
                                                     testing::Field(&Exception::code, code)));
}
