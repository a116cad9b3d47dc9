/* Logs in with the password on standard input; writes a file, reads it back and lists the root. */
#include <ksigil.h>
#include <stdio.h>
#include <string.h>

static ksigil_token* token;

static int failed(const char* what, uint32_t result) {
    if (result != KSIGIL_OK) {
        fprintf(stderr, "cannot %s: %s (0x%08X)\n", what, ksigil_reason(), (unsigned int)result);
    }
    return result != KSIGIL_OK;
}

static int work(void) {
    static const char path[] = "3f001234";
    static const uint8_t note[] = "a note\n";
    static ksigil_object children[KSIGIL_MAX_CHILDREN];
    uint8_t content[sizeof note] = "";
    size_t count = 0;
    if (failed("make the file", ksigil_make_file(token, path, sizeof note - 1, 1)) ||
        failed("write", ksigil_write_file(token, path, note, sizeof note - 1)) ||
        failed("read", ksigil_read(token, path, 0, content, sizeof note - 1)) ||
        failed("list", ksigil_list(token, "3f00", children, KSIGIL_MAX_CHILDREN, &count))) {
        return 1;
    }
    fputs((const char*)content, stdout);
    for (size_t i = 0; i < count; ++i) {
        printf("%04x %u bytes\n", children[i].id, (unsigned int)children[i].size);
    }
    return 0;
}

int main(void) {
    char password[256] = "";
    if (fgets(password, sizeof password, stdin) == NULL ||
        failed("open the token", ksigil_open(NULL, &token)) || failed("lock", ksigil_lock(token))) {
        return 1;
    }
    password[strcspn(password, "\n")] = 0;
    int status = failed("log in", ksigil_login(token, (const uint8_t*)password, strlen(password)));
    if (status == 0) { /* a login outlives the program: it ends also behind a failure */
        status = work();
        status = failed("log out", ksigil_logout(token)) || status;
    }
    ksigil_close(token); /* and the lock with it */
    return status;
}
