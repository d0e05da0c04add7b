#pragma once

#include <cstdint>
#include <string>

#include "format/time.h"

namespace kest {

// The text of the time column: the report's format with nine digits of fraction. The last text is kept, since most
// rows show the time of the row before.
class time_column {
public:
    explicit time_column(cv::format_flags flags) : m_flags(flags) {
        constexpr std::uint8_t nine_digits = 9 << 1;
        constexpr std::uint8_t fraction_bits = 0x1E;
        m_flags.time = static_cast<std::uint8_t>((m_flags.time & ~fraction_bits) | nine_digits);
    }

    const std::string& text(std::uint64_t ticks) {
        if (ticks != m_ticks) {
            m_text.clear();
            cv::append_time(m_text, ticks, m_flags);
            m_ticks = ticks;
        }
        return m_text;
    }

private:
    cv::format_flags m_flags;
    std::uint64_t m_ticks = 0;
    std::string m_text;  // of `m_ticks`; none for 0
};

}  // namespace kest
