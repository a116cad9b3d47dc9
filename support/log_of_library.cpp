#include "support/log_opening.h"

const bool ksigil::logStartsEmpty = false;
