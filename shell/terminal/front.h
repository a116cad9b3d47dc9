#pragma once

#include <deque>
#include <optional>
#include <streambuf>
#include <string>
#include <vector>

#include "shell/terminal/answer_watch.h"
#include "shell/terminal/editor.h"
#include "shell/terminal/history.h"
#include "shell/terminal/keys.h"
#include "shell/terminal/line.h"
#include "shell/terminal/token_look.h"

namespace ksigil {

// Stands between the terminal and the shell's input. It reads lines, answers its own words, asks
// for what a command lacks, and gives the shell whole commands only, in the bytes that a pipe would
// carry. So the shell waits here for a key at its prompt alone, when it holds nothing.
class Front : public std::streambuf {
  public:
    Front();
    Front(const Front&) = delete;
    Front& operator=(const Front&) = delete;
    ~Front() override;

  protected:
    int_type underflow() override;

  private:
    // Commands that must be given to the shell in one piece.
    using Piece = std::vector<Command>;

    bool fetch();
    bool readLine();
    void takeLine(const std::string& typed);
    bool askForMissing(std::string& line);
    bool ask(const std::string& context, Kind kind, std::string& answer);
    void setPieces(std::string line);
    bool admit(const Piece& piece);
    bool confirmRemoval(const Command& command);
    void handOver(const Piece& piece);
    void tellAboutLast();
    void keep(const std::string& line);

    Keys keys_;
    Editor editor_;
    History history_;
    TokenLook look_;
    std::string line_;
    std::deque<Piece> pieces_;
    Piece last_;
    std::string handed_;
    std::optional<AnswerWatch> answer_;
    bool hasConnected_ = false;
};

}  // namespace ksigil
