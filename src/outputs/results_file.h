#pragma once

#include <string>

#include "outputs/output_guard.h"

namespace kest {

// The file that a report goes to: that of `-out`, or the standard output. It is proved before the work that it can be
// written. A regular file is written beside, in the same folder, and takes its name when the report is whole: what
// stands under the name stays until then, and for good if the run fails. What is no regular file, or cannot be
// replaced, is written in place. No two runs write one file: the second counts as one that cannot open it.
class results_file {
public:
    results_file() = default;
    results_file(const results_file&) = delete;
    results_file& operator=(const results_file&) = delete;
    ~results_file() { drop(); }

    // Says whether the file can be written, which evidence cannot. One that was proved before is passed over.
    [[nodiscard]] bool prove(std::string path, const guard_rules& rules);
    // The same for a file that never replaces another, nor is written in place: one that somebody else writes to.
    [[nodiscard]] bool prove_new(std::string path, const guard_rules& rules);

    // Opens it empty; the standard output if none was proved. False if something else has come to stand under its name.
    [[nodiscard]] bool open();

    // Ends it. `whole`: it may take its name. False if it should and could not, or did not arrive.
    [[nodiscard]] bool finish(bool whole);

    const std::string& path() const { return m_path; }  // empty: standard output
    // Why the last one that was to be proved could not be opened: an `errno`, 0 if that is not why.
    int open_error() const {
        if (m_error != 0) return m_error;
        return m_beside.open_error() != 0 ? m_beside.open_error() : m_named.file.open_error();
    }
    const std::string& passed_over() const { return m_passed_over; }
    const std::string& path_beside() const { return m_beside_path; }
    uni::file& target() { return m_beside.is_open() ? m_beside : m_named.file; }
    bool is(const uni::file_identity& file) const {
        return (m_beside.is_open() && m_beside.identity() == file) ||
               (m_named.file.is_open() && m_named.file.identity() == file);
    }

private:
    enum class creation { done, in_use, impossible };

    bool open_named(const guard_rules& rules);
    creation create_beside(const guard_rules& rules);
    bool name_unchanged() const;
    bool take_name();
    bool copy_to_named();
    void drop();

    std::string m_path;
    std::string m_passed_over;
    std::string m_name;         // the path as it is opened
    std::string m_beside_path;  // empty: nothing of ours stands there
    output_file m_named;        // what stands under the name, or where the report is written in place
    uni::file m_beside;
    bool m_is_new = false;  // nothing may stand under the name
    int m_error = 0;        // an `errno` of `prove_new`
};

}  // namespace kest
