#include "Components/qv_aid/qv_token_info.h"

#include <algorithm>
#include <cstring>

#include "apdulib/apdu_info.h"
#include "include/little_endian.h"
#include "include/result_numbers.h"

using namespace ksigil;

namespace {

struct InfoReply {
    u8 colour;
    Le16 packages;
    u8 serial[8];
    Le32 bytesUsed;
    Le32 bytesTotal;
};

static_assert(sizeof(InfoReply) == sizeof(ApduGetInfo::Reply));

}  // namespace

u32 readTokenInfo(ApduTalker& talker, QVTokenInfo& info) {
    ApduGetInfo frame;
    InfoReply reply{};
    u32 rv = transmitChecked(talker, frame);
    if (rv == result::success && frame.replyDataLength() < sizeof reply) {
        rv = result::communicationError;
    }
    if (rv == result::success) {
        std::memcpy(&reply, frame.reply(), sizeof reply);
        info.colour = reply.colour;
        info.packages = reply.packages;
        std::copy(std::begin(reply.serial), std::end(reply.serial), info.serial.begin());
        info.bytesUsed = reply.bytesUsed;
        info.bytesTotal = reply.bytesTotal;
    }
    return rv;
}
