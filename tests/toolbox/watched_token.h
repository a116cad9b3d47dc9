#pragma once

#include "Components/qv_aid/qv_filesystem.h"
#include "apdulib/rm_apdutalker.h"
#include "platform/posix/embedded_resource_manager.h"
#include "tests/toolbox/scratch_image.h"

// A fresh embedded token, in use while it exists, with a talker on it. Tells the frames in words,
// each behind a comma; one of them can get lost, and the token then meets one that it refuses.
struct WatchedToken : ScratchFolder, platform::EmbeddedResourceManager {
    WatchedToken() : EmbeddedResourceManager({file("token.db"), false}) {
        putFreshImage(file("token.db"));
        platform::useResourceManager(this);
        talker.create();
    }
    ~WatchedToken() override {
        talker.detach(SCARD_LEAVE_CARD);
        platform::useResourceManager(nullptr);
    }

    u32 transmit(u32 card, u32 protocol, const u8* send, u32 length, u8* reply,
                 u32& room) override {
        words += ", " + wordsOf({send, send + length});
        const bool isLost = framesToLoss-- == 0;
        const Bytes frame = isLost ? Bytes{0, 0xFF, 0, 0, 0, 0, 0} : Bytes(send, send + length);
        return EmbeddedResourceManager::transmit(card, protocol, frame.data(),
                                                 static_cast<u32>(frame.size()), reply, room);
    }

    std::string take() { return std::exchange(words, {}); }

    // The entry file in hexadecimal, empty if there is none.
    std::string entryBytes() {
        Bytes bytes;
        QVFileSystem().readFile(talker, "3f00a1a1", bytes);
        return hexOf(bytes);
    }

    std::string words;
    int framesToLoss = -1;
    RMApduTalker talker{"VDW ifdh 0", SCARD_SHARE_SHARED};
};
