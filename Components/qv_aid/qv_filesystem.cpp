#include "Components/qv_aid/qv_filesystem.h"

#include <algorithm>
#include <iterator>

#include "apdulib/apdu_directory.h"
#include "apdulib/apdu_file.h"
#include "apdulib/apdu_key.h"
#include "apdulib/status_message.h"
#include "include/log_gate.h"
#include "include/result_numbers.h"

using namespace ksigil;

namespace {

constexpr u32 largestSize = 0xFFFF;    // bytes of a file, and the end of any range in it
constexpr std::size_t keyLength = 16;  // bytes of a key's value
constexpr u32 keySize = 24;            // bytes that a key object takes on the token
constexpr std::size_t blockLength = sizeof(ApduDesx::Reply);
constexpr std::size_t deepestLevel = 255;  // a selection counts its levels in one byte

// Takes a success with less reply data than the caller will read for a failure.
u32 transmitFor(ApduTalker& talker, Apdu& frame, u32 replyDataLength) {
    u32 rv = transmitChecked(talker, frame);
    if (rv == result::success && frame.replyDataLength() < replyDataLength) {
        rv = result::communicationError;
    }
    return rv;
}

// Whether the 16 bits of a frame can name every byte of the range and its end.
bool isAddressable(u64 offset, u64 length) {
    return length == 0 || offset + length <= largestSize;
}

// A listing of the selected directory; appends to `ids`, on failure nothing.
u32 listSelected(ApduTalker& talker, std::vector<u16>& ids) {
    ApduListDirectory frame(0, 0);
    u32 rv = transmitFor(talker, frame, sizeof(ApduListDirectory::Reply));
    if (rv == result::success) {
        const u32 count = frame.reply()->count;
        if (frame.replyDataLength() >= sizeof(ApduListDirectory::Reply) + count * sizeof(Le16)) {
            ids.insert(ids.end(), frame.fileIds(), frame.fileIds() + count);
        } else {
            rv = result::communicationError;
        }
    }
    return rv;
}

// Runs whole blocks through the selected key, from `input` to the same place in `output`.
u32 transformBlocks(ApduTalker& talker, u8 mode, const std::vector<u8>& input,
                    std::vector<u8>& output) {
    u32 rv = result::success;
    for (std::size_t at = 0; at < input.size() && rv == result::success; at += blockLength) {
        ApduDesx frame(mode, input.data() + at);
        rv = transmitFor(talker, frame, sizeof(ApduDesx::Reply));
        if (rv == result::success) {
            std::copy_n(frame.reply()->block, blockLength, output.data() + at);
        }
    }
    return rv;
}

std::vector<u8> padded(const std::vector<u8>& input) {
    const std::size_t length = input.size() / blockLength * blockLength + blockLength;
    std::vector<u8> work = input;
    work.resize(length, static_cast<u8>(length - input.size()));
    return work;
}

// Cuts as many bytes as the last one says; of the padding only that byte is looked at.
u32 removePadding(std::vector<u8>& output) {
    u32 rv = result::success;
    const std::size_t padding = output.back();
    if (padding <= output.size()) {
        output.erase(output.end() - static_cast<std::ptrdiff_t>(padding), output.end());
    } else {
        rv = result::invalidArgument;
    }
    return rv;
}

}  // namespace

