#include "token/image/image_bytes.h"

#include <algorithm>
#include <memory>

#include "token/base/fault.h"
#include "token/image/image_format.h"

namespace token {
namespace {

// Where the database's header says, once for readers and once for writers, that there is a log.
constexpr std::size_t modesAt = 18;
constexpr std::uint8_t withoutLog = 1;

struct Freer {
    void operator()(void* memory) const { sqlite3_free(memory); }
};
using Memory = std::unique_ptr<unsigned char, Freer>;

void setModes(std::uint8_t* image, std::size_t length, std::uint8_t mode) {
    if (length >= modesAt + 2) {
        image[modesAt] = image[modesAt + 1] = mode;
    }
}

}  // namespace

Buffer bytesOf(Database& database) {
    sqlite3_int64 length = 0;
    const Memory memory(sqlite3_serialize(database.handle(), "main", &length, 0));
    if (memory == nullptr) {
        throw Fault("the image cannot be held in memory");
    }
    Buffer image(memory.get(), memory.get() + length);
    setModes(image.data(), image.size(), writeAheadMode);
    return image;
}

// A database in memory has no log.
Database databaseOf(Bytes image) {
    Memory memory(static_cast<unsigned char*>(sqlite3_malloc64(image.size())));
    if (memory == nullptr) {
        throw Fault("the image cannot be held in memory");
    }
    std::copy(image.begin(), image.end(), memory.get());
    setModes(memory.get(), image.size(), withoutLog);
    Database database;
    const auto length = static_cast<sqlite3_int64>(image.size());
    // It frees the memory when it fails, too.
    if (sqlite3_deserialize(database.handle(), "main", memory.release(), length, length,
                            SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_READONLY) !=
        SQLITE_OK) {
        database.fail();
    }
    return database;
}

}  // namespace token
