#pragma once

#include "token/image/sql.h"

namespace token {

// Makes the tables of an image in an empty database.
void makeTables(Database& database);

// Throws Damage unless the database has an image's tables, to the letter, and nothing else that
// could act when it is read: no trigger, view, constraint or computed column of another's.
void needTables(Database& database);

}  // namespace token
