#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "token/base/bytes.h"
#include "token/door/open_token.h"
#include "token/power/power.h"

namespace token {

enum class Outcome {
    good,
    unusable,  // the image or its place does not work
    absent,    // the token is not in its reader
    removed,   // it was taken out under this connection
    reset,     // it was reset since this connection last looked
    notHeld,   // there is no transaction to end
    served,    // the image belongs to a program that serves it to a reader
};

enum class Disposition { leave, reset };

// One user's connection to the token. Selection and login are the token's, not the connection's.
// Any thread may call; calls of one connection wait for each other. An open transaction ends with
// its connection.
class Connection {
  public:
    explicit Connection(std::shared_ptr<OpenToken> token);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    // Looks at the token anew. A reset, and a removal of a token that is back in its reader, are
    // met no more.
    Outcome reconnect(Disposition after);

    // Gives this connection the token to itself until the matching end. Waits for another
    // connection's transaction. Begins inside a transaction count.
    Outcome begin();
    // Good, too, for a transaction that a reset has ended, once this connection has reconnected.
    Outcome end(Disposition after);

    // Carries one command to the token and its whole reply back. Waits for another connection's
    // transaction.
    Outcome transmit(Bytes command, Buffer& reply);

    // Whether the next call meets a reset or a removal. Waits for nobody.
    Outcome look();

    // The process that holds the token, 0 if none does. Waits for nobody.
    std::int32_t holder() { return token_->power().holder(); }

    // Ends selection, login and everybody's transaction. This connection need not reconnect. Waits
    // for nobody, not for a call of this connection either.
    void reset();

  private:
    bool inTransaction() { return token_->power().isHolder(lease_); }
    Outcome exchange(Bytes command, Buffer& reply);

    std::shared_ptr<OpenToken> token_;
    std::mutex calls_;
    std::atomic<Power::Epoch> epoch_;
    Lease lease_;
    unsigned depth_ = 0;
};

}  // namespace token
