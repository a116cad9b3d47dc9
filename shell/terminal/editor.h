#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "shell/terminal/keys.h"

namespace ksigil {

// The answer of Tab to the text before the cursor.
struct Completion {
    std::string insert;             // what follows it for certain, printable ASCII
    std::vector<std::string> list;  // what could follow it, to be shown if `insert` is empty
};

// A line editor on the terminal, with the entries of a history behind its arrows. One at a time.
class Editor {
  public:
    using Complete = std::function<Completion(const std::string& before)>;

    enum class Ending { line, dropped, inputEnded };

    struct Line {
        Ending ending = Ending::line;
        std::string text;     // UTF-8 without the line break
        bool isWhole = true;  // nothing was typed or pasted that the editor could not hold
    };

    // LC_CTYPE has UTF-8 already.
    explicit Editor(Keys& keys);
    Editor(const Editor&) = delete;
    Editor& operator=(const Editor&) = delete;
    ~Editor();

    // Edits one line of any length, from the start of the screen's line. Ctrl-C drops it; Ctrl-D on
    // an empty one ends the input. `complete` may be empty.
    Line read(const std::string& prompt, const Complete& complete);

    // Puts an entry in front of the others. False if it is the one in front, or cannot be shown.
    bool remember(const std::string& entry);

  private:
    struct Inside;
    std::unique_ptr<Inside> inside_;
};

}  // namespace ksigil
