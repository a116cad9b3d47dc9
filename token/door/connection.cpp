#include "token/door/connection.h"

#include <utility>

#include "token/base/fault.h"

namespace token {
namespace {

Outcome outcomeOf(Power::Condition condition) {
    switch (condition) {
        case Power::Condition::reset:
            return Outcome::reset;
        case Power::Condition::removed:
            return Outcome::removed;
        case Power::Condition::good:
            break;
    }
    return Outcome::good;
}

// Holds the token for one frame outside a transaction.
class FrameLease {
  public:
    explicit FrameLease(Power& power) : power_(power) {}
    FrameLease(const FrameLease&) = delete;
    FrameLease& operator=(const FrameLease&) = delete;
    ~FrameLease() { power_.release(lease_); }

    Power::Condition acquire(const Power::Epoch& epoch) { return power_.acquire(epoch, lease_); }

  private:
    Power& power_;
    Lease lease_;
};

}  // namespace

Connection::Connection(std::shared_ptr<OpenToken> token)
    : token_(std::move(token)), epoch_(token_->power().epoch()) {}

Connection::~Connection() {
    token_->power().release(lease_);
}

Outcome Connection::reconnect(Disposition after) {
    const std::lock_guard guard(calls_);
    if (after == Disposition::reset) {
        token_->power().reset();
    }
    // Taken before the look at the image, so that a removal between the two is met later.
    const Power::Epoch epoch = token_->power().epoch();
    try {
        if (!token_->image().present()) {
            return Outcome::removed;
        }
    } catch (const Fault&) {
        return Outcome::unusable;
    }
    epoch_ = epoch;
    token_->image().forgetOverwritten();
    return Outcome::good;
}

Outcome Connection::begin() {
    const std::lock_guard guard(calls_);
    Power& power = token_->power();
    if (inTransaction()) {
        ++depth_;
        return Outcome::good;
    }
    const Outcome outcome = outcomeOf(power.acquire(epoch_, lease_));
    depth_ = outcome == Outcome::good ? 1 : depth_;
    return outcome;
}

Outcome Connection::end(Disposition after) {
    const std::lock_guard guard(calls_);
    Power& power = token_->power();
    const Outcome outcome = outcomeOf(power.condition(epoch_));
    if (outcome != Outcome::good) {
        return outcome;
    }
    if (depth_ == 0) {
        return Outcome::notHeld;
    }
    --depth_;
    if (after == Disposition::reset) {
        reset();
    } else if (depth_ == 0) {
        power.release(lease_);
    }
    return Outcome::good;
}

Outcome Connection::transmit(Bytes command, Buffer& reply) {
    const std::lock_guard guard(calls_);
    if (inTransaction()) {
        return exchange(command, reply);
    }
    FrameLease lease(token_->power());
    const Outcome outcome = outcomeOf(lease.acquire(epoch_));
    return outcome == Outcome::good ? exchange(command, reply) : outcome;
}

Outcome Connection::look() {
    return outcomeOf(token_->power().condition(epoch_));
}

Outcome Connection::exchange(Bytes command, Buffer& reply) {
    Power& power = token_->power();
    const Power::Epoch epoch = epoch_;
    Session session;
    const ScopedWipe wiping(session.key);
    const Power::Condition before = power.load(epoch, session);
    if (before != Power::Condition::good) {
        return outcomeOf(before);
    }
    const auto fence = [&power, &epoch] {
        return power.condition(epoch) == Power::Condition::good;
    };
    reply = token_->rules().execute(session, command, fence);
    return outcomeOf(power.store(epoch, session));
}

void Connection::reset() {
    token_->power().reset();
    epoch_ = token_->power().epoch();
    token_->image().forgetOverwritten();
}

}  // namespace token
