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
class FrameHolding {
  public:
    explicit FrameHolding(Power& power) : power_(power) {}
    FrameHolding(const FrameHolding&) = delete;
    FrameHolding& operator=(const FrameHolding&) = delete;
    ~FrameHolding() { power_.letGo(holding_); }

    Power::Condition take(const Power::Sight& sight) { return power_.take(sight, holding_); }

  private:
    Power& power_;
    Holding holding_;
};

}  // namespace

Connection::Connection(std::shared_ptr<OpenToken> token)
    : token_(std::move(token)), sight_(token_->power().sight()) {}

Connection::~Connection() {
    token_->power().letGo(holding_);
}

Outcome Connection::reconnect(After after) {
    const std::lock_guard guard(calls_);
    if (after == After::reset) {
        token_->power().reset();
    }
    // The sight first: what happens behind it is met.
    const Power::Sight sight = token_->power().sight();
    try {
        if (!token_->image().present()) {
            return Outcome::removed;
        }
    } catch (const Fault&) {
        return Outcome::unusable;
    }
    sight_ = sight;
    return Outcome::good;
}

Outcome Connection::begin() {
    const std::lock_guard guard(calls_);
    Power& power = token_->power();
    if (inTransaction()) {
        ++depth_;
        return Outcome::good;
    }
    const Outcome outcome = outcomeOf(power.take(sight_, holding_));
    depth_ = outcome == Outcome::good ? 1 : depth_;
    return outcome;
}

Outcome Connection::end(After after) {
    const std::lock_guard guard(calls_);
    Power& power = token_->power();
    const Outcome outcome = outcomeOf(power.condition(sight_));
    if (outcome != Outcome::good) {
        return outcome;
    }
    if (depth_ == 0) {
        return Outcome::notHeld;
    }
    --depth_;
    if (after == After::reset) {
        power.reset();
        sight_ = power.sight();
    } else if (depth_ == 0) {
        power.letGo(holding_);
    }
    return Outcome::good;
}

Outcome Connection::transmit(Bytes command, Buffer& reply) {
    const std::lock_guard guard(calls_);
    if (inTransaction()) {
        return exchange(command, reply);
    }
    FrameHolding holding(token_->power());
    const Outcome outcome = outcomeOf(holding.take(sight_));
    return outcome == Outcome::good ? exchange(command, reply) : outcome;
}

Outcome Connection::look() {
    return outcomeOf(token_->power().condition(sight_));
}

Outcome Connection::exchange(Bytes command, Buffer& reply) {
    Power& power = token_->power();
    const Power::Sight sight = sight_;
    Session session;
    const Wiping wiping(session.key);
    const Power::Condition before = power.load(sight, session);
    if (before != Power::Condition::good) {
        return outcomeOf(before);
    }
    const auto fence = [&power, &sight] {
        return power.condition(sight) == Power::Condition::good;
    };
    reply = token_->token().execute(session, command, fence);
    return outcomeOf(power.store(sight, session));
}

void Connection::reset() {
    token_->power().reset();
    sight_ = token_->power().sight();
}

}  // namespace token
