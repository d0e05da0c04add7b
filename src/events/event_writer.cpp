#include "events/event_writer.h"

#include <algorithm>
#include <utility>

#include "format/ascii_text.h"

namespace kest {

namespace {

void take_name(event_values& values, const file_name_view& name) {
    for (std::size_t at = 0; at < values.times.size(); ++at)
        values.times[at] = name.get(file_name_layout::times[at]);
    values.size = name.get(file_name_layout::real_size);
    values.name = name.name();
}

void take_attribute(event_values& values, const attribute_state& state, event_kind kind) {
    if (kind == event_kind::object_id_set) {
        values.object_id = state.value.value_or(uni::byte_view{});
    } else if (kind == event_kind::reparse_point_set || kind == event_kind::reparse_point_removed) {
        values.reparse_tag = state.reparse_tag();
    } else {
        values.size = state.file_size;
    }
    if (kind != event_kind::resized || state.resident == true) return;
    values.allocated = state.allocated_size;
    values.valid = state.valid_length;
}

void take_limit(event_values& values, const joined_change& change, const attribute_state& state) {
    const auto limit = journal_limit::read(change, state);
    values.maximum_size = limit->maximum_size;
    values.allocation_delta = limit->allocation_delta;
    values.journal_id = limit->journal_id;
}

void take_times(event_values& values, const standard_information& standard) {
    for (std::size_t at = 0; at < values.times.size(); ++at)
        values.times[at] = standard.times[at].whole();
}

// In the folder that the bin has for a user.
bool is_in_recycle_bin(std::string_view path) {
    constexpr std::string_view bin = "[root]\\$RECYCLE.BIN\\";
    return equal_folded(path.substr(0, bin.size()), bin);
}

uni::byte_view whole_units(uni::byte_view name) {
    return name.slice(0, name.size() / 2 * 2);
}

uni::byte_view stream_of(const found_event& found) {
    if (found.runs_of != nullptr) return found.runs_of->name();
    const bool is_about_data = found.kind == event_kind::stream_added || found.kind == event_kind::stream_removed ||
                               found.kind == event_kind::resized || found.kind == event_kind::content_held;
    return is_about_data ? found.attribute.name() : uni::byte_view{};
}

}  // namespace

void event_writer::write(const found_events& found) {
    m_runs = found.runs;
    auto of_volume = found.of_volume.begin();
    for (std::size_t at = 0; at <= found.events.size(); ++at) {
        for (; of_volume != found.of_volume.end() && of_volume->before == at; ++of_volume)
            std::visit([this](const auto* shown) { write(*shown); }, of_volume->shown);
        if (at != found.events.size()) write(found.events[at], found.subjects[found.events[at].subject]);
    }
}

void event_writer::write(const found_event& found, const event_subject& subject) {
    begin(found, subject);
    const bool of_journal = is_of_journal(found.kind);
    if (m_event.of_system ? !of_journal : found.kind == event_kind::journal_resized && !of_journal) return;
    set_time(found, subject);
    m_event.before = m_event.after = {};
    if (found.kind == event_kind::clusters_changed) return write_clusters(found);
    set_values(found);
    if (found.kind == event_kind::moved) find_recycling(found);
    if (found.kind != event_kind::reason_given) return m_listener(m_event);
    for (const flag_word& row : reason_words()) {
        m_event.given_reason = row.bits;
        if ((found.new_reasons & row.bits) != 0) m_listener(m_event);
    }
}

// What goes to the recycle bin keeps its data and gets a name that its twin beside it has, too.
void event_writer::find_recycling(const found_event& found) {
    const uni::byte_view to = m_context.bin.twin_of(found.name.parent(), found.name.name());
    const uni::byte_view from = m_context.bin.twin_of(found.old_name.parent(), found.old_name.name());
    if (!to.empty() && is_in_recycle_bin(m_event.path)) {
        m_event.kind = event_kind::recycled;
        m_event.after.twin = to;
    } else if (!from.empty() && is_in_recycle_bin(m_event.old_path)) {
        m_event.kind = event_kind::restored;
        m_event.before.twin = from;
    }
}

// What happens to the journal as a whole is an event of its own, although the system keeps its file for itself.
bool event_writer::is_of_journal(event_kind kind) {
    if (m_event.parent.number() != extend_number || !m_event.path.ends_with("\\$UsnJrnl")) return false;
    if (kind == event_kind::journal_resized) return true;
    if (kind == event_kind::created) m_event.kind = event_kind::journal_created;
    if (kind == event_kind::deleted) m_event.kind = event_kind::journal_deleted;
    return kind == event_kind::created || kind == event_kind::deleted;
}

void event_writer::write(const volume_event& shown) {
    const log_entry& entry = m_context.log.entries[shown.proof];
    m_event = {};
    static_cast<event_time&>(m_event) = m_context.clock.time_at(entry.this_lsn());
    m_event.kind = shown.kind;
    m_event.lsn = entry.this_lsn();
    m_event.file_offset = entry.file_offset();
    m_event.before = shown.before;
    m_event.after = shown.after;
    m_listener(m_event);
}

void event_writer::write(const mft_difference& difference, const event_subject& subject) {
    begin({.kind = event_kind::mft_differs, .proof = difference.proof}, subject);
    const std::uint64_t written = m_context.clock.time_of(subject.transaction, m_event.lsn).time;
    static_cast<event_time&>(m_event) = {written, 0, event_clock::not_before};
    m_event.before = difference.before;
    m_event.before.name = std::span(difference.old_name);
    m_event.after = difference.after;
    m_event.after.name = std::span(difference.new_name);
    m_listener(m_event);
}

void event_writer::begin(const found_event& found, const event_subject& subject) {
    static_cast<event_header&>(m_event) = subject;
    m_event.kind = found.kind;
    m_event.lsn = m_context.log.entries[found.proof].this_lsn();
    m_event.file_offset = m_context.log.entries[found.proof].file_offset();
    set_paths(found, subject);
    m_event.before = m_event.after = {};
}

void event_writer::set_time(const found_event& found, const event_subject& subject) {
    event_time& time = m_event;
    const bool dates_itself = found.kind == event_kind::written || found.kind == event_kind::read ||
                              found.kind == event_kind::metadata_changed;
    if (dates_itself && m_context.clock.has_passed(found.own_time, m_event.lsn) && found.own_time != 0) {
        // The file record may be written long after.
        time = {found.own_time, 0, event_clock::record};
    } else if (subject.journal_time != 0) {
        time = {subject.journal_time, 0, event_clock::journal};
    } else {
        time = m_context.clock.time_of(subject.transaction, m_event.lsn, found.own_time);
    }
}

void event_writer::write(const clock_change& change) {
    m_event = {};
    const stated_time& after = change.after;
    static_cast<event_time&>(m_event) = {after.ticks, 0, after.of_journal ? event_clock::journal : event_clock::record};
    m_event.kind = event_kind::clock_set_back;
    m_event.lsn = after.lsn;
    m_event.file_offset = m_context.log.entries[after.position].file_offset();
    m_event.before.clock = change.before;
    m_event.after.clock = after.ticks;
    m_listener(m_event);
}

// Where the event itself does not name the file, its name is looked up.
std::optional<resolved_name> event_writer::name_of(const found_event& found, const event_subject& subject) const {
    if (found.journal_record != nullptr) {
        const usn_record record = found.journal_record->usn();
        return resolved_name{.parent = record.parent(), .units = record.name()};
    }
    if (!found.name.name().empty()) {
        return resolved_name{.parent = found.name.parent(), .units = found.name.name(), .source = found.known};
    }
    if (subject.file.number() == volume_number) {
        return resolved_name{.parent = inode_ref(root_number, root_number), .stored = "$Volume"};
    }
    if (subject.file.sequence() == 0) return std::nullopt;
    auto name = m_context.names.name_at(subject.file, {m_event.lsn});
    if (name) name->source = std::max(name->source, subject.owner);
    return name;
}

// One record of the log may be many events, each with its path. Long ones, beyond the first few of a transaction, come
// from what all have in common.
std::string_view event_writer::shown_folder(const folder_path& folder, std::uint64_t events) {
    constexpr std::size_t own = 1024;
    constexpr std::uint64_t most_free = 4;
    if (folder.text.size() <= own || m_with_paths <= most_free) return folder.text;
    const std::uint64_t beyond = (folder.text.size() - own) * events;
    if (beyond > m_long_paths) {
        m_context.omitted.paths = true;
        return unknown_path;
    }
    m_long_paths -= beyond;
    return folder.text;
}

void event_writer::set_paths(const found_event& found, const event_subject& subject) {
    m_event.known = name_source::part;
    m_event.parent = {};
    m_event.of_system = false;
    if (std::exchange(m_transaction, subject.transaction) != subject.transaction) m_with_paths = 0;
    const std::uint64_t events = found.kind == event_kind::clusters_changed ? found.lost_count + found.gained_count : 1;
    m_with_paths += events;
    std::string_view above = unknown_path;
    resolved_name name;
    if (const auto known = name_of(found, subject)) {
        name = *known;
        m_event.parent = name.parent;
        const folder_path& folder = m_context.paths.at(m_event.parent, {m_event.lsn});
        above = found.kind == event_kind::reason_given ? folder.text : shown_folder(folder, events);
        m_event.known = std::max(name.source, above == unknown_path ? name_source::part : folder.source);
        m_event.of_system = folder.of_system;
    }
    if (subject.file.number() == root_number) {
        above = root_path;
        name = {};
        m_event.known = name_source::log;
    }
    set_path(m_event.path, m_event.name_hex, above, name, stream_of(found));
    m_event.old_path.clear();
    m_event.old_name_hex.clear();
    if (found.old_name.name().empty()) return;
    const folder_path& folder = m_context.paths.at(found.old_name.parent(), {m_event.lsn - 1});
    above = shown_folder(folder, events);
    set_path(m_event.old_path, m_event.old_name_hex, above, {.units = found.old_name.name()});
    m_event.known = std::max(m_event.known, above == unknown_path ? name_source::part : folder.source);
    if (!folder.of_system) m_event.of_system = false;
}

void event_writer::set_age(const found_event& found) {
    m_event.after.transactions_since = found.transactions_since_birth;
    const bool dated = m_event.clock != event_clock::not_before && m_event.time >= found.birth_time;
    if (dated) m_event.after.since_creation = m_event.time - found.birth_time;
}

void event_writer::set_values(const found_event& found) {
    event_values& before = m_event.before;
    event_values& after = m_event.after;
    const standard_change* const standard =
        found.record != nullptr ? m_context.history.standard_of(*found.record) : nullptr;
    switch (found.kind) {
        case event_kind::created:
            if (found.record != nullptr) after.is_directory = found.record->after->directory;
            if (standard != nullptr) take_times(after, standard->after);
            if (found.record != nullptr) after.owner = owner_after(*found.record, standard);
            break;
        case event_kind::owner_set:
            if (standard != nullptr) {
                before.owner = m_context.descriptors.owner_of(standard->before.security_id);
                after.owner = m_context.descriptors.owner_of(standard->after.security_id);
            } else {
                before.owner = owner_in(found.attribute.state_before());
                after.owner = owner_in(found.attribute.state_after());
            }
            break;
        case event_kind::deleted:
            if (!found.name.name().empty()) take_name(before, found.name);
            if (found.attribute) {
                if (const auto& size = found.attribute.state_before().file_size) before.size = size;
                set_lost_data(found);
            }
            break;
        case event_kind::moved:
            before.parent = found.old_name.parent();
            after.parent = found.name.parent();
            [[fallthrough]];
        case event_kind::renamed:
            before.name = found.old_name.name();
            after.name = found.name.name();
            break;
        case event_kind::link_added:
            after.name = found.name.name();
            break;
        case event_kind::link_removed:
            before.name = found.name.name();
            break;
        case event_kind::stream_added:
            take_attribute(after, found.attribute.state_after(), found.kind);
            break;
        case event_kind::stream_removed:
            take_attribute(before, found.attribute.state_before(), found.kind);
            set_lost_data(found);
            break;
        case event_kind::resized:
        case event_kind::reparse_point_set:
        case event_kind::reparse_point_removed:
        case event_kind::object_id_set:
            take_attribute(before, found.attribute.state_before(), found.kind);
            take_attribute(after, found.attribute.state_after(), found.kind);
            if (found.kind == event_kind::resized && before.size > after.size) set_lost_data(found);
            break;
        case event_kind::times_copied:
            set_age(found);
            [[fallthrough]];
        case event_kind::times_set:
        case event_kind::written:
        case event_kind::read:
        case event_kind::metadata_changed:
            take_times(before, standard->before);
            take_times(after, standard->after);
            break;
        case event_kind::journal_resized:
            take_limit(before, found.attribute, found.attribute.state_before());
            take_limit(after, found.attribute, found.attribute.state_after());
            break;
        case event_kind::volume_flags_set:
            before.volume_flags = volume_flags_of(found.attribute.type(), found.attribute.state_before());
            after.volume_flags = volume_flags_of(found.attribute.type(), found.attribute.state_after());
            break;
        case event_kind::volume_renamed:
            before.name = whole_units(*found.attribute.state_before().value);
            after.name = whole_units(*found.attribute.state_after().value);
            break;
        case event_kind::clock_set_back:
        case event_kind::recycled:
        case event_kind::restored:
        case event_kind::mounted:
        case event_kind::journal_created:
        case event_kind::journal_deleted:
            break;
        case event_kind::attributes_set:
            set_flags(*standard);
            break;
        case event_kind::ea_set:
        case event_kind::ea_removed:
            take_extended_attribute(found);
            break;
        case event_kind::content_held:
            m_event.stream = found.stream;
            m_event.copy = copies_of_content({m_event.file.value(), found.stream, found.shows_before ? 0U : 1U});
            if (found.shows_before) {
                before.value = *found.attribute.state_before().value;
            } else {
                after.value = *found.attribute.state_after().value;
            }
            break;
        case event_kind::mft_differs:
        case event_kind::clusters_changed:
            break;
        case event_kind::reason_given:
            before.reasons = found.known_reasons;
            after.reasons = found.journal_record->usn().get(&usn_layout::reason);
            break;
    }
}

// Two attributes of one name may lie in a record that was made to do harm.
std::uint32_t event_writer::copies_of_content(const std::array<std::uint64_t, 3>& content) {
    if (std::exchange(m_contents_lsn, m_event.lsn) != m_event.lsn) m_contents.clear();
    return m_contents[content]++;
}

void event_writer::take_extended_attribute(const found_event& found) {
    m_units.clear();
    for (const std::uint8_t character : found.ea_name.bytes()) {
        m_units.push_back(character);
        m_units.push_back(0);
    }
    const auto take = [this](event_values& values, const std::optional<uni::byte_view>& value) {
        if (!value) return;
        values.name = std::span<const std::uint8_t>(m_units);
        values.value = *value;
    };
    take(m_event.before, found.ea_before);
    take(m_event.after, found.ea_after);
}

// Known where the log shows $Bitmap, or gives the clusters to others.
std::optional<cluster_share> event_writer::unused_after(const found_event& found, std::span<const cluster_run> runs) {
    if (m_event.state == event_state::undone) return std::nullopt;
    if (m_context.uses.incomplete()) {
        m_omits_clusters = true;
        return std::nullopt;
    }
    const cluster_share given = m_context.uses.given_after(found.proof, runs);
    if (given == cluster_share::none && !m_context.uses.shows_bitmap()) return std::nullopt;
    constexpr cluster_share others[] = {cluster_share::all, cluster_share::part, cluster_share::none};
    return others[static_cast<std::size_t>(given)];
}

void event_writer::set_lost_data(const found_event& found) {
    data_place& place = m_event.before.place;
    if (found.attribute.state_before().resident == true) place.resident = true;
    place.runs = m_runs.subspan(found.first_run, found.lost_count);
    if (place.runs.empty()) return;
    place.resident = false;
    place.in_bitmap = m_context.uses.clears_all(m_transaction, place.runs);
    place.unused = unused_after(found, place.runs);
}

// One event for each run; holes are none.
void event_writer::write_clusters(const found_event& found) {
    const std::span<const cluster_run> runs = m_runs.subspan(found.first_run, found.lost_count + found.gained_count);
    m_event.attribute_type = found.runs_of->type();
    for (std::size_t at = 0; at < runs.size(); ++at) {
        const std::span<const cluster_run> run = runs.subspan(at, 1);
        if (!run.front().lcn) continue;
        const bool lost = at < found.lost_count;
        m_event.before.place = m_event.after.place = {};
        data_place& place = lost ? m_event.before.place : m_event.after.place;
        place.runs = run;
        place.in_bitmap =
            lost ? m_context.uses.clears_all(m_transaction, run) : m_context.uses.sets_all(m_transaction, run);
        if (lost) place.unused = unused_after(found, run);
        m_listener(m_event);
    }
}

uni::byte_view event_writer::owner_after(const record_change& record, const standard_change* standard) const {
    if (standard != nullptr) {
        const uni::byte_view owner = m_context.descriptors.owner_of(standard->after.security_id);
        if (!owner.empty()) return owner;
    }
    for (const attribute_change& change : m_context.history.attributes_of(record)) {
        if (change.type() == attribute_type::security_descriptor) return owner_in(change.after);
    }
    return {};
}

void event_writer::set_flags(const standard_change& change) {
    m_event.before.flags = change.before.flags.value();
    m_event.before.some_flags = !change.before.flags.whole();
    m_event.after.flags = change.after.flags.value();
    m_event.after.some_flags = !change.after.flags.whole();
}

}  // namespace kest
