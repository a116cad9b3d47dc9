#pragma once

#include "token/base/bytes.h"
#include "token/image/sql.h"

namespace token {

// An image as the bytes of its file, beside which there is no log. All throw Fault.

// Those of the database, which may be in memory.
Buffer bytesOf(Database& database);

// The bytes as a database in memory, for reading. They may be damaged or hostile.
Database databaseOf(Bytes image);

// Lays the changes that stand whole in a log over its image, as the database does. What follows
// them in the log, or is no log, counts for nothing: a crash may leave it.
void layLogOver(Buffer& image, Bytes log);

}  // namespace token
