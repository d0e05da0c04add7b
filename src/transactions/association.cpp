#include "transactions/association.h"

#include <algorithm>

#include "format/number.h"

namespace kest {

namespace {

constexpr std::uint32_t guess_level = 2;

bool holds_parent(const inode_record& record, inode_ref parent) {
    return record.parents.contains(parent);
}

// Whether some parent has this record number, whatever its sequence number.
bool holds_parent_number(const inode_record& record, std::uint64_t number) {
    return std::any_of(record.parents.begin(), record.parents.end(),
                       [number](inode_ref parent) { return parent.number() == number; });
}

}  // namespace

void candidate::clear() {
    ref = {};
    parent.reset();
    name.clear();
    path.clear();
    path_set = is_directory = is_base = false;
    flags = 0;
    base_record.reset();
    source.reset();
}

const file_match& association::associate_entry(const log_entry& entry, const entry_info& info) {
    m_match.file = info.inode;
    m_match.parent = info.parent;
    m_match.name = info.name;
    m_match.path = {};
    m_match.owner_path = {};
    m_match.guessed = false;
    m_match.found = nullptr;
    m_match.extension.reset();
    m_match.conflict = match_conflict::none;
    m_match.parent_found = false;
    m_match.owner = 0;
    m_match.directory = nullptr;
    if (m_inodes.inodes_by_number.empty()) return m_match;

    std::uint64_t number = info.inode.number();
    if (number == 0)
        number =
            record_inode(entry, m_stores.log.geometry) & inode_ref::number_mask;  // serves the search, is not stored
    if (number == 0) {
        if (const auto found = m_stores.mft.inodes_by_lsn.find(entry.this_lsn())) {
            number = m_inodes.records[*found].inode;
            m_match.file.set_number(number);
        }
    }
    if (number == 0) {
        find_by_cluster(entry);
    } else if (choose({number, info.inode.sequence()})) {
        resolve_path();
        settle_match();
    }
    return m_match;
}

// A record without inode can still be placed through the owner of its target cluster.
void association::find_by_cluster(const log_entry& entry) {
    const std::uint64_t lcn = entry.get(record_layout::first_lcn);
    if (lcn == 0 || m_match.parent.value() != 0) return;
    m_match.owner = owner_by_cluster(m_stores.mft, lcn);
    if (m_match.owner == 0) return;
    m_match.file.set_number(m_match.owner);
    m_match.directory = m_inodes.find_directory(m_match.owner);
    if (m_match.directory == nullptr) return;
    m_match.parent_found = !m_match.directory->parents.empty();
    if (m_match.parent_found) m_match.parent = m_match.directory->first_parent();
    m_match.owner_path = m_match.directory->path;
}

// Settles the candidate; false if the association fails.
bool association::choose(inode_ref ref) {
    m_candidate.clear();
    m_parent_path = nullptr;
    if (const std::uint32_t* exact = m_inodes.inodes_by_ref.find(ref.by_number())) return take_exact(*exact);
    if (!take_other(ref)) return false;
    if (m_candidate.is_base || !m_candidate.base_record) offer_to_store();
    return true;
}

bool association::take_exact(std::uint32_t position) {
    const inode_record& record = m_inodes.records[position];
    if (record.parents.empty() || record.sequence == 0) return false;
    if (m_match.parent.number() == 0 || holds_parent(record, m_match.parent)) {
        copy_record(position);
        if (m_match.parent.number() != 0) m_candidate.parent = m_match.parent;
        return true;
    }
    if (holds_parent_number(record, m_match.parent.number())) {
        copy_record(position);
        m_candidate.parent = m_match.parent;
        m_match.guessed = true;
        return true;
    }
    return take_new_name(record.is_directory, record.ref());
}

// The log speaks of another parent than the store: the file moved, or its record was used again.
bool association::take_new_name(bool is_directory, inode_ref ref) {
    const inode_record* directory = m_inodes.find_directory(m_match.parent.number());
    if (directory == nullptr || !directory->in_use) return false;
    m_candidate.ref = ref;
    m_candidate.parent = directory->ref();
    m_candidate.name = m_match.name;
    m_candidate.is_directory = is_directory;
    if (m_match.parent.sequence() != directory->sequence) {
        m_match.guessed = true;
    } else {
        store_new_name(ref);
    }
    return true;
}

// No record of this very file: tries the further sources, the best first.
bool association::take_other(inode_ref ref) {
    const bool parent_known = m_match.parent.number() != 0;
    const bool parent_sequence_known = m_match.parent.sequence() != 0;
    if (ref.sequence() != 0) {
        if (take_one_lower(ref)) return true;
        if (parent_known && parent_sequence_known) return take_from_log(ref, m_match.parent);
    } else if (parent_known && parent_sequence_known) {
        m_match.guessed = true;
        return take_from_log(ref, m_match.parent);
    } else if (parent_known && m_guesses_allowed) {
        const inode_record* directory = m_inodes.find_directory(m_match.parent.number());
        if (directory != nullptr && directory->in_use) {
            m_match.guessed = true;
            return take_from_log(ref, directory->ref());
        }
    }
    return m_guesses_allowed && take_directory_of_number(ref);
}

// A file's sequence number rises by one when it is deleted, so the record one lower is the same file just before.
bool association::take_one_lower(inode_ref ref) {
    const inode_ref lower(ref.number(), static_cast<std::uint16_t>(ref.sequence() - 1));
    const std::uint32_t* found = m_inodes.inodes_by_ref.find(lower.by_number());
    if (found == nullptr) return false;
    copy_record(*found);
    m_candidate.ref = ref;
    m_candidate.flags |= inode_flags::in_use;
    return true;
}

bool association::take_from_log(inode_ref ref, inode_ref parent) {
    m_candidate.ref = ref;
    m_candidate.parent = parent;
    m_candidate.name = m_match.name;
    return true;
}

// The last resort: whatever directory has this number now.
bool association::take_directory_of_number(inode_ref ref) {
    const std::uint32_t* found = m_inodes.inodes_by_number.find(ref.number());
    if (found == nullptr) return false;
    if (m_diags.on(guess_level)) {
        std::string text = "guess: found inode w/o seq#, searching on parent inode: compare w/ ";
        append_decimal(text, m_match.parent.number());
        m_diags.print(guess_level, text);
    }
    m_match.guessed = true;
    copy_record(*found);
    if (holds_parent(m_inodes.records[*found], m_match.parent)) {
        m_candidate.parent = m_match.parent;
    } else if (!m_match.name.empty()) {
        m_candidate.name = m_match.name;
    }
    return true;
}

void association::copy_record(std::uint32_t position) {
    const inode_record& record = m_inodes.records[position];
    m_candidate.ref = record.ref();
    m_candidate.parent = record.parents.empty() ? std::nullopt : std::optional(record.first_parent());
    m_candidate.name = record.name;
    m_candidate.path = record.path;
    m_candidate.path_set = record.path_set;
    m_candidate.is_directory = record.is_directory;
    m_candidate.is_base = record.is_base;
    m_candidate.flags = record.flags;
    m_candidate.base_record =
        record.further->base_records.empty() ? std::nullopt : std::optional(*record.further->base_records.begin());
    m_candidate.source = position;
}

// The candidate as a record of the store: what else the record holds that it is a copy of, but for what would make many
// copies large.
inode_record association::candidate_record() {
    inode_record record;
    if (m_candidate.source) {
        record = m_inodes.records[*m_candidate.source];
        if (!record.further->base_records.empty()) record.further.made().base_records = {};
        if (m_candidate.base_record) record.further.made().base_records.insert(*m_candidate.base_record);
    }
    record.inode = m_candidate.ref.number();
    record.sequence = m_candidate.ref.sequence();
    record.name = m_candidate.name;
    record.is_directory = m_candidate.is_directory;
    record.flags = m_candidate.flags;
    m_parents_copied.begin_record();
    if (m_candidate.parent && *m_candidate.parent != record.first_parent()) {
        record.parents = {*m_candidate.parent};
    } else if (!m_parents_copied.spend(record.parents.size())) {
        record.parents = {record.first_parent()};
        m_inodes.omitted.parents = true;
    }
    return record;
}

// The store takes only what was in use.
void association::offer_to_store() {
    if ((m_candidate.flags & inode_flags::in_use) == 0) return;
    bool known = false;
    if (merge_known_inode(m_inodes, m_candidate.ref, m_candidate.name, m_candidate.parent, known)) return;
    inode_record record = candidate_record();
    m_names_copied.begin_record();
    if (m_names_copied.spend(record.name.size() + record.further->alt_name.size())) {
        merge_inode_record(m_inodes, record, known, false);
    } else {
        m_inodes.omitted.files = true;
    }
}

// The log has proved a name that the store did not know.
void association::store_new_name(inode_ref ref) {
    const auto position = static_cast<std::uint32_t>(m_inodes.records.size());
    m_inodes.records.push_back(candidate_record());
    if (std::uint32_t* known = m_inodes.inodes_by_ref.find(ref.by_number())) *known = position;
    m_inodes.inodes_all.add(ref.number(), position);
    if (m_candidate.is_directory) m_inodes.inodes_by_number.add_unique(ref.number(), position);
}

// Gives the candidate a path: through its base record if it is an extension record, else through its parent.
void association::resolve_path() {
    if (!m_candidate.is_base && m_candidate.base_record) {
        m_match.extension = m_candidate.ref.number();
        const std::uint64_t base = *m_candidate.base_record;
        const std::uint32_t* found = m_inodes.inodes_all.find(base);
        if (found != nullptr && m_inodes.records[*found].in_use) copy_record(*found);
        m_candidate.base_record = base;
        take_directory_path();
    } else if (!m_candidate.path_set) {
        if (const inode_record* const directory = take_directory_path()) m_parent_path = &directory->path;
    }
}

// The directory; null if none is known.
const inode_record* association::take_directory_path() {
    if (!m_candidate.parent) return nullptr;
    const inode_record* directory = m_inodes.find_directory(m_candidate.parent->number());
    if (directory == nullptr) return nullptr;
    m_candidate.path.assign(directory->path).append(m_candidate.name);  // a directory's path ends in its separator
    m_candidate.path_set = true;
    return directory;
}

// Completes what the record's own data state by the candidate.
void association::settle_match() {
    const candidate& c = m_candidate;
    if (!m_match.extension && !c.parent && c.name.empty() && c.path.empty()) return;
    m_match.found = &c;
    const inode_ref stated = m_match.parent;
    if (c.parent) {
        const bool parent_differs = stated.number() != 0 && stated.number() != c.parent->number();
        const bool sequence_differs = stated.sequence() != 0 && stated.sequence() != c.parent->sequence();
        if (parent_differs) {
            m_match.conflict = match_conflict::parent;
        } else if (sequence_differs) {
            m_match.conflict = match_conflict::sequence;
        }
        m_match.parent_found = stated.number() == 0;
        if (m_match.parent_found) m_match.parent = *c.parent;
    }
    if (m_match.name.empty()) m_match.name = c.name;
    if (!c.path.empty()) settle_path(!c.name.empty() && m_match.name != c.name);
}

void association::settle_path(bool names_differ) {
    const bool conflict = m_match.conflict != match_conflict::none;
    const auto join_parent_path = [&] {
        m_joined_path.assign(m_parent_path != nullptr ? *m_parent_path : std::string_view()).append(m_match.name);
        m_match.path = m_joined_path;
    };
    if (conflict && m_match.guessed) {
        join_parent_path();
    } else if (conflict) {
        m_match.path = m_joined_path.assign(unknown_path).append(m_match.name);
    } else if (names_differ && m_parent_path != nullptr) {
        m_match.guessed = true;
        join_parent_path();
    } else {
        m_match.path = m_candidate.path;
    }
}

}  // namespace kest
