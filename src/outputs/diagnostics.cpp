#include "outputs/diagnostics.h"

namespace kest {

bool diagnostics::open(const std::string& path, const guard_rules& rules) {
    m_path = path;
    return open_output(m_output, path, rules);
}

void diagnostics::begin_run() {
    if (!on()) return;
    m_output.created.clear();
    m_begun = true;
    m_whole = m_output.file.truncate();
    if (m_whole) write(m_held);
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
    if (!on()) return;
    if (m_begun) {
        m_whole = m_output.file.append(text) && m_whole;
    } else {
        m_held += text;
    }
}

}  // namespace kest
