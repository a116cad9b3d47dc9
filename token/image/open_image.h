#pragma once

#include <string>

#include "token/image/sql.h"

namespace token {

// The database of an image, which may be damaged or hostile. The waits for its locks last as long
// as those who have them live, and are told. Throws Fault, where it cannot be written too; it is
// Damage where its tables are not an image's.
Database openImage(const std::string& path);

// Lets nothing in the database act that an image has not, and compares its tables. Throws Damage.
void needImageIn(Database& database);

// From then on all that is read is of one state. Throws Fault.
void beginReading(Database& database);

// Takes all that the log holds into the image, and cuts the log off: what was overwritten is then
// in neither. Waits for those who read or write. Throws Fault, and has then lost nothing.
void emptyLog(Database& database);

// The same where nobody stands in the way; waits for nobody and throws nothing.
void tryToEmptyLog(Database& database);

}  // namespace token
