#include "events/shown_events.h"

#include <algorithm>

#include "events/system_files.h"
#include "journal/usn_record.h"

namespace kest {

namespace {

void take_name(event_values& values, const file_name_view& name) {
    for (std::size_t at = 0; at < values.times.size(); ++at)
        values.times[at] = name.get(file_name_layout::times[at]);
    values.size = name.get(file_name_layout::real_size);
    values.name = name.name();
}

void take_sizes(event_values& values, const attribute_state& state) {
    values.size = state.file_size;
    if (state.resident == true) return;
    values.allocated = state.allocated_size;
    values.valid = state.valid_length;
}

void take_times(event_values& values, const standard_information& standard) {
    for (std::size_t at = 0; at < values.times.size(); ++at)
        values.times[at] = standard.times[at].whole();
}

}  // namespace

void shown_events::show(const found_event& found, const event_subject& subject) {
    m_event.time = subject.time.ticks;
    m_event.clock = subject.time.clock;
    m_event.source = subject.source;
    m_event.kind = found.kind;
    m_event.file = subject.file;
    m_event.is_folder = subject.is_folder;
    m_event.lsn = found.lsn;
    m_event.file_offset = m_context.log.entries[found.proof].file_offset;
    m_event.state = subject.state;
    m_event.cut = subject.cut;
    m_event.reasons = subject.reasons;
    set_paths(found, subject);
    if (m_event.of_system) return;
    m_event.before = m_event.after = {};
    set_values(found);
    if (found.kind != event_kind::reason_given) return m_listener(m_event);
    for (const flag_word& row : reason_words()) {
        if ((found.new_reasons & row.bits) == 0) continue;
        m_event.said_reason = row.bits;
        m_listener(m_event);
    }
}

// Where the event itself does not name the file, its name is looked up.
std::optional<shown_events::file_place> shown_events::place_of(const found_event& found,
                                                               const event_subject& subject) const {
    if (found.said != nullptr) {
        const auto record = read_usn_record(found.said->data);
        return file_place{{.parent = record->parent(), .units = record->name()}};
    }
    if (!found.name.name().empty()) {
        return file_place{{.parent = found.name.parent(), .units = found.name.name()},
                          static_cast<known_by>(found.known)};
    }
    if (subject.file.sequence() == 0) return std::nullopt;
    const std::optional<held_name> name = m_context.names.name_at(subject.file, found.lsn);
    if (!name) return std::nullopt;
    return file_place{*name, subject.owner == known_by::guess ? known_by::guess : std::max(name->known, subject.owner)};
}

void shown_events::set_paths(const found_event& found, const event_subject& subject) {
    m_event.known = known_by::part;
    m_event.parent = {};
    m_event.of_system = false;
    std::string_view above = unknown_path;
    held_name name;
    if (const auto place = place_of(found, subject)) {
        m_event.parent = place->name.parent;
        const folder_path& folder = m_context.paths.at(m_event.parent, found.lsn);
        above = folder.text;
        name = place->name;
        m_event.known = std::max(place->known, folder.known);
        m_event.of_system = folder.of_system;
    }
    if (subject.file.number() == root_number) {
        above = root_path;
        name = {};
        m_event.known = known_by::log;
    }
    set_path(m_event.path, m_event.name_hex, above, name, found.stream);
    m_event.old_path.clear();
    m_event.old_name_hex.clear();
    if (found.kind != event_kind::renamed && found.kind != event_kind::moved) return;
    const folder_path& folder = m_context.paths.at(found.old_name.parent(), found.lsn - 1);
    set_path(m_event.old_path, m_event.old_name_hex, folder.text, {.units = found.old_name.name()});
    m_event.known = std::max(m_event.known, folder.known);
    if (!folder.of_system) m_event.of_system = false;
}

void shown_events::set_values(const found_event& found) {
    event_values& before = m_event.before;
    event_values& after = m_event.after;
    const joined_change& attribute = found.attribute;
    switch (found.kind) {
        case event_kind::created:
            if (found.record == nullptr) break;
            after.is_directory = found.record->after.directory;
            if (const auto* const standard = m_context.history.standard_of(*found.record)) {
                take_times(after, standard->after);
            }
            break;
        case event_kind::deleted:
            if (!found.old_name.name().empty()) take_name(before, found.old_name);
            break;
        case event_kind::renamed:
        case event_kind::moved:
            before.name = found.old_name.name();
            after.name = found.name.name();
            if (found.kind == event_kind::renamed) break;
            before.parent = found.old_name.parent();
            after.parent = found.name.parent();
            break;
        case event_kind::link_added:
            after.name = found.name.name();
            break;
        case event_kind::link_removed:
            before.name = found.old_name.name();
            break;
        case event_kind::stream_added:
            after.size = attribute.state_after().file_size;
            break;
        case event_kind::stream_removed:
            before.size = attribute.state_before().file_size;
            break;
        case event_kind::resized:
            take_sizes(before, attribute.state_before());
            take_sizes(after, attribute.state_after());
            break;
        case event_kind::reparse_point_set:
        case event_kind::reparse_point_removed:
            before.reparse_tag = attribute.state_before().reparse_tag();
            after.reparse_tag = attribute.state_after().reparse_tag();
            break;
        case event_kind::object_id_set:
            before.object_id = attribute.state_before().value.value_or(uni::byte_view{});
            after.object_id = attribute.state_after().value.value_or(uni::byte_view{});
            break;
        case event_kind::times_set:
        case event_kind::attributes_set:
            set_standard_values(found);
            break;
        case event_kind::reason_given:
            before.reasons = found.known_reasons;
            after.reasons = read_usn_record(found.said->data)->get(&usn_layout::reason);
            break;
    }
}

void shown_events::set_standard_values(const found_event& found) {
    const standard_change& change = *m_context.history.standard_of(*found.record);
    if (found.kind == event_kind::times_set) {
        take_times(m_event.before, change.before);
        take_times(m_event.after, change.after);
        return;
    }
    const auto& had = change.before.flags;
    const auto& has = change.after.flags;
    m_event.before.flags = had.whole();
    m_event.after.flags = has.whole();
    if (had.whole() && has.whole()) return;
    const std::uint32_t changed = (had.value ^ has.value) & had.known & has.known;
    m_event.before.some_flags = m_event.after.some_flags = true;
    m_event.before.flags = had.value & changed;
    m_event.after.flags = has.value & changed;
}

}  // namespace kest
