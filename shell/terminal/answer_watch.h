#pragma once

#include <streambuf>
#include <string>

namespace ksigil {

// Sees the beginning of what the shell writes while this lives, on its way to standard output.
class AnswerWatch : public std::streambuf {
  public:
    AnswerWatch();
    AnswerWatch(const AnswerWatch&) = delete;
    AnswerWatch& operator=(const AnswerWatch&) = delete;
    ~AnswerWatch() override;

    const std::string& beginning() const { return beginning_; }

  protected:
    int_type overflow(int_type character) override;
    int sync() override { return output_->pubsync(); }

  private:
    std::streambuf* output_;
    std::string beginning_;
};

}  // namespace ksigil
