#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

// What is said to the operator, on the standard error stream. What cannot be written is dropped. Usable from any
// thread.
namespace uni {

inline constexpr std::string_view clear_line = "\x1b[2K\r    \r";
inline constexpr std::size_t status_width = 40;  // bytes; the width of every status line

// Writes `text` as it stands, at once.
void console_write(std::string_view text);

// Writes one status line of at most `width` bytes (and never more than 70) that the next one overwrites. Line
// feeds are taken out after the cut. An empty text writes nothing.
void status_line(std::size_t width, std::string_view text);

// The same for a fast run of lines: it may be held back for up to a twentieth of a second, so that the run costs
// few writes. Whatever is said next sends it first.
void progress_line(std::size_t width, std::string_view text);

// While it lives, what its thread says is kept, as long as there is memory, and status lines are dropped.
class words_kept {
public:
    words_kept();
    ~words_kept();
    words_kept(const words_kept&) = delete;
    words_kept& operator=(const words_kept&) = delete;

    const std::string& words() const { return m_words; }

    void keep(std::string_view text);

    // That of the calling thread; null: there is none.
    static words_kept* of_thread();

private:
    std::mutex m_mutex;
    std::string m_words;
};

// While it lives, what its thread says is kept where another thread's is, which waits for it.
class words_joined {
public:
    explicit words_joined(words_kept* words);
    ~words_joined();
    words_joined(const words_joined&) = delete;
    words_joined& operator=(const words_joined&) = delete;

private:
    words_kept* const m_before;
};

// Says whether somebody may be reading along.
bool console_is_terminal();
// The same of the standard output.
bool output_is_terminal();

// Erases the status line.
void clear_status();

// Reports how far one long job has come, each time another `step_percent` of it is done.
class percent_meter {
public:
    percent_meter(std::size_t width, double step_percent) : m_width(width), m_step_percent(step_percent) {}
    void step(std::uint64_t position, std::uint64_t total);

private:
    std::size_t m_width;
    double m_step_percent;
    std::uint64_t m_next_report = 0;
    std::uint64_t m_report_step = 0;
};

}  // namespace uni
