#pragma once

#include "tools/options.h"
#include "tools/report.h"

namespace tools {

// Each command does what the options say, and puts what it tells into the report. It writes to
// standard output itself only what is no text: a file's content.
using Command = void (*)(const Options& options, Report& report);

void listReaders(const Options& options, Report& report);
void showInfo(const Options& options, Report& report);
void list(const Options& options, Report& report);

void get(const Options& options, Report& report);
void put(const Options& options, Report& report);
void makeDirectory(const Options& options, Report& report);
void makeKey(const Options& options, Report& report);
void remove(const Options& options, Report& report);

void logIn(const Options& options, Report& report);
void logOut(const Options& options, Report& report);
void changePassword(const Options& options, Report& report);

void listEntries(const Options& options, Report& report);
void getEntry(const Options& options, Report& report);
void setEntry(const Options& options, Report& report);
void removeEntry(const Options& options, Report& report);

void encrypt(const Options& options, Report& report);
void decrypt(const Options& options, Report& report);
void prepare(const Options& options, Report& report);

void exportTree(const Options& options, Report& report);
void importTree(const Options& options, Report& report);

}  // namespace tools
