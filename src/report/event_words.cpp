#include "report/event_words.h"

#include <algorithm>

#include "format/number.h"
#include "format/sid.h"
#include "journal/usn_record.h"
#include "operations/decoders.h"

namespace kest {

namespace {

// In the order of their enumerations.
constexpr std::string_view source_words[] = {"log", "journal", "both"};
constexpr std::string_view clock_words[] = {"journal", "record", "folder", "not_before"};
constexpr std::string_view clock_descriptions[] = {
    "Time of a change journal record in the log",
    "Time of the file record, set by the system",
    "Change time of the folder, set by the system",
    "No time of its own: not before this, the earliest possible",
};
constexpr std::string_view file_clock_description = "Time of a change journal record";
constexpr std::string_view known_words[] = {"log", "journal", "mft", "part", "guess"};
constexpr std::string_view share_words[] = {"none", "part", "all"};
constexpr std::string_view state_words[] = {"done", "open", "undone"};
static_assert(std::size(source_words) == static_cast<std::size_t>(event_source::both) + 1);
static_assert(std::size(clock_words) == std::size(clock_descriptions));
static_assert(std::size(known_words) == static_cast<std::size_t>(decltype(event::known)::guess) + 1);
static_assert(std::size(state_words) == static_cast<std::size_t>(event_state::undone) + 1);
constexpr std::string_view kind_words[] = {
    "created",
    "deleted",
    "renamed",
    "moved",
    "link_added",
    "link_removed",
    "stream_added",
    "stream_removed",
    "resized",
    "times_set",
    "times_copied",
    "written",
    "read",
    "metadata_changed",
    "attributes_set",
    "reparse_point_set",
    "reparse_point_removed",
    "object_id_set",
    "clock_set_back",
    "ea_set",
    "ea_removed",
    "clusters_changed",
    "content_held",
    "owner_set",
    "recycled",
    "restored",
    "mounted",
    "journal_created",
    "journal_deleted",
    "journal_resized",
    "volume_flags_set",
    "volume_renamed",
    "mft_differs",
};
static_assert(std::size(kind_words) == static_cast<std::size_t>(event_kind::reason_given));
// What comes before the path in a sentence.
constexpr std::string_view kind_verbs[] = {
    "created ",
    "deleted ",
    "renamed ",
    "moved ",
    "added the link ",
    "removed the link ",
    "added the stream ",
    "removed the stream ",
    "resized ",
    "set the times of ",
    "gave older times to the copy ",
    "wrote to ",
    "read ",
    "changed the file record of ",
    "set the attributes of ",
    "set a reparse point on ",
    "removed the reparse point of ",
    "set the object identifier of ",
    "set the clock back",
    "set an extended attribute of ",
    "removed an extended attribute of ",
    "changed the clusters of ",
    "held the content of ",
    "set the owner of ",
    "recycled ",
    "restored ",
    "mounted the volume",
    "created the journal ",
    "deleted the journal ",
    "changed how large the journal may get: ",
    "set the flags of the volume: ",
    "renamed the volume: ",
    "the MFT copy is not what the log wrote of ",
};
static_assert(std::size(kind_verbs) == std::size(kind_words));

static_assert(std::size(file_time_rows) == event_values::time_count);

template <class code, std::size_t count>
std::string_view word_of(const std::string_view (&table)[count], code value) {
    return table[static_cast<std::size_t>(value)];
}

// Those of rows, which know no word for $EA, and that one.
std::span<const flag_word> event_flag_words() {
    static const std::vector<flag_word> words = [] {
        std::vector<flag_word> all(file_flag_words().begin(), file_flag_words().end());
        all.push_back({0x0004'0000, "HAS_EA"});
        return all;
    }();
    return words;
}

// Bits without a word follow as a number.
void append_bits(std::string& out, std::uint32_t shown, std::span<const flag_word> words, bool some) {
    std::uint32_t rest = shown;
    for (const flag_word& row : words)
        rest &= ~row.bits;
    bool any = append_flag_words(out, shown, words, ", ");
    if (rest != 0) {
        if (any) out += ", ";
        append_number(out, rest, true);
        any = true;
    }
    if (some) {
        out += any ? ", others unknown" : "others unknown";
    } else if (!any) {
        out += "none set";
    }
}

// Seconds and their fraction, to the tick.
void append_seconds(std::string& out, std::uint64_t ticks) {
    append_decimal(out, ticks / cv::ticks_per_second);
    std::string fraction;
    append_decimal(fraction, ticks % cv::ticks_per_second);
    out += '.';
    out.append(7 - fraction.size(), '0').append(fraction);
}

void append_attribute_bits(std::string& out, std::uint32_t bits, bool some) {
    constexpr std::uint32_t index_marks = 0xF000'0000;  // of the index entry, and none of the file
    append_bits(out, bits & ~index_marks, event_flag_words(), some);
}

// By `record_part`.
constexpr flag_word record_part_words[] = {
    {0x1, "header"},       {0x2, "sequence"},     {0x4, "links"},
    {0x8, "record_flags"}, {0x10, "base_record"}, {0x20, "times"},
    {0x40, "flags"},       {0x80, "security_id"}, {0x100, "standard_information"},
    {0x200, "name_times"}, {0x400, "name"},       {0x800, "data"},
    {0x1000, "sizes"},     {0x2000, "runs"},      {0x4000, "attributes"}};

constexpr std::size_t most_in_sentence = 1024;  // characters of a path
constexpr std::size_t shown_of_longer = 256;    // at its end

bool begins_character(char c) {
    return (static_cast<std::uint8_t>(c) & 0xC0) != 0x80;
}

// A path; of a long one the end, from a separator on if there is one.
void append_short_path(std::string& out, std::string_view path) {
    if (std::ranges::count_if(path, begins_character) <= std::ptrdiff_t{most_in_sentence}) {
        out += path;
        return;
    }
    std::size_t begin = path.size();
    for (std::size_t shown = 0; shown < shown_of_longer; --begin) {
        if (begins_character(path[begin - 1])) ++shown;
    }
    std::string_view end = path.substr(begin);
    if (const std::size_t separator = end.find('\\'); separator != end.npos) end.remove_prefix(separator);
    out.append("...").append(end);
}

void write_place(details_writer& details, const data_place& place) {
    if (place.resident) details.truth("resident", *place.resident);
    if (place.runs.empty()) return;
    details.runs("runs", place.runs);
    details.field("proved_by", proof_word(place));
    if (place.unused) details.field("free_at_end", unused_word(place));
}

void write_owner(details_writer& details, uni::byte_view owner) {
    std::string sid;
    append_sid(sid, owner);
    details.field("owner", sid);
    if (const auto name = well_known_name(sid); !name.empty()) details.field("owner_name", name);
}

void write_values(details_writer& details, std::string_view side, const event_values& values) {
    details.open_group(side);
    for (std::size_t at = 0; at < values.times.size(); ++at) {
        if (values.times[at]) details.time(file_time_rows[at].key, *values.times[at]);
    }
    if (values.is_directory) details.field("flags", *values.is_directory ? "directory" : "plain_file");
    if (values.flags) {
        append_attribute_bits(details.begin_field("flags"), *values.flags, values.some_flags);
        details.end_field();
    }
    if (values.size) details.number("size", *values.size);
    if (values.allocated) details.number("allocated", *values.allocated);
    if (values.valid) details.number("valid", *values.valid);
    if (values.parent) details.parent(*values.parent);
    if (!values.name.empty()) {
        details.evidence_text("name", values.name, details_writer::text_kind::name);
    }
    if (!values.value.empty()) {
        append_digits(details.begin_field("value"), values.value);
        details.end_field();
    }
    if (values.reparse_tag) details.number("tag", *values.reparse_tag);
    if (values.object_id.size() >= guid_size) {
        append_guid(details.begin_field("object_id"), values.object_id);
        details.end_field();
    }
    if (values.reasons) {
        append_reason_text(details.begin_field("reason"), *values.reasons, false);
        details.end_field();
    }
    if (values.clock != 0) details.time("clock", values.clock);
    if (values.since_creation) {
        append_seconds(details.begin_field("since_creation"), *values.since_creation);
        details.end_field();
    }
    if (values.transactions_since) details.number("transactions_since", *values.transactions_since);
    write_place(details, values.place);
    if (!values.owner.empty()) write_owner(details, values.owner);
    if (!values.twin.empty()) details.evidence_text("twin", values.twin, details_writer::text_kind::name);
    if (!values.log_state.empty()) details.field("log_state", values.log_state);
    if (values.next_usn) details.number("next_usn", *values.next_usn);
    if (values.maximum_size) details.number("maximum_size", *values.maximum_size);
    if (values.allocation_delta) details.number("allocation_delta", *values.allocation_delta);
    if (values.journal_id) details.number("journal_id", *values.journal_id);
    if (values.volume_flags) {
        append_bits(details.begin_field("volume_flags"), *values.volume_flags, volume_flag_words(), false);
        details.end_field();
    }
    if (values.record_offset) details.number("record_offset", *values.record_offset);
    if (values.differing_parts != 0) {
        append_bits(details.begin_field("differing"), values.differing_parts, record_part_words, false);
        details.end_field();
    }
    details.close_group();
}

}  // namespace

std::string_view source_word(const event& shown) {
    return word_of(source_words, shown.source);
}

std::string_view clock_word(const event& shown) {
    return word_of(clock_words, shown.clock);
}

std::string_view clock_description(const event& shown) {
    const bool from_file = shown.source == event_source::journal && shown.clock == event_clock::journal;
    return from_file ? file_clock_description : word_of(clock_descriptions, shown.clock);
}

std::string_view known_word(const event& shown) {
    return word_of(known_words, shown.known);
}

std::string_view state_word(const event& shown) {
    return shown.source == event_source::journal ? std::string_view{} : word_of(state_words, shown.state);
}

std::string_view proof_word(const data_place& place) {
    return place.in_bitmap ? "both" : "record";
}

std::string_view unused_word(const data_place& place) {
    return place.unused ? word_of(share_words, *place.unused) : std::string_view{};
}

std::string_view type_word(const event& shown) {
    if (!shown.is_folder) return {};
    return *shown.is_folder ? "folder" : "file";
}

void append_event_word(std::string& out, const event& shown) {
    if (shown.kind == event_kind::reason_given) {
        append_reason_text(out, shown.given_reason, false);
    } else {
        out += word_of(kind_words, shown.kind);
    }
}

// What is asked for by itself is no event, and of the journal's reasons some are events of their own.
std::vector<std::string_view> event_words() {
    std::vector<std::string_view> words;
    for (std::size_t kind = 0; kind < std::size(kind_words); ++kind) {
        const auto shown = static_cast<event_kind>(kind);
        if (shown != event_kind::clusters_changed && shown != event_kind::content_held)
            words.push_back(kind_words[kind]);
    }
    for (const flag_word& reason : reason_words()) {
        if ((reason.bits & (usn_reasons::created | usn_reasons::deleted | usn_reasons::closed)) == 0)
            words.push_back(reason.word);
    }
    return words;
}

void append_sentence(std::string& out, const event& shown) {
    if (shown.kind == event_kind::reason_given) {
        append_event_word(out, shown);
        out += ": ";
    } else {
        out += word_of(kind_verbs, shown.kind);
    }
    if (!shown.old_path.empty()) {
        append_short_path(out, shown.old_path);
        out += " to ";
    }
    append_short_path(out, shown.path);
    if (shown.state == event_state::open) out += " (transaction not ended)";
    if (shown.state == event_state::undone) out += " (undone)";
}

void write_event_details(details_writer& details, const event& shown) {
    write_values(details, "before", shown.before);
    write_values(details, "after", shown.after);
}

}  // namespace kest
