#include "support/log_opening.h"

const bool ksigil::logStartsEmpty = true;

namespace {

// A program's trace tells of that run alone, also where it has no line to write.
[[maybe_unused]] const bool openedBeforeMain = [] {
    ksigil::openLog();
    return true;
}();

}  // namespace
