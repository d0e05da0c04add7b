#include "events/file_events.h"

#include <algorithm>

#include "events/name_order.h"
#include "events/system_files.h"
#include "journal/usn_record.h"
#include "portable/unicode.h"

namespace kest {

namespace {

constexpr std::uint64_t one_hour = 3600 * std::uint64_t{10'000'000};  // ticks
// Bits above are marks of the index entry, which come and go by themselves.
constexpr std::uint32_t attribute_bits = 0x0FFF'FFFF;

// Which of a journal's reasons an event says.
constexpr std::uint32_t reason_said(event_kind kind) {
    using namespace usn_reasons;
    switch (kind) {
        case event_kind::created:
            return created;
        case event_kind::deleted:
            return deleted;
        case event_kind::renamed:
        case event_kind::moved:
            return old_name | new_name;
        case event_kind::link_added:
        case event_kind::link_removed:
            return hard_link;
        case event_kind::stream_added:
        case event_kind::stream_removed:
            return stream;
        case event_kind::times_set:
        case event_kind::attributes_set:
            return basic_info;
        case event_kind::reparse_point_set:
        case event_kind::reparse_point_removed:
            return reparse_point;
        case event_kind::object_id_set:
            return object_id;
        case event_kind::resized:  // that depends
        case event_kind::reason_given:
            return 0;
    }
    return 0;
}

}  // namespace

void file_events::find(const file_changes& changes, event_subject& subject, std::uint32_t place) {
    m_changes = &changes;
    m_place = place;
    m_reasons = m_said = 0;
    m_created = m_deleted = false;
    m_is_folder = is_folder();
    for (const event_fact* const fact : changes.facts) {
        if (fact->kind == fact_kind::journal_record) m_reasons |= read_usn_record(fact->data)->get(&usn_layout::reason);
    }
    join_attributes(m_attributes, m_context.history, changes);
    find_link_changes(m_links, m_context.log, changes.facts, m_attributes);
    find_birth();
    find_end();
    if (!m_created && !m_deleted) find_links();
    if (!m_created && !m_deleted) {
        find_attributes();
        for (const record_change* const record : changes.records) {
            const standard_change* const standard = m_context.history.standard_of(*record);
            if (standard != nullptr && record->number == changes.file.number()) find_standard(*record, *standard);
        }
    }
    find_reasons();
    subject.file = changes.file;
    subject.owner = changes.owner;
    subject.cut = changes.transaction.cut;
    subject.state = changes.rolled_back        ? event_state::undone
                    : changes.transaction.done ? event_state::done
                                               : event_state::open;
    subject.reasons = m_reasons;
    subject.is_folder = m_is_folder;
}

// What was rolled back is known by its own facts only; so is a file that is no more than a number.
std::optional<bool> file_events::is_folder() const {
    std::optional<bool> folder;
    if (m_changes->file.sequence() != 0) folder = m_context.owners.is_directory(m_changes->file);
    for (const record_change* const record : m_changes->records) {
        if (!folder && record->is_birth()) folder = record->after.directory;
    }
    if (!folder && !m_changes->facts.empty()) folder = is_folder_by(*m_changes->facts.front());
    return folder;
}

found_event& file_events::add(event_kind kind, std::uint32_t proof, unsigned rank) {
    m_said |= reason_said(kind);
    return m_out.emplace_back(found_event{.kind = kind,
                                          .rank = static_cast<std::uint8_t>(rank),
                                          .subject = m_place,
                                          .proof = proof,
                                          .lsn = m_context.log.entries[proof].this_lsn});
}

found_event& file_events::add(event_kind kind, const link_change& link) {
    found_event& found = add(kind, link.proof);
    found.name = link.name;
    if (link.copied) found.known = static_cast<std::uint8_t>(known_by::mft);
    return found;
}

bool file_events::is_taken() const {
    return std::ranges::binary_search(m_changes->transaction.taken, m_changes->file.number());
}

// The name is that of the index entry. Without one, that in the record itself, where what would be missing may be lost
// or still to come; but the first record that is left of a transaction may as well be a record written again.
std::optional<file_name_view> file_events::birth_name(const record_change& birth) const {
    const transaction_facts& transaction = m_changes->transaction;
    const link_change* const entry = m_links.first_entry();
    const bool own_name_counts = transaction.cut ? birth.image != transaction.head : !transaction.done;
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

void file_events::find_birth() {
    const auto birth = std::ranges::find_if(m_changes->records, [this](const record_change* record) {
        return record->is_birth() && record->number == m_changes->file.number();
    });
    m_birth = birth != m_changes->records.end() ? *birth : nullptr;
    const auto name = m_birth != nullptr ? birth_name(*m_birth) : std::nullopt;
    if (!name) return;
    found_event& created = add(event_kind::created, m_birth->image);
    created.name = *name;
    created.record = m_birth;
    m_created = true;
    for (const link_change& came : m_links.came) {
        if (came.in_index && compare_links(came.name, *name) != 0) add(event_kind::link_added, came);
    }
    find_birth_attributes(*name);
}

void file_events::find_birth_attributes(const file_name_view& name) {
    constexpr unsigned after_birth = 1;
    for (const joined_change& change : m_attributes) {
        if (change.state_after().present != presence::present) continue;
        const bool is_stream = change.type() == attribute_type::data && !change.name().empty();
        if (!is_stream && change.type() != attribute_type::reparse_point && change.type() != attribute_type::object_id)
            continue;
        const event_kind kind = is_stream                                        ? event_kind::stream_added
                                : change.type() == attribute_type::reparse_point ? event_kind::reparse_point_set
                                                                                 : event_kind::object_id_set;
        found_event& found = add(kind, change.proof(), after_birth);
        found.name = name;
        found.attribute = change;
        if (is_stream) found.stream = change.name();
    }
}

// A record without links is an extension record.
void file_events::find_end() {
    for (const record_change* const record : m_changes->records) {
        if (!record->is_end() || record->number != m_changes->file.number() || m_deleted || m_created) continue;
        // The end of the file that had the record before.
        if (record->is_birth() && record->after.sequence == m_changes->file.sequence()) continue;
        const link_change* const went = m_links.first_went();
        if (went == nullptr && (record->before.links == std::uint16_t{0} || is_taken())) continue;
        found_event& deleted = add(event_kind::deleted, record->freed);
        deleted.record = record;
        if (went != nullptr) {
            deleted.name = deleted.old_name = went->name;
            if (went->copied) deleted.known = static_cast<std::uint8_t>(known_by::mft);
            for (const link_change& other : m_links.went) {
                if (&other != went) add(event_kind::link_removed, other).old_name = other.name;
            }
        }
        m_deleted = true;
    }
}

// Names that went and names that came pair up in their order.
void file_events::find_links() {
    const std::size_t pairs = std::min(m_links.came.size(), m_links.went.size());
    for (std::size_t at = 0; at < pairs; ++at)
        find_renaming(m_links.came[at], m_links.went[at]);
    const transaction_facts& transaction = m_changes->transaction;
    const bool settled = transaction.done && !transaction.cut && !m_changes->rolled_back;
    for (std::size_t at = pairs; at < m_links.came.size(); ++at) {
        const link_change& came = m_links.came[at];
        if (is_taken() && !settled && !m_created) {
            add(event_kind::created, came);
            m_created = true;
        } else if (proves_link(came) || m_created) {
            add(event_kind::link_added, came);
        }
    }
    for (std::size_t at = pairs; at < m_links.went.size(); ++at) {
        const link_change& went = m_links.went[at];
        if (proves_link(went)) add(event_kind::link_removed, went).old_name = went.name;
    }
}

// An index entry by itself may have moved within its tree: where a node is split, and where the other half is not
// there. The names of a file record that is put to use may be those of one that is written again.
bool file_events::proves_link(const link_change& change) const {
    const transaction_facts& transaction = m_changes->transaction;
    if (!change.in_index && m_birth != nullptr) return false;
    return change.by_attribute || (transaction.done && !transaction.cut && !transaction.splits_index);
}

void file_events::find_renaming(const link_change& came, const link_change& went) {
    const bool same_folder = came.name.parent() == went.name.parent();
    add(same_folder ? event_kind::renamed : event_kind::moved, came).old_name = went.name;
}

void file_events::find_attributes() {
    for (const joined_change& change : m_attributes) {
        find_attribute(change);
        find_new_size(change);
    }
}

void file_events::find_attribute(const joined_change& change) {
    std::optional<event_kind> kind;
    const attribute_state after = change.state_after();
    if (change.type() == attribute_type::data && !change.name().empty()) {
        if (change.came()) kind = event_kind::stream_added;
        if (change.went()) kind = event_kind::stream_removed;
    } else if (change.type() == attribute_type::reparse_point) {
        if (after.present == presence::present && change.state_before().present != presence::unknown) {
            kind = event_kind::reparse_point_set;
        }
        if (change.went()) kind = event_kind::reparse_point_removed;
    } else if (change.type() == attribute_type::object_id && after.present == presence::present &&
               change.state_before().present != presence::unknown) {
        kind = event_kind::object_id_set;
    }
    if (!kind) return;
    found_event& found = add(*kind, change.proof());
    found.attribute = change;
    if (change.type() == attribute_type::data) found.stream = change.name();
}

// What is not known is taken as the data of a file, not of a folder, whose index grows the same way.
void file_events::find_new_size(const joined_change& change) {
    const bool is_data = change.type() ? change.type() == attribute_type::data : m_is_folder == false;
    if (!is_data || m_context.journals.find(m_changes->file.number()) != nullptr) return;
    const auto before = change.state_before().file_size;
    const auto after = change.state_after().file_size;
    if (!before || !after || *before == *after) return;
    found_event& found = add(event_kind::resized, change.proof());
    found.attribute = change;
    found.stream = change.name();
    using namespace usn_reasons;
    if (*after > *before) {
        m_said |= found.stream.empty() ? appended : stream_appended;
    } else {
        m_said |= found.stream.empty() ? truncated : stream_truncated;
    }
}

file_past file_events::past() const {
    const file_past* const known = m_context.past.find(m_changes->file.value());
    return known != nullptr ? *known : file_past{};
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
    if ((new_creation || set_back != 0) && !is_innocent(change, set_back, new_creation)) {
        add(event_kind::times_set, change.proof).record = &record;
    }
    const auto& had = change.before.flags;
    const auto& has = change.after.flags;
    if (((had.value ^ has.value) & had.known & has.known & attribute_bits) != 0) {
        add(event_kind::attributes_set, change.proof).record = &record;
    }
}

bool file_events::is_innocent(const standard_change& change, std::uint32_t set_back, bool new_creation) const {
    if (past().just_created) return true;
    return new_creation ? is_tunnelled(change) : is_copied(change, set_back);
}

// The new creation time is that of the file whose name it has now.
bool file_events::is_tunnelled(const standard_change& change) const {
    const auto creation = change.after.times[0].whole();
    const std::uint64_t lsn = m_context.log.entries[change.proof].this_lsn;
    const auto name = m_changes->file.sequence() != 0 ? m_context.names.name_at(m_changes->file, lsn) : std::nullopt;
    if (!name || !creation) return false;
    const std::vector<std::uint8_t> stored = uni::utf16_units(name->stored);
    const uni::byte_view units = name->stored.empty() ? name->units : std::span<const std::uint8_t>(stored);
    return m_context.tunnels.brings_back(*creation, name->parent, units, lsn);
}

// A copy, or what is unpacked from an archive, gets times from before it was there, and gets them while it is young.
bool file_events::is_copied(const standard_change& change, std::uint32_t set_back) const {
    constexpr std::size_t modified = 1, mft_changed = 2;
    std::uint64_t birth = past().birth_time;
    if (birth == 0) birth = change.after.times[0].whole().value_or(0);
    if (birth == 0) return false;
    for (std::size_t at = 0; at < change.after.times.size(); ++at) {
        if ((set_back >> at & 1) == 0) continue;
        const auto time = change.after.times[at].whole();
        if (!time || *time >= birth) return false;
    }
    std::optional<std::uint64_t> latest;
    for (const auto& time : {modified, mft_changed}) {
        const auto before = change.before.times[time].whole();
        if (before) latest = std::max(latest.value_or(0), *before);
    }
    return latest && (*latest <= birth || *latest - birth <= one_hour);
}

// What a journal record says anew and no event does. The reasons of a file gather until it is closed.
void file_events::find_reasons() {
    if (m_changes->file.sequence() == 0 || m_reasons == 0) return;
    constexpr unsigned after_others = 2;
    std::uint32_t known = past().reasons;
    for (const event_fact* const fact : m_changes->facts) {
        if (fact->kind != fact_kind::journal_record) continue;
        const auto record = read_usn_record(fact->data);
        if (const auto* const in_file = m_context.logged.in_file(*fact)) known = in_file->known;
        const std::uint32_t rest = record->get(&usn_layout::reason) & ~known & ~usn_reasons::closed & ~m_said;
        if (rest != 0) {
            found_event& found = add(event_kind::reason_given, fact->entry, after_others);
            found.said = fact;
            found.known_reasons = known;
            found.new_reasons = rest;
        }
        known = record->reasons_behind(known);
    }
}

}  // namespace kest
