#include "Components/qv_aid/qv_password.h"

#include <gtest/gtest.h>

#include "tests/toolbox/service_rows.h"

namespace {

const QVPassword pw;

const Row rows[] = {
    {RUN(pw.login(t, {0x31, 0x32})), "login 023132"},
    {RUN(pw.changePassword(t, Bytes(300))), "change 2c" + hexOf(Bytes(300))},
    {RUN(pw.logout(t)), "logout 00", "", refusal, "logout 00"},
};

TEST(Password, FramesAndOutcome) {
    expectFramesAndOutcome(rows);
}

TEST(Password, CutAndPaddedReplies) {
    expectCutAndPaddedRepliesJudged(rows);
}

}  // namespace
