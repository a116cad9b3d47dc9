#include "Components/qv_aid/qv_protector.h"

#include "include/log_gate.h"
#include "include/qv_appentry.h"
#include "include/result_numbers.h"
#include "support/create_rng.h"

using namespace ksigil;

namespace {

constexpr u32 keyLength = 16;   // bytes of a key's value
constexpr u32 blockLength = 8;  // bytes of one run of the cipher

}  // namespace

QVProtector::QVProtector() : rng(createRng()) {}

QVProtector::~QVProtector() = default;

u32 QVProtector::create(ApduTalker& talker) {
    const OperationLog log = logEntered("QVProtector::create");
    const u32 rv = initialize(talker, true);
    return log.serviceExit(rv);
}

u32 QVProtector::operation(ApduTalker& talker, bool encrypt, const std::vector<u8>& input,
                           std::vector<u8>& output) {
    const OperationLog log = logEntered("QVProtector::operation");
    u32 rv = initialize(talker, false);
    if (rv == result::success) {
        rv = fileSystem.desx(talker, keyPath, encrypt, input, output);
    }
    return log.serviceExit(rv);
}

u32 QVProtector::maxOperationLength(u32 inputLength, u32* outputLength) const {
    const OperationLog log = logEntered("QVProtector::maxOperationLength");
    *outputLength = inputLength / blockLength * blockLength + blockLength;
    return log.serviceExit(result::success);
}

u32 QVProtector::checkRoom(ApduTalker& talker) const {
    return QVAppEntry().checkRoom(talker, applicationId);
}

u32 QVProtector::look(ApduTalker& talker, std::vector<Part>& parts) const {
    std::string directory;
    bool exists = false;
    u32 rv = findEntry(talker, exists, directory);
    // An entry whose content cannot be read is there as well.
    if (rv == result::success || exists) {
        parts.push_back({"", exists});
    }
    if (rv == result::success && exists) {
        directory.insert(0, rootPath);
        for (const std::string& path : {directory, directory + keyFileId}) {
            if (rv == result::success) {
                rv = fileSystem.isFileExists(talker, path, exists);
            }
            if (rv == result::success) {
                parts.push_back({path, exists});
            }
        }
    }
    return rv;
}

u32 QVProtector::initialize(ApduTalker& talker, bool create) {
    const OperationLog log = logEntered("QVProtector::initialize");
    dirPath.clear();
    keyPath.clear();
    bool exists = false;
    u32 rv = findEntry(talker, exists, dirPath);
    if (rv == result::success && !exists && create) {
        rv = makeEntry(talker);
    }
    if (rv == result::success) {
        dirPath.insert(0, rootPath);
        rv = find(talker, dirPath, create ? &QVProtector::makeDirectory : nullptr);
    }
    if (rv == result::success) {
        keyPath = dirPath + keyFileId;
        rv = find(talker, keyPath, create ? &QVProtector::makeKey : nullptr);
    }
    return log.serviceExit(rv);
}

u32 QVProtector::findEntry(ApduTalker& talker, bool& exists, std::string& directory) const {
    const QVAppEntry entries;
    std::vector<u8> content;
    u32 rv = entries.isAppEntryExist(talker, applicationId, exists);
    if (rv == result::success && exists) {
        rv = entries.get_kSAppEntry(talker, applicationId, content);
        directory.assign(content.begin(), content.end());
    }
    return rv;
}

u32 QVProtector::find(ApduTalker& talker, const std::string& path,
                      u32 (QVProtector::*make)(ApduTalker&)) {
    bool exists = false;
    u32 rv = fileSystem.isFileExists(talker, path, exists);
    if (rv == result::success && !exists) {
        rv = make != nullptr ? (this->*make)(talker) : result::protectorAbsent;
    }
    return rv;
}

u32 QVProtector::makeEntry(ApduTalker& talker) {
    const QVAppEntry entries;
    dirPath = protectorDirectory;
    u32 rv = entries.findNextDirectory(talker, dirPath);
    if (rv == result::success) {
        rv = entries.set_kSAppEntry(talker, applicationId, {dirPath.begin(), dirPath.end()});
    }
    return rv;
}

u32 QVProtector::makeDirectory(ApduTalker& talker) {
    logEvent("QVProtector::create()", "creating: ", LogPath(dirPath));
    return fileSystem.createDirectory(talker, dirPath, false);
}

u32 QVProtector::makeKey(ApduTalker& talker) {
    logEvent("QVProtector::create()", "creating key: ", LogPath(keyPath));
    u32 rv = fileSystem.createFile(talker, keyPath, false);
    if (rv == result::success) {
        std::vector<u8> key;
        rng->generate(key, keyLength);
        rv = fileSystem.writeFile(talker, keyPath, key);
    }
    return rv;
}
