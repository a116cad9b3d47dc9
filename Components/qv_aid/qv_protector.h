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
    // The application entry, the directory that it names or the key in that.
    struct Part {
        std::string path;  // empty for the entry
        bool isThere;
    };

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

    // Looks for the entry and, if it is there, for the directory and the key; appends them to
    // `parts` in this order and changes nothing. On failure those before it are in `parts`.
    u32 look(ApduTalker& talker, std::vector<Part>& parts) const;

    // Whether `create` finds room for its application entry, as QVAppEntry::checkRoom tells.
    u32 checkRoom(ApduTalker& talker) const;

    // The kind of the random source from which `create` takes a key's value, as Rng numbers them.
    u32 sourceKind() const { return rng->sourceKind(); }

  private:
    static constexpr u32 applicationId = 0x30003000;
    static constexpr char keyFileId[] = "0001";

    // Sets the two paths from what the token holds. What is missing is made with `create`, else it
    // is result::protectorAbsent.
    u32 initialize(ApduTalker& talker, bool create);

    // Whether there is an entry, and the 4 digits that it holds. `exists` is right also where they
    // cannot be read.
    u32 findEntry(ApduTalker& talker, bool& exists, std::string& directory) const;
    // Looks for the object at `path`. One that is missing is made, or is result::protectorAbsent
    // where `make` is null.
    u32 find(ApduTalker& talker, const std::string& path, u32 (QVProtector::*make)(ApduTalker&));
    // Sets `dirPath` to the 4 digits that it enters.
    u32 makeEntry(ApduTalker& talker);
    u32 makeDirectory(ApduTalker& talker);
    u32 makeKey(ApduTalker& talker);

    std::unique_ptr<Rng> rng;
    std::string dirPath;
    std::string keyPath;
    QVFileSystem fileSystem;
};
