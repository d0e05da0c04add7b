#include "events/folder_paths.h"

#include <algorithm>

#include "format/number.h"
#include "format/safe_text.h"
#include "portable/unicode.h"

namespace kest {

namespace {

constexpr std::size_t deepest = 255;          // folders
constexpr std::size_t longest_path = 98'301;  // bytes: three for each unit of the longest path that the system allows
constexpr std::size_t most_kept = 16 << 20;   // bytes of paths

bool append_name(std::string& out, const resolved_name& name) {
    return name.stored.empty() ? append_safe_name(out, name.units) : append_safe_name(out, name.stored);
}

void append_hex_name(std::string& out, const resolved_name& name) {
    if (name.stored.empty()) return append_digits(out, name.units);
    const std::vector<std::uint8_t> units = uni::utf16_units(name.stored);
    append_digits(out, std::span<const std::uint8_t>(units));
}

}  // namespace

void set_path(std::string& path, std::string& name_hex, std::string_view folder, const resolved_name& name,
              uni::byte_view stream) {
    constexpr std::string_view colon_unit = "3A00";
    path = folder;
    name_hex.clear();
    bool marked = append_name(path, name);
    if (!stream.empty()) {
        path += ':';
        marked = append_safe_name(path, stream) || marked;
    }
    if (!marked) return;
    append_hex_name(name_hex, name);
    if (stream.empty()) return;
    name_hex += colon_unit;
    append_digits(name_hex, stream);
}

const folder_path& folder_paths::at(inode_ref folder, const moment& when) {
    if (!when.journal_offset) {
        const std::pair asked{folder.value(), when.lsn};
        if (m_asked != asked) build(m_path, folder, when);
        m_asked = asked;
        return m_path;
    }
    const std::pair asked{when.lsn, m_names.renames_until(*when.journal_offset)};
    if (asked != m_moment || m_kept_bytes > most_kept) {
        m_kept.clear();
        m_kept_bytes = 0;
    }
    m_moment = asked;
    folder_path& kept = m_kept[folder.value()];
    if (!kept.text.empty()) return kept;
    build(kept, folder, when);
    m_kept_bytes += sizeof(folder_path) + kept.text.size();
    return kept;
}

void folder_paths::build(folder_path& path, inode_ref folder, const moment& when) {
    path.source = name_source::log;
    path.of_system = false;
    bool whole = climb(path, folder, when);
    path.text = whole ? root_path : unknown_path;
    for (auto part = m_parts.rbegin(); part != m_parts.rend(); ++part) {
        const std::size_t above = path.text.size();
        append_name(path.text, *part);
        path.text += '\\';
        path.source = std::max(path.source, part->source);
        if (path.text.size() <= longest_path) continue;
        path.text.replace(0, above, unknown_path);  // as rows show a folder that has outgrown the limit
        whole = false;
        m_omitted.paths = true;
    }
    if (!whole) path.source = name_source::part;
}

// Lists the names up to the root; false where that is not reached: a name is missing, the way goes round, or further up
// than folders lie inside of one another.
bool folder_paths::climb(folder_path& path, inode_ref folder, const moment& when) {
    ++m_climb;
    m_parts.clear();
    while (folder.number() != root_number) {
        if (folder.number() == extend_number) path.of_system = true;
        if (std::exchange(m_met[folder.value()], m_climb) == m_climb) return false;
        if (m_parts.size() == deepest) {
            m_omitted.paths = true;
            return false;
        }
        const std::optional<resolved_name> name = m_names.name_at(folder, when);
        if (!name) return false;
        m_parts.push_back(*name);
        folder = name->parent;
    }
    return true;
}

}  // namespace kest
