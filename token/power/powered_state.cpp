#include "token/power/powered_state.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace token {

void PoweredState::replaceSession(const Session& next) {
    const std::uint32_t old = session;
    sessions[1 - old] = next;
    session = 1 - old;
    wipe(sessions[old].key);
}

void PoweredState::forget() {
    replaceSession(Session{});
    free(INT_MAX);
}

void PoweredState::free(int wake) {
    holder.store(Lease{});
    changes.fetch_add(1);
    if (waiting != 0) {
        syscall(SYS_futex, &changes, FUTEX_WAKE, wake, nullptr, nullptr, 0);
    }
}

StateGuard::StateGuard(PoweredState& state) : state_(state) {
    if (pthread_mutex_lock(&state_.guard) == EOWNERDEAD) {
        pthread_mutex_consistent(&state_.guard);
    }
}

StateGuard::~StateGuard() {
    pthread_mutex_unlock(&state_.guard);
}

}  // namespace token
