#pragma once

#include <vector>

#include "apdulib/apdu_talker.h"
#include "include/basic_types.h"

// The token's password: one frame an operation. The token judges it; the host keeps neither a
// password nor whether it is logged in.
//
// The caller holds the card lock around each operation. Results: 0; 0xE006xxxx, a refusal of the
// token; or the talker's failure code. No host state changes in any case.
class QVPassword {
  public:
    // A password is any bytes, none at all too, sent unchanged. One whose frame would pass 32 bits
    // of length gives result::invalidArgument, with nothing sent.
    u32 login(ApduTalker& talker, const std::vector<u8>& password) const;
    u32 changePassword(ApduTalker& talker, const std::vector<u8>& newPassword) const;

    // Sends its frame whether or not anyone is logged in.
    u32 logout(ApduTalker& talker) const;
};
