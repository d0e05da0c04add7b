#include "driver/run_timer.h"

#include <charconv>

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

run_timer::run_timer(const cmd_params& options)
    : m_clear_line(options.show_progress), m_profile(options.profile), m_profile_path(options.diags_path) {
    if (m_profile || !m_profile_path.empty()) m_start_ticks = cv::now();
}

run_timer::~run_timer() {
    if (m_clear_line) uni::clear_status();
    if (m_start_ticks == 0) return;
    const std::string text = elapsed_text(m_start_ticks);
    if (m_profile) uni::console_write(text + '\n');
    if (m_profile_path.empty()) return;
    uni::file file;
    // Kept: no line end behind the time in the diagnostic file. Without the file there is nobody to tell.
    if (file.open(m_profile_path, uni::open_mode::update)) static_cast<void>(file.append(text));
}

}  // namespace kest
