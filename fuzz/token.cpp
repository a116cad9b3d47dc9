#include <algorithm>
#include <cstdlib>

#include "tests/toolbox/trial_token.h"

// Commands: an instruction, the data field's length, and as many bytes; or, after 0, a whole frame.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder folder;
    putTrialImage(folder.file("token.db"));
    TrialToken token(folder.file("token.db"));
    for (token::Bytes rest(data, size); rest.size() >= 2;) {
        const token::Bytes field = rest.subspan(2, std::min<std::size_t>(rest[1], rest.size() - 2));
        token::Buffer frame;
        if (rest[0] != 0) {
            frame = {0, rest[0], 0, 0, 0, 0, static_cast<std::uint8_t>(field.size())};
        }
        frame.insert(frame.end(), field.begin(), field.end());
        if (answer(*token.connection, frame).size() < 4) {
            std::abort();
        }
        rest = rest.subspan(2 + field.size());
    }
    return 0;
}
