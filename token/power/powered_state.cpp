#include "token/power/powered_state.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>

#include "token/base/system.h"
#include "token/base/waiting.h"

namespace token {

namespace {

// How long an end waits to wipe the keys at once. The guard is held for microseconds.
constexpr std::chrono::milliseconds patienceOfAnEnd{200};

constexpr long slice = 20'000'000;  // nanoseconds between two looks of a long wait

// 0, or the error: one for each slice that the guard was another's.
int tryForASlice(pthread_mutex_t& guard) {
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += slice;
    until.tv_sec += until.tv_nsec / 1'000'000'000;
    until.tv_nsec %= 1'000'000'000;
    return pthread_mutex_timedlock(&guard, &until);
}

bool isAnothers(int error) {
    return error == EBUSY || error == ETIMEDOUT;
}

// 0, or the error: one of another's guard where the wait for it was given up.
int waitForGuard(PoweredState& state, std::optional<std::chrono::milliseconds> most) {
    Wait wait("is at work on the token's state");
    const auto end = std::chrono::steady_clock::now() + most.value_or(std::chrono::milliseconds{0});
    int error = EBUSY;
    while (isAnothers(error)) {
        if (most ? std::chrono::steady_clock::now() >= end : !wait.goesOn(state.guardProcess)) {
            break;
        }
        error = tryForASlice(state.guard);
    }
    return error;
}

}  // namespace

void PoweredState::readSession(const Epoch& epoch, Session& to) const {
    if (sessionEpochs[session] == epoch) {
        to = sessions[session];
    } else {
        to = Session{};
    }
}

void PoweredState::replaceSession(const Session& next, const Epoch& epoch) {
    const std::uint32_t old = session;
    sessions[1 - old] = next;
    sessionEpochs[1 - old] = epoch;
    session = 1 - old;
    wipe(sessions[old].key);
}

void PoweredState::wipeOverdue() {
    const Epoch now = epoch();
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        if (!(sessionEpochs[i] == now)) {
            wipe(sessions[i].key);
        }
    }
}

void PoweredState::end(std::atomic<std::uint32_t>& ends) {
    ends += 1;
    free(INT_MAX);
    const StateGuard wiping(*this, system().processNumber(), patienceOfAnEnd);
}

void PoweredState::free(int wake) {
    holder.store(Lease{});
    changes.fetch_add(1);
    if (waiting != 0) {
        syscall(SYS_futex, &changes, FUTEX_WAKE, wake, nullptr, nullptr, 0);
    }
}

StateGuard::StateGuard(PoweredState& state, std::int32_t process,
                       std::optional<std::chrono::milliseconds> most)
    : state_(state) {
    int error = pthread_mutex_trylock(&state_.guard);
    if (error == EBUSY) {
        error = waitForGuard(state_, most);
    }
    if (isAnothers(error)) {
        return;
    }
    if (error == EOWNERDEAD) {
        pthread_mutex_consistent(&state_.guard);
    }
    isHeld_ = true;
    state_.guardProcess = process;
}

StateGuard::~StateGuard() {
    if (isHeld_) {
        state_.wipeOverdue();
        pthread_mutex_unlock(&state_.guard);
    }
}

}  // namespace token
