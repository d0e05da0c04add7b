#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "driver/argument_list.h"
#include "portable/file.h"

namespace kest {

// Keeps evidence from being written: knows the input files that a command line names, by whatever name they are
// called there.
class output_guard {
public:
    // `args` is the whole list, before options are taken out of it.
    explicit output_guard(const argument_list& args);

    // Opens a file of its own for writing. False also for one of the inputs.
    [[nodiscard]] bool open(uni::file& file, std::string_view path, uni::open_mode mode) const;

private:
    std::vector<uni::file_identity> m_inputs;
};

}  // namespace kest
