#pragma once

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdint>

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

// A powered token, in memory that all its users share. `formed`, `stamp` and `image` are written
// before others can find the memory, and only read afterwards. Who has the guard may change the
// rest. `holder` and `changes` are also read without it. A user that dies with the guard does no
// harm: a session counts when `session` points to it, and every other change is one word;
// `holderProcess` is only shown.
struct PoweredState {
    static constexpr std::uint32_t layout = 3;

    std::uint32_t formed;  // `layout`, once the rest stands
    std::uint64_t stamp;
    FileIdentity image;

    pthread_mutex_t guard;

    std::uint32_t lastUser;
    std::uint32_t resets;  // of this power-up, as are the removals
    std::uint32_t removals;

    std::array<Session, 2> sessions;
    std::uint32_t session;  // the index of the current one

    std::atomic<Lease> holder;   // a word, so that no half of it is ever seen
    std::int32_t holderProcess;  // of the last holder
    std::uint32_t waiting;       // users that sleep until the holder is gone; may count dead ones
    std::atomic<std::uint32_t> changes;  // what they sleep on

    // Puts another session in the place of the current one, and wipes that one's key.
    void replaceSession(const Session& next);
    // Ends selection and login, and frees the token whoever holds it.
    void forget();
    // Frees the token, and wakes as many of those that wait.
    void free(int wake);
};

static_assert(std::atomic<Lease>::is_always_lock_free);
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

// Has the guard while it lives.
class StateGuard {
  public:
    explicit StateGuard(PoweredState& state);
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;
    ~StateGuard();

  private:
    PoweredState& state_;
};

}  // namespace token