u32 QVFileSystem::selectPath(ApduTalker& talker, const std::string& path, QVFileInfo& info) const {
    const OperationLog log = logEntered("QVFileSystem::selectPath");
    std::vector<u16> ids;
    u32 rv = parsePath(path, ids);
    if (rv == result::success) {
        ApduSelectFile frame(0, nullptr, static_cast<u32>(ids.size()));
        std::copy(ids.begin(), ids.end(), frame.fileIds());
        rv = transmitFor(talker, frame, sizeof(ApduSelectFile::Reply));
        if (rv == result::success) {
            const ApduSelectFile::Reply& reply = *frame.reply();
            info = {fileNameOf(path), reply.attribute, reply.type, reply.size};
        }
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::directoryPath(ApduTalker& talker, const std::string& path,
                                std::vector<QVFileInfo>& children) const {
    const OperationLog log = logEntered("QVFileSystem::directoryPath");
    QVFileInfo directory;
    std::vector<u16> ids;
    u32 rv = selectPath(talker, path, directory);
    if (rv == result::success) {
        rv = listSelected(talker, ids);
    }
    // This also keeps `del` from following a token that shows directories without end.
    if (rv == result::success && !ids.empty() && path.length() / 4 >= deepestLevel) {
        rv = result::communicationError;
    }
    for (std::size_t i = 0; i < ids.size() && rv == result::success; ++i) {
        QVFileInfo child;
        rv = selectPath(talker, path + formatFileId(ids[i]), child);
        if (rv == result::success) {
            children.push_back(std::move(child));
        }
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::deletePath(ApduTalker& talker, const std::string& path) const {
    const OperationLog log = logEntered("QVFileSystem::deletePath");
    QVFileInfo info;
    u32 rv = selectPath(talker, path, info);
    if (rv == result::success) {
        ApduDeleteFile frame(info.type);
        rv = transmitChecked(talker, frame);
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::create(ApduTalker& talker, u8 type, u8 attribute, const std::string& path,
                         u32 size) const {
    const OperationLog log = logEntered("QVFileSystem::create");
    std::string parent;
    u16 fileId = 0;
    u32 rv = size <= largestSize ? splitPath(path, parent, fileId) : result::invalidArgument;
    if (rv == result::success) {
        QVFileInfo directory;
        rv = selectPath(talker, parent, directory);
    }
    if (rv == result::success) {
        ApduCreateFile frame(type, attribute, static_cast<u16>(size), fileId);
        rv = transmitChecked(talker, frame);
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::listDirectories(ApduTalker& talker, const std::string& path,
                                  std::vector<std::string>& names) const {
    const OperationLog log = logEntered("QVFileSystem::listDirectories");
    std::vector<QVFileInfo> children;
    const u32 rv = directoryPath(talker, path, children);
    if (rv == result::success) {
        for (const QVFileInfo& child : children) {
            if (child.isDirectory()) {
                names.push_back(child.name);
            }
        }
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::listFiles(ApduTalker& talker, const std::string& path,
                            std::vector<QVFileInfo>& files) const {
    const OperationLog log = logEntered("QVFileSystem::listFiles");
    std::vector<QVFileInfo> children;
    const u32 rv = directoryPath(talker, path, children);
    if (rv == result::success) {
        std::copy_if(children.begin(), children.end(), std::back_inserter(files),
                     [](const QVFileInfo& child) { return !child.isDirectory(); });
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::dir(ApduTalker& talker, const std::string& path,
                      std::vector<std::string>& names) const {
    const OperationLog log = logEntered("QVFileSystem::dir");
    std::vector<QVFileInfo> children;
    const u32 rv = directoryPath(talker, path, children);
    if (rv == result::success) {
        for (const QVFileInfo& child : children) {
            names.push_back(child.name);
        }
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::getFileInfo(ApduTalker& talker, const std::string& path, QVFileInfo& info) const {
    const OperationLog log = logEntered("QVFileSystem::getFileInfo");
    const u32 rv = selectPath(talker, path, info);
    return log.serviceExit(rv);
}

u32 QVFileSystem::isFileExists(ApduTalker& talker, const std::string& path, bool& exists) const {
    const OperationLog log = logEntered("QVFileSystem::isFileExists");
    QVFileInfo info;
    u32 rv = selectPath(talker, path, info);
    if (rv == result::success) {
        exists = true;
    } else if ((rv & 0xFFFF) == status::pathNotFound) {
        exists = false;
        rv = result::success;
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::readFile(ApduTalker& talker, const std::string& path, u32 offset, u32 length,
                           std::vector<u8>& bytes) const {
    const OperationLog log = logEntered("QVFileSystem::readFile");
    QVFileInfo info;
    u32 rv =
        isAddressable(offset, length) ? selectPath(talker, path, info) : result::invalidArgument;
    if (rv == result::success) {
        bytes.resize(length);
        u32 done = 0;
        while (done < length && rv == result::success) {
            const u32 chunk = std::min(length - done, largestChunk);
            ApduReadBinary frame(static_cast<u16>(offset + done), chunk);
            rv = transmitFor(talker, frame, chunk);
            if (rv == result::success) {
                std::copy_n(frame.reply(), chunk, bytes.data() + done);
                done += chunk;
            }
        }
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::readFile(ApduTalker& talker, const std::string& path,
                           std::vector<u8>& bytes) const {
    const OperationLog log = logEntered("QVFileSystem::readFile (entire)");
    QVFileInfo info;
    u32 rv = selectPath(talker, path, info);
    if (rv == result::success) {
        rv = readFile(talker, path, 0, info.size, bytes);
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::writeFile(ApduTalker& talker, const std::string& path, u32 offset,
                            const std::vector<u8>& bytes) const {
    const OperationLog log = logEntered("QVFileSystem::writeFile");
    QVFileInfo info;
    u32 rv = isAddressable(offset, bytes.size()) ? selectPath(talker, path, info)
                                                 : result::invalidArgument;
    u32 done = 0;
    while (done < bytes.size() && rv == result::success) {
        const u32 chunk = std::min(static_cast<u32>(bytes.size()) - done, largestChunk);
        ApduWriteBinary frame(static_cast<u16>(offset + done), chunk);
        std::copy_n(bytes.data() + done, chunk, frame.payload());
        rv = transmitChecked(talker, frame);
        if (rv == result::success) {
            done += chunk;
        }
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::writeFile(ApduTalker& talker, const std::string& path,
                            const std::vector<u8>& key) const {
    const OperationLog log = logEntered("QVFileSystem::writeFile");
    QVFileInfo info;
    u32 rv = key.size() == keyLength ? selectPath(talker, path, info) : result::invalidParameter;
    if (rv == result::success) {
        ApduWriteKey frame;
        std::copy(key.begin(), key.end(), frame.data()->key);
        rv = transmitChecked(talker, frame);
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::createFile(ApduTalker& talker, const std::string& path, u32 size,
                             bool isPrivate) const {
    const OperationLog log = logEntered("QVFileSystem::createFile");
    const u8 attribute = isPrivate ? QVFileInfo::attributePrivate : QVFileInfo::attributePublic;
    const u32 rv = create(talker, QVFileInfo::typeBinaryFile, attribute, path, size);
    return log.serviceExit(rv);
}

u32 QVFileSystem::createFile(ApduTalker& talker, const std::string& path, bool isTwoFactor) const {
    const OperationLog log = logEntered("QVFileSystem::createFile");
    const u8 attribute =
        isTwoFactor ? QVFileInfo::attributeTwoFactor : QVFileInfo::attributeOneFactor;
    const u32 rv = create(talker, QVFileInfo::typeKey, attribute, path, keySize);
    return log.serviceExit(rv);
}

u32 QVFileSystem::createDirectory(ApduTalker& talker, const std::string& path,
                                  bool isPrivate) const {
    const OperationLog log = logEntered("QVFileSystem::createDirectory");
    const u8 attribute = isPrivate ? QVFileInfo::attributePrivate : QVFileInfo::attributePublic;
    const u32 rv = create(talker, QVFileInfo::typeDirectory, attribute, path, 0);
    return log.serviceExit(rv);
}

u32 QVFileSystem::del(ApduTalker& talker, const std::string& path) const {
    const OperationLog log = logEntered("QVFileSystem::del");
    QVFileInfo info;
    std::vector<QVFileInfo> children;
    u32 rv = selectPath(talker, path, info);
    if (rv == result::success && info.isDirectory()) {
        rv = directoryPath(talker, path, children);
    }
    if (rv == result::success) {
        for (const QVFileInfo& child : children) {
            const std::string childPath = path + child.name;
            rv = child.isDirectory() ? del(talker, childPath) : deletePath(talker, childPath);
            if (rv != result::success) {
                break;
            }
        }
    }
    if (rv == result::success && path != rootPath) {
        rv = deletePath(talker, path);
    }
    return log.serviceExit(rv);
}

u32 QVFileSystem::desx(ApduTalker& talker, const std::string& path, bool encrypt,
                       const std::vector<u8>& input, std::vector<u8>& output) const {
    const OperationLog log = logEntered("QVFileSystem::desx");
    QVFileInfo key;
    u32 rv = selectPath(talker, path, key);
    if (rv == result::success) {
        if (encrypt) {
            const std::vector<u8> work = padded(input);
            output.resize(work.size());
            rv = transformBlocks(talker, ApduDesx::encrypt, work, output);
        } else if (input.empty() || input.size() % blockLength != 0) {
            rv = result::invalidArgument;
        } else {
            output.resize(input.size());
            rv = transformBlocks(talker, ApduDesx::decrypt, input, output);
            if (rv == result::success) {
                rv = removePadding(output);
            }
        }
    }
    return log.serviceExit(rv);
}
