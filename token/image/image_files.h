#pragma once

namespace token {

// The name of the file system through which images' databases are opened. It stands around the
// database's own one. All that it opens is an image, its log and the log's index, each as its only
// name in its own place and not through a link; all that it removes is a log. To the database no
// other file exists: no journal, and none that a journal names.
//
// For that it stands in front of the call by which the database opens files, in the whole process.
// Other databases' files are opened as ever.
//
// A write past the limit on a file's size is an error, whatever the process does with the signal.
const char* imageFiles();

}  // namespace token
