#include "support/exception.h"

#include <gtest/gtest.h>

namespace {

TEST(Exception, PutsFacilityAndCodeTogether) {
    EXPECT_EQ(VDW::Exception(0x12345, -1, "").code, 0xE345FFFFU);
    const VDW::RngException exception(0x51234, "words");
    EXPECT_EQ(exception.code, 0xE0011234U);
    EXPECT_EQ(exception.plainCode, 0x51234);
}

}  // namespace
