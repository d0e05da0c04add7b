#pragma once

#include <string>
#include <string_view>

#include "options/argument_list.h"
#include "portable/file.h"

namespace kest {

// The file that a report goes to: that of `-out`, or the standard output. It is proved ahead of the work that it can be
// written, and made anew behind it. No two runs write one file: the second counts as one that cannot open it.
class results_file {
public:
    // Says whether the file can be written, which evidence cannot. A regular file is deleted
    // then. `left` is what is not yet taken of the arguments.
    [[nodiscard]] bool prove(std::string path, const argument_list& left);

    // Opens it empty; the standard output if none was proved. False if something else has come to stand under its name.
    [[nodiscard]] bool open();

    const std::string& path() const { return m_path; }  // empty: standard output
    uni::file& target() { return m_file; }
    bool is(const uni::file_identity& file) const { return m_file.is_open() && m_file.identity() == file; }

private:
    bool may_be_taken(std::string_view path);

    std::string m_path;
    uni::file m_file;  // stays open from the proof on where it is no regular file of that name
};

}  // namespace kest
