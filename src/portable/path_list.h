#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "portable/piped_text.h"

namespace cvportdir {

// The list of files of a multi-file run, as the regular files of a directory tree, and links to such files. Reports
// that some run is writing are not listed.
class folder_walk {
public:
    folder_walk() = default;
    folder_walk(const folder_walk&) = delete;
    folder_walk& operator=(const folder_walk&) = delete;

    // Says whether a file found is wanted.
    using path_test = std::function<bool(const std::string&)>;

    // Begins at `root`: breadth first, in the order in which the system lists each directory. The root's own files
    // are always listed; a sub-directory is entered while its depth is at most `max_depth`, the root's children having
    // depth 1, and links to directories are passed over. False, and an empty list, if `root` is no directory.
    [[nodiscard]] bool start(const std::string& root, std::uint32_t max_depth, path_test wanted);

    // Why it did not begin, as `errno` has it; 0 if it did.
    int open_error() const { return m_open_error; }

    // Folders that were not listed, or not to their ends: those that lie too deep, and those that cannot be read.
    std::uint64_t too_deep() const { return m_too_deep; }
    std::uint64_t unreadable() const { return m_unreadable; }

    // The next path; false at the end.
    [[nodiscard]] bool read_line(std::string& out);

private:
    struct directory {
        std::string path;
        std::uint32_t depth;
    };

    void list(const directory& where);

    std::uint32_t m_max_depth = 0;
    path_test m_wanted;
    std::deque<directory> m_directories;
    std::deque<std::string> m_files;
    int m_open_error = 0;
    std::uint64_t m_too_deep = 0;
    std::uint64_t m_unreadable = 0;
};

// The list of files of a multi-file run, as lines of the standard input.
class stdin_stream_ex {
public:
    stdin_stream_ex() = default;
    stdin_stream_ex(const stdin_stream_ex&) = delete;
    stdin_stream_ex& operator=(const stdin_stream_ex&) = delete;

    // The next path; false at the end. A line is cut at its first zero byte and loses its trailing carriage
    // returns and line feeds. One longer than any path arrives in pieces.
    [[nodiscard]] bool read_line(std::string& out);

    // Says whether the list ended since it could not be read on. One that was never open has no lines.
    bool failed() const { return m_failed; }

private:
    bool read_block();

    std::vector<char> m_block;
    uni::piped_text m_text;
    std::string_view m_unread{};  // what is left of it
    bool m_failed = false;
};

}  // namespace cvportdir
