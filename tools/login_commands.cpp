// login, logout and passwd.

#include "tools/commands.h"
#include "tools/failure.h"
#include "tools/session.h"

namespace tools {
namespace {

Password newPassword(const Options& options) {
    if (!options.newPasswordFile.empty()) {
        return Password::ofFile(options.newPasswordFile);
    }
    const char* const hint = "name a file with --new-password-file";
    Password first = Password::ofTerminal("New password: ", hint);
    if (Password::ofTerminal("New password again: ", hint).bytes() != first.bytes()) {
        throw Failure("the two new passwords differ; nothing was changed");
    }
    return first;
}

}  // namespace

void logIn(const Options& options, Report&) {
    Session(options).logInToStay();
}

void logOut(const Options& options, Report&) {
    Session session(options);
    session.run([&] { session.look("cannot log out", ksigil_logout); });
}

void changePassword(const Options& options, Report&) {
    const Password word = newPassword(options);
    Session session(options);
    session.run([&] {
        session.change("cannot change the password", [&](ksigil_token* token) {
            return ksigil_change_password(token, word.bytes().data(), word.bytes().size());
        });
    });
}

}  // namespace tools
