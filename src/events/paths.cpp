#include "events/paths.h"

#include <algorithm>

#include "events/system_files.h"
#include "format/number.h"
#include "format/safe_text.h"
#include "portable/utf8.h"

namespace kest {

namespace {

constexpr std::size_t deepest = 255;          // folders
constexpr std::size_t longest_path = 98'301;  // bytes: three for each unit of the longest path that the system allows
constexpr std::size_t most_kept = 16 << 20;   // bytes of paths
constexpr std::string_view unknown = "<unk_path>\\";

bool append_name(std::string& out, const held_name& name) {
    return name.stored.empty() ? append_safe_name(out, name.units) : append_safe_name(out, name.stored);
}

void append_hex_name(std::string& out, const held_name& name) {
    if (name.stored.empty()) return append_digits(out, name.units);
    const std::vector<std::uint8_t> units = uni::utf16_units(name.stored);
    append_digits(out, std::span<const std::uint8_t>(units));
}

}  // namespace

void set_path(std::string& path, std::string& name_hex, std::string_view folder, const held_name& name,
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

const folder_path& folder_paths::at(inode_ref folder, std::uint64_t lsn) {
    return build(folder, [&](inode_ref file) { return m_names.name_at(file, lsn); });
}

const folder_path& folder_paths::in_journal(inode_ref folder, std::uint64_t place, std::uint64_t lsn) {
    const kept_moment moment{lsn, m_names.renames_in_journal(place)};
    if (moment != m_moment || m_kept_bytes > most_kept) forget();
    m_moment = moment;
    std::uint32_t& kept = m_kept_places[folder.value()];
    if (kept != 0) return m_kept[kept - 1];
    m_kept.push_back(build(folder, [&](inode_ref file) { return m_names.name_in_journal(file, place, lsn); }));
    kept = static_cast<std::uint32_t>(m_kept.size());
    m_kept_bytes += sizeof(folder_path) + m_kept.back().text.size();
    return m_kept.back();
}

void folder_paths::forget() {
    m_kept_places.clear();
    m_kept.clear();
    m_kept_bytes = 0;
}

template <class name_source>
const folder_path& folder_paths::build(inode_ref folder, name_source&& name_of) {
    m_path.text.clear();
    m_path.known = known_by::log;
    m_path.of_system = false;
    m_parts.clear();
    bool whole = climb(folder, name_of);
    m_path.text = whole ? root_path : unknown;
    for (auto part = m_parts.rbegin(); part != m_parts.rend(); ++part) {
        const std::size_t above = m_path.text.size();
        append_name(m_path.text, *part);
        m_path.text += '\\';
        m_path.known = std::max(m_path.known, part->known);
        if (m_path.text.size() <= longest_path) continue;
        m_path.text.replace(0, above, unknown);  // as rows show a folder that has outgrown the limit
        whole = false;
        m_omitted.paths = true;
    }
    if (!whole) m_path.known = known_by::part;
    return m_path;
}

// Lists the names up to the root; false if it was not reached.
template <class name_source>
bool folder_paths::climb(inode_ref folder, name_source&& name_of) {
    ++m_climb;
    while (folder.number() != root_number) {
        if (folder.number() == extend_number) m_path.of_system = true;
        if (!meet(folder)) return false;
        const std::optional<held_name> name = name_of(folder);
        if (!name) return false;
        m_parts.push_back(*name);
        folder = name->parent;
    }
    return true;
}

// False where the way goes round, or further up than folders lie inside of one another.
bool folder_paths::meet(inode_ref folder) {
    std::uint64_t& met = m_met[folder.value()];
    if (met == m_climb) return false;
    met = m_climb;
    m_omitted.paths = m_omitted.paths || m_parts.size() == deepest;
    return m_parts.size() != deepest;
}

}  // namespace kest
