#include "report/association.h"

#include <algorithm>

namespace kest {

namespace {

constexpr std::string_view details_label = "mft";
constexpr std::string_view unknown_path = "<unk_path>\\";
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

void association::candidate::clear() {
    ref = {};
    parent.reset();
    name.clear();
    path.clear();
    path_set = is_directory = is_base = false;
    flags = 0;
    base_record.reset();
    source.reset();
}

void association::associate_entry(const log_entry& entry, entry_info& info) {
    if (m_options.inodes_by_number.empty()) return;
    std::uint64_t number = info.inode.number();
    if (number == 0) number = record_inode(entry) & inode_ref::number_mask;  // serves the search, is not stored
    if (number == 0) {
        if (const auto found = m_options.mft.inodes_by_lsn.find(entry.this_lsn)) {
            number = m_options.records[*found].inode;
            info.inode.set_number(number);
        }
    }
    if (number == 0) {
        place_by_cluster(entry, info);
        return;
    }
    if (!choose({number, info.inode.sequence()}, info)) return;
    resolve_path();
    write_details(info);
}

// A record without inode can still be placed through the owner of its target cluster.
void association::place_by_cluster(const log_entry& entry, entry_info& info) {
    const std::uint64_t lcn = entry.get(record_layout::first_lcn);
    if (lcn == 0 || info.parent.value() != 0) return;
    const std::uint64_t owner = owner_by_cluster(m_options.mft, lcn);
    if (owner == 0) return;
    info.inode.set_number(owner);
    info.details.open_group(details_label);
    info.details.number("inode", owner, m_options);
    if (const inode_record* record = m_options.find_directory(owner)) {
        if (!record->parents.empty()) {
            info.parent = record->first_parent();
            info.details.number("parent", info.parent.number(), m_options);
        }
        info.details.field("path", record->path);
        info.owner_path = record->path;
    }
    info.details.close_group();
}

// Settles the candidate; false if the association fails.
bool association::choose(inode_ref ref, entry_info& info) {
    m_candidate.clear();
    m_extension.reset();
    m_parent_path = nullptr;
    if (const std::uint32_t* exact = m_options.inodes_by_ref.find(ref.by_number())) return take_exact(*exact, info);
    if (!take_other(ref, info)) return false;
    if (m_candidate.is_base || !m_candidate.base_record) offer_to_store();
    return true;
}

bool association::take_exact(std::uint32_t position, entry_info& info) {
    const inode_record& record = m_options.records[position];
    if (record.parents.empty() || record.sequence == 0) return false;
    if (info.parent.number() == 0 || holds_parent(record, info.parent)) {
        copy_record(position);
        if (info.parent.number() != 0) m_candidate.parent = info.parent;
        return true;
    }
    if (holds_parent_number(record, info.parent.number())) {
        copy_record(position);
        m_candidate.parent = info.parent;
        info.guessed = true;
        return true;
    }
    return take_new_name(record.is_directory, record.ref(), info);
}

// The log speaks of another parent than the store: the file moved, or its record was used again.
bool association::take_new_name(bool is_directory, inode_ref ref, entry_info& info) {
    const inode_record* directory = m_options.find_directory(info.parent.number());
    if (directory == nullptr || !directory->in_use) return false;
    m_candidate.ref = ref;
    m_candidate.parent = directory->ref();
    m_candidate.name = info.name;
    m_candidate.is_directory = is_directory;
    if (info.parent.sequence() != directory->sequence) {
        info.guessed = true;
    } else {
        store_new_name(ref);
    }
    return true;
}

// No record of this very file: tries the further sources, the best first.
bool association::take_other(inode_ref ref, entry_info& info) {
    const bool parent_known = info.parent.number() != 0;
    const bool parent_sequence_known = info.parent.sequence() != 0;
    if (ref.sequence() != 0) {
        if (take_one_lower(ref)) return true;
        if (parent_known && parent_sequence_known) return take_from_log(ref, info.parent, info);
    } else if (parent_known && parent_sequence_known) {
        info.guessed = true;
        return take_from_log(ref, info.parent, info);
    } else if (parent_known && m_options.guesses_allowed) {
        const inode_record* directory = m_options.find_directory(info.parent.number());
        if (directory != nullptr && directory->in_use) {
            info.guessed = true;
            return take_from_log(ref, directory->ref(), info);
        }
    }
    return m_options.guesses_allowed && take_directory_of_number(ref, info);
}

// A file's sequence number rises by one when it is deleted, so the record one lower is the same file just before.
bool association::take_one_lower(inode_ref ref) {
    const inode_ref lower(ref.number(), static_cast<std::uint16_t>(ref.sequence() - 1));
    const std::uint32_t* found = m_options.inodes_by_ref.find(lower.by_number());
    if (found == nullptr) return false;
    copy_record(*found);
    m_candidate.ref = ref;
    m_candidate.flags |= inode_flags::in_use;
    return true;
}

bool association::take_from_log(inode_ref ref, inode_ref parent, const entry_info& info) {
    m_candidate.ref = ref;
    m_candidate.parent = parent;
    m_candidate.name = info.name;
    return true;
}

// The last resort: whatever directory has this number now.
bool association::take_directory_of_number(inode_ref ref, entry_info& info) {
    const std::uint32_t* found = m_options.inodes_by_number.find(ref.number());
    if (found == nullptr) return false;
    if (m_options.diags_on() && m_options.diags_level >= guess_level) {
        std::string text = "guess: found inode w/o seq#, searching on parent inode: compare w/ ";
        append_decimal(text, info.parent.number());
        diag_print(m_options, guess_level, text);
    }
    info.guessed = true;
    copy_record(*found);
    if (holds_parent(m_options.records[*found], info.parent)) {
        m_candidate.parent = info.parent;
    } else if (!info.name.empty()) {
        m_candidate.name = info.name;
    }
    return true;
}

void association::copy_record(std::uint32_t position) {
    const inode_record& record = m_options.records[position];
    m_candidate.ref = record.ref();
    m_candidate.parent = record.parents.empty() ? std::nullopt : std::optional(record.first_parent());
    m_candidate.name = record.name;
    m_candidate.path = record.path;
    m_candidate.path_set = record.path_set;
    m_candidate.is_directory = record.is_directory;
    m_candidate.is_base = record.is_base;
    m_candidate.flags = record.flags;
    m_candidate.base_record = record.base_records.empty() ? std::nullopt : std::optional(*record.base_records.begin());
    m_candidate.source = position;
}

// The candidate as a record of the store.
inode_record association::candidate_record() const {
    inode_record record = m_candidate.source ? m_options.records[*m_candidate.source] : inode_record{};
    record.inode = m_candidate.ref.number();
    record.sequence = m_candidate.ref.sequence();
    record.name = m_candidate.name;
    record.is_directory = m_candidate.is_directory;
    record.flags = m_candidate.flags;
    if (m_candidate.parent && *m_candidate.parent != record.first_parent()) record.parents = {*m_candidate.parent};
    return record;
}

// The store takes only what was in use.
void association::offer_to_store() {
    if ((m_candidate.flags & inode_flags::in_use) == 0) return;
    bool known = false;
    merge_inode_record(m_options, candidate_record(), known, false);
}

// The log has proved a name that the store did not know.
void association::store_new_name(inode_ref ref) {
    const auto position = static_cast<std::uint32_t>(m_options.records.size());
    m_options.records.push_back(candidate_record());
    if (std::uint32_t* known = m_options.inodes_by_ref.find(ref.by_number())) *known = position;
    m_options.inodes_all.add(ref.number(), position);
    if (m_candidate.is_directory) m_options.inodes_by_number.add_unique(ref.number(), position);
}

// Gives the candidate a path: through its base record if it is an extension record, else through its parent.
void association::resolve_path() {
    if (!m_candidate.is_base && m_candidate.base_record) {
        m_extension = m_candidate.ref.number();
        const std::uint64_t base = *m_candidate.base_record;
        const std::uint32_t* found = m_options.inodes_all.find(base);
        if (found != nullptr && m_options.records[*found].in_use) copy_record(*found);
        m_candidate.base_record = base;
        take_directory_path();
    } else if (!m_candidate.path_set && take_directory_path()) {
        m_parent_path = &m_options.find_directory(m_candidate.parent->number())->path;
    }
}

bool association::take_directory_path() {
    if (!m_candidate.parent) return false;
    const inode_record* directory = m_options.find_directory(m_candidate.parent->number());
    if (directory == nullptr) return false;
    m_candidate.path.assign(directory->path).append(m_candidate.name);  // a directory's path ends in its separator
    m_candidate.path_set = true;
    return true;
}

void association::write_details(entry_info& info) {
    const candidate& c = m_candidate;
    if (!m_extension && !c.parent && c.name.empty() && c.path.empty()) return;
    details_writer& details = info.details;
    details.open_group(details_label);
    if (m_extension) {
        std::string& value = details.begin_field("base");
        append_number(value, *c.base_record, m_options.base16);
        value += " extension- ";
        append_number(value, *m_extension, m_options.base16);
        details.end_field();
    }
    bool mismatch = false;
    if (c.parent) {
        details.number("inode", c.ref.number(), m_options);
        details.number("seq", c.ref.sequence(), m_options);
        const bool parent_differs = info.parent.number() != 0 && info.parent.number() != c.parent->number();
        const bool sequence_differs = info.parent.sequence() != 0 && info.parent.sequence() != c.parent->sequence();
        mismatch = parent_differs || sequence_differs;
        if (mismatch) details.field("mismatch", parent_differs ? "parent differs" : "seq differs");
    }
    bool names_differ = false;
    if (!c.name.empty()) {
        details.field("name", c.name);
        if (info.name.empty()) info.name = c.name;
        names_differ = info.name != c.name;
    }
    if (!c.path.empty()) {
        details.field("path", c.path);
        write_path(info, mismatch, names_differ);
    }
    if (info.parent.number() == 0 && c.parent) {
        info.parent = *c.parent;
        details.number("parent", info.parent.number(), m_options);
    }
    details.close_group();
}

void association::write_path(entry_info& info, bool mismatch, bool names_differ) {
    const auto join_parent_path = [&] {
        if (m_parent_path != nullptr) info.path = *m_parent_path;
        info.path += info.name;
    };
    if (mismatch && info.guessed) {
        join_parent_path();
    } else if (mismatch) {
        info.path.assign(unknown_path).append(info.name);
    } else if (names_differ && m_parent_path != nullptr) {
        info.guessed = true;
        join_parent_path();
    } else {
        info.path = m_candidate.path;
    }
}

}  // namespace kest
