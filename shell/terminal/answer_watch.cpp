#include "shell/terminal/answer_watch.h"

#include <iostream>

namespace ksigil {
namespace {

constexpr std::size_t mostSeen = 128;  // characters

}  // namespace

AnswerWatch::AnswerWatch() : output_(std::cout.rdbuf()) {
    std::cout.rdbuf(this);
}

AnswerWatch::~AnswerWatch() {
    std::cout.rdbuf(output_);
}

AnswerWatch::int_type AnswerWatch::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) {
        return traits_type::not_eof(character);
    }
    if (beginning_.size() < mostSeen) {
        beginning_ += traits_type::to_char_type(character);
    }
    return output_->sputc(traits_type::to_char_type(character));
}

}  // namespace ksigil
