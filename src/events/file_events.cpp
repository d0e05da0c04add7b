#include "events/file_events.h"

#include <algorithm>
#include <utility>

#include "events/time_changes.h"
#include "events/volume_events.h"
#include "format/time.h"
#include "mft/extended_attributes.h"
#include "portable/unicode.h"

namespace kest {

namespace {

using namespace usn_reasons;

// Copying a file sets its times within so many transactions and ticks after its creation.
constexpr std::uint32_t copy_transactions = 6;
constexpr std::uint64_t copy_duration = 2 * cv::ticks_per_second;
constexpr std::uint64_t time_zones = 86'400 * cv::ticks_per_second;
// For so long the system remembers the name and the creation time of a file.
constexpr std::uint64_t tunneling_duration = 15 * cv::ticks_per_second;
// Bits above are marks of the index entry, which come and go by themselves.
constexpr std::uint32_t attribute_bits = 0x0FFF'FFFF;

// Which of a journal's reasons an event covers, by `event_kind`; of `resized` that depends. Others cover none.
constexpr std::uint32_t covered_reasons[] = {usn_reasons::created,
                                             deleted,
                                             old_name | new_name,  // renamed
                                             old_name | new_name,  // moved
                                             hard_link,
                                             hard_link,
                                             stream_change,
                                             stream_change,
                                             0,                                   // resized
                                             basic_info,                          // times_set
                                             basic_info,                          // times_copied
                                             overwritten | appended | truncated,  // written
                                             0,                                   // read
                                             0,                                   // metadata_changed
                                             basic_info,                          // attributes_set
                                             reparse_point,
                                             reparse_point,
                                             object_id,
                                             0,  // clock_set_back
                                             ea,
                                             ea};

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
    m_first = m_out.size();
    m_covered = 0;
    m_streams.reset();
    const file_past* const past = m_context.past.find(changes.file.value());
    m_past = past != nullptr ? *past : file_past{};
    describe(subject);
    join_attributes(m_attributes, m_context.history, changes);
    find_link_changes(m_links, changes.facts, m_attributes);
    if (!find_creation() && !find_deletion()) {
        if (!find_links()) find_attributes();
        find_times(false);
    }
    if (m_context.topic == event_topic::contents) return find_contents();
    const bool finds_clusters = m_context.topic != event_topic::events;
    const found_event run = finds_clusters ? sample_of(event_kind::clusters_changed) : found_event{};
    if (finds_events()) {
        if (changes.file.sequence() != 0 && subject.reasons != 0) find_reasons();
        if (m_out.size() == m_first) find_times(true);
    } else {
        m_out.resize(m_first);
    }
    if (finds_clusters) find_clusters(run);
}

void file_events::find_of_volume(const file_changes& changes, event_subject& subject, std::uint32_t index) {
    m_changes = &changes;
    m_subject = index;
    describe(subject);
    for (const owned_change& one : changes.records) {
        for (const attribute_change& change : m_context.history.attributes_of(*one.record)) {
            const joined_change joined{&change, &change};
            const auto flags = volume_flags_of(change.type(), change.before);
            const auto new_flags = volume_flags_of(change.type(), change.after);
            if (flags && new_flags && *flags != *new_flags) {
                add(event_kind::volume_flags_set, change.proof).attribute = joined;
            }
            const bool is_name = change.type() == attribute_type::volume_name;
            if (is_name && change.before.value && change.after.value) {
                add(event_kind::volume_renamed, change.proof).attribute = joined;
            }
        }
    }
}

void file_events::find_attributes() {
    for (const joined_change& change : m_attributes) {
        if (const auto kind = attribute_event(change, false)) {
            found_event& found = add(*kind, change.proof());
            found.attribute = change;
            if (*kind == event_kind::stream_removed) take_lost_runs(found);
        }
        find_new_size(change);
        find_extended_attributes(change, {}, 0);
        find_new_owner(change);
        find_journal_limit(change);
    }
    for (const owned_change& one : m_changes->records) {
        const standard_change* const standard = m_context.history.standard_of(*one.record);
        if (standard == nullptr || one.record->number != m_changes->file.number()) continue;
        find_flags(*one.record, *standard);
        find_new_owner(*one.record, *standard);
    }
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
        if (!subject.is_folder) subject.is_folder = one.record->after->directory;
        if (m_birth == nullptr && one.record->number == changes.file.number()) m_birth = one.record;
    }
    if (!subject.is_folder && !changes.facts.empty()) subject.is_folder = changes.facts.front()->names_directory();
    m_is_folder = subject.is_folder;
    for (const log_fact* const fact : changes.facts) {
        if (!fact->is_journal_record()) continue;
        subject.reasons |= fact->usn().get(&usn_layout::reason);
        subject.journal_time = std::max(subject.journal_time, calendar_time(fact->usn()));
    }
    subject.transaction = changes.transaction.number;
    m_journal_time = subject.journal_time;
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
        find_extended_attributes(change, *name, after_birth);
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
    const auto data = std::ranges::find_if(m_attributes, [](const joined_change& change) {
        return change.type() == attribute_type::data && change.name().empty();
    });
    if (link == nullptr) {
        if (record.before->links == std::uint16_t{0} || m_changes->transaction.takes(record.number)) return false;
        found_event& found = add(event_kind::deleted, record.freed);
        if (has_name(m_past.name, record.first)) found.name = m_past.name;
        if (data != m_attributes.end()) found.attribute = *data;
        take_lost_runs(found);
        return true;
    }
    found_event& found = add(event_kind::deleted, *link);
    found.proof = record.freed;
    if (data != m_attributes.end()) found.attribute = *data;
    take_lost_runs(found);
    for (const link_change& other : link_changes::long_names(m_links.removed)) {
        if (&other != link) add(event_kind::link_removed, other);
    }
    return true;
}

