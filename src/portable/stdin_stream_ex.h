#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cvportdir {

// The list of files of a multi-file run: lines of the standard input, or the files of a directory tree.
class stdin_stream_ex {
public:
    stdin_stream_ex() = default;
    stdin_stream_ex(const stdin_stream_ex&) = delete;
    stdin_stream_ex& operator=(const stdin_stream_ex&) = delete;

    // Says whether a file found on the walk is wanted.
    using path_test = std::function<bool(const std::string&)>;

    // Reads the list from the standard input. This is also the state after construction.
    void read_stdin();

    // Walks the tree below `root`, breadth first, in the order in which the system lists each directory. The
    // root's own files are always listed; a sub-directory is entered while its depth is at most `max_depth`, the
    // root's children having depth 1. False, and an empty list, if `root` is no directory.
    [[nodiscard]] bool walk(const std::string& root, std::uint32_t max_depth, path_test wanted);

    // The next path; false at the end. A line is cut at its first zero byte and loses its trailing carriage
    // returns and line feeds. One of more than 4095 bytes arrives in pieces.
    [[nodiscard]] bool read_line(std::string& out);

private:
    struct directory {
        std::string path;
        std::uint32_t depth;
    };

    bool next_line(std::string& out);
    bool read_block();
    bool next_file(std::string& out);
    void list(const directory& where);

    std::vector<char> m_block;    // of the standard input
    std::string_view m_unread{};  // what is left of it

    bool m_walking = false;
    std::uint32_t m_max_depth = 0;
    path_test m_wanted;
    std::deque<directory> m_directories;
    std::deque<std::string> m_files;
};

}  // namespace cvportdir
