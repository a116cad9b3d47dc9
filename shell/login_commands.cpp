#include "shell/qv_shell.h"

bool QVShell::cmdLogin() {
    return onCard([this] { report(password_.login(talker_, readBytes()), "FAIL: "); });
}

bool QVShell::cmdLogout() {
    return onCard([this] { report(password_.logout(talker_), "FAIL: "); });
}

bool QVShell::cmdChangePassword() {
    return onCard([this] { report(password_.changePassword(talker_, readBytes()), "FAIL: "); });
}
