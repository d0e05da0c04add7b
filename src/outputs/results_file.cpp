#include "outputs/results_file.h"

#include <utility>
#include <vector>

#include "portable/ending_signals.h"
#include "portable/unfinished_file.h"

namespace kest {

using uni::name_kind;

// A link, a device or a terminal is not ours to replace.
bool results_file::prove(std::string path, const guard_rules& rules) {
    drop();
    if (path != m_path) m_passed_over = m_path;
    m_path.clear();
    m_name = uni::trimmed_path(path);
    if (m_name.empty()) return false;
    const name_kind found = uni::kind_of_name(m_name);
    if (found != name_kind::nothing && !open_named(rules)) return false;
    if (found != name_kind::other) {
        const creation created = create_beside(rules);
        if (created == creation::in_use) return false;
        if (created == creation::impossible && found == name_kind::nothing && !open_named(rules)) return false;
    }
    m_path = std::move(path);
    return true;
}

bool results_file::prove_new(std::string path, const guard_rules& rules) {
    drop();
    m_path.clear();
    m_name = uni::trimmed_path(path);
    m_is_new = true;
    if (m_name.empty()) return false;
    if (uni::kind_of_name(m_name) != name_kind::nothing) m_error = EEXIST;
    if (m_error != 0 || create_beside(rules) != creation::done) return false;
    m_path = std::move(path);
    return true;
}

// Another run may have made the file its own between any two steps: then it is locked, or the name means another by
// now.
bool results_file::open_named(const guard_rules& rules) {
    if (!open_output(m_named, m_name, rules)) return false;
    if (m_named.file.lock() && uni::identify(m_name) == m_named.file.identity()) return true;
    m_named.close();
    return false;
}

// What stands there already is another run's, or what is left of one that was killed.
results_file::creation results_file::create_beside(const guard_rules& rules) {
    const uni::signals_held held;
    const std::string path = uni::unfinished_path(m_name);
    const auto is_ours = [&path](const uni::file& file) {
        return file.lock() && uni::identify(path) == file.identity();
    };
    if (const name_kind found = uni::kind_of_name(path); found != name_kind::nothing) {
        output_file leftover;
        if (found == name_kind::other) return creation::impossible;
        if (!open_output(leftover, path, rules) || !is_ours(leftover.file)) return creation::in_use;
        uni::remove_name(path);
    }
    if (!m_beside.open(path, uni::open_mode::create_new)) {
        return uni::kind_of_name(path) == name_kind::nothing ? creation::impossible : creation::in_use;
    }
    if (!is_ours(m_beside)) {
        m_beside.close();
        return creation::in_use;
    }
    m_beside_path = path;
    uni::delete_on_signal(path);
    return creation::done;
}

bool results_file::open() {
    if (m_path.empty()) {
        m_named.file.attach(uni::standard_output);
        return true;
    }
    if (m_beside.is_open()) return name_unchanged();
    m_named.created.clear();
    return m_named.file.truncate();
}

bool results_file::finish(bool whole) {
    if (!m_beside.is_open()) return m_named.close();
    const bool arrived = m_beside.settle();
    const bool done = arrived && (!whole || (name_unchanged() && take_name()));
    drop();
    return done;
}

// What has come to stand there since the proof is not ours to replace.
bool results_file::name_unchanged() const {
    const name_kind found = uni::kind_of_name(m_name);
    if (!m_named.file.is_open()) return found == name_kind::nothing;
    return found == name_kind::regular_file && uni::identify(m_name) == m_named.file.identity();
}

bool results_file::take_name() {
    if (uni::identify(m_beside_path) != m_beside.identity()) return false;
    const uni::signals_held held;
    const bool replaces = m_named.file.is_open();
    const uni::file_identity replaced = m_named.file.identity();
    const auto give_name = [this] {
        return m_is_new ? uni::name_new(m_beside_path, m_name) : uni::replace_name(m_beside_path, m_name);
    };
    bool named = give_name();
    if (!named) {
        m_named.file.close();  // not every system replaces what is open
        named = give_name();
    }
    if (!named) {
        const bool again = replaces && m_named.file.open(m_name, uni::open_mode::create);
        return again && m_named.file.identity() == replaced && copy_to_named();
    }
    uni::keep_on_signal(m_beside_path);
    m_beside_path.clear();
    return true;
}

// There are files that can be written but not replaced: others' in a folder like /tmp, and those mounted by themselves.
bool results_file::copy_to_named() {
    std::vector<std::uint8_t> block(uni::fileio_output::put_area);
    if (!m_named.file.truncate()) return false;
    for (std::uint64_t at = 0; at < m_beside.size();) {
        const std::size_t got = m_beside.read_at(block, at).bytes;
        const std::string text(block.data(), block.data() + got);
        if (got == 0 || !m_named.file.append(text)) return false;
        at += got;
    }
    return m_named.file.settle();
}

void results_file::drop() {
    const uni::signals_held held;
    if (!m_beside_path.empty()) uni::remove_name(m_beside_path);
    uni::keep_on_signal(m_beside_path);
    m_beside_path.clear();
    m_beside.close();
    m_named.close();
}

}  // namespace kest
