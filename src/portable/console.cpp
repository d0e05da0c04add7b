#include "portable/console.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <new>

#include "portable/file.h"

namespace uni {

namespace {

constexpr std::size_t widest_line = 70;
constexpr std::size_t most_held = 65'536;  // bytes
constexpr std::chrono::milliseconds longest_hold{50};

std::mutex console_mutex;  // guards what follows, and the order of the writes
std::string held;          // said, and not written yet
std::chrono::steady_clock::time_point last_write;
thread_local words_kept* kept_words = nullptr;

void write_held() {
    if (held.empty()) return;
    // There is nobody left to report a failure to.
    static_cast<void>(write_all(standard_error, held));
    held.clear();
}

// Kept: the cut counts line feeds too, so a text with some comes out shorter than `width`.
void hold_line(std::size_t width, std::string_view text) {
    held += clear_line;
    const std::size_t begin = held.size();
    held += text.substr(0, std::min(width, widest_line));
    if (held.find('\n', begin) != std::string::npos) {
        held.erase(std::remove(held.begin() + static_cast<std::ptrdiff_t>(begin), held.end(), '\n'), held.end());
    }
    held += '\r';
}

void write_at_once(std::string_view text) {
    const std::lock_guard lock(console_mutex);
    write_held();
    // Not by way of `held`: what is to be reported may be that memory has run out.
    static_cast<void>(write_all(standard_error, text));
}

}  // namespace

words_kept::words_kept() {
    kept_words = this;
}

words_kept::~words_kept() {
    kept_words = nullptr;
}

void words_kept::keep(std::string_view text) {
    try {
        const std::lock_guard lock(m_mutex);
        m_words += text;
    } catch (const std::bad_alloc&) {
        write_at_once(text);
    }
}

words_kept* words_kept::of_thread() {
    return kept_words;
}

words_joined::words_joined(words_kept* words) : m_before(kept_words) {
    kept_words = words;
}

words_joined::~words_joined() {
    kept_words = m_before;
}

void console_write(std::string_view text) {
    if (kept_words != nullptr) return kept_words->keep(text);
    write_at_once(text);
}

bool console_is_terminal() {
    return is_terminal(standard_error);
}

bool output_is_terminal() {
    return is_terminal(standard_output);
}

void status_line(std::size_t width, std::string_view text) {
    if (text.empty() || kept_words != nullptr) return;
    const std::lock_guard lock(console_mutex);
    hold_line(width, text);
    write_held();
}

void progress_line(std::size_t width, std::string_view text) {
    if (text.empty() || kept_words != nullptr) return;
    const std::lock_guard lock(console_mutex);
    hold_line(width, text);
    const auto now = std::chrono::steady_clock::now();
    if (now - last_write < longest_hold && held.size() < most_held) return;
    write_held();
    last_write = now;
}

void clear_status() {
    console_write(clear_line);
}

void percent_meter::step(std::uint64_t position, std::uint64_t total) {
    if (total == 0) return;
    if (m_next_report == 0) {
        m_report_step = static_cast<std::uint64_t>(m_step_percent / 100.0 * static_cast<double>(total));
        m_next_report = m_report_step;
    }
    if (position < m_next_report) return;
    m_next_report += m_report_step;
    const double share = static_cast<double>(position) / static_cast<double>(total);
    status_line(m_width, "percent done: " + std::to_string(static_cast<std::uint64_t>(share * 100.0)));
}

}  // namespace uni
