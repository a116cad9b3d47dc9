#include "libksigil/metered_talker.h"

#include <algorithm>

#include "libksigil/lost_connection.h"

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
    if (end_ == 0 && isEnded()) {
        end_ = KSIGIL_CANCELLED;
    }
    if (end_ != 0) {
        *receiveLength = 0;
        return end_;
    }
    ++frames_;
    transfers_ += sendBuffer[1] == transfer_.instruction ? 1 : 0;
    const u32 rv = talker_->transmit(sendBuffer, sendLength, receiveBuffer, receiveLength);
    end_ = isConnectionLost(rv) ? rv : 0;
    return rv;
}

}  // namespace ksigil

void ksigil_set_progress(ksigil_progress progress, void* context) {
    ksigil::progressOfThread = {progress, context};
}
