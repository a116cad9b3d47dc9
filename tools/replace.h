#pragma once

#include <string>
#include <vector>

#include "tools/session.h"

namespace tools {

std::string directoryOf(const std::string& path);

// Makes a file that does not exist, and writes it. What a failure left of it is removed again,
// where the token still answers; else `stand` tells it.
void makeFile(Session& session, const std::string& path, const Bytes& content, bool isPrivate);

// Makes the file that is at `path` anew, with another content, on a token that knows no renaming.
// The content is first written whole under a free id of the same directory, which a line on
// standard error tells; then the old file goes, the new one is made, and the copy goes. So at every
// instant one of the two contents stands whole under one of the two ids. The caller has seen to the
// room.
void replaceFile(Session& session, const std::string& path, const Bytes& content, bool isPrivate);

// The same without the copy: a failure can lose both contents.
void replaceInPlace(Session& session, const std::string& path, const ksigil_object& old,
                    const Bytes& content, bool isPrivate);

}  // namespace tools
