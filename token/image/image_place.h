#pragma once

#include <string>

namespace token {

// Where the embedded token's image is, or is to be made.
struct ImagePlace {
    std::string path;        // empty: nothing in the environment leads to a place
    bool isDefault = false;  // the folders of the default place are made, no others
};

// The place that KSIGIL_TOKEN names, else ksigil/token.db under $XDG_DATA_HOME, else under
// ~/.local/share. Looks at the environment only; an empty variable counts as unset.
ImagePlace imagePlace();

// How to go on where there is no image.
enum class Missing { make, refuse };

// The image's real path, free of links, whether or not there is a file yet. Makes the default
// place's folders, with mode 0700, if a missing image is to be made. Throws Fault.
std::string realImagePath(const ImagePlace& place, Missing missing);

}  // namespace token
