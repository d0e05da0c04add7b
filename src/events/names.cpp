#include "events/names.h"

#include "events/journal_folders.h"
#include "events/system_files.h"

namespace kest {

std::optional<held_name> name_history::stored_name(inode_ref file) const {
    const inode_record* const stored = file.sequence() != 0 ? stored_file(m_inodes, file) : nullptr;
    if (stored == nullptr) return std::nullopt;
    held_name name{.parent = stored->name_parent, .units = m_inodes.odd_name_of(*stored), .known = known_by::mft};
    if (name.units.empty()) name.stored = stored->name;
    return name.units.empty() && name.stored.empty() ? std::nullopt : std::optional(name);
}

std::optional<held_name> name_history::name_at(inode_ref file, std::uint64_t lsn) const {
    if (file.number() == root_number) return held_name{.parent = file};
    const auto found = m_timeline.name(file, lsn);
    std::optional<held_name> logged;
    if (found) {
        const timeline_name& name = found->name;
        logged = {.parent = name.parent, .units = name.units, .known = name.copied ? known_by::mft : known_by::log};
    }
    if (logged && !found->weak && !found->name.copied) return logged;
    if (const auto told = folder_name(file, m_journal_place); m_folders_count && told) return known_name(*told);
    if (logged && !found->weak) return logged;
    const auto stored = stored_name(file);
    return stored ? stored : logged;
}

void name_history::consult(const journal_folders& folders, bool for_log) {
    m_folders = &folders;
    m_folders_count = for_log;
}

std::optional<held_name> name_history::folder_name(inode_ref file, std::uint64_t place) const {
    return m_folders != nullptr ? m_folders->name_at(file, place) : std::nullopt;
}

std::uint64_t name_history::renames_in_journal(std::uint64_t place) const {
    return m_folders != nullptr ? m_folders->renames_until(place) : 0;
}

std::optional<held_name> name_history::name_in_journal(inode_ref file, std::uint64_t place, std::uint64_t lsn) const {
    if (file.number() == root_number) return held_name{.parent = file};
    const auto told = folder_name(file, place);
    return told ? known_name(*told) : name_at(file, lsn);
}

}  // namespace kest
