#pragma once

#include "token/base/bytes.h"
#include "token/image/object.h"

namespace token {

// A seal is bound to its image by the serial number, to its kind, to the object as it was made, and
// to its page there. A sealed row that stands anywhere else does not open.
inline Buffer sealedPlace(Bytes serial, char kind, const Object& object, std::int64_t page) {
    Buffer place(serial.begin(), serial.end());
    place.push_back(static_cast<std::uint8_t>(kind));
    put64(place, static_cast<std::uint64_t>(object.number));
    put16(place, object.id);
    place.push_back(object.type);
    place.push_back(object.attribute);
    put16(place, object.size);
    put64(place, static_cast<std::uint64_t>(page));
    return place;
}

inline Buffer placeOfPage(Bytes serial, const Object& object, std::int64_t page) {
    return sealedPlace(serial, 'p', object, page);
}

inline Buffer placeOfKey(Bytes serial, const Object& object) {
    return sealedPlace(serial, 'k', object, 0);
}

}  // namespace token
