#include "shell/qv_shell.h"

bool QVShell::cmdLogin() {
    return onCard([this] { report(password.login(talker, readBytes()), "FAIL: "); });
}

bool QVShell::cmdLogout() {
    return onCard([this] { report(password.logout(talker), "FAIL: "); });
}

bool QVShell::cmdChangePassword() {
    return onCard([this] { report(password.changePassword(talker, readBytes()), "FAIL: "); });
}
