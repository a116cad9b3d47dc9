#pragma once

#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

#include "token/base/file.h"
#include "token/rules/session.h"

namespace token {

// Who holds the token: a user of the powered state, and the number of its lease, which is never
// used again. Aligned so that every compiler makes its atomic lock-free.
struct alignas(8) Lease {
    std::uint32_t user = 0;
    std::uint32_t number = 0;

    bool operator==(const Lease&) const = default;
    bool isNone() const { return user == 0; }
};

// The resets and removals up to a connection's last look. While there were no more, the connection
// may go on.
struct alignas(8) Epoch {
    std::uint32_t resets = 0;
    std::uint32_t removals = 0;

    bool operator==(const Epoch&) const = default;
};

// A powered token, in memory that all its users share. `formed`, `stamp` and `image` are written
// before others can find the memory, and only read afterwards. Who has the guard may change the
// sessions, and take the token. A user that dies with the guard does no harm: a session counts when
// `session` points to it, and every other change is one word.
//
// A reset and a removal need no guard, so that a user that was stopped with it holds none of them
// up: they count themselves, and free the token. A session counts only in the epoch that it was
// stored in, and who takes the token looks at the epoch behind that. What is left of a session of
// an earlier epoch is wiped by the next one to give the guard back.
struct PoweredState {
    static constexpr std::uint32_t layout = 4;

    std::uint32_t formed;  // `layout`, once the rest stands
    std::uint64_t stamp;
    FileIdentity image;

    pthread_mutex_t guard;

    std::atomic<std::int32_t> guardProcess;  // that has or had the guard; only shown
    std::atomic<std::uint32_t> lastUser;
    std::atomic<std::uint32_t> resets;  // of this power-up, as are the removals
    std::atomic<std::uint32_t> removals;

    std::array<Session, 2> sessions;
    std::array<Epoch, 2> sessionEpochs;
    std::uint32_t session;  // the index of the current one

    std::atomic<Lease> holder;                // a word, so that no half of it is ever seen
    std::atomic<std::int32_t> holderProcess;  // of the last holder; only shown
    // Users that sleep until the holder is gone; may count dead ones.
    std::atomic<std::uint32_t> waiting;
    std::atomic<std::uint32_t> changes;  // what they sleep on

    Epoch epoch() const { return {resets, removals}; }
    // Gives the session of this epoch. It makes no other copy of the key.
    void readSession(const Epoch& epoch, Session& to) const;
    // Puts another session, of this epoch, in the place of the current one, and wipes that one's
    // key.
    void replaceSession(const Session& next, const Epoch& epoch);
    // Wipes the keys of earlier epochs.
    void wipeOverdue();
    // Ends selection, login and lease: counts in `ends`, which is `resets` or `removals`. Keys are
    // wiped when it returns, unless somebody was stopped with the guard: then when he goes on, or
    // has ended and another takes the guard.
    void end(std::atomic<std::uint32_t>& ends);
    // Frees the token, and wakes as many of those that wait.
    void free(int wake);
};

static_assert(std::atomic<Lease>::is_always_lock_free);
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

// Has the guard while it lives. Waits for it no longer than told; without a limit as long as the
// one lives who has it, or until this process is asked to end.
class StateGuard {
  public:
    // `process` is this one's number, which others are told that wait.
    StateGuard(PoweredState& state, std::int32_t process,
               std::optional<std::chrono::milliseconds> most = std::nullopt);
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;
    ~StateGuard();

    bool isHeld() const { return isHeld_; }

  private:
    PoweredState& state_;
    bool isHeld_ = false;
};

}  // namespace token
