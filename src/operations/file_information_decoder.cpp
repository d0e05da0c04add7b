#include <algorithm>
#include <array>

#include "format/number.h"
#include "mft/record_layout.h"
#include "operations/decoders.h"
#include "portable/unicode.h"

namespace kest {

namespace {

// Kept: two bits read "DIRECTORY"; the second is the one that file names use. With both set the word stands twice.
constexpr flag_word flag_rows[] = {
    {0x00000001, "READ_ONLY"},
    {0x00000002, "HIDDEN"},
    {0x00000004, "SYSTEM"},
    {0x00000010, "DIRECTORY"},
    {0x00000020, "ARCHIVE"},
    {0x00000040, "DEVICE"},
    {0x00000080, "NORMAL"},
    {0x00000100, "TEMPORARY"},
    {0x00000200, "SPARSE_FILE"},
    {0x00000400, "REPARSE_PT"},
    {0x00000800, "COMPRESSED"},
    {0x00001000, "OFFLINE"},
    {0x00002000, "CONTENT_NOT_INDEXED"},
    {0x00004000, "ENCRYPTED"},
    {0x00010000, "VIRTUAL"},
    {0x10000000, "DIRECTORY"},
};

void append_file_flags_text(std::string& out, std::uint32_t flags) {
    if (append_flag_words(out, flags, flag_rows, ", ")) return;
    out += flags != 0 ? "unk" : "none set";
}

// Kept: the fragment's start is compared with the times and the flags only. The four fields after them are
// shown as zeros where a fragment lies further on.
void write_standard_information(entry_info& info, const fragment& value) {
    using namespace standard_information_layout;
    details_writer& details = info.details;
    for (std::size_t at = 0; at < std::size(times); ++at) {
        const std::uint32_t offset = times[at].offset;
        if (offset != 0 && !value.reaches(offset)) return;
        if (value.begin > offset) continue;
        const file_time_row& row = file_time_rows[at];
        info.std_times.*row.time = value.bytes.u64(offset);
        details.time(row.key, info.std_times.*row.time);
    }
    if (!value.reaches(flags.offset)) return;
    if (value.begin <= flags.offset) {
        details.words("flags", append_file_flags_text, value.bytes.get(flags));
    }
    if (!value.reaches(owner_id.offset)) return;
    details.number("owner_id", value.bytes.get(owner_id));
    if (!value.reaches(security_id.offset)) return;
    details.number("security_id", value.bytes.get(security_id));
    if (!value.reaches(quota_charged.offset)) return;
    details.number("quota_charged", value.bytes.get(quota_charged));
    if (!value.reaches(usn.offset)) return;
    details.number("usn", value.bytes.get(usn));
}

void show_standard_information(entry_info& info, const fragment& value) {
    info.details.open_listed_group("$STANDARD_INFORMATION");
    write_standard_information(info, value);
    info.details.close_group();
}

// False where the value ends before what is to be shown; so is the next one.
bool take_name_times(entry_info& info, const fragment& value) {
    for (std::size_t at = 0; at < std::size(file_name_layout::times); ++at) {
        const std::uint32_t offset = file_name_layout::times[at].offset;
        if (!value.reaches(offset)) return false;
        if (!value.shows(offset)) continue;
        const file_time_row& row = file_time_rows[at];
        info.name_times.*row.time = value.bytes.u64(offset);
        info.details.time(row.key, info.name_times.*row.time);
    }
    return true;
}

template <class integer>
bool write_number(details_writer& details, const fragment& value, std::string_view key, uni::field<integer> f) {
    if (!value.reaches(f.offset)) return false;
    if (value.shows(f.offset)) details.number(key, value.bytes.get(f));
    return true;
}

void take_name(entry_info& info, const fragment& value) {
    using namespace file_name_layout;
    const std::uint32_t name_bytes = value.bytes.get(name_length) * 2U;
    if (name_bytes == 0 || value.cuts(name + name_bytes)) return;
    if (!value.shows(name)) return;
    take_name_text(info, value.bytes.slice(name, name_bytes));
}

// Kept: the flags are a number here, and words in $STANDARD_INFORMATION.
void write_file_name(entry_info& info, const fragment& value) {
    using namespace file_name_layout;
    details_writer& details = info.details;
    if (value.shows(parent.offset)) {
        info.parent = inode_ref(value.bytes.get(parent));
        details.parent(info.parent);
    }
    if (take_name_times(info, value) && write_number(details, value, "allocated_size", allocated_size) &&
        write_number(details, value, "real_size", real_size) && write_number(details, value, "flags", flags) &&
        write_number(details, value, "reparse_value", reparse_value) && value.reaches(name)) {
        take_name(info, value);
    }
}

void show_file_name(entry_info& info, const fragment& value) {
    info.details.open_listed_group("$FILE_NAME");
    write_file_name(info, value);
    info.details.close_group();
}

}  // namespace

void take_name_text(entry_info& info, uni::byte_view units) {
    info.name.clear();
    if (info.names_wanted) uni::append_utf16_text(info.name, units);
    info.details.evidence_text("name", units, details_writer::text_kind::name, info.name);
}

std::span<const flag_word> file_flag_words() {
    return flag_rows;
}

void decode_standard_information(entry_info& info, const fragment& value) {
    if (!value.partial && value.length < standard_information_layout::size) return;
    show_standard_information(info, value);
}

void decode_file_name(entry_info& info, const fragment& value) {
    if (!value.partial && value.length < file_name_layout::smallest) return;
    show_file_name(info, value);
}

void decode_file_name_key(entry_info& info, uni::byte_view key, std::uint32_t key_length) {
    if (key_length < file_name_layout::smallest) return;
    show_file_name(info, {key.slice(0, key_length), false, 0, key_length, key_length});
}

// Kept: a value is taken to be $STANDARD_INFORMATION if it lies where that lies in a file record, in the first
// attribute, whatever attribute the record targets. Writes further on show nothing.
void decode_resident_update(entry_info& info, const operation_data& given) {
    constexpr std::uint32_t value_place = 80;  // the first attribute at 56, a header of 24 bytes
    constexpr std::uint32_t image_size = standard_information_layout::size;
    if (given.bytes.size() < 8) return;
    const std::uint32_t offset = given.entry.get(record_layout::attribute_offset) - value_place +
                                 given.entry.get(record_layout::record_offset);  // wraps before the value
    if (offset > image_size) return;
    std::array<std::uint8_t, image_size> image{};
    show_standard_information(info, image_fragment(image, offset, given.bytes));
}

// The bytes are what an index entry repeats of the file, from the times on, and perhaps the name.
void decode_duplicated_information(entry_info& info, const operation_data& given) {
    using namespace file_name_layout;
    if (given.bytes.size() < 24) return;
    std::array<std::uint8_t, longest> image{};
    fragment value = image_fragment(image, created.offset, given.bytes);
    value.length = std::max<std::uint64_t>(smallest, value.length);
    show_file_name(info, value);
}

}  // namespace kest