// Whether the file was called that before the record at the position of the log.
bool file_events::has_name(const file_name_view& name, std::uint32_t position) const {
    const auto known = m_context.names.name_at(m_changes->file, {m_context.log.entries[position].this_lsn() - 1});
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
    bool is_new = false;
    for (const link_change& link : added.subspan(pairs)) {
        if (!is_new && !settled && transaction.takes(m_changes->file.number())) {
            add(event_kind::created, link);
            is_new = true;
        } else if (proves_link(link) || is_new) {
            add(event_kind::link_added, link);
        }
    }
    for (const link_change& link : removed.subspan(pairs)) {
        if (proves_link(link)) add(event_kind::link_removed, link);
    }
    return is_new;
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
    found_event& found = add(event_kind::resized, change.proof());
    found.attribute = change;
    if (*after < *before) take_lost_runs(found);
    if (*after > *before) {
        m_covered |= change.name().empty() ? appended : stream_appended;
    } else {
        m_covered |= change.name().empty() ? truncated : stream_truncated;
    }
}

namespace {

struct extended_attribute {
    uni::byte_view name;
    uni::byte_view value;
};

bool comes_before(const extended_attribute& a, const extended_attribute& b) {
    return uni::compare_bytes(a.name, b.name) < 0;
}

// By name; nothing where they are not known.
std::optional<std::vector<extended_attribute>> extended_attributes_of(const attribute_state& state) {
    std::vector<extended_attribute> all;
    if (state.present == presence::absent) return all;
    if (!state.value) return std::nullopt;
    for_each_extended_attribute(*state.value, [&all](uni::byte_view name, uni::byte_view value) {
        all.push_back({name, value});
    });
    std::ranges::stable_sort(all, comes_before);
    return all;
}

}  // namespace

// `name` is that of a file which this transaction creates.
void file_events::find_extended_attributes(const joined_change& change, const file_name_view& name, unsigned rank) {
    if (change.type() != attribute_type::extended_attributes || !finds_events()) return;
    const auto before = extended_attributes_of(change.state_before());
    const auto after = extended_attributes_of(change.state_after());
    if (!before || !after) return;
    const auto enter = [&](event_kind kind, const extended_attribute* was, const extended_attribute* is) {
        if (!m_context.budgets.extended_attributes.spend(m_changes->file.number(), 1)) {
            m_context.omitted.extended_attributes = true;
            return;
        }
        found_event& found = add(kind, change.proof(), rank);
        found.name = name;
        found.ea_name = (is != nullptr ? is : was)->name;
        if (was != nullptr) found.ea_before = was->value;
        if (is != nullptr) found.ea_after = is->value;
    };
    auto was = before->begin();
    for (const extended_attribute& is : *after) {
        for (; was != before->end() && comes_before(*was, is); ++was)
            enter(event_kind::ea_removed, &*was, nullptr);
        const bool there = was != before->end() && !comes_before(is, *was);
        if (!there) {
            enter(event_kind::ea_set, nullptr, &is);
        } else if (const auto& old = *was++; !std::ranges::equal(old.value.bytes(), is.value.bytes())) {
            enter(event_kind::ea_set, &old, &is);
        }
    }
    for (; was != before->end(); ++was)
        enter(event_kind::ea_removed, &*was, nullptr);
}

std::vector<stream_runs>& file_events::streams() {
    if (!m_streams) m_streams = find_stream_runs(m_context.history, *m_changes);
    return *m_streams;
}

void file_events::take_lost_runs(found_event& found) {
    if (!found.attribute || !finds_events()) return;
    stream_runs* const stream = find_stream(streams(), found.attribute);
    if (stream == nullptr || std::exchange(stream->reported, true)) return;
    if (!take_runs(found, stream->lost, {})) m_context.omitted.clusters = true;
}

