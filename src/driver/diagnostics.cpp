#include "driver/cmd_params.h"

namespace kest {

void diag_trace(cmd_params& options, std::string_view text) {
    if (!options.diags_on()) return;
    std::string line = "->";
    line.append(text).append(1, '\n');
    // A diagnostic that cannot be written stops no run.
    static_cast<void>(options.diags_file->append(line));
}

void diag_print(cmd_params& options, std::uint32_t level, std::string_view text) {
    if (options.diags_level >= level) diag_trace(options, text);
}

}  // namespace kest
