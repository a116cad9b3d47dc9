#include "token/rules/token.h"

#include <algorithm>

#include "token/base/fault.h"
#include "token/image/limits.h"
#include "token/rules/command.h"
#include "token/rules/desx.h"
#include "token/rules/login.h"
#include "token/rules/status.h"

namespace token {
namespace {

constexpr std::uint8_t colourIce = 4;
constexpr std::uint16_t packages = 1U << 0x1 | 1U << 0x3;  // Delete_File_Package, PCSC_Package
constexpr std::uint16_t version = 0x0100;

template <std::size_t length>
bool isLong(Bytes data) {
    return data.size() == length;
}

bool isPassword(Bytes data) {
    return !data.empty() && data[0] == data.size() - 1;
}

bool isPath(Bytes data) {
    return data.size() >= 2 && data.size() == 2 + std::size_t{2} * data[1];
}

bool isPayload(Bytes data) {
    return data.size() >= 4 && data.size() == 4U + get16(data, 2);
}

bool anything(Bytes) {
    return true;
}

bool isObject(Bytes data) {
    return isType(data[0]) && isAttributeOf(data[0], data[1]);
}

bool startsWithType(Bytes data) {
    return isType(data[0]);
}

bool isFullPath(Bytes data) {
    return data[0] == 0;
}

bool isListing(Bytes data) {
    return data[2] == 0;
}

bool isDirection(Bytes data) {
    return data[0] <= 1;
}

bool isAllowed(const Session& session, const Object& object) {
    return session.loggedIn || !object.needsLogin();
}

// Every command on the selected object first asks that there is one, that it is of the right type,
// and that it may be touched.
std::uint16_t checkSelected(const Session& session, std::uint8_t type) {
    if (!session.hasSelection()) {
        return status::nothingSelected;
    }
    if (session.selected.type != type) {
        return status::wrongObject;
    }
    return isAllowed(session, session.selected) ? status::good : status::notAllowed;
}

// Reading and writing ask for a file, and a range inside it.
std::uint16_t checkRange(const Session& session, std::uint16_t offset, std::uint16_t length) {
    const std::uint16_t refusal = checkSelected(session, typeFile);
    if (refusal == status::good && std::uint32_t{offset} + length > session.selected.size) {
        return status::badSize;
    }
    return refusal;
}

}  // namespace

const Token::Rule Token::rules[] = {
    {0x20, isPassword, anything, &Token::login},
    {0xDC, isLong<1>, anything, &Token::logout},
    {0xD4, isPassword, anything, &Token::changePassword},
    {0xA4, isPath, isFullPath, &Token::select},
    {0xD2, isLong<3>, isListing, &Token::list},
    {0xE0, isLong<6>, isObject, &Token::create},
    {0xE2, isLong<1>, startsWithType, &Token::remove},
    {0xB0, isLong<4>, anything, &Token::read},
    {0xD0, isPayload, anything, &Token::write},
    {0xD6, isLong<16>, anything, &Token::writeKey},
    {0xD8, isLong<9>, isDirection, &Token::desx},
    {0xDA, isLong<1>, anything, &Token::getInfo},
    {0xDE, isLong<1>, anything, &Token::getWord},
};

const Token::Rule* Token::ruleOf(std::uint8_t ins) {
    const auto* found = std::find_if(std::begin(rules), std::end(rules),
                                     [ins](const Rule& rule) { return rule.ins == ins; });
    return found == std::end(rules) ? nullptr : found;
}

Buffer Token::execute(Session& session, Bytes command, const Image::Fence& fence) {
    Buffer reply;
    std::uint16_t result = status::imageFailed;
    try {
        Session after = session;
        const ScopedWipe wiping(after.key);
        result = dispatch(after, command, reply, fence);
        session = after;
    } catch (const Fault&) {
        // The reader of the reply learns that the image failed; what it held is as it was.
    }
    if (result != status::good) {
        reply.clear();
    }
    put16(reply, result);
    return reply;
}

std::uint16_t Token::dispatch(Session& session, Bytes bytes, Buffer& reply,
                              const Image::Fence& fence) {
    Command command;
    if (!parse(bytes, command)) {
        return status::badLength;
    }
    const Rule* rule = ruleOf(command.ins);
    if (command.cla != 0 || rule == nullptr) {
        return status::unknownCommand;
    }
    if (command.p1 != 0 || command.p2 != 0) {
        return status::badP1P2;
    }
    if (!rule->hasRightLength(command.data)) {
        return status::badLength;
    }
    if (!rule->hasKnownValues(command.data)) {
        return status::badParameter;
    }
    Exchange exchange{session, command.data, reply, fence};
    return (this->*rule->answer)(exchange);
}

std::uint16_t Token::login(Exchange& exchange) {
    exchange.session.logOut();
    const Bytes password = exchange.data.subspan(1);
    const std::optional<WipedKey> key = logIn(image_, password, exchange.fence);
    if (!key) {
        return status::notAllowed;
    }
    exchange.session.logIn(*key);
    return status::good;
}

std::uint16_t Token::logout(Exchange& exchange) {
    exchange.session.logOut();
    return status::good;
}

std::uint16_t Token::changePassword(Exchange& exchange) {
    const Session& session = exchange.session;
    if (!session.loggedIn) {
        return status::notAllowed;
    }
    const Bytes password = exchange.data.subspan(1);
    if (password.empty()) {
        return status::badPasswordSize;
    }
    const PasswordRecord record = wrap(session.key, password, image_.serial(), image_.password());
    Image::Change change(image_);
    image_.setPassword(record);
    change.commit(exchange.fence);
    return status::good;
}

std::uint16_t Token::select(Exchange& exchange) {
    const std::uint8_t count = exchange.data[1];
    if (count == 0 || get16(exchange.data, 2) != rootId) {
        return status::notFound;
    }
    Object object = rootObject;
    for (std::size_t level = 1; level < count; ++level) {
        const auto child = image_.child(object.number, get16(exchange.data, 2 + 2 * level));
        if (!child) {
            return status::notFound;
        }
        object = *child;
    }
    exchange.session.selected = object;
    exchange.session.level = count;
    put16(exchange.reply, object.id);
    exchange.reply.push_back(object.type);
    exchange.reply.push_back(object.attribute);
    put16(exchange.reply, object.size);
    put16(exchange.reply, 0);
    return status::good;
}

std::uint16_t Token::list(Exchange& exchange) {
    const Session& session = exchange.session;
    if (!session.hasSelection()) {
        return status::nothingSelected;
    }
    if (session.selected.type != typeDirectory) {
        return status::wrongObject;
    }
    const std::uint32_t limit = get16(exchange.data, 0);
    const auto ids = image_.children(session.selected.number,
                                     limit == 0 ? mostChildren : std::min(limit, mostChildren));
    put16(exchange.reply, static_cast<std::uint16_t>(ids.size()));
    for (const std::uint16_t id : ids) {
        put16(exchange.reply, id);
    }
    return status::good;
}

std::uint16_t Token::create(Exchange& exchange) {
    const Session& session = exchange.session;
    const Object object{0, get16(exchange.data, 4), get16(exchange.data, 2), exchange.data[0],
                        exchange.data[1]};
    if (const auto refusal = checkSelected(session, typeDirectory); refusal != status::good) {
        return refusal;
    }
    if (!isAllowed(session, object)) {
        return status::notAllowed;
    }
    Image::Change change(image_);
    if (const auto refusal = roomFor(session, object); refusal != status::good) {
        return refusal;
    }
    image_.create(session.selected.number, object, &session.key);
    change.commit(exchange.fence);
    return status::good;
}

std::uint16_t Token::roomFor(const Session& session, const Object& object) {
    const std::int64_t parent = session.selected.number;
    if (!image_.exists(parent)) {
        throw Fault("the selected directory is gone");
    }
    if (!canBeGiven(object.id) || image_.child(parent, object.id)) {
        return status::badId;
    }
    if (!isSizeOf(object.type, object.size)) {
        return status::badSize;
    }
    if (session.level >= deepestLevel) {
        return status::wrongObject;
    }
    const Image::Usage usage = image_.usage();
    const bool fits = usage.objects < mostObjects && usage.bytes + object.size <= mostBytes &&
                      image_.childCount(parent) < mostChildren;
    return fits ? status::good : status::noRoom;
}

std::uint16_t Token::remove(Exchange& exchange) {
    Session& session = exchange.session;
    if (!session.hasSelection()) {
        return status::nothingSelected;
    }
    if (!isAllowed(session, session.selected)) {
        return status::notAllowed;
    }
    if (exchange.data[0] != session.selected.type) {
        return status::badParameter;
    }
    if (session.level == 1) {
        return status::wrongObject;
    }
    Image::Change change(image_);
    if (session.selected.type == typeDirectory && image_.childCount(session.selected.number) != 0) {
        return status::notEmpty;
    }
    image_.remove(session.selected);
    change.commit(exchange.fence);
    session.deselect();
    return status::good;
}

std::uint16_t Token::read(Exchange& exchange) {
    const Session& session = exchange.session;
    const std::uint16_t offset = get16(exchange.data, 0);
    const std::uint16_t length = get16(exchange.data, 2);
    const std::uint16_t result = checkRange(session, offset, length);
    if (result == status::good) {
        exchange.reply.reserve(length + 2U);
        image_.read(session.selected, offset, length, exchange.reply, &session.key);
    }
    return result;
}

std::uint16_t Token::write(Exchange& exchange) {
    const Session& session = exchange.session;
    const std::uint16_t offset = get16(exchange.data, 0);
    const std::uint16_t length = get16(exchange.data, 2);
    const std::uint16_t result = checkRange(session, offset, length);
    if (result == status::good) {
        Image::Change change(image_);
        image_.write(session.selected, offset, exchange.data.subspan(4), &session.key);
        change.commit(exchange.fence);
    }
    return result;
}

std::uint16_t Token::writeKey(Exchange& exchange) {
    const Session& session = exchange.session;
    if (const auto refusal = checkSelected(session, typeKey); refusal != status::good) {
        return refusal;
    }
    Image::Change change(image_);
    image_.setKey(session.selected, exchange.data, &session.key);
    change.commit(exchange.fence);
    return status::good;
}

std::uint16_t Token::desx(Exchange& exchange) {
    const Session& session = exchange.session;
    if (!session.hasSelection() || session.selected.type != typeKey) {
        return status::noKey;
    }
    if (!image_.hasKey(session.selected)) {
        return status::wrongObject;
    }
    if (!isAllowed(session, session.selected)) {
        return status::notAllowed;
    }
    KeyValue key = image_.key(session.selected, &session.key);
    const ScopedWipe wiping(key);
    Block block{};
    std::copy_n(exchange.data.begin() + 1, block.size(), block.begin());
    const Block result = token::desx(key, exchange.data[0] == 1, block);
    exchange.reply.assign(result.begin(), result.end());
    return status::good;
}

std::uint16_t Token::getInfo(Exchange& exchange) {
    Buffer& reply = exchange.reply;
    reply.push_back(colourIce);
    put16(reply, packages);
    const Buffer& serial = image_.serial();
    reply.insert(reply.end(), serial.begin(), serial.end());
    put32(reply, image_.usage().bytes);
    put32(reply, mostBytes);
    return status::good;
}

std::uint16_t Token::getWord(Exchange& exchange) {
    put16(exchange.reply, version);
    return status::good;
}

}  // namespace token