// All of them, or none and false.
bool file_events::take_runs(found_event& found, std::span<const cluster_run> lost,
                            std::span<const cluster_run> gained) {
    if (!m_context.budgets.runs.spend(m_changes->file.number(), lost.size() + gained.size())) return false;
    found.first_run = m_runs.size();
    found.lost_count = lost.size();
    found.gained_count = gained.size();
    m_runs.insert(m_runs.end(), lost.begin(), lost.end());
    m_runs.insert(m_runs.end(), gained.begin(), gained.end());
    return true;
}

// Runs that move to another file record are no gain. The one that they leave may not be known, but what a file gets
// anew is set in $Bitmap.
void file_events::leave_out_moved(stream_runs& stream) const {
    if (!stream.has_new_piece) return;
    std::erase_if(stream.gained, [this](const cluster_run& run) {
        return !m_context.uses.sets_all(m_changes->transaction.number, std::span(&run, 1));
    });
}

// The name is that of the events that were found so far.
found_event file_events::sample_of(event_kind kind) const {
    const auto named = std::find_if(m_out.begin() + static_cast<std::ptrdiff_t>(m_first), m_out.end(),
                                    [](const found_event& found) { return !found.name.name().empty(); });
    found_event sample{.kind = kind, .subject = m_subject};
    if (named != m_out.end()) {
        sample.name = named->name;
        sample.known = named->known;
    }
    return sample;
}

// Each version once: what is there before a change was there after the one before it. Zeros only are what a stream
// grows by before its data are written, which newer systems do not log.
void file_events::find_contents() {
    const found_event sample = sample_of(event_kind::content_held);
    m_out.resize(m_first);
    for (const joined_change& change : m_attributes) {
        if (change.type() != attribute_type::data) continue;
        for (const bool before : {true, false}) {
            const auto& content = (before ? change.state_before() : change.state_after()).value;
            if (!content || std::ranges::all_of(content->bytes(), [](std::uint8_t byte) { return byte == 0; }))
                continue;
            const auto stream = m_context.versions.next(m_changes->file, change.name(), *content);
            if (!stream) continue;
            found_event& found = m_out.emplace_back(sample);
            found.proof = change.proof();
            found.attribute = change;
            found.stream = *stream;
            found.shows_before = before;
        }
    }
}

void file_events::find_clusters(const found_event& run) {
    for (stream_runs& stream : streams()) {
        leave_out_moved(stream);
        found_event found = run;
        found.proof = stream.attribute->proof;
        found.runs_of = stream.attribute;
        if (take_runs(found, stream.lost, stream.gained)) {
            m_out.push_back(found);
        } else {
            m_context.omitted.clusters = true;
        }
    }
}

// By the bits that are known on both sides.
void file_events::find_flags(const record_change& record, const standard_change& change) {
    const auto& had = change.before.flags;
    const auto& has = change.after.flags;
    if (((had.value() ^ has.value()) & had.known() & has.known() & attribute_bits) == 0) return;
    found_event& found = add(event_kind::attributes_set, change.proof);
    found.record = &record;
    found.own_time = new_change_time(change);
}

// Times that a program set are always an event. Those that the system set are one where nothing else of the transaction
// explains them: that the file was written to goes before the reasons of a journal, the others after them.
void file_events::find_times(bool after_reasons) {
    const bool explained = m_out.size() != m_first;
    for (const owned_change& one : m_changes->records) {
        const standard_change* const standard = m_context.history.standard_of(*one.record);
        if (standard == nullptr || one.record->number != m_changes->file.number()) continue;
        const time_change change =
            judge_times(*standard, {.clock = m_context.clock,
                                    .lsn = m_context.log.entries[standard->proof].this_lsn(),
                                    .tunneled = changes_creation_time(*standard) && is_tunneled(*standard),
                                    .copying = is_copying(*standard),
                                    .names_changed = m_context.clock.names_changed(*one.record),
                                    .last_event = m_past.last_event});
        if (!change.kind) continue;
        const bool is_minor = change.kind == event_kind::read || change.kind == event_kind::metadata_changed;
        if (is_minor != after_reasons || (change.kind == event_kind::written && explained)) continue;
        found_event& found = add(*change.kind, standard->proof);
        found.record = one.record;
        found.own_time = change.ticks;
        found.birth_time = birth_of(*standard);
        if (m_past.birth_time != 0)
            found.transactions_since_birth = m_changes->transaction.number - m_past.birth_transaction;
    }
}

// Older systems keep the descriptor in the file record.
void file_events::find_new_owner(const joined_change& change) {
    if (change.type() != attribute_type::security_descriptor) return;
    const uni::byte_view was = owner_in(change.state_before());
    const uni::byte_view is = owner_in(change.state_after());
    if (is_other_owner(was, is)) add(event_kind::owner_set, change.proof()).attribute = change;
}

