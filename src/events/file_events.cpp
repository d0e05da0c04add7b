#include "events/file_events.h"

#include <algorithm>
#include <tuple>

#include "events/name_order.h"
#include "events/system_files.h"
#include "journal/usn_record.h"
#include "mft/mft_reader.h"
#include "mft/record_view.h"

namespace kest {

namespace {

constexpr std::uint64_t one_hour = 3600 * std::uint64_t{10'000'000};  // ticks

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

event_values name_values(const file_name_view& name) {
    event_values values;
    for (std::size_t at = 0; at < values.times.size(); ++at)
        values.times[at] = name.get(file_name_layout::times[at]);
    values.real_size = name.get(file_name_layout::real_size);
    values.name = name.name();
    return values;
}

void take_times(event_values& values, const standard_values& known) {
    for (std::size_t at = 0; at < values.times.size(); ++at)
        values.times[at] = known.get(standard_information_layout::times[at]);
}

bool same_units(uni::byte_view a, uni::byte_view b) {
    return compare_bytes(a, b) == 0;
}

}  // namespace

// What became of the attributes of one type and name.
struct file_events::attribute_changes {
    std::uint32_t type;
    uni::byte_view name;
    const told_fact* added = nullptr;  // the last one
    const told_fact* removed = nullptr;
    int net = 0;

