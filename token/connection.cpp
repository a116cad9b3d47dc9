#include "token/connection.h"

#include <utility>

#include "token/fault.h"

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

}  // namespace

Connection::Connection(std::shared_ptr<OpenToken> token)
    : token_(std::move(token)), sight_(token_->power().sight()) {}

Connection::~Connection() {
    token_->power().letGo(holding_);
}

Outcome Connection::reconnect(After after) {
    const std::lock_guard guard(calls_);
    try {
        if (!token_->image().present()) {
            return Outcome::removed;
        }
    } catch (const Fault&) {
        return Outcome::unusable;
    }
    if (after == After::reset) {
        token_->power().reset();
    }
    sight_ = token_->power().sight();
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
    Power& power = token_->power();
    Holding forTheFrame;
    Outcome outcome = outcomeOf(power.take(sight_, forTheFrame));
    if (outcome == Outcome::good) {
        outcome = exchange(command, reply);
        power.letGo(forTheFrame);
    }
    return outcome;
}

Outcome Connection::exchange(Bytes command, Buffer& reply) {
    Power& power = token_->power();
    Session session;
    const Power::Condition before = power.load(sight_, session);
    if (before != Power::Condition::good) {
        return outcomeOf(before);
    }
    reply = token_->token().execute(session, command);
    return outcomeOf(power.store(sight_, session));
}

void Connection::reset() {
    const std::lock_guard guard(calls_);
    token_->power().reset();
    sight_ = token_->power().sight();
}

}  // namespace token
