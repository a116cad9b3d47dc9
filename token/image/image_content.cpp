#include <algorithm>
#include <utility>

#include "token/base/fault.h"
#include "token/image/image.h"
#include "token/image/image_format.h"
#include "token/image/sealed_place.h"

// The content of an image's files and keys, and its seals.

namespace token {
namespace {

std::int64_t rowOf(const Object& file, std::int64_t page) {
    return firstPageOf(file.number) + page;
}

}  // namespace

std::optional<Sealer> Image::sealerFor(const Object& object, const SecretKey* secret) const {
    if (!object.needsLogin()) {
        return std::nullopt;
    }
    if (secret == nullptr) {
        throw Fault("private content without its key");
    }
    return std::optional<Sealer>(std::in_place, *secret);
}

Buffer Image::unsealPage(const Object& file, std::int64_t page, Bytes row,
                         std::optional<Sealer>& sealer) const {
    std::optional<Buffer> bytes(std::in_place, row.begin(), row.end());
    if (sealer) {
        bytes = sealer->unseal(placeOfPage(serial_, file, page), row);
    }
    if (!bytes || std::cmp_not_equal(bytes->size(), pageBytesOf(file.size, page))) {
        throw Fault("a page of a file is damaged");
    }
    return *std::move(bytes);
}

Buffer Image::sealPage(const Object& file, std::int64_t page, Buffer bytes,
                       std::optional<Sealer>& sealer) const {
    return sealer ? sealer->seal(placeOfPage(serial_, file, page), bytes) : bytes;
}

void Image::createPages(const Object& file, const SecretKey* secret) {
    std::optional<Sealer> sealer = sealerFor(file, secret);
    for (std::int64_t page = 0; page < pageCountOf(file.size); ++page) {
        const Buffer zeros(static_cast<std::size_t>(pageBytesOf(file.size, page)));
        const Buffer row = sealPage(file, page, zeros, sealer);
        Query(statements_.createPage).bind(rowOf(file, page)).bind(row).run();
    }
}

void Image::removePages(const Object& object) {
    Query(statements_.removePages)
        .bind(rowOf(object, 0))
        .bind(rowOf(object, pagesAnObject - 1))
        .run();
}

void Image::read(const Object& file, std::uint16_t offset, std::uint16_t length, Buffer& out,
                 const SecretKey* secret) {
    if (length == 0) {
        return;
    }
    const std::lock_guard guard(mutex_);
    std::optional<Sealer> sealer = sealerFor(file, secret);
    const std::int64_t end = std::int64_t{offset} + length;
    std::int64_t page = offset / pageLength;
    Query query(statements_.readPages);
    query.bind(rowOf(file, page)).bind(rowOf(file, (end - 1) / pageLength));
    for (std::int64_t at = offset; at < end; ++page) {
        if (!query.step() || query.integer(0) != rowOf(file, page)) {
            throw Fault("a page of a file is missing");
        }
        const Buffer bytes = unsealPage(file, page, query.bytes(1), sealer);
        const std::int64_t until = std::min(end, (page + 1) * pageLength);
        const Bytes wanted = Bytes(bytes).subspan(static_cast<std::size_t>(at % pageLength),
                                                  static_cast<std::size_t>(until - at));
        out.insert(out.end(), wanted.begin(), wanted.end());
        at = until;
    }
}

void Image::write(const Object& file, std::uint16_t offset, Bytes bytes, const SecretKey* secret) {
    if (bytes.empty()) {
        return;
    }
    const std::lock_guard guard(mutex_);
    std::optional<Sealer> sealer = sealerFor(file, secret);
    std::int64_t at = offset;
    while (!bytes.empty()) {
        const std::int64_t page = at / pageLength;
        const auto chunk =
            std::min(bytes.size(), static_cast<std::size_t>((page + 1) * pageLength - at));
        writePage(file, page, at % pageLength, bytes.first(chunk), sealer);
        bytes = bytes.subspan(chunk);
        at += static_cast<std::int64_t>(chunk);
    }
}

void Image::writePage(const Object& file, std::int64_t page, std::int64_t at, Bytes bytes,
                      std::optional<Sealer>& sealer) {
    Buffer content;
    {
        Query query(statements_.readPage);
        if (!query.bind(rowOf(file, page)).step()) {
            throw Fault("a page of a file is missing");
        }
        content = unsealPage(file, page, query.bytes(0), sealer);
    }
    std::copy(bytes.begin(), bytes.end(), content.data() + at);
    const Buffer row = sealPage(file, page, std::move(content), sealer);
    changeRow(Query(statements_.writePage).bind(row).bind(rowOf(file, page)));
}

bool Image::hasKey(const Object& key) {
    const std::lock_guard guard(mutex_);
    Query query(statements_.key);
    needRow(query.bind(key.number));
    return !query.isNull(0);
}

KeyValue Image::key(const Object& key, const SecretKey* secret) {
    const std::lock_guard guard(mutex_);
    std::optional<Sealer> sealer = sealerFor(key, secret);
    Query query(statements_.key);
    needRow(query.bind(key.number));
    const Bytes row = query.bytes(0);
    std::optional<Buffer> bytes(std::in_place, row.begin(), row.end());
    if (sealer) {
        bytes = sealer->unseal(placeOfKey(serial_, key), row);
    }
    KeyValue value{};
    if (!bytes || bytes->size() != value.size()) {
        throw Fault("a key is damaged");
    }
    std::copy(bytes->begin(), bytes->end(), value.begin());
    wipe(*bytes);
    return value;
}

void Image::setKey(const Object& key, Bytes value, const SecretKey* secret) {
    const std::lock_guard guard(mutex_);
    holdsOld_ = true;
    std::optional<Sealer> sealer = sealerFor(key, secret);
    const Buffer row =
        sealer ? sealer->seal(placeOfKey(serial_, key), value) : Buffer(value.begin(), value.end());
    changeRow(Query(statements_.setKey).bind(row).bind(key.number));
}

}  // namespace token
