#include "libksigil/metered_talker.h"

#include <algorithm>

namespace ksigil {
namespace {

thread_local Progress progressOfThread;

}  // namespace

bool MeteredTalker::isEnded() const {
    const Progress& progress = progressOfThread;
    if (progress.callback == nullptr || frames_ == 0) {
        return false;
    }
    const u64 moved = std::min(transfers_ * transfer_.bytesPerFrame, transfer_.total);
    const u64 done = transfer_.total == 0 ? frames_ : moved;
    return progress.callback(progress.context, done, transfer_.total) != 0;
}

u32 MeteredTalker::transmit(const u8* sendBuffer, u32 sendLength, u8* receiveBuffer,
                            u32* receiveLength) {
    if (isEnded()) {
        *receiveLength = 0;
        return KSIGIL_CANCELLED;
    }
    ++frames_;
    transfers_ += sendBuffer[1] == transfer_.instruction ? 1 : 0;
    return talker_->transmit(sendBuffer, sendLength, receiveBuffer, receiveLength);
}

}  // namespace ksigil

void ksigil_set_progress(ksigil_progress progress, void* context) {
    ksigil::progressOfThread = {progress, context};
}
