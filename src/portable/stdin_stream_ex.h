#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cvportdir {

// The list of files of a multi-file run, as lines of the standard input.
class stdin_stream_ex {
public:
    stdin_stream_ex() = default;
    stdin_stream_ex(const stdin_stream_ex&) = delete;
    stdin_stream_ex& operator=(const stdin_stream_ex&) = delete;

    // The next path; false at the end. A line is cut at its first zero byte and loses its trailing carriage
    // returns and line feeds. One of more than 4095 bytes arrives in pieces.
    [[nodiscard]] bool read_line(std::string& out);

    // Says whether the list ended since it could not be read on. One that was never open has no lines.
    bool failed() const { return m_failed; }

private:
    bool read_block();

    std::vector<char> m_block;
    std::string_view m_unread{};  // what is left of it
    bool m_failed = false;
};

}  // namespace cvportdir
