#include "libksigil/operation.h"

#include <exception>
#include <new>

#include "libksigil/handles.h"
#include "libksigil/lost_connection.h"
#include "support/assertion.h"
#include "support/exception.h"

namespace ksigil {
namespace {

const AssertionsThrow assertionsThrow;

}  // namespace

Operation::Operation(ksigil_token* handle, const Transfer& transfer)
    : talker_(talkerOf(handle)), metered_(talker_.get(), transfer) {}

Operation::~Operation() {
    if (isLocked_) {
        try {
            talker_->unlock(SCARD_LEAVE_CARD);
        } catch (...) {
            // The exception that came first is told.
        }
    }
}

u32 Operation::begin() {
    if (talker_ == nullptr) {
        return KSIGIL_INVALID_HANDLE;
    }
    const u32 rv = talker_->lock();
    isLocked_ = rv == result::success;
    return rv;
}

u32 Operation::end(u32 rv) {
    dropIfLost(rv);
    if (isLocked_) {
        isLocked_ = false;
        const u32 ended = talker_->unlock(SCARD_LEAVE_CARD);
        if (ended != result::success) {
            drop();
        }
        rv = rv == result::success ? ended : rv;
    }
    return withReason(rv, silence_.reason());
}

u32 Operation::keepLock() {
    const u32 rv = begin();
    isLocked_ = false;
    dropIfLost(rv);
    return withReason(rv, silence_.reason());
}

u32 Operation::giveLockBack() {
    if (talker_ == nullptr) {
        return withReason(KSIGIL_INVALID_HANDLE);
    }
    isLocked_ = talker_->isConnected();  // without a connection there is no lock
    return end(result::success);
}

u32 Operation::disconnect() {
    if (talker_ == nullptr) {
        return withReason(KSIGIL_INVALID_HANDLE);
    }
    drop();
    return result::success;
}

void Operation::dropIfLost(u32 rv) {
    if (isConnectionLost(rv) && talker_ != nullptr) {
        drop();
    }
}

void Operation::drop() {
    isLocked_ = false;
    if (talker_->isConnected()) {
        talker_->detach(SCARD_LEAVE_CARD);
    }
}

u32 withException() noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return withReason(KSIGIL_NO_HOST_MEMORY);
    } catch (const VDW::Exception& exception) {
        return withReason(exception.code, exception.message);
    } catch (const std::exception& exception) {
        return withReason(KSIGIL_UNEXPECTED, exception.what());
    } catch (...) {
        return withReason(KSIGIL_UNEXPECTED);
    }
}

}  // namespace ksigil
