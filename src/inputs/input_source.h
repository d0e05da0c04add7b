#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "portable/byte_source.h"

namespace kest {

// An input as a run is given it.
struct input_source {
    std::string path;                                     // what reports call it; empty: there is none
    std::shared_ptr<const uni::byte_source> stream = {};  // inside an image; null: the file of that path

    bool given() const { return !path.empty(); }
    // As the operator knows it: with the option that named it, if one did.
    std::string shown(std::string_view option) const {
        return stream ? path : std::string(option).append(1, ' ').append(path);
    }
};

// What belongs to one volume.
struct source_set {
    input_source log;
    input_source mft;
    input_source journal;
    std::string volume = {};  // what reports call it; empty: the folder of the log
};

struct opened_source {
    std::shared_ptr<const uni::byte_source> bytes;  // null: it cannot be opened
    int error = 0;                                  // an `errno`: why
};
// `reads_ahead`: a large file is read on by a thread while its bytes are worked on.
opened_source open_source(const input_source& source, bool reads_ahead = false);

}  // namespace kest
