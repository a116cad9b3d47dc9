#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Components/qv_aid/qv_filesystem.h"
#include "apdulib/apdu_talker.h"
#include "include/basic_types.h"
#include "support/rng.h"

// Encryption under the protector key: a DESX key on the token, never read back, in a directory that
// the token's application entries name. The cipher is the token's.
//
// The caller holds the card lock around each operation. An object serves one thread at a time and
// keeps nothing about the token: each operation finds the key anew.
//
// Results of `create` and `operation`, beside their own, are those of QVAppEntry and QVFileSystem.
// They stop at the first failure and undo nothing.
class QVProtector {
  public:
    static constexpr u32 applicationId = 0x30003000;
    static constexpr char keyFileId[] = "0001";

    // Opens a random source. Touches no token.
    QVProtector();
    ~QVProtector();

    QVProtector(const QVProtector&) = delete;
    QVProtector& operator=(const QVProtector&) = delete;

    // Makes on the token what is missing of the protector, in this order: the application entry,
    // the public directory that it names, the one-factor key in it and the key's random value. An
    // entry, directory or key that is there stays as it is. A failure between the last two leaves a
    // key without a value, which later calls take for the protector key: it has to be removed
    // first. Throws VDW::RngException where the random source fails, just there.
    u32 create(ApduTalker& talker);

    // Runs `input` through the protector key into `output`, as QVFileSystem::desx does.
    // result::protectorAbsent: there is no entry (and no object "3f000001"), no directory, or no
    // key; `output` is untouched.
    u32 operation(ApduTalker& talker, bool encrypt, const std::vector<u8>& input,
                  std::vector<u8>& output);

    // Sets `outputLength` to the bytes that an encryption of `inputLength` bytes (at most
    // 0xFFFFFFF7) yields. Always 0; touches no token and needs no lock.
    u32 maxOperationLength(u32 inputLength, u32* outputLength) const;

  private:
    // Sets the two paths from what the token holds. What is missing is made with `create`, else it
    // is result::protectorAbsent.
    u32 initialize(ApduTalker& talker, bool create);

    // The steps of `initialize`. The first sets `dirPath` to the directory's 4 digits, or leaves it
    // empty where there is no entry and none is to be made.
    u32 findEntry(ApduTalker& talker, bool create);
    u32 findDirectory(ApduTalker& talker, bool create);
    u32 findKey(ApduTalker& talker, bool create);
    u32 makeDirectory(ApduTalker& talker);
    u32 makeKey(ApduTalker& talker);

    std::unique_ptr<Rng> rng;
    std::string dirPath;
    std::string keyPath;
    QVFileSystem fileSystem;
};
