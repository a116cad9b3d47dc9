#pragma once

#include <string>

#include "token/image/sql.h"

namespace token {

// The database of an image, which may be damaged or hostile. Only for reading where it cannot be
// written. Throws Fault; it is Damage where its tables are not an image's.
Database openImage(const std::string& path);

// Waits for writers. From then on all that is read is of one state, and writers wait. Throws Fault.
void beginReading(Database& database);

}  // namespace token
