#include "token/power/power.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <new>
#include <thread>

#include "token/base/fault.h"
#include "token/base/gcrypt.h"
#include "token/base/system.h"

namespace token {
namespace {

// A holder's death wakes nobody, so one who sleeps looks for it this often.
constexpr timespec lookForDeadEvery{0, 20'000'000};

// A user that ends gives up its memory a little before its locks.
constexpr std::chrono::milliseconds endingPause{1};
constexpr int endingPauses = 5000;

void initialiseGuard(pthread_mutex_t& guard) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&guard, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

SharedMemory powerUp(const LockFile& lockFile, const FileIdentity& image) {
    SharedMemory memory = SharedMemory::make(sizeof(PoweredState));
    auto& state = *new (memory.address()) PoweredState{};
    initialiseGuard(state.guard);
    state.image = image;
    useGcrypt();
    gcry_create_nonce(&state.stamp, sizeof state.stamp);
    state.formed = PoweredState::layout;
    lockFile.setMemory({memory.id(), state.stamp});
    return memory;
}

bool isPoweredBy(const SharedMemory& memory, const LockFile::Memory& known) {
    const auto* state = static_cast<const PoweredState*>(memory.address());
    return state != nullptr && state->formed == PoweredState::layout && state->stamp == known.stamp;
}

SharedMemory joinOrPowerUp(const LockFile& lockFile, const FileIdentity& image) {
    for (int pauses = 0; pauses < endingPauses; ++pauses) {
        const LockFile::Memory known = lockFile.memory();
        SharedMemory memory = SharedMemory::attach(known.id, sizeof(PoweredState));
        if (isPoweredBy(memory, known)) {
            if (static_cast<PoweredState*>(memory.address())->image != image) {
                throw Fault("another image took the place of the one that is powered");
            }
            return memory;
        }
        if (!lockFile.isAnyUserThere()) {
            return powerUp(lockFile, image);
        }
        std::this_thread::sleep_for(endingPause);
    }
    throw Fault(
        "the token is powered by a process whose memory cannot be reached: another user's, or one "
        "with shared memory of its own (a container)");
}

}  // namespace

Power::Power(const LockFile& lockFile, const FileIdentity& image)
    : lockFile_(lockFile), memory_(joinOrPowerUp(lockFile, image)), user_(0) {
    const StateGuard guard(state());
    user_ = ++state().lastUser;
    lockFile_.lockUser(user_);
}

Power::Epoch Power::epoch() {
    const StateGuard guard(state());
    return {state().resets, state().removals};
}

Power::Condition Power::condition(const Epoch& epoch) {
    const StateGuard guard(state());
    return compare(epoch);
}

Power::Condition Power::compare(const Epoch& epoch) {
    if (epoch.removals != state().removals) {
        return Condition::removed;
    }
    return epoch.resets != state().resets ? Condition::reset : Condition::good;
}

bool Power::isFree(bool lookForDead) {
    const Lease holder = state().holder.load();
    return holder.isNone() ||
           (lookForDead && holder.user != user_ && !lockFile_.isUserThere(holder.user));
}

Power::Condition Power::acquire(const Epoch& epoch, Lease& lease) {
    for (bool slept = false;; slept = true) {
        std::uint32_t changes = 0;
        {
            const StateGuard guard(state());
            state().waiting -= slept ? 1 : 0;
            const Condition condition = compare(epoch);
            if (condition != Condition::good) {
                return condition;
            }
            if (isFree(slept)) {
                lease = {user_, ++lastLease_};
                state().holder.store(lease);
                state().holderProcess = system().processNumber();
                return condition;
            }
            state().waiting += 1;
            changes = state().changes.load();
        }
        sleep(changes);
    }
}

void Power::sleep(std::uint32_t changes) {
    syscall(SYS_futex, &state().changes, FUTEX_WAIT, changes, &lookForDeadEvery, nullptr, 0);
}

std::int32_t Power::holder() {
    const StateGuard guard(state());
    return state().holder.load().isNone() ? 0 : state().holderProcess;
}

bool Power::isHolder(const Lease& lease) {
    return !lease.isNone() && state().holder.load() == lease;
}

void Power::release(const Lease& lease) {
    const StateGuard guard(state());
    if (isHolder(lease)) {
        state().free(1);
    }
}

Power::Condition Power::load(const Epoch& epoch, Session& session) {
    const StateGuard guard(state());
    const Condition condition = compare(epoch);
    if (condition == Condition::good) {
        session = state().sessions[state().session];
    }
    return condition;
}

Power::Condition Power::store(const Epoch& epoch, const Session& session) {
    const StateGuard guard(state());
    const Condition condition = compare(epoch);
    if (condition == Condition::good) {
        state().replaceSession(session);
    }
    return condition;
}

void Power::reset() {
    const StateGuard guard(state());
    state().forget();
    state().resets += 1;
}

void Power::removeCard() {
    const StateGuard guard(state());
    state().forget();
    state().removals += 1;
}

}  // namespace token
