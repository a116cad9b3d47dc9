#include "libksigil/result_words.h"

#include <algorithm>
#include <iterator>

#include "apdulib/status_message.h"
#include "include/ksigil.h"
#include "include/result_numbers.h"

namespace ksigil {
namespace {

// Of a status word the text is the token's own, and null here.
struct Words {
    u32 result;
    const char* text;
    const char* reason;  // null where it is the text
};

constexpr Words words[] = {
    {KSIGIL_OK, "Success", nullptr},
    {KSIGIL_LOST_MANAGER, "The connection to the resource manager is lost.",
     "the resource manager went away; try again"},
    {KSIGIL_NO_SPACE, "No room is left.",
     "the table of application entries is full, or no directory is free"},
    {KSIGIL_INVALID_PARAMETER, "Invalid parameter.", "there is no such application entry"},
    {0x80004005, "The reader's table of connections cannot be made.", nullptr},
    {KSIGIL_TOO_MANY_THREADS, "Too many threads use the reader.",
     "64 threads have connections to the reader; one has to give its own back"},
    {KSIGIL_INVALID_ARGUMENT, "Invalid argument.", "an argument is null or out of its range"},
    {0x80100001, "Internal error of the resource manager.", nullptr},
    {KSIGIL_CANCELLED, "The operation was cancelled.", "its caller ended it between two frames"},
    {KSIGIL_INVALID_HANDLE, "Invalid handle.",
     "the token's handle is closed, or a fork has made this process"},
    {KSIGIL_NO_HOST_MEMORY, "The host's memory does not suffice.", nullptr},
    {KSIGIL_BUFFER_TOO_SMALL, "The buffer is too small.",
     "there is more than the buffer has room for"},
    {KSIGIL_UNKNOWN_READER, "There is no reader of that name.", nullptr},
    {0x8010000B, "Another program has the token to itself.", "end the other program's use"},
    {KSIGIL_NO_TOKEN, "There is no token in the reader.", "put the token in"},
    {0x8010000F, "The token knows none of the protocols.", nullptr},
    {KSIGIL_COMMUNICATION, "The reader or the token answered what cannot be right.",
     "take the token out, put it in and try again"},
    {0x80100016, "No transaction is open.", nullptr},
    {KSIGIL_READER_GONE, "The reader is gone.", "plug the reader in again"},
    {0x8010001D, "There is no resource manager.", nullptr},
    {KSIGIL_UNEXPECTED, "An unexpected failure.", nullptr},
    {0x80100022, "The reader does not support that.", nullptr},
    {0x8010002E, "There is no reader.", "plug a reader in"},
    {0x80100066, "The token does not answer.", "take the token out and put it in again"},
    {0x80100067, "The token has no power.", "take the token out and put it in again"},
    {KSIGIL_TOKEN_RESET, "The token was reset.", "the token was reset by another user; try again"},
    {KSIGIL_TOKEN_REMOVED, "The token was removed.", "put the token in again"},
    {0x8010006A, "Access to the resource manager is denied.", nullptr},
    {0xE0066404, nullptr, "nothing is selected; another program may have been at it: try again"},
    {0xE0066405, nullptr, "it is the root, an object of another kind, or a key without a value"},
    {KSIGIL_NOT_EMPTY, nullptr, "a directory has children; remove them first"},
    {KSIGIL_NOT_FOUND, nullptr, "there is nothing at that path"},
    {0xE0066408, nullptr, "the id is taken, or can't be given"},
    {KSIGIL_NO_TOKEN_MEMORY, nullptr, "the token is full; remove something"},
    {0xE0066415, nullptr, "the object at that path is no key"},
    {KSIGIL_NO_LOGIN, nullptr, "the token wants the right password first; log in"},
    {KSIGIL_NO_PROTECTOR, "The token has no protector.", "prepare the token first"},
};

const Words* find(u32 rv) {
    const auto* const found = std::find_if(std::begin(words), std::end(words),
                                           [rv](const Words& one) { return one.result == rv; });
    return found == std::end(words) ? nullptr : found;
}

}  // namespace

const char* reasonFor(u32 rv) {
    const Words* const known = find(rv);
    return known != nullptr && known->reason != nullptr ? known->reason : ksigil_result_text(rv);
}

}  // namespace ksigil

const char* ksigil_result_text(uint32_t result) {
    if (ksigil::result::isStatusWord(result)) {
        return statusMessage(static_cast<u16>(result));
    }
    const ksigil::Words* const known = ksigil::find(result);
    return known != nullptr ? known->text : "No text for this number.";
}