    const told_fact& proof() const { return added != nullptr ? *added : *removed; }
    // The value, or an empty one.
    static uni::byte_view value(const told_fact* fact) {
        return fact != nullptr ? attribute_view::read(fact->data)->value() : uni::byte_view{};
    }
};

void file_events::find(const file_deeds& deeds) {
    m_deeds = &deeds;
    m_reasons = m_said = 0;
    m_created = m_deleted = false;
    m_is_folder = is_folder();
    for (const told_fact* const fact : deeds.facts) {
        if (fact->kind == fact_kind::journal_record) m_reasons |= read_usn_record(fact->data)->get(&usn_layout::reason);
    }
    find_link_changes(m_links, deeds.facts);
    tell_births();
    tell_ends();
    if (!m_created && !m_deleted) tell_links();
    if (!m_deleted) {
        tell_attributes();
        tell_sizes();
        if (!m_created) tell_standard();
    }
    tell_reasons();
}

// What was rolled back is known by its own facts only; so is a file that is no more than a number.
std::optional<bool> file_events::is_folder() const {
    std::optional<bool> folder;
    if (m_deeds->file.sequence() != 0) folder = m_context.lives.is_directory(m_deeds->file);
    for (std::size_t at = 0; !folder && at < m_deeds->facts.size(); ++at)
        folder = folder_by(*m_deeds->facts[at]);
    return folder;
}

file_events::file_place file_events::place_of(const file_name_view& name) {
    return {{.parent = name.parent(), .units = name.name()}, known_by::log};
}

// The file's place where no name is told.
std::optional<file_events::file_place> file_events::place_at(std::uint64_t lsn) const {
    if (m_deeds->file.sequence() == 0) return std::nullopt;
    const std::optional<held_name> name = m_context.names.name_at(m_deeds->file, lsn);
    if (!name) return std::nullopt;
    // The best that is known of which file it was.
    owner_source source = owner_source::none;
    for (const told_fact* const fact : m_deeds->facts)
        source = std::min(source, fact->source);
    known_by known = name->known;
    if (source == owner_source::guess) known = known_by::guess;
    if (source == owner_source::mft) known = std::max(known, known_by::mft);
    return file_place{*name, known};
}

event& file_events::add(event_kind kind, const told_fact& proof, const std::optional<file_place>& place, unsigned rank,
                        uni::byte_view stream) {
    event& told = m_out.emplace_back(placed_event{.told = {}, .rank = rank}).told;
    told.kind = kind;
    told.file = m_deeds->file;
    told.is_folder = m_is_folder;
    told.lsn = proof.lsn;
    told.file_offset = m_context.log.entries[proof.entry].file_offset;
    told.cut = m_deeds->transaction.cut;
    told.state = m_deeds->undone             ? event_state::undone
                 : m_deeds->transaction.done ? event_state::done
                                             : event_state::open;
    told.reasons = m_reasons;
    m_said |= reason_said(kind);
    told.known = known_by::part;
    std::string_view above = unknown_path;
    held_name name;
    if (place) {
        told.parent = place->name.parent;
        const folder_path& folder = m_context.paths.at(told.parent, proof.lsn);
        above = folder.text;
        name = place->name;
        told.known = std::max(place->known, folder.known);
        told.of_system = folder.of_system;
    }
    if (told.file.number() == root_number) {
        above = root_path;
        name = {};
        told.known = known_by::log;
    }
    set_path(told.path, told.name_hex, above, name, stream);
    return told;
}

void file_events::set_old_path(event& told, const file_name_view& name) {
    const folder_path& folder = m_context.paths.at(name.parent(), told.lsn - 1);
    set_path(told.old_path, told.old_name_hex, folder.text, {.units = name.name()});
    told.known = std::max(told.known, folder.known);
    if (!folder.of_system) told.of_system = false;
}

void file_events::tell_births() {
    for (const told_fact* const fact : m_deeds->facts) {
        if (fact->is_birth()) tell_birth(*fact);
    }
}

// The name is that of the index entry. Without one, that in the record itself, where what would be missing may be lost
// or still to come; but the first record that is left of a transaction may as well be a record written again.
std::optional<file_events::file_place> file_events::birth_place(const told_fact& birth) const {
    const told_transaction& transaction = m_deeds->transaction;
    const link_change* const entry = m_links.first_came();
    const bool own_name_counts = transaction.cut ? birth.entry != transaction.head : !transaction.done;
    if (entry == nullptr && !own_name_counts) return std::nullopt;
    std::optional<file_name_view> name;
    if (entry != nullptr) name = entry->name;
    if (!name || name->is_dos_name()) {
        file_record_view(birth.data).for_each_name([&name](const file_name_view& own) {
            if (!name || (name->is_dos_name() && !own.is_dos_name())) name = own;
        });
    }
    return name ? std::optional(place_of(*name)) : std::nullopt;
}

void file_events::tell_birth(const told_fact& birth) {
    const std::optional<file_place> place = birth_place(birth);
    if (!place) return;
    const file_record_view record(birth.data);
    event& told = add(event_kind::created, birth, place);
    told.after.is_directory = record.is_directory();
    standard_values times;
    times.lay(0, record.standard_information());
    take_times(told.after, times);
    m_created = true;
    for (const link_change& came : m_links.came) {
        const bool told_already =
            came.name.parent() == place->name.parent && same_units(came.name.name(), place->name.units);
        if (!told_already) tell_came(came);
    }
    tell_birth_attributes(birth, *place);
}

void file_events::tell_birth_attributes(const told_fact& birth, const file_place& place) {
    constexpr unsigned behind_birth = 1;
    file_record_view(birth.data).for_each_attribute([&](std::uint32_t, const attribute_view& attribute) {
        switch (attribute.type()) {
            case attribute_type::data:
                if (attribute.name().empty() || attribute.lowest_vcn() != 0) break;
                add(event_kind::stream_added, birth, place, behind_birth, attribute.name()).after.real_size =
                    attribute.real_size();
                break;
            case attribute_type::reparse_point:
                add(event_kind::reparse_point_set, birth, place, behind_birth).after.reparse_tag =
                    attribute.value().get(reparse_layout::tag);
                break;
            case attribute_type::object_id:
                add(event_kind::object_id_set, birth, place, behind_birth).after.object_id = attribute.value();
                break;
            default:
                break;
        }
    });
}

void file_events::tell_ends() {
    for (const told_fact* const fact : m_deeds->facts) {
        if (fact->kind == fact_kind::freed && fact->file.number() == m_deeds->file.number()) tell_end(*fact);
    }
}

// A record without links is an extension record. One that the transaction took itself held no file before.
void file_events::tell_end(const told_fact& freed) {
    const link_change* const went = m_links.first_went();
    if (went != nullptr) {
        event& told = add(event_kind::deleted, freed, place_of(went->name));
        told.before = name_values(went->name);
        for (std::size_t at = 1; at < m_links.went.size(); ++at)
            tell_went(m_links.went[at]);
    } else {
        const file_record_view record(freed.data);
        if (!freed.data.empty() && (record.hard_links() == 0 || !record.in_use())) return;
        if (is_taken()) return;
        add(event_kind::deleted, freed, place_at(freed.lsn));
    }
    m_deleted = true;
}

bool file_events::is_taken() const {
    return std::ranges::binary_search(m_deeds->taken, m_deeds->file.number());
}

// Names that went and names that came pair up in their order.
void file_events::tell_links() {
    const std::size_t pairs = std::min(m_links.came.size(), m_links.went.size());
    for (std::size_t at = 0; at < pairs; ++at)
        tell_renaming(m_links.came[at], m_links.went[at]);
    const bool settled = m_deeds->transaction.done && !m_deeds->transaction.cut && !m_deeds->undone;
    for (std::size_t at = pairs; at < m_links.came.size(); ++at) {
        const link_change& came = m_links.came[at];
        if (is_taken() && !settled) {
            add(event_kind::created, *came.fact, place_of(came.name));
            m_created = true;
        } else if (proves_link(came)) {
            tell_came(came);
        }
    }
    for (std::size_t at = pairs; at < m_links.went.size(); ++at) {
        if (proves_link(m_links.went[at])) tell_went(m_links.went[at]);
    }
}

// An index entry alone may have moved within its tree: where a node is split, and where the other half is not there.
bool file_events::proves_link(const link_change& change) const {
    const told_transaction& transaction = m_deeds->transaction;
    return change.by_attribute || (transaction.done && !transaction.cut && !transaction.splits_index);
}

void file_events::tell_renaming(const link_change& came, const link_change& went) {
    const bool same_folder = came.name.parent() == went.name.parent();
    event& told = add(same_folder ? event_kind::renamed : event_kind::moved, *came.fact, place_of(came.name));
    set_old_path(told, went.name);
    told.before.name = went.name.name();
    told.after.name = came.name.name();
    if (same_folder) return;
    told.before.parent = went.name.parent();
    told.after.parent = came.name.parent();
}

void file_events::tell_came(const link_change& came) {
    add(event_kind::link_added, *came.fact, place_of(came.name)).after.name = came.name.name();
}

void file_events::tell_went(const link_change& went) {
    add(event_kind::link_removed, *went.fact, place_of(went.name)).before.name = went.name.name();
}

// An attribute that goes and comes again is converted or moved.
void file_events::tell_attributes() {
    std::vector<attribute_changes> changes;
    for (const told_fact* const fact : m_deeds->facts) {
        if (fact->kind != fact_kind::attribute_added && fact->kind != fact_kind::attribute_removed) continue;
        const auto attribute = attribute_view::read(fact->data);
        if (attribute->lowest_vcn() != 0) continue;
        const bool added = fact->kind == fact_kind::attribute_added;
        changes.push_back({.type = attribute->type(),
                           .name = attribute->name(),
                           .added = added ? fact : nullptr,
                           .removed = added ? nullptr : fact,
                           .net = added ? 1 : -1});
    }
    const auto before = [](const attribute_changes& a, const attribute_changes& b) {
        if (a.type != b.type) return a.type < b.type;
        return compare_bytes(a.name, b.name) < 0;
    };
    std::ranges::stable_sort(changes, before);
    for (auto at = changes.begin(); at != changes.end();) {
        attribute_changes all = *at;
        for (++at; at != changes.end() && !before(all, *at); ++at) {
            if (at->added != nullptr) all.added = at->added;
            if (at->removed != nullptr) all.removed = at->removed;
            all.net += at->net;
        }
        if (all.type == attribute_type::data) tell_stream(all);
        if (all.type == attribute_type::reparse_point) tell_reparse_point(all);
        if (all.type == attribute_type::object_id) tell_object_id(all);
    }
}

void file_events::tell_stream(const attribute_changes& changes) {
    if (changes.name.empty() || changes.net == 0) return;
    const told_fact& proof = changes.proof();
    const bool added = changes.net > 0;
    event& told =
        add(added ? event_kind::stream_added : event_kind::stream_removed, proof, place_at(proof.lsn), 0, changes.name);
    (added ? told.after : told.before).real_size = attribute_view::read(proof.data)->real_size();
}

void file_events::tell_reparse_point(const attribute_changes& changes) {
    const told_fact& proof = changes.proof();
    event& told = add(changes.net >= 0 ? event_kind::reparse_point_set : event_kind::reparse_point_removed, proof,
                      place_at(proof.lsn));
    const auto tag = [](const told_fact* fact) -> std::optional<std::uint32_t> {
        const uni::byte_view value = attribute_changes::value(fact);
        return !value.empty() ? std::optional(value.get(reparse_layout::tag)) : std::nullopt;
    };
    told.before.reparse_tag = tag(changes.removed);
    told.after.reparse_tag = tag(changes.added);
}

void file_events::tell_object_id(const attribute_changes& changes) {
    if (changes.added == nullptr) return;
    event& told = add(event_kind::object_id_set, *changes.added, place_at(changes.added->lsn));
    told.before.object_id = attribute_changes::value(changes.removed);
    told.after.object_id = attribute_changes::value(changes.added);
}

void file_events::tell_sizes() {
    std::vector<const told_fact*> writes;
    for (const told_fact* const fact : m_deeds->facts) {
        if (fact->kind == fact_kind::sizes_written) writes.push_back(fact);
    }
    const auto attribute = [](const told_fact* fact) { return std::tuple(fact->file.number(), fact->place); };
    std::ranges::stable_sort(writes, {}, attribute);
    for (auto begin = writes.begin(); begin != writes.end();) {
        const auto end = std::find_if(begin, writes.end(),
                                      [&](const told_fact* fact) { return attribute(fact) != attribute(*begin); });
        tell_new_size({begin, end});
        begin = end;
    }
}

// Of one attribute.
void file_events::tell_new_size(std::span<const told_fact* const> writes) {
    const told_fact& first = *writes.front();
    const told_fact& last = *writes.back();
    if (m_context.journals.find(first.file.number()) != nullptr) return;
    const std::optional<attribute_key> key = written_attribute(first);
    if (key && key->type != attribute_type::data) return;
    // What is not known is taken as the data of a file, not of a folder, whose index grows the same way.
    if (!key && m_context.lives.is_directory(m_deeds->file) != false) return;
    const uni::byte_view stream = key ? key->name : uni::byte_view{};
    // A conversion alone leaves the new attribute empty until a later transaction fills it.
    const std::uint64_t after = last.data.get(new_sizes_layout::real_size);
    if (stated_size_before(first) == after) return;
    const std::uint64_t before = size_before(first, stream);
    if (before == after) return;
    event& told = add(event_kind::resized, last, place_at(last.lsn), 0, stream);
    told.before.real_size = before;
    told.after.real_size = after;
    using namespace usn_reasons;
    if (after > before) {
        m_said |= stream.empty() ? appended : stream_appended;
    } else {
        m_said |= stream.empty() ? truncated : stream_truncated;
    }
}

// Which attribute it is whose sizes are written: by the transaction itself, by those ahead, by the MFT.
std::optional<attribute_key> file_events::written_attribute(const told_fact& write) {
    const told_fact* found = nullptr;
    for (const told_fact* const fact : m_deeds->facts) {
        if (fact->kind != fact_kind::attribute_added && fact->kind != fact_kind::attribute_removed) continue;
        if (fact->file.number() != write.file.number() || fact->place != write.place || fact->lsn >= write.lsn)
            continue;
        if (found == nullptr || fact->kind == fact_kind::attribute_added) found = fact;
    }
    if (found != nullptr) {
        const auto attribute = attribute_view::read(found->data);
        return attribute_key{attribute->type(), attribute->name()};
    }
    if (const auto known = m_context.memory.attribute_at(write.file.number(), write.place)) return known;
    return stored_attribute(write);
}

// The bytes shown last until the next call.
std::optional<attribute_key> file_events::stored_attribute(const told_fact& write) {
    const inode_record* const stored = record_in_use(m_context.inodes, write.file.number());
    if (stored == nullptr || (stored->is_base && stored->sequence != m_deeds->file.sequence())) return std::nullopt;
    m_record = read_again(m_context.inodes, *stored);
    std::optional<attribute_key> found;
    const uni::byte_view bytes = std::span<const std::uint8_t>(m_record);
    file_record_view(bytes).for_each_attribute([&](std::uint32_t offset, const attribute_view& attribute) {
        if (offset == write.place) found = attribute_key{attribute.type(), attribute.name()};
    });
    return found;
}

std::uint64_t file_events::stated_size_before(const told_fact& write) const {
    return exact_undo(m_context.log.entries[write.entry]).get(new_sizes_layout::real_size);
}

// A resident attribute that the transaction makes non-resident was as long as the one that it removed.
std::uint64_t file_events::size_before(const told_fact& first, uni::byte_view stream) const {
    std::uint64_t size = stated_size_before(first);
    const auto is_stream = [stream](const told_fact& fact, fact_kind kind) {
        if (fact.kind != kind) return false;
        const auto attribute = attribute_view::read(fact.data);
        return attribute->type() == attribute_type::data && same_units(attribute->name(), stream);
    };
    std::uint64_t last_added = 0;  // LSN
    for (const told_fact* const fact : m_deeds->facts) {
        if (is_stream(*fact, fact_kind::attribute_added)) last_added = fact->lsn;
    }
    for (const told_fact* const fact : m_deeds->facts) {
        if (fact->lsn >= first.lsn || fact->lsn >= last_added) break;
        if (!is_stream(*fact, fact_kind::attribute_removed)) continue;
        const auto removed = attribute_view::read(fact->data);
        if (removed->lowest_vcn() == 0) size = removed->real_size();
    }
    return size;
}

void file_events::tell_standard() {
    const told_fact* last = nullptr;
    for (const told_fact* const fact : m_deeds->facts) {
        if (fact->kind == fact_kind::standard_written) last = fact;
    }
    if (last == nullptr) return;
    standard_change change = find_standard_change(m_context.log, m_deeds->facts);
    if (!change.touches_times() && !change.touches_flags()) return;
    m_context.standard.complete(change, m_deeds->file, last->lsn);
    if (change.touches_times() && !is_innocent(change, *last)) tell_times(change, *last);
    if (change.touches_flags()) tell_flags(change, *last);
}

void file_events::tell_times(const standard_change& change, const told_fact& last) {
    event& told = add(event_kind::times_set, last, place_at(last.lsn));
    take_times(told.before, change.before);
    take_times(told.after, change.after);
}

bool file_events::is_innocent(const standard_change& change, const told_fact& last) const {
    if (m_context.memory.just_created(m_deeds->file)) return true;
    return change.new_creation ? is_tunnelled(change, last) : is_copied(change);
}

// The new creation time is that of the file whose name it has now.
bool file_events::is_tunnelled(const standard_change& change, const told_fact& last) const {
    const std::optional<file_place> place = place_at(last.lsn);
    const auto creation = change.after.get(standard_information_layout::created);
    if (!place || !creation) return false;
    return m_context.tunnels.last_creation(place->name.parent, place->name.units, last.lsn) == creation;
}

// A copy, or what is unpacked from an archive, gets times from before it was there, and gets them while it is young.
bool file_events::is_copied(const standard_change& change) const {
    using namespace standard_information_layout;
    std::uint64_t birth = m_context.memory.birth_time(m_deeds->file);
    if (birth == 0) birth = change.after.get(created).value_or(0);
    if (birth == 0) return false;
    for (std::size_t at = 0; at < std::size(times); ++at) {
        if ((change.set_back >> at & 1) == 0) continue;
        const auto time = change.after.get(times[at]);
        if (!time || *time >= birth) return false;
    }
    std::optional<std::uint64_t> latest;
    for (const auto& time : {modified, mft_changed}) {
        const auto before = change.before.get(time);
        if (before) latest = std::max(latest.value_or(0), *before);
    }
    return latest && (*latest <= birth || *latest - birth <= one_hour);
}

void file_events::tell_flags(const standard_change& change, const told_fact& last) {
    event& told = add(event_kind::attributes_set, last, place_at(last.lsn));
    told.before.flags = change.before.get(standard_information_layout::flags);
    told.after.flags = change.after.get(standard_information_layout::flags);
    if (told.before.flags && told.after.flags) return;
    told.before.some_flags = told.after.some_flags = true;
    told.before.flags = change.flags_went;
    told.after.flags = change.flags_came;
}

// What a journal record says anew and no event does. The reasons of a file gather until it is closed.
void file_events::tell_reasons() {
    if (m_deeds->file.sequence() == 0 || m_reasons == 0) return;
    constexpr unsigned behind_others = 2;
    std::uint32_t known = m_context.memory.reasons(m_deeds->file);
    for (const told_fact* const fact : m_deeds->facts) {
        if (fact->kind != fact_kind::journal_record) continue;
        const auto record = read_usn_record(fact->data);
        const std::uint32_t reasons = record->get(&usn_layout::reason);
        if (const auto* const in_file = m_context.logged.in_file(*fact)) known = in_file->known;
        const std::uint32_t rest = reasons & ~known & ~usn_reasons::closed & ~m_said;
        const file_place place{{.parent = record->parent(), .units = record->name()}, known_by::log};
        for (const flag_word& row : reason_words()) {
            if ((rest & row.bits) == 0) continue;
            event& told = add(event_kind::reason_given, *fact, place, behind_others);
            told.said_reason = row.bits;
            told.before.reasons = known;
            told.after.reasons = reasons;
        }
        known = record->reasons_behind(known);
    }
}

}  // namespace kest
