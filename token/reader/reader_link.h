#pragma once

#include <optional>
#include <string>

#include "token/base/bytes.h"
#include "token/base/file.h"

namespace token {

struct ReaderAddress {
    std::string host;
    std::string port;
};

// The stream to a virtual reader's driver, in which each message is led by its length in two bytes,
// high byte first. All throw Fault when the driver cannot be reached, or goes away. Every wait ends
// early when `stop`, a descriptor, can be read.
class ReaderLink {
  public:
    ReaderLink(const ReaderAddress& address, int stop);

    // Takes in what comes within the time, if anything does.
    void receive(int milliseconds);
    // The next message that has come whole.
    std::optional<Buffer> next();
    void send(Bytes message);

  private:
    int stop_;
    File socket_;
    Buffer received_;
};

}  // namespace token
