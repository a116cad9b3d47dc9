// Logs in with the password on standard input, writes a file on the token, reads it back and lists
// the root.
#include <cstdio>
#include <iostream>
#include <ksigil.hpp>

static void work(ksigil::Token& token) {
    const std::string path = "3f001234";
    const std::string note = "a note\n";
    token.makeFile(path, note.size(), ksigil::Access::isPrivate);
    token.writeFile(path, ksigil::bytesOf(note));
    const ksigil::Bytes content = token.readFile(path);
    std::fwrite(content.data(), 1, content.size(), stdout);
    for (const ksigil_object& child : token.list("3f00")) {
        std::printf("%04x %u bytes\n", child.id, static_cast<unsigned int>(child.size));
    }
}

// A login outlives the program: it ends also behind a failure.
static void workLoggedIn(const std::string& password) {
    ksigil::Token token;
    ksigil::Lock lock(token);
    token.login(password);
    try {
        work(token);
    } catch (...) {
        token.logout();
        throw;
    }
    token.logout();
    lock.unlock();
}

int main() {
    std::string password;
    std::getline(std::cin, password);
    try {
        workLoggedIn(password);
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
