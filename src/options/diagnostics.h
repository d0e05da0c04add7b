#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "portable/file.h"

namespace kest {

// The diagnostic file of `-diags`. Without one nothing is written. A diagnostic that cannot be written stops no run.
class diagnostics {
public:
    // Takes over an open file.
    void begin(std::unique_ptr<uni::file> file);
    void set_level(std::uint32_t level) { m_level = level; }

    bool on() const { return m_file != nullptr; }
    bool on(std::uint32_t level) const { return on() && m_level >= level; }
    bool is(const uni::file_identity& file) const { return on() && m_file->identity() == file; }

    // Writes "->", the text and a line end.
    void trace(std::string_view text);
    // The same, if the level is at least `level`.
    void print(std::uint32_t level, std::string_view text);
    // Writes the text as it stands.
    void write(std::string_view text);

private:
    std::unique_ptr<uni::file> m_file;
    std::uint32_t m_level = 0;
};

}  // namespace kest
