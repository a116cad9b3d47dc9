#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_password.h"
#include "Components/qv_aid/qv_protector.h"
#include "fuzz/script.h"
#include "include/qv_appentry.h"

// The operation, then the replies.
extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Script token(data, size);
    const QVFileSystem files;
    const std::string path = "3f00a1a1";
    Bytes bytes(2000);
    bool exists = false;
    std::vector<QVFileInfo> infos(1);
    std::string directory = "3000";
    const QVAppEntry entries;
    QVProtector protector;
    const std::function<u32()> operations[] = {
        [&] { return QVPassword().login(token, bytes); },
        [&] { return files.listFiles(token, path, infos); },
        [&] { return files.isFileExists(token, path, exists); },
        [&] { return files.getFileInfo(token, path, infos[0]); },
        [&] { return files.readFile(token, path, bytes); },
        [&] { return files.readFile(token, path, 7, 3000, bytes); },
        [&] { return files.writeFile(token, path, 7, bytes); },
        [&] { return files.del(token, path); },
        [&] { return files.desx(token, path, true, bytes, bytes); },
        [&] { return files.desx(token, path, false, bytes, bytes); },
        [&] { return entries.set_kSAppEntry(token, 0x30003000, Bytes(4)); },
        [&] { return entries.remove_kSAppEntry(token, 0x30003000); },
        [&] { return entries.findNextDirectory(token, directory); },
        [&] { return protector.operation(token, false, bytes, bytes); },
        [&] { return protector.create(token); },
    };
    operations[token.next() % std::size(operations)]();
    return 0;
}
