#include "options/results_file.h"

#include <unistd.h>
#include <utility>

#include "options/output_guard.h"

namespace kest {

bool results_file::prove(std::string path, const argument_list& left) {
    m_path.clear();
    if (!open_output(m_file, path, left) || !may_be_taken(path)) {
        m_file.close();
        return false;
    }
    // A link, a device or a terminal is not ours to delete.
    const std::string name(uni::trimmed_path(path));
    if (uni::names_regular_file(name) && ::unlink(name.c_str()) == 0) m_file.close();
    m_path = std::move(path);
    return true;
}

// Another run may have made the file its own between any two steps: then it is locked, or the name means another by
// now.
bool results_file::may_be_taken(std::string_view path) {
    return m_file.lock() && uni::identify(path) == m_file.identity();
}

bool results_file::open() {
    if (m_path.empty()) {
        m_file.attach(STDOUT_FILENO);
        return true;
    }
    if (m_file.is_open()) {
        m_file.truncate();
        return true;
    }
    return m_file.open(m_path, uni::open_mode::create_new) && m_file.lock();
}

}  // namespace kest
