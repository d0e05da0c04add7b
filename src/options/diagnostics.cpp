#include "options/diagnostics.h"

#include <utility>

namespace kest {

void diagnostics::begin(std::unique_ptr<uni::file> file) {
    m_file = std::move(file);
}

void diagnostics::trace(std::string_view text) {
    if (!on()) return;
    std::string line = "->";
    write(line.append(text).append(1, '\n'));
}

void diagnostics::print(std::uint32_t level, std::string_view text) {
    if (on(level)) trace(text);
}

void diagnostics::write(std::string_view text) {
    if (on()) static_cast<void>(m_file->append(text));
}

}  // namespace kest
