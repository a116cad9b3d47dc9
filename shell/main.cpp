#include <iostream>

#include "include/reader_name.h"
#include "platform/process.h"
#include "platform/waiting_notice.h"
#include "shell/qv_shell.h"
#include "shell/terminal/terminal.h"

int main(int argc, char**) {
    platform::prepareProcess();
    platform::tellLongWaits();
    std::ios::sync_with_stdio(false);
    int status = 1;
    if (argc == 2) {
        const ksigil::Terminal terminal;
        QVShell shell(ksigil::readerName);
        status = shell.run();
    } else {
        std::cout << "Usage QVSh <readername>\n";
    }
    if (!std::cout.flush()) {
        std::cerr << "ksigil: standard output cannot be written\n";
    }
    return status;
}
