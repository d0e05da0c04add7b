#include "events/owners.h"

namespace kest {

record_owner record_owners::owner_of(const record_change& change, std::uint64_t lsn) const {
    const record_header& its = change.after.in_use == false ? change.before : change.after;
    const file_moment* const moment = m_timeline.holder(change.number, lsn);
    std::optional<inode_ref> base = its.base ? its.base : change.before.base;
    if (!base && moment != nullptr && !its.sequence) base = moment->header.base;
    if (base && *base != inode_ref{}) return {*base, known_by::log};
    std::optional<std::uint16_t> sequence = its.sequence;
    bool copied = change.copied;
    if (!sequence && change.after.in_use != false) sequence = change.before.sequence;
    if (!sequence && moment != nullptr) {
        sequence = moment->header.sequence;
        copied = moment->copied;
    }
    if (sequence) return {inode_ref(change.number, *sequence), copied ? known_by::mft : known_by::log};
    if (m_timeline.names_holder(change.number)) return {inode_ref(change.number, 0), known_by::part};
    return stored_owner(change.number);
}

// A record that the MFT wrote later than the log goes may have another owner since.
record_owner record_owners::stored_owner(std::uint64_t number) const {
    const record_owner nobody{inode_ref(number, 0), known_by::part};
    const inode_record* const stored = record_in_use(m_inodes, number);
    if (stored == nullptr) return nobody;
    const inode_record* const base = stored->is_base ? stored : record_in_use(m_inodes, *stored->base_records.begin());
    if (base == nullptr || !base->is_base) return nobody;
    const known_by known = stored->lsn <= m_highest_lsn ? known_by::mft : known_by::guess;
    return known == known_by::guess && !m_guesses_allowed ? nobody : record_owner{base->ref(), known};
}

std::optional<bool> record_owners::is_directory(inode_ref file) const {
    if (const auto known = m_timeline.is_directory(file)) return known;
    const inode_record* const stored = stored_file(m_inodes, file);
    return stored != nullptr ? std::optional(stored->is_directory) : std::nullopt;
}

}  // namespace kest
