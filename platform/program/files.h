#pragma once

#include <cstddef>
#include <string>

#include "platform/program/descriptor.h"

// The files of a program that reads and writes what its user names. A failure is a descriptor that
// is none, a negative count or false, and leaves its number in errno. Bytes pass as they are.
namespace platform {

Descriptor openToRead(const std::string& name);
// What is no regular file: a device or a pipe. Waits for a pipe's reader until a signal comes.
Descriptor openToWrite(const std::string& name);

// 0 at the end. Both go on behind a signal that is noted.
std::ptrdiff_t readSome(int descriptor, void* room, std::size_t length);
std::ptrdiff_t writeSome(int descriptor, const void* bytes, std::size_t length);

bool isTerminal(int descriptor);

bool isOtherThanFile(const std::string& name);
// The name behind all links; the name itself where that cannot be told.
std::string realName(const std::string& name);

// Makes a file and puts an ending of its own behind its name. Its user alone may read it, or
// everybody who may read his other new files.
Descriptor makeBeside(std::string& name, bool isPrivate);
// Makes a file for its user alone, in a folder that is.
Descriptor makeFile(const std::string& name);
// Waits until all that was written is on the disk.
bool sync(const Descriptor& file);
// Gives a file the name `to`, in place of the one that has it. It must not be open.
bool replaceFile(const std::string& from, const std::string& to);
void removeFile(const std::string& name);

}  // namespace platform
