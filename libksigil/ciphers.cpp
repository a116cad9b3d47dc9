#include <algorithm>
#include <string>
#include <vector>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_protector.h"
#include "apdulib/apdu_key.h"
#include "include/ksigil.h"
#include "libksigil/arguments.h"
#include "libksigil/operation.h"

using namespace ksigil;

namespace {

constexpr std::size_t blockLength = sizeof(ApduDesx::Reply);

struct Cipher {
    bool encrypt;
    const u8* input;
    std::size_t length;
    u8* output;
    std::size_t capacity;
    std::size_t* outputLength;

    bool isSound() const {
        return isBuffer(input, length) && isBuffer(output, capacity) && outputLength != nullptr &&
               length <= KSIGIL_MAX_CIPHER_LENGTH;
    }

    // The room that suffices: with the padding, or with all that might be none.
    std::size_t room() const {
        return encrypt ? length / blockLength * blockLength + blockLength : length;
    }
};

// Runs it by `transform`, which takes talker, input and output.
template <typename Transform>
u32 run(ksigil_token* token, const Cipher& cipher, const Transform& transform) {
    if (!cipher.isSound()) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    if (cipher.room() > cipher.capacity) {
        *cipher.outputLength = cipher.room();
        return withReason(KSIGIL_BUFFER_TOO_SMALL);
    }
    const Transfer blocks{ApduDesx::instruction, blockLength, cipher.room()};
    return onToken(token, blocks, [&](ApduTalker& talker) {
        std::vector<u8> output;
        const u32 rv = transform(talker, bytesOf(cipher.input, cipher.length), output);
        if (rv == KSIGIL_INVALID_ARGUMENT) {
            return because(rv, "what was to be decrypted was not encrypted with this key");
        }
        if (rv == result::success) {
            std::copy(output.begin(), output.end(), cipher.output);
            *cipher.outputLength = output.size();
        }
        return rv;
    });
}

u32 runKey(ksigil_token* token, const char* path, const Cipher& cipher) {
    const u32 bad = checkPath(path);
    return bad != KSIGIL_OK
               ? bad
               : run(token, cipher,
                     [&](ApduTalker& talker, const std::vector<u8>& input,
                         std::vector<u8>& output) {
                         return QVFileSystem().desx(talker, path, cipher.encrypt, input, output);
                     });
}

void tellPart(const QVProtector::Part& part, int& isThere, char* path, std::size_t room) {
    isThere = part.isThere ? 1 : 0;
    path[part.path.copy(path, room - 1)] = '\0';
}

u32 look(ApduTalker& talker, ksigil_protector& protector) {
    std::vector<QVProtector::Part> parts;
    const u32 rv = QVProtector().look(talker, parts);
    if (rv != result::success) {
        return rv;
    }
    protector = {};
    if (!parts.empty()) {
        protector.has_entry = parts[0].isThere ? 1 : 0;
    }
    if (parts.size() > 1) {
        tellPart(parts[1], protector.has_directory, protector.directory,
                 sizeof protector.directory);
    }
    if (parts.size() > 2) {
        tellPart(parts[2], protector.has_key, protector.key, sizeof protector.key);
    }
    return rv;
}

// Without the entry the key would be looked for in the root, where another may have its place.
u32 runProtector(ksigil_token* token, const Cipher& cipher) {
    return run(token, cipher,
               [&](ApduTalker& talker, const std::vector<u8>& input, std::vector<u8>& output) {
                   ksigil_protector protector{};
                   const u32 rv = look(talker, protector);
                   if (rv != result::success || protector.has_key == 0) {
                       return rv != result::success ? rv : KSIGIL_NO_PROTECTOR;
                   }
                   return QVProtector().operation(talker, cipher.encrypt, input, output);
               });
}

u32 prepare(ApduTalker& talker, int* isWeak) {
    QVProtector protector;
    ksigil_protector before{};
    u32 rv = look(talker, before);
    if (rv == result::success) {
        rv = protector.checkRoom(talker);
    }
    if (rv == result::success) {
        rv = protector.create(talker);
    }
    if (rv == result::success && isWeak != nullptr) {
        const bool isNew = before.has_key == 0;
        *isWeak = isNew && protector.sourceKind() == Rng::software ? 1 : 0;
    }
    return rv;
}

}  // namespace

uint32_t ksigil_write_key(ksigil_token* token, const char* path, const uint8_t* value,
                          size_t length) {
    if (!isBuffer(value, length)) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    if (length != KSIGIL_KEY_LENGTH) {
        return withReason(KSIGIL_INVALID_PARAMETER, "a key's value is 16 bytes long");
    }
    return onPath(token, path, {}, [=](ApduTalker& talker, const std::string& at) {
        return QVFileSystem().writeFile(talker, at, bytesOf(value, length));
    });
}

uint32_t ksigil_encrypt(ksigil_token* token, const char* path, const uint8_t* input, size_t length,
                        uint8_t* output, size_t capacity, size_t* output_length) {
    return runKey(token, path, {true, input, length, output, capacity, output_length});
}

uint32_t ksigil_decrypt(ksigil_token* token, const char* path, const uint8_t* input, size_t length,
                        uint8_t* output, size_t capacity, size_t* output_length) {
    return runKey(token, path, {false, input, length, output, capacity, output_length});
}

uint32_t ksigil_protector_encrypt(ksigil_token* token, const uint8_t* input, size_t length,
                                  uint8_t* output, size_t capacity, size_t* output_length) {
    return runProtector(token, {true, input, length, output, capacity, output_length});
}

uint32_t ksigil_protector_decrypt(ksigil_token* token, const uint8_t* input, size_t length,
                                  uint8_t* output, size_t capacity, size_t* output_length) {
    return runProtector(token, {false, input, length, output, capacity, output_length});
}

uint32_t ksigil_get_protector(ksigil_token* token, ksigil_protector* protector) {
    if (protector == nullptr) {
        return withReason(KSIGIL_INVALID_ARGUMENT);
    }
    return onToken(token, [=](ApduTalker& talker) { return look(talker, *protector); });
}

uint32_t ksigil_prepare_protector(ksigil_token* token, int* is_weak) {
    return onToken(token, [=](ApduTalker& talker) { return prepare(talker, is_weak); });
}
