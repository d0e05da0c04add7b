#include "events/file_events.h"

#include <algorithm>

#include "portable/unicode.h"

namespace kest {

namespace {

using namespace usn_reasons;

constexpr std::uint64_t one_hour = 3600 * std::uint64_t{10'000'000};  // ticks
// Bits above are marks of the index entry, which come and go by themselves.
constexpr std::uint32_t attribute_bits = 0x0FFF'FFFF;

// Which of a journal's reasons an event covers, by `event_kind`; of `resized` that depends. Others cover none.
constexpr std::uint32_t covered_reasons[] = {
    usn_reasons::created, deleted,    old_name | new_name, old_name | new_name, hard_link, hard_link, stream, stream, 0,
    basic_info,           basic_info, reparse_point,       reparse_point,       object_id};

constexpr std::uint32_t reasons_covered_by(event_kind kind) {
    const auto at = static_cast<std::size_t>(kind);
    return at < std::size(covered_reasons) ? covered_reasons[at] : 0;
}

// What became of an attribute of a file, which is `born` if this transaction creates it.
std::optional<event_kind> attribute_event(const joined_change& change, bool born) {
    const bool present = change.state_after().present == presence::present;
    const bool was_known = born || change.state_before().present != presence::unknown;
    const bool removed = !born && change.removed();
    if (change.type() == attribute_type::data && !change.name().empty()) {
        if (born ? present : change.added()) return event_kind::stream_added;
        if (removed) return event_kind::stream_removed;
    } else if (change.type() == attribute_type::reparse_point) {
        if (present && was_known) return event_kind::reparse_point_set;
        if (removed) return event_kind::reparse_point_removed;
    } else if (change.type() == attribute_type::object_id && present && was_known) {
        return event_kind::object_id_set;
    }
    return std::nullopt;
}

bool is_other_owner(uni::byte_view was, uni::byte_view is) {
    return !was.empty() && !is.empty() && !std::ranges::equal(was.bytes(), is.bytes());
}

}  // namespace

void file_events::find(const file_changes& changes, event_subject& subject, std::uint32_t index) {
    m_changes = &changes;
    m_subject = index;
    m_covered = 0;
    const file_past* const past = m_context.past.find(changes.file.value());
    m_past = past != nullptr ? *past : file_past{};
    describe(subject);
    join_attributes(m_attributes, m_context.history, changes);
    find_link_changes(m_links, changes.facts, m_attributes);
    if (!find_creation() && !find_deletion() && !find_links()) {
        for (const joined_change& change : m_attributes) {
            if (const auto kind = attribute_event(change, false)) add(*kind, change.proof()).attribute = change;
            find_new_size(change);
            find_new_owner(change);
        }
        for (const owned_change& one : changes.records) {
            const standard_change* const standard = m_context.history.standard_of(*one.record);
            if (standard != nullptr && one.record->number == changes.file.number()) {
                find_standard(*one.record, *standard);
                find_new_owner(*one.record, *standard);
            }
        }
    }
    if (changes.file.sequence() != 0 && subject.reasons != 0) find_reasons();
}

void file_events::describe(event_subject& subject) {
    const file_changes& changes = *m_changes;
    subject.file = changes.file;
    subject.cut = changes.transaction.cut;
    subject.state = changes.rolled_back         ? event_state::undone
                    : changes.transaction.ended ? event_state::done
                                                : event_state::open;
    // What was rolled back is known by its own facts only; so is a file that is no more than a number.
    if (changes.file.sequence() != 0) subject.is_folder = m_context.names.is_directory(changes.file);
    m_birth = nullptr;
    subject.owner = changes.facts.empty() ? name_source::guess : name_source::log;
    for (const owned_change& one : changes.records) {
        subject.owner = std::min(subject.owner, one.owner);
        if (!one.record->is_birth() || one.lost) continue;
        if (!subject.is_folder) subject.is_folder = one.record->after.directory;
        if (m_birth == nullptr && one.record->number == changes.file.number()) m_birth = one.record;
    }
    if (!subject.is_folder && !changes.facts.empty()) subject.is_folder = changes.facts.front()->names_directory();
    m_is_folder = subject.is_folder;
    for (const log_fact* const fact : changes.facts) {
        if (fact->is_journal_record()) subject.reasons |= fact->usn().get(&usn_layout::reason);
    }
}

found_event& file_events::add(event_kind kind, std::uint32_t proof, unsigned rank) {
    m_covered |= reasons_covered_by(kind);
    return m_out.emplace_back(
        found_event{.kind = kind, .rank = static_cast<std::uint8_t>(rank), .subject = m_subject, .proof = proof});
}

found_event& file_events::add(event_kind kind, const link_change& link) {
    found_event& found = add(kind, link.proof);
    found.name = link.name;
    if (link.copied) found.known = name_source::mft;
    return found;
}

// The name is that of the index entry. Without one, that in the record itself, where what would be missing may be lost
// or still to come, or where the record was freed before; but the first record that is left of a transaction may as
// well be a record written again.
std::optional<file_name_view> file_events::name_at_birth() const {
    const transaction_facts& transaction = m_changes->transaction;
    const link_change* const entry = m_links.first_entry();
    const bool own_name_counts = m_birth->freed != record_change::none ||
                                 (transaction.cut ? m_birth->image != transaction.head : !transaction.ended);
    if (entry == nullptr && !own_name_counts) return std::nullopt;
    std::optional<file_name_view> name;
    if (entry != nullptr) name = entry->name;
    for (const joined_change& change : m_attributes) {
        if (name && !name->is_dos_name()) break;
        const auto own = change.type() == attribute_type::file_name ? change.state_after().file_name() : std::nullopt;
        if (own && (!name || !own->is_dos_name())) name = own;
    }
    return name;
}

bool file_events::find_creation() {
    const auto name = m_birth != nullptr ? name_at_birth() : std::nullopt;
    if (!name) return false;
    constexpr unsigned after_birth = 1;
    found_event& found = add(event_kind::created, m_birth->image);
    found.name = *name;
    found.record = m_birth;
    for (const link_change& link : link_changes::long_names(m_links.added)) {
        if (link.in_index && compare_links(link.name, *name) != 0) add(event_kind::link_added, link);
    }
    for (const joined_change& change : m_attributes) {
        const auto kind = attribute_event(change, true);
        if (!kind) continue;
        found_event& attribute = add(*kind, change.proof(), after_birth);
        attribute.name = *name;
        attribute.attribute = change;
    }
    return true;
}

// A record without links is an extension record.
bool file_events::find_deletion() {
    const link_change* const link = m_links.first_removed();
    const auto ends = [this](const owned_change& one) {
        return one.record->is_end() && one.record->number == m_changes->file.number() &&
               (one.lost || !one.record->is_birth());
    };
    const auto end = std::ranges::find_if(m_changes->records, ends);
    if (end == m_changes->records.end()) return false;
    const record_change& record = *end->record;
    if (link == nullptr) {
        if (record.before.links == std::uint16_t{0} || m_changes->transaction.takes(record.number)) return false;
        found_event& found = add(event_kind::deleted, record.freed);
        if (has_name(m_past.name, record.first)) found.name = m_past.name;
        return true;
    }
    found_event& found = add(event_kind::deleted, *link);
    found.proof = record.freed;
    for (const link_change& other : link_changes::long_names(m_links.removed)) {
        if (&other != link) add(event_kind::link_removed, other);
    }
    return true;
}

// Whether the file was called that before the record at the position of the log.
bool file_events::has_name(const file_name_view& name, std::uint32_t position) const {
    const auto known = m_context.names.name_at(m_changes->file, {m_context.log.entries[position].this_lsn - 1});
    return known && !name.name().empty() && known->parent == name.parent() &&
           std::ranges::equal(known->units.bytes(), name.name().bytes());
}

// Names that were removed and names that were added pair up in their order.
bool file_events::find_links() {
    const std::span<const link_change> added = link_changes::long_names(m_links.added);
    const std::span<const link_change> removed = link_changes::long_names(m_links.removed);
    const std::size_t pairs = std::min(added.size(), removed.size());
    for (std::size_t at = 0; at < pairs; ++at) {
        const bool same_folder = added[at].name.parent() == removed[at].name.parent();
        add(same_folder ? event_kind::renamed : event_kind::moved, added[at]).old_name = removed[at].name;
    }
    const transaction_facts& transaction = m_changes->transaction;
    const bool settled = transaction.ended && !transaction.cut && !m_changes->rolled_back;
    bool created = false;
    for (const link_change& link : added.subspan(pairs)) {
        if (!created && !settled && transaction.takes(m_changes->file.number())) {
            add(event_kind::created, link);
            created = true;
        } else if (proves_link(link) || created) {
            add(event_kind::link_added, link);
        }
    }
    for (const link_change& link : removed.subspan(pairs)) {
        if (proves_link(link)) add(event_kind::link_removed, link);
    }
    return created;
}

// An index entry by itself may have moved within its tree: where a node is split, and where the other half is not
// there. The names of a file record that is put to use may be those of one that is written again.
bool file_events::proves_link(const link_change& change) const {
    const transaction_facts& transaction = m_changes->transaction;
    if (!change.in_index && m_birth != nullptr) return false;
    return change.by_attribute || (transaction.ended && !transaction.cut && !transaction.splits_index);
}

// What is not known is taken as the data of a file, not of a folder, whose index grows the same way.
void file_events::find_new_size(const joined_change& change) {
    const bool is_data = change.type() ? change.type() == attribute_type::data : m_is_folder == false;
    if (!is_data || m_context.journals.find(m_changes->file.number()) != nullptr) return;
    const auto before = change.state_before().file_size;
    const auto after = change.state_after().file_size;
    if (!before || !after || *before == *after) return;
    add(event_kind::resized, change.proof()).attribute = change;
    if (*after > *before) {
        m_covered |= change.name().empty() ? appended : stream_appended;
    } else {
        m_covered |= change.name().empty() ? truncated : stream_truncated;
    }
}

// By the bytes that are known on both sides.
void file_events::find_standard(const record_change& record, const standard_change& change) {
    std::uint32_t set_back = 0;
    for (std::size_t at = 0; at < change.before.times.size(); ++at) {
        const auto& was = change.before.times[at];
        const auto& is = change.after.times[at];
        if ((is.value & was.known) < (was.value & is.known)) set_back |= 1U << at;
    }
    const auto& was = change.before.times[0];
    const auto& is = change.after.times[0];
    const bool new_creation = (is.value & was.known) != (was.value & is.known);
    if ((new_creation || set_back != 0) && !has_benign_cause(change, set_back, new_creation)) {
        add(event_kind::times_set, change.proof).record = &record;
    }
    const auto& had = change.before.flags;
    const auto& has = change.after.flags;
    if (((had.value ^ has.value) & had.known & has.known & attribute_bits) != 0) {
        add(event_kind::attributes_set, change.proof).record = &record;
    }
}

// Older systems keep the descriptor in the file record.
void file_events::find_new_owner(const joined_change& change) {
    if (change.type() != attribute_type::security_descriptor) return;
    const uni::byte_view was = owner_in(change.state_before());
    const uni::byte_view is = owner_in(change.state_after());
    if (is_other_owner(was, is)) add(event_kind::owner_set, change.proof()).attribute = change;
}

void file_events::find_new_owner(const record_change& record, const standard_change& change) {
    if (change.before.security_id == change.after.security_id) return;
    const uni::byte_view was = m_context.descriptors.owner_of(change.before.security_id);
    const uni::byte_view is = m_context.descriptors.owner_of(change.after.security_id);
    if (is_other_owner(was, is)) add(event_kind::owner_set, change.proof).record = &record;
}

bool file_events::has_benign_cause(const standard_change& change, std::uint32_t set_back, bool new_creation) const {
    if (m_past.just_created) return true;
    return new_creation ? is_tunneled(change) : is_copy(change, set_back);
}

// The new creation time is that of the file whose name it has now.
bool file_events::is_tunneled(const standard_change& change) const {
    const auto creation = change.after.times[0].whole();
    const moment when{m_context.log.entries[change.proof].this_lsn};
    const auto name = m_changes->file.sequence() != 0 ? m_context.names.name_at(m_changes->file, when) : std::nullopt;
    if (!name || !creation) return false;
    const std::vector<std::uint8_t> stored = uni::utf16_units(name->stored);
    const uni::byte_view units = name->stored.empty() ? name->units : std::span<const std::uint8_t>(stored);
    return m_context.tunneling.restores(*creation, name->parent, units, change.proof);
}

// A copy, or what is unpacked from an archive, gets times from before it was there, and gets them while it is young.
bool file_events::is_copy(const standard_change& change, std::uint32_t set_back) const {
    constexpr std::size_t modified = 1, mft_changed = 2;
    std::uint64_t birth = m_past.birth_time;
    if (birth == 0) birth = change.after.times[0].whole().value_or(0);
    if (birth == 0) return false;
    for (std::size_t at = 0; at < change.after.times.size(); ++at) {
        if ((set_back >> at & 1) == 0) continue;
        const auto time = change.after.times[at].whole();
        if (!time || *time >= birth) return false;
    }
    std::optional<std::uint64_t> latest;
    for (const auto time : {modified, mft_changed})
        latest = std::max(latest, change.before.times[time].whole());
    return latest && (*latest <= birth || *latest - birth <= one_hour);
}

// What a journal record states anew and no event covers. The reasons of a file gather until it is closed.
void file_events::find_reasons() {
    constexpr unsigned after_others = 2;
    std::uint32_t known = m_past.reasons;
    for (const log_fact* const fact : m_changes->facts) {
        if (!fact->is_journal_record()) continue;
        if (fact->in_journal_file()) known = fact->known_reasons;
        const usn_record record = fact->usn();
        const std::uint32_t added = record.get(&usn_layout::reason) & ~known & ~closed & ~m_covered;
        if (added != 0) {
            found_event& found = add(event_kind::reason_given, fact->position, after_others);
            found.journal_record = fact;
            found.known_reasons = known;
            found.new_reasons = added;
        }
        known = record.reasons_behind(known);
    }
}

}  // namespace kest
