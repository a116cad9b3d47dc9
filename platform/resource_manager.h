#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// A PC/SC resource manager: the narrowest set of calls that the SCard names need. Types are of
// fixed width, so that an implementation may meet another PC/SC header of its own.
//
// Every call gives a PC/SC result, 0 for success. On failure nothing is opened, begun or sent, and
// output arguments keep their values, but for transmit's receiveLength. `why` is set on failure, in
// words for an operator, and left alone on success. Any thread may call at any time; `begin` and
// `transmit` block while another connection holds the card.
class ResourceManager {
  public:
    virtual ~ResourceManager() = default;

    struct Reader {
        std::string name;
        bool hasToken;
    };

    // Where a reader of this manager leads, in words that end a sentence.
    virtual std::string leadsTo() const = 0;
    // Whether that is the token inside the program.
    virtual bool isEmbedded() const { return false; }

    // Appends the readers that there are. Needs no context, and makes no token.
    virtual std::uint32_t readers(std::vector<Reader>& readers, std::string& why) = 0;

    // The name under which the reader is listed that `connect` would choose for the given name;
    // the given name where none is. Does not wait for a holder of the card.
    virtual std::string listedName(const std::string& given) { return given; }

    virtual std::uint32_t establish(std::uint32_t scope, std::uint32_t& context,
                                    std::string& why) = 0;
    // Closes the context's connections too.
    virtual std::uint32_t release(std::uint32_t context) = 0;

    virtual std::uint32_t connect(std::uint32_t context, const char* reader,
                                  std::uint32_t shareMode, std::uint32_t protocols,
                                  std::uint32_t& card, std::uint32_t& activeProtocol,
                                  std::string& why) = 0;
    virtual std::uint32_t reconnect(std::uint32_t card, std::uint32_t shareMode,
                                    std::uint32_t protocols, std::uint32_t initialization,
                                    std::uint32_t& activeProtocol) = 0;
    virtual std::uint32_t disconnect(std::uint32_t card, std::uint32_t disposition) = 0;

    virtual std::uint32_t begin(std::uint32_t card, std::string& why) = 0;
    // The number of the process that holds the card, 0 where that is not known. Does not block.
    virtual std::int32_t holder(std::uint32_t) { return 0; }
    virtual std::uint32_t end(std::uint32_t card, std::uint32_t disposition) = 0;

    // `receiveLength` in: the room at `receive`, in bytes; out: the reply's length, or with
    // 0x80100008 the length that the reply needs.
    virtual std::uint32_t transmit(std::uint32_t card, std::uint32_t protocol,
                                   const std::uint8_t* send, std::uint32_t sendLength,
                                   std::uint8_t* receive, std::uint32_t& receiveLength) = 0;
};

// The manager that the SCard names forward to: the one that KSIGIL_PCSC names, chosen at first use.
// It stays with the process of that use: in one that this forks, each call gives 0x80100003, and
// neither the calls nor its end change anything for the first.
ResourceManager& resourceManager();

// Puts another manager in its place, null for the configured one. For programs that drive the
// talker on a manager of their own; no call may be in flight.
void useResourceManager(ResourceManager* manager);

}  // namespace platform
