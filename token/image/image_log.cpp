#include <algorithm>

#include "token/base/fault.h"
#include "token/image/image_bytes.h"
#include "token/image/image_format.h"

// The database's log: a header, and frames with a page each. The last frame of a change says how
// many pages there are then. All numbers stand high byte first.

namespace token {
namespace {

constexpr std::size_t headerLength = 32;
constexpr std::size_t frameHeaderLength = 24;
constexpr std::uint32_t magic = 0x377F0682;  // the sums' words stand high byte first if one more
constexpr std::uint32_t version = 3007000;

// The running sum over all words, in pairs, by which a frame is known to be whole.
class Sum {
  public:
    explicit Sum(bool highByteFirst) : highByteFirst_(highByteFirst) {}

    void add(Bytes words) {
        for (std::size_t at = 0; at + 8 <= words.size(); at += 8) {
            first_ += word(words, at) + second_;
            second_ += word(words, at + 4) + first_;
        }
    }
    bool isAt(Bytes bytes, std::size_t at) const {
        return get32BigEndian(bytes, at) == first_ && get32BigEndian(bytes, at + 4) == second_;
    }

  private:
    std::uint32_t word(Bytes bytes, std::size_t at) const {
        return highByteFirst_ ? get32BigEndian(bytes, at) : get32(bytes, at);
    }

    bool highByteFirst_;
    std::uint32_t first_ = 0;
    std::uint32_t second_ = 0;
};

bool isPageSize(std::size_t size) {
    return size >= 512 && size <= 65536 && (size & (size - 1)) == 0;
}

class Log {
  public:
    explicit Log(Bytes log)
        : header_(log.first(headerLength)),
          frames_(log.subspan(headerLength)),
          pageSize_(get32BigEndian(header_, 8)),
          sum_((header_[3] & 1) != 0) {
        sum_.add(header_.first(24));
        isKnown_ = (get32BigEndian(header_, 0) & ~1U) == magic &&
                   get32BigEndian(header_, 4) == version && isPageSize(pageSize_) &&
                   sum_.isAt(header_, 24);
    }

    void layOver(Buffer& image) {
        const std::size_t end = wholeChanges();
        for (std::size_t at = 0; at < end; at += frameLength()) {
            layFrame(frames_.subspan(at, frameLength()), image);
        }
        if (end != 0) {
            image.resize(pages_ * pageSize_);
        }
    }

  private:
    std::size_t frameLength() const { return frameHeaderLength + pageSize_; }

    bool isNext(Bytes frame) {
        sum_.add(frame.first(8));
        sum_.add(frame.subspan(frameHeaderLength));
        return get32BigEndian(frame, 0) != 0 &&
               std::ranges::equal(frame.subspan(8, 8), header_.subspan(16, 8)) &&
               sum_.isAt(frame, 16);
    }

    // How many bytes of the frames belong to changes that are there to their end.
    std::size_t wholeChanges() {
        std::size_t end = 0;
        for (std::size_t at = 0; isKnown_ && at + frameLength() <= frames_.size();) {
            const Bytes frame = frames_.subspan(at, frameLength());
            if (!isNext(frame)) {
                break;
            }
            at += frameLength();
            if (const std::uint32_t pages = get32BigEndian(frame, 4); pages != 0) {
                end = at;
                pages_ = pages;
            }
        }
        return end;
    }

    void layFrame(Bytes frame, Buffer& image) const {
        const std::uint64_t pages = std::max(pages_, get32BigEndian(frame, 0));
        if (pages * pageSize_ > longestImage) {
            throw Damage("its log makes it longer than any token image");
        }
        const std::size_t after = get32BigEndian(frame, 0) * pageSize_;
        image.resize(std::max(image.size(), after));
        std::ranges::copy(frame.subspan(frameHeaderLength),
                          image.begin() + static_cast<std::ptrdiff_t>(after - pageSize_));
    }

    Bytes header_, frames_;
    std::size_t pageSize_;
    Sum sum_;
    bool isKnown_ = false;
    std::uint32_t pages_ = 0;
};

}  // namespace

void layLogOver(Buffer& image, Bytes log) {
    if (log.size() >= headerLength) {
        Log(log).layOver(image);
    }
}

}  // namespace token
