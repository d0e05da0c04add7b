#include "events/file_names.h"

#include "events/journal_outline.h"

namespace kest {

record_owner file_names::owner_of(const record_change& change, std::uint64_t lsn) const {
    const record_header& its = change.after->in_use == false ? *change.before : *change.after;
    const record_holder* const holder = m_timeline.holder(change.number, lsn);
    std::optional<inode_ref> base = its.base ? its.base : change.before->base;
    if (!base && holder != nullptr && !its.sequence) base = holder->base;
    if (base && *base != inode_ref{}) return {*base};
    std::optional<std::uint16_t> sequence = its.sequence;
    bool copied = change.copied;
    if (!sequence && change.after->in_use != false) sequence = change.before->sequence;
    if (!sequence && holder != nullptr) {
        sequence = holder->sequence;
        copied = holder->copied;
    }
    if (sequence) return {inode_ref(change.number, *sequence), copied ? name_source::mft : name_source::log};
    if (m_timeline.names_holder(change.number)) return {inode_ref(change.number, 0), name_source::part};
    return stored_owner(change.number);
}

// A record that the MFT wrote later than the log goes may have another owner since.
record_owner file_names::stored_owner(std::uint64_t number) const {
    const record_owner nobody{inode_ref(number, 0), name_source::part};
    const inode_record* const stored = record_in_use(m_inodes, number);
    if (stored == nullptr) return nobody;
    const inode_record* const base =
        stored->is_base ? stored : record_in_use(m_inodes, *stored->further->base_records.begin());
    if (base == nullptr || !base->is_base) return nobody;
    if (stored->lsn <= m_highest_lsn) return {base->ref(), name_source::mft};
    return m_guesses_allowed ? record_owner{base->ref(), name_source::guess} : nobody;
}

std::optional<bool> file_names::is_directory(inode_ref file) const {
    if (const auto known = m_timeline.is_directory(file)) return known;
    const inode_record* const stored = stored_file(m_inodes, file);
    return stored != nullptr ? std::optional(stored->is_directory) : std::nullopt;
}

std::optional<resolved_name> file_names::stored_name(inode_ref file) const {
    const inode_record* const stored = file.sequence() != 0 ? stored_file(m_inodes, file) : nullptr;
    if (stored == nullptr) return std::nullopt;
    resolved_name name{
        .parent = stored->name_parent, .units = m_inodes.odd_name_of(*stored), .source = name_source::mft};
    if (name.units.empty()) name.stored = stored->name;
    return name.units.empty() && name.stored.empty() ? std::nullopt : std::optional(name);
}

std::optional<resolved_name> file_names::name_at(inode_ref file, const moment& when) const {
    if (file.number() == root_number) return resolved_name{.parent = file};
    std::optional<resolved_name> in_journal;
    if (m_folders != nullptr && (m_folders_count || when.journal_offset)) {
        in_journal = m_folders->name_at(file, when.journal_offset.value_or(m_journal_offset));
    }
    // Where the journal says that a name is unknown, nobody else is asked.
    const bool unknown = in_journal && in_journal->source == name_source::part;
    if (in_journal && when.journal_offset) return unknown ? std::nullopt : in_journal;
    const auto found = m_timeline.name(file, when.lsn);
    std::optional<resolved_name> logged;
    if (found) {
        logged = {.parent = found->parent,
                  .units = found->units(),
                  .source = found->copied ? name_source::mft : name_source::log};
    }
    if (logged && !found->weak && !found->copied) return logged;
    if (in_journal) return unknown ? std::nullopt : in_journal;
    if (logged && !found->weak) return logged;
    const auto stored = stored_name(file);
    return stored ? stored : logged;
}

std::uint64_t file_names::renames_until(std::uint64_t journal_offset) const {
    return m_folders != nullptr ? m_folders->renames_until(journal_offset) : 0;
}

}  // namespace kest
