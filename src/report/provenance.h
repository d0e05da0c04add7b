#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "options/logfile_options.h"
#include "portable/file.h"

namespace kest {

struct input_provenance {
    std::string_view input;  // "log", "mft" or "journal"
    std::string path;
    std::uint64_t size = 0;  // bytes
    std::string sha256;      // empty: it could not be read, or there is no library for it
    bool unread = false;     // it could not be read to its end
};

// What a report was made of and by: with `-provenance`; of a page without sums, too.
struct provenance {
    std::string_view program;  // with its version
    argument_list command_line;
    std::vector<input_provenance> inputs;
};

// With `-provenance` each input is read once.
provenance gather_provenance(const logfile_options& options, const input_source& log);

// One JSON object of it.
void write_provenance_object(const provenance& of_report, uni::fileio_output& report_sink);

// What of `-provenance` cannot be had in this run, a line each.
std::string provenance_lacks(const logfile_options& options);

}  // namespace kest
