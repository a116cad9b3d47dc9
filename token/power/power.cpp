#include "token/power/power.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <new>
#include <optional>
#include <thread>

#include "token/base/fault.h"
#include "token/base/gcrypt.h"
#include "token/base/system.h"
#include "token/base/waiting.h"

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

std::int32_t randomName() {
    std::int32_t name = 0;
    while (name == 0) {
        gcry_create_nonce(&name, sizeof name);
    }
    return name;
}

// Its name stands in the lock file before the memory is there, so that what one leaves who ends in
// between is found by the next.
SharedMemory makeMemory(const LockFile& lockFile, LockFile::Memory& record) {
    useGcrypt();
    system().removeMemory(lockFile.memory().name);
    for (;;) {
        record = {-1, 0, system().memorySpace(), randomName()};
        lockFile.setMemory(record);
        std::optional<SharedMemory> memory = SharedMemory::make(record.name, sizeof(PoweredState));
        if (memory) {
            record.id = memory->id();
            return std::move(*memory);
        }
    }
}

SharedMemory powerUp(const LockFile& lockFile, const FileIdentity& image) {
    LockFile::Memory record;
    SharedMemory memory = makeMemory(lockFile, record);
    auto& state = *new (memory.address()) PoweredState{};
    initialiseGuard(state.guard);
    state.image = image;
    gcry_create_nonce(&state.stamp, sizeof state.stamp);
    state.formed = PoweredState::layout;
    record.stamp = state.stamp;
    lockFile.setMemory(record);
    return memory;
}

bool isPoweredBy(const SharedMemory& memory, const LockFile::Memory& known) {
    const auto* state = static_cast<const PoweredState*>(memory.address());
    return state != nullptr && state->formed == PoweredState::layout && state->stamp == known.stamp;
}

// The memory of a token that somebody powers, or nothing. Memory without a user doesn't count: it
// may be there a little longer for one who only looked.
std::optional<SharedMemory> poweredMemory(const LockFile& lockFile) {
    for (int pauses = 0; pauses < endingPauses && lockFile.isAnyUserThere(); ++pauses) {
        const LockFile::Memory known = lockFile.memory();
        SharedMemory memory =
            SharedMemory::attach(known.id, sizeof(PoweredState), lockFile.owner());
        if (isPoweredBy(memory, known)) {
            return memory;
        }
        if (memory.isForbidden() || known.space != system().memorySpace()) {
            break;
        }
        std::this_thread::sleep_for(endingPause);
    }
    if (!lockFile.isAnyUserThere()) {
        return std::nullopt;
    }
    throw Fault(
        "the token is powered by a process whose memory cannot be reached: another user's, or one "
        "with shared memory of its own (a container)");
}

SharedMemory joinOrPowerUp(const LockFile& lockFile, const FileIdentity& image) {
    std::optional<SharedMemory> memory = poweredMemory(lockFile);
    if (!memory) {
        return powerUp(lockFile, image);
    }
    if (static_cast<PoweredState*>(memory->address())->image != image) {
        throw Fault("another image took the place of the one that is powered");
    }
    return std::move(*memory);
}

}  // namespace

Power::Power(const LockFile& lockFile, const FileIdentity& image)
    : lockFile_(lockFile),
      memory_(joinOrPowerUp(lockFile, image)),
      process_(system().processNumber()),
      user_(++state().lastUser) {
    lockFile_.lockUser(user_);
}

bool Power::reset(const LockFile& lockFile) {
    const std::optional<SharedMemory> memory = poweredMemory(lockFile);
    if (memory) {
        auto& state = *static_cast<PoweredState*>(memory->address());
        state.end(state.resets);
    }
    return memory.has_value();
}

Power::Condition Power::condition(const Epoch& epoch) {
    const Epoch now = this->epoch();
    if (epoch.removals != now.removals) {
        return Condition::removed;
    }
    return epoch.resets != now.resets ? Condition::reset : Condition::good;
}

bool Power::isFree(bool lookForDead) {
    const Lease holder = state().holder.load();
    return holder.isNone() ||
           (lookForDead && holder.user != user_ && !lockFile_.isUserThere(holder.user));
}

Power::Condition Power::tryToHold(const Epoch& epoch, Lease& lease, bool lookForDead) {
    const StateGuard guard(state(), process_);
    const Condition before = guard.isHeld() ? condition(epoch) : Condition::reset;
    if (before != Condition::good || !isFree(lookForDead)) {
        return before;
    }
    const Lease next{user_, ++lastLease_};
    state().holder.store(next);
    state().holderProcess = process_;
    const Condition after = condition(epoch);
    if (after == Condition::good) {
        lease = next;
    } else {
        Lease taken = next;
        state().holder.compare_exchange_strong(taken, Lease{});
    }
    return after;
}

Power::Condition Power::acquire(const Epoch& epoch, Lease& lease) {
    Wait wait("has the token to itself");
    for (bool slept = false;; slept = true) {
        const std::uint32_t changes = state().changes.load();
        const Condition condition = tryToHold(epoch, lease, slept);
        if (condition != Condition::good || isHolder(lease)) {
            return condition;
        }
        if (!wait.goesOn(holder())) {
            return Condition::reset;
        }
        state().waiting += 1;
        sleep(changes);
        state().waiting -= 1;
    }
}

void Power::sleep(std::uint32_t changes) {
    syscall(SYS_futex, &state().changes, FUTEX_WAIT, changes, &lookForDeadEvery, nullptr, 0);
}

std::int32_t Power::holder() {
    return state().holder.load().isNone() ? 0 : state().holderProcess.load();
}

bool Power::isHolder(const Lease& lease) {
    return !lease.isNone() && state().holder.load() == lease;
}

void Power::release(const Lease& lease) {
    const StateGuard guard(state(), process_);
    if (guard.isHeld() && isHolder(lease)) {
        state().free(1);
    }
}

Power::Condition Power::load(const Epoch& epoch, Session& session) {
    const StateGuard guard(state(), process_);
    const Condition before = guard.isHeld() ? condition(epoch) : Condition::reset;
    if (before == Condition::good) {
        state().readSession(epoch, session);
    }
    return before;
}

Power::Condition Power::store(const Epoch& epoch, const Session& session) {
    const StateGuard guard(state(), process_);
    const Condition before = guard.isHeld() ? condition(epoch) : Condition::reset;
    if (before == Condition::good) {
        state().replaceSession(session, epoch);
    }
    return before;
}

}  // namespace token
