#pragma once

#include "token/base/bytes.h"
#include "token/image/image.h"
#include "token/rules/session.h"

namespace token {

// The token's rules: what each command does, and what it is refused for.
class Token {
  public:
    explicit Token(Image& image) : image_(image) {}

    // Carries out one command and gives the whole reply, status word included. `session` is as the
    // command leaves it. A failure of the image is the status word 0x6581 and changes nothing; so
    // is a change that `fence` does not let through. Never throws Fault.
    Buffer execute(Session& session, Bytes command, const Image::Fence& fence);

  private:
    struct Exchange {
        Session& session;
        Bytes data;
        Buffer& reply;
        const Image::Fence& fence;
    };

    struct Rule {
        std::uint8_t ins;
        bool (*hasRightLength)(Bytes data);
        bool (*hasKnownValues)(Bytes data);
        std::uint16_t (Token::*answer)(Exchange& exchange);
    };

    static const Rule rules[];
    static const Rule* ruleOf(std::uint8_t ins);

    std::uint16_t dispatch(Session& session, Bytes bytes, Buffer& reply, const Image::Fence& fence);

    std::uint16_t login(Exchange& exchange);
    std::uint16_t logout(Exchange& exchange);
    std::uint16_t changePassword(Exchange& exchange);
    std::uint16_t select(Exchange& exchange);
    std::uint16_t list(Exchange& exchange);
    std::uint16_t create(Exchange& exchange);
    std::uint16_t remove(Exchange& exchange);
    std::uint16_t read(Exchange& exchange);
    std::uint16_t write(Exchange& exchange);
    std::uint16_t writeKey(Exchange& exchange);
    std::uint16_t desx(Exchange& exchange);
    std::uint16_t getInfo(Exchange& exchange);
    std::uint16_t getWord(Exchange& exchange);

    std::uint16_t roomFor(const Session& session, const Object& object);

    Image& image_;
};

}  // namespace token
