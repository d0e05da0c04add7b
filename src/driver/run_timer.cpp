#include "driver/run_timer.h"

#include <charconv>
#include <string>

#include "format/time.h"
#include "portable/console.h"

namespace kest {

namespace {

constexpr int seconds_precision = 6;  // significant digits

std::string elapsed_text(std::uint64_t start_ticks) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, cv::elapsed_seconds(start_ticks, cv::now()),
                                            std::chars_format::general, seconds_precision);
    return "->" + std::string(digits, end) + " secs";
}

}  // namespace

run_timer::run_timer() : m_start_ticks(cv::now()) {}

// Kept: no line end behind the time in the diagnostic file.
void run_timer::tell(bool profile, diagnostics& diags) const {
    const std::string text = elapsed_text(m_start_ticks);
    if (profile) uni::console_write(text + '\n');
    diags.write(text);
}

}  // namespace kest
