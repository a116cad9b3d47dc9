#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

// What a command of the shell writes, with '/' for a line break, and its exit status.
inline std::string run(const std::string& command) {
    FILE* const output = popen(command.c_str(), "r");
    std::string written;
    for (int c = std::getc(output); c != EOF; c = std::getc(output)) {
        written += static_cast<char>(c == '\n' ? '/' : c);
    }
    return written + std::to_string(WEXITSTATUS(pclose(output)));
}

// Another program, by its command, which ends with this object or with the test at the latest. It
// is told lines, and says lines.
class Process {
  public:
    explicit Process(const std::string& command) {
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        id_ = fork();
        if (id_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        in_ = in[1];
        out_ = fdopen(out[0], "r");
        setvbuf(out_, nullptr, _IONBF, 0);  // so that a poll sees every line that is left
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() { end(SIGKILL); }

    void say(const std::string& word) {
        const std::string line = word + "\n";
        EXPECT_EQ(write(in_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }

    // The next line, or "waits" if there is none within the time.
    std::string hear(int milliseconds = 10000) {
        pollfd ready{fileno(out_), POLLIN, 0};
        char line[8192];
        if (poll(&ready, 1, milliseconds) != 1 || fgets(line, sizeof line, out_) == nullptr) {
            return "waits";
        }
        return std::string(line, std::strcspn(line, "\n"));
    }

    void signal(int number) { kill(id_, number); }

    // Gives the status that it ends with, -1 if it has ended before.
    int end(int number) {
        int status = -1;
        if (id_ > 0) {
            signal(number);
            waitpid(id_, &status, 0);
            close(in_);
            fclose(out_);
            id_ = 0;
        }
        return status;
    }

  private:
    pid_t id_ = 0;
    int in_ = -1;
    FILE* out_ = nullptr;
};
