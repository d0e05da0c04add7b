#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "outputs/output_guard.h"

namespace kest {

// The diagnostic file of `-diags`. Without one nothing is written. A diagnostic that cannot be written stops no run.
class diagnostics {
public:
    // False for what cannot be written. What stands in the file stays until the run begins.
    bool open(const std::string& path, const guard_rules& rules);
    int open_error() const { return m_output.file.open_error(); }
    void begin_run();
    void set_level(std::uint32_t level) { m_level = level; }

    bool on() const { return m_output.file.is_open(); }
    bool on(std::uint32_t level) const { return on() && m_level >= level; }
    // Whether all that was to be written has been, up to now.
    bool is_whole() const { return m_whole; }
    const std::string& path() const { return m_path; }
    bool is(const uni::file_identity& file) const { return on() && m_output.file.identity() == file; }

    // Writes "->", the text and a line end.
    void trace(std::string_view text);
    // The same, if the level is at least `level`.
    void print(std::uint32_t level, std::string_view text);
    // Writes the text as it stands.
    void write(std::string_view text);

private:
    output_file m_output;
    std::string m_path;
    bool m_begun = false;
    bool m_whole = true;
    std::string m_held;  // written before the run begins
    std::uint32_t m_level = 0;
};

}  // namespace kest