void file_events::find_journal_limit(const joined_change& change) {
    const auto was = journal_limit::read(change, change.state_before());
    const auto is = journal_limit::read(change, change.state_after());
    if (was && is && *was != *is) add(event_kind::journal_resized, change.proof()).attribute = change;
}

void file_events::find_new_owner(const record_change& record, const standard_change& change) {
    if (change.before.security_id == change.after.security_id) return;
    const uni::byte_view was = m_context.descriptors.owner_of(change.before.security_id);
    const uni::byte_view is = m_context.descriptors.owner_of(change.after.security_id);
    if (is_other_owner(was, is)) add(event_kind::owner_set, change.proof).record = &record;
}

// The new creation time is that of the file whose name it has now, and which was removed a moment before it was
// created.
bool file_events::is_tunneled(const standard_change& change) const {
    const auto creation = change.after.times[0].whole();
    const moment when{m_context.log.entries[change.proof].this_lsn()};
    const auto name = m_changes->file.sequence() != 0 ? m_context.names.name_at(m_changes->file, when) : std::nullopt;
    if (!name || !creation || m_past.birth_time == 0) return false;
    const std::vector<std::uint8_t> stored = uni::utf16_units(name->stored);
    const uni::byte_view units = name->stored.empty() ? name->units : std::span<const std::uint8_t>(stored);
    const auto removal = m_context.tunneling.removal_of(*creation, name->parent, units, change.proof);
    if (!removal) return false;
    const event_time removed =
        m_context.clock.time_of(removal->transaction, m_context.log.entries[removal->position].this_lsn());
    return removed.time != 0 && m_past.birth_time <= removed.time + tunneling_duration;
}

// Where the log does not have the creation, what is still as new as a copy says when it was.
std::uint64_t file_events::birth_of(const standard_change& change) const {
    if (m_past.birth_time != 0) return m_past.birth_time;
    const std::uint64_t creation = change.before.times[0].whole().value_or(0);
    const auto is_new = [creation](const partial_number<std::uint64_t>& time) {
        return time.whole() && *time.whole() - creation <= copy_duration;
    };
    const std::uint64_t lsn = m_context.log.entries[change.proof].this_lsn();
    return std::ranges::all_of(change.before.times, is_new) && m_context.clock.has_passed(creation, lsn) ? creation : 0;
}

// What makes a copy, or unpacks an archive, gives a file its times before it closes it, or right after it is made:
// times of the past, or of another time zone.
bool file_events::is_copying(const standard_change& change) const {
    const std::uint64_t birth = birth_of(change);
    if (birth == 0 || change.before.times == change.after.times) return false;
    for (std::size_t at = 0; at < change.after.times.size(); ++at) {
        const std::uint64_t time = change.after.times[at].whole().value_or(0);
        const bool is_new = change.before.times[at] != change.after.times[at];
        if (is_new && (!cv::has_calendar_form(time) || time > birth + time_zones)) return false;
    }
    if ((m_past.reasons & usn_reasons::created) != 0) return true;
    const std::uint64_t lsn = m_context.log.entries[change.proof].this_lsn();
    std::uint64_t latest = std::max(m_context.clock.latest_before(lsn), m_journal_time);
    if (m_context.clock.has_passed(new_change_time(change), lsn)) latest = std::max(latest, new_change_time(change));
    for (std::size_t at = 1; at < change.before.times.size(); ++at) {
        const std::uint64_t time = change.before.times[at].whole().value_or(0);
        if (m_context.clock.has_passed(time, lsn)) latest = std::max(latest, time);
    }
    const bool is_near =
        m_past.birth_time == 0 || m_changes->transaction.number - m_past.birth_transaction <= copy_transactions;
    return is_near && latest <= birth + copy_duration;
}

// What a journal record states anew and no event covers. The reasons of a file gather until it is closed.
void file_events::find_reasons() {
    constexpr unsigned after_others = 2;
    std::uint32_t known = m_past.reasons;
    for (const log_fact* const fact : m_changes->facts) {
        if (!fact->is_journal_record()) continue;
        const journal_match match = m_context.facts.match_of(*fact);
        if (match.offset != journal_match::not_in_file) known = match.known_reasons;
        const usn_record record = fact->usn();
        const std::uint32_t added = record.get(&usn_layout::reason) & ~known & ~closed & ~m_covered;
        if (added != 0) {
            found_event& found = add(event_kind::reason_given, fact->position, after_others);
            found.journal_record = fact;
            found.known_reasons = known;
            found.new_reasons = added;
        }
        known = record.reasons_after(known);
    }
}

}  // namespace kest
