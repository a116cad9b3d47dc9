#include "platform/trace_file.h"

#include <gtest/gtest.h>

#include "platform/win32.h"
#include "platform/windows/path_kind.h"
#include "tests/toolbox/scratch_folder.h"
// Behind the one that it needs.
#include <aclapi.h>

#include <algorithm>

namespace {

// Where an opened file ends, -1 if it was not opened, by either way to open it.
std::string opened(const std::string& path) {
    platform::TraceFile file;
    std::string positions;
    for (const auto open :
         {&platform::TraceFile::openAppending, &platform::TraceFile::openEmptied}) {
        (file.*open)(path.c_str());
        positions += std::to_string(file.position()) + " ";
        file.close();
    }
    return positions;
}

TEST(TraceFile, IsAPlainFileOfOneName) {
    const ScratchFolder folder;
    const std::string plain = folder.file("plain"), twin = folder.file("twin");
    put(plain, "12345");
    EXPECT_EQ(opened(plain), "5 0 ");
    std::string unread = R"(\\?\Z:)" + folder.file("new");
    std::replace(unread.begin(), unread.end(), '/', '\\');
    put(plain, "12345");
    CreateHardLinkA(twin.c_str(), plain.c_str(), nullptr);
    const HANDLE pipe = CreateNamedPipeA(R"(\\.\pipe\qvsh.log)", PIPE_ACCESS_DUPLEX, PIPE_NOWAIT, 1,
                                         0, 0, 0, nullptr);
    EXPECT_NE(pipe, INVALID_HANDLE_VALUE);
    for (const std::string& path :
         {plain, twin, folder.path(), folder.file("absent/log"), unread,
          std::string(R"(\\.\pipe\qvsh.log)"), std::string("//./pipe/qvsh.log"),
          std::string(R"(\\localhost\pipe\qvsh.log)"), std::string("NUL"), std::string("COM1"),
          folder.file("NUL"), std::string(R"(\\.\NUL)")}) {
        EXPECT_EQ(opened(path), "-1 -1 ") << path;
        platform::keepTail(path.c_str(), 5, 1);
    }
    EXPECT_EQ(contentOf(plain), "12345");
    EXPECT_EQ(ConnectNamedPipe(pipe, nullptr), FALSE);  // nobody has come
    EXPECT_EQ(GetLastError(), ERROR_PIPE_LISTENING);
    CloseHandle(pipe);
}

TEST(PathKind, TellsFilesFromWhatMustNotBeOpened) {
    using platform::PathKind;
    const std::pair<const char*, PathKind> rows[] = {
        {"file", PathKind::drive},
        {"C:/folder/file", PathKind::drive},
        {R"(\\host\share\pipe\file)", PathKind::other},
        {"//host/share/file", PathKind::other},
        {R"(\\?\UNC\host\pipes\file)", PathKind::other},
        {R"(\\?\C:\file)", PathKind::other},
        {R"(\\?\Volume{0}\file)", PathKind::other},
        {R"(\\host\PIPE\x)", PathKind::device},
        {"//host/mailslot/x", PathKind::device},
        {R"(\\?\unc\host\pipe\x)", PathKind::device},
        {R"(\\?\pipe\x)", PathKind::device},
        {R"(\\.\pipe\x)", PathKind::device},
        {R"(\??\pipe\x)", PathKind::device},
        {"nul", PathKind::device},
        {"", PathKind::device},
    };
    for (const auto& [path, expected] : rows) {
        EXPECT_EQ(platform::kindOf(path), expected) << path;
    }
}

TEST(TraceFile, IsForItsOwnerAlone) {
    const ScratchFolder folder;
    put(folder.file("old"), "");
    for (const char* name : {"old", "new"}) {
        opened(folder.file(name));
        PSID owner = nullptr;
        PACL list = nullptr;
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        ASSERT_EQ(GetNamedSecurityInfoA(folder.file(name).c_str(), SE_FILE_OBJECT,
                                        OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                        &owner, nullptr, &list, nullptr, &descriptor),
                  ERROR_SUCCESS);
        // Wine adds the system itself.
        for (DWORD i = 0; i < list->AceCount; ++i) {
            void* entry = nullptr;
            GetAce(list, i, &entry);
            const PSID reader = &static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart;
            EXPECT_TRUE(EqualSid(reader, owner) != FALSE ||
                        IsWellKnownSid(reader, WinLocalSystemSid) != FALSE)
                << name;
        }
        EXPECT_NE(list->AceCount, 0U);
        LocalFree(descriptor);
    }
}

}  // namespace
