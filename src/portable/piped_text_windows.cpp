#include <windows.h>
#include <algorithm>
#include <utility>

#include "portable/piped_text.h"
#include "portable/unicode.h"
#include "portable/windows_text.h"

namespace uni {

const std::size_t piped_text::longest_line = 3 * 32'767;

namespace {

constexpr std::string_view wide_mark = "\xFF\xFE";
constexpr std::string_view narrow_mark = "\xEF\xBB\xBF";

constexpr bool is_high_half(wchar_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool is_sound(std::string_view text) {
    while (!text.empty()) {
        const std::size_t bytes = utf8_character_bytes(text);
        if (bytes == 0) return false;
        text.remove_prefix(bytes);
    }
    return true;
}

std::string of_console(std::string_view line) {
    const UINT console = ::GetConsoleOutputCP();
    return narrow_text(wide_text(line, console != 0 && console != CP_UTF8 ? console : ::GetOEMCP()));
}

}  // namespace

std::string_view piped_text::decode(std::string_view block) {
    m_undecoded += block;
    return decode_as_far(false);
}

std::string_view piped_text::rest() {
    return decode_as_far(true);
}

// A path holds no zero, so a second byte of zero is the upper half of a first letter.
std::string_view piped_text::decode_as_far(bool ended) {
    m_text.clear();
    if (!m_begun && m_undecoded.size() < narrow_mark.size() && !ended) return m_text;
    if (!std::exchange(m_begun, true)) {
        const bool marked = m_undecoded.starts_with(wide_mark);
        m_wide = marked || (m_undecoded.size() > 1 && m_undecoded[0] != '\0' && m_undecoded[1] == '\0');
        if (marked) m_undecoded.erase(0, wide_mark.size());
        if (m_undecoded.starts_with(narrow_mark)) m_undecoded.erase(0, narrow_mark.size());
    }
    if (m_wide) {
        std::wstring units;
        for (std::size_t at = 0; at + 1 < m_undecoded.size(); at += 2) {
            const auto low = static_cast<unsigned char>(m_undecoded[at]);
            const auto high = static_cast<unsigned char>(m_undecoded[at + 1]);
            units += static_cast<wchar_t>(high << 8 | low);
        }
        if (!ended && !units.empty() && is_high_half(units.back())) units.pop_back();
        m_undecoded.erase(0, 2 * units.size());
        return m_text = narrow_text(units);
    }
    const std::size_t whole = m_undecoded.rfind('\n') + 1;  // none such: npos + 1 is 0
    const std::size_t taken = ended || m_undecoded.size() > longest_line ? m_undecoded.size() : whole;
    for (std::string_view left = std::string_view(m_undecoded).substr(0, taken); !left.empty();) {
        const std::string_view line = left.substr(0, std::max(left.find('\n'), left.find('\n') + 1));
        m_text += is_sound(line) ? std::string(line) : of_console(line);
        left.remove_prefix(line.size());
    }
    m_undecoded.erase(0, taken);
    return m_text;
}

}  // namespace uni
