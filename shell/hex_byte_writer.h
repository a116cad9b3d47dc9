#pragma once

#include <cstddef>
#include <ios>
#include <iterator>
#include <ostream>

#include "include/basic_types.h"

// An output iterator that prints each byte as two hexadecimal digits, lower case, and a blank. The
// characters go straight to the stream's buffer: a long file must not cost more to print than to
// read. The stream's base is decimal afterwards.
class HexByteWriter {
  public:
    using iterator_category = std::output_iterator_tag;
    using value_type = void;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = void;

    explicit HexByteWriter(std::ostream& stream) : stream_(&stream) {}

    HexByteWriter& operator=(u8 value) {
        constexpr const char* digits = "0123456789abcdef";
        stream_->setf(std::ios_base::dec, std::ios_base::basefield);
        if (stream_->good() && !(put(digits[value >> 4]) && put(digits[value & 0xF]) && put(' '))) {
            stream_->setstate(std::ios_base::badbit);
        }
        return *this;
    }

    HexByteWriter& operator*() { return *this; }
    HexByteWriter& operator++() { return *this; }
    HexByteWriter operator++(int) { return *this; }

  private:
    bool put(char character) {
        using Traits = std::ostream::traits_type;
        return !Traits::eq_int_type(stream_->rdbuf()->sputc(character), Traits::eof());
    }

    std::ostream* stream_;
};

static_assert(std::output_iterator<HexByteWriter, u8>);
