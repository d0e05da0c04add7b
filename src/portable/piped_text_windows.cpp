#include "portable/piped_text.h"
#include "portable/windows_text.h"

namespace uni {

namespace {

constexpr std::string_view wide_mark = "\xFF\xFE";
constexpr std::string_view narrow_mark = "\xEF\xBB\xBF";

constexpr bool is_high_half(wchar_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

}  // namespace

std::string_view piped_text::decode(std::string_view block) {
    if (!m_begun) {
        m_begun = true;
        m_wide = block.starts_with(wide_mark);
        if (m_wide) block.remove_prefix(wide_mark.size());
        if (block.starts_with(narrow_mark)) block.remove_prefix(narrow_mark.size());
    }
    if (!m_wide) return block;
    m_undecoded += block;
    std::wstring units;
    for (std::size_t at = 0; at + 1 < m_undecoded.size(); at += 2) {
        const auto low = static_cast<unsigned char>(m_undecoded[at]);
        const auto high = static_cast<unsigned char>(m_undecoded[at + 1]);
        units += static_cast<wchar_t>(high << 8 | low);
    }
    if (!units.empty() && is_high_half(units.back())) units.pop_back();
    m_undecoded.erase(0, 2 * units.size());
    return m_text = narrow_text(units);
}

}  // namespace uni
