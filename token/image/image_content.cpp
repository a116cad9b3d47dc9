#include <algorithm>
#include <utility>

#include "token/base/fault.h"
#include "token/image/image.h"
#include "token/image/image_format.h"
#include "token/image/sealed_place.h"

// What stands in an image's files and keys, and how it is sealed.

namespace token {
namespace {

std::int64_t firstPage(const Object& file) {
    return file.number * pagesAnObject;
}

std::int64_t pageBytes(const Object& file, std::int64_t page) {
    return std::min<std::int64_t>(pageLength, file.size - page * pageLength);
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

Buffer Image::openPage(const Object& file, std::int64_t page, Bytes row,
                       std::optional<Sealer>& sealer) const {
    std::optional<Buffer> bytes(std::in_place, row.begin(), row.end());
    if (sealer) {
        bytes = sealer->unseal(placeOfPage(serial_, file, page), row);
    }
    if (!bytes || std::cmp_not_equal(bytes->size(), pageBytes(file, page))) {
        throw Fault("a page of a file is damaged");
    }
    return *std::move(bytes);
}

Buffer Image::closePage(const Object& file, std::int64_t page, Buffer bytes,
                        std::optional<Sealer>& sealer) const {
    return sealer ? sealer->seal(placeOfPage(serial_, file, page), bytes) : bytes;
}

void Image::createPages(const Object& file, const SecretKey* secret) {
    std::optional<Sealer> sealer = sealerFor(file, secret);
    for (std::int64_t page = 0; page * pageLength < file.size; ++page) {
        const Buffer zeros(static_cast<std::size_t>(pageBytes(file, page)));
        const Buffer row = closePage(file, page, zeros, sealer);
        Query(statements_.createPage).bind(firstPage(file) + page).bind(row).run();
    }
}

void Image::removePages(const Object& object) {
    Query(statements_.removePages)
        .bind(firstPage(object))
        .bind(firstPage(object) + pagesAnObject - 1)
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
    query.bind(firstPage(file) + page).bind(firstPage(file) + (end - 1) / pageLength);
    for (std::int64_t at = offset; at < end; ++page) {
        if (!query.step() || query.integer(0) != firstPage(file) + page) {
            throw Fault("a page of a file is missing");
        }
        const Buffer bytes = openPage(file, page, query.bytes(1), sealer);
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
        if (!query.bind(firstPage(file) + page).step()) {
            throw Fault("a page of a file is missing");
        }
        content = openPage(file, page, query.bytes(0), sealer);
    }
    std::copy(bytes.begin(), bytes.end(), content.begin() + at);
    const Buffer row = closePage(file, page, std::move(content), sealer);
    change(Query(statements_.writePage).bind(row).bind(firstPage(file) + page));
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
    std::optional<Sealer> sealer = sealerFor(key, secret);
    const Buffer row =
        sealer ? sealer->seal(placeOfKey(serial_, key), value) : Buffer(value.begin(), value.end());
    change(Query(statements_.setKey).bind(row).bind(key.number));
}

void Image::sealContent(const SecretKey& secret) {
    // A page that belongs to nothing would stay in clear.
    database_.execute(
        "DELETE FROM page WHERE NOT EXISTS (SELECT 1 FROM object WHERE type = 1 AND "
        "object.number = page.number / 64 AND page.number % 64 * 1024 < size)");
    std::vector<Object> objects;
    {
        Statement statement(database_,
                            "SELECT number, size, type, attribute, id FROM object "
                            "WHERE (type = 1 AND attribute = 1 OR type = 3 AND attribute = 3) AND "
                            "size BETWEEN 0 AND 65535 AND id BETWEEN 0 AND 65535");
        Query query(statement);
        while (query.step()) {
            objects.push_back(objectIn(query));
            objects.back().id = static_cast<std::uint16_t>(query.integer(4));
        }
    }
    Sealer sealer(secret);
    for (const Object& object : objects) {
        if (object.type == typeFile) {
            sealPages(object, sealer);
        } else {
            sealKey(object, sealer);
        }
    }
}

// One of a wrong length too: sealed, it is as damaged as before, but not in clear.
void Image::sealPages(const Object& file, Sealer& sealer) {
    for (std::int64_t page = 0; page * pageLength < file.size; ++page) {
        Buffer row;
        {
            Query query(statements_.readPage);
            if (!query.bind(firstPage(file) + page).step()) {
                continue;
            }
            row = sealer.seal(placeOfPage(serial_, file, page), query.bytes(0));
        }
        change(Query(statements_.writePage).bind(row).bind(firstPage(file) + page));
    }
}

void Image::sealKey(const Object& key, Sealer& sealer) {
    Buffer row;
    {
        Query query(statements_.key);
        needRow(query.bind(key.number));
        if (query.isNull(0)) {
            return;
        }
        row = sealer.seal(placeOfKey(serial_, key), query.bytes(0));
    }
    change(Query(statements_.setKey).bind(row).bind(key.number));
}

}  // namespace token
