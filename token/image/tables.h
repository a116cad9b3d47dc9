#pragma once

#include "token/image/sql.h"

namespace token {

// Makes the tables of an image in an empty database.
void makeTables(Database& database);

// Throws Damage unless the database has the tables that makeTables makes, letter by letter, and
// nothing else: another's triggers, views, constraints and computed columns act when they are read.
void needTables(Database& database);

}  // namespace token
