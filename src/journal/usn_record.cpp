#include "journal/usn_record.h"

#include <algorithm>
#include <array>
#include <bit>

#include "portable/unicode.h"

namespace kest {

namespace {

constexpr std::uint32_t longest_record = 4096;  // bytes
constexpr std::uint16_t first_version = 2;

constexpr uni::field<std::uint16_t> major_version{4};
constexpr uni::field<std::uint16_t> minor_version{6};

// clang-format off
constexpr usn_layout layouts[] = {
    // floor file parent usn time reason source security attributes name length, offset, name extents
    /* 2 */ {61, {8}, {16}, {24}, {32}, {40}, {44}, {48}, {52}, {56}, {58}, {60}, {}},
    /* 3 */ {77, {8}, {24}, {40}, {48}, {56}, {60}, {64}, {68}, {72}, {74}, {76}, {}},
    /* 4 */ {63, {8}, {24}, {40}, {},   {48}, {52}, {},   {},   {},   {},   {},   {56}},
};
// clang-format on

constexpr std::string_view no_reason = "unk";
constexpr std::string_view no_attribute = "unk";
constexpr std::string_view no_source = "-";

constexpr flag_word reason_rows[] = {
    {1U << 0, "data_overwritten"},
    {usn_reasons::appended, "data_appended"},
    {usn_reasons::truncated, "data_truncated"},
    {1U << 4, "ads_data_overwritten"},
    {usn_reasons::stream_appended, "ads_data_appended"},
    {usn_reasons::stream_truncated, "ads_data_truncated"},
    {usn_reasons::created, "file_created"},
    {usn_reasons::deleted, "file_deleted"},
    {1U << 10, "extended_attrib_changed"},
    {1U << 11, "access_changed"},
    {usn_reasons::old_name, "file_old_name"},
    {usn_reasons::new_name, "file_new_name"},
    {1U << 14, "context_indexed_changed"},
    {usn_reasons::basic_info, "basic_info_changed"},
    {usn_reasons::hard_link, "hardlink_changed"},
    {1U << 17, "compression_changed"},
    {1U << 18, "encryption_changed"},
    {usn_reasons::object_id, "objid_changed"},
    {usn_reasons::reparse_point, "reparse_changed"},
    {usn_reasons::stream_change, "ads_added_or_deleted"},
    {usn_reasons::closed, "file_closed"},
};

static_assert(std::ranges::is_sorted(reason_rows, {}, &flag_word::bits) &&
              std::ranges::all_of(reason_rows, [](const flag_word& row) { return std::has_single_bit(row.bits); }));

constexpr auto reason_of_bit = [] {
    std::array<std::string_view, 32> words;
    for (const flag_word& row : reason_rows)
        words[static_cast<std::size_t>(std::countr_zero(row.bits))] = row.word;
    return words;
}();

// Of the attributes as a journal record has them. File records have a vocabulary of their own.
constexpr flag_word attribute_words[] = {
    {1U << 0, "readonly"},
    {1U << 1, "hidden"},
    {usn_attributes::system, "system"},
    {usn_attributes::directory, "dir"},
    {1U << 5, "archive"},
    {1U << 6, "device"},
    {1U << 7, "normal"},
    {1U << 8, "temp"},
    {1U << 9, "sparse"},
    {1U << 10, "symlink"},
    {1U << 11, "compressed"},
    {1U << 12, "offline"},
    {1U << 13, "not_indexed"},
    {1U << 14, "encrypted"},
    {1U << 16, "virtual"},
};

constexpr flag_word source_words[] = {
    {1U << 0, "os_file_change"},
    {1U << 1, "priv_data_stream_added"},
    {1U << 2, "update_replicated_file"},
};

// The fields that version 4 lacks. False where the bytes end before one of them begins.
bool take_details(inode_record& record, const usn_record& read) {
    if (!read.reaches(&usn_layout::time)) return false;
    record.si_times.modified = read.get(&usn_layout::time);
    if (!read.reaches(&usn_layout::file_attributes)) return false;
    const std::uint32_t attributes = read.get(&usn_layout::file_attributes);
    if ((attributes & usn_attributes::directory) != 0) {
        record.is_directory = true;
        record.flags |= inode_flags::directory;
    }
    if ((attributes & usn_attributes::system) != 0) record.flags |= inode_flags::system;
    if ((read.get(&usn_layout::reason) & usn_reasons::deleted) == 0) record.flags |= inode_flags::in_use;
    if (!read.reaches(&usn_layout::name)) return false;
    record.name = uni::utf16_text(read.name());
    return true;
}

bool name_sound(const usn_record& record) {
    constexpr std::uint32_t longest_name = 255 * sizeof(char16_t);  // bytes
    const std::uint32_t length = record.get(&usn_layout::name_length);
    return record.get(&usn_layout::name_offset) == record.name_begin() && length != 0 && length % 2 == 0 &&
           length <= longest_name && record.name().size() == length &&
           record.length() - (record.name_begin() + length) < usn_granule;
}

}  // namespace

std::span<const flag_word> reason_words() {
    return reason_rows;
}

std::optional<usn_record> read_usn_record(uni::byte_view bytes) {
    const std::uint32_t version = bytes.get(major_version);
    if (version < first_version || version >= first_version + std::size(layouts)) return std::nullopt;
    if (bytes.get(minor_version) != 0) return std::nullopt;
    const usn_layout& layout = layouts[version - first_version];
    const std::uint32_t length = stated_usn_length(bytes);
    if (length <= layout.floor || length > longest_record) return std::nullopt;
    return usn_record(bytes, layout);
}

std::optional<usn_record> sound_usn_record(uni::byte_view bytes) {
    constexpr std::uint64_t highest_number = 0xFFFF'FFFF;  // of a file record
    const std::uint32_t length = stated_usn_length(bytes);
    if (length > bytes.size() || length % usn_granule != 0) return std::nullopt;
    const std::optional<usn_record> record = read_usn_record(bytes.slice(0, length));
    if (!record) return std::nullopt;
    const inode_ref file = record->file();
    const bool sound = file.number() <= highest_number && file.sequence() != 0 &&
                       record->parent().number() <= highest_number &&
                       (!record->has(&usn_layout::name) || name_sound(*record));
    return sound ? record : std::nullopt;
}

bool parse_usn_record(inode_record& record, uni::byte_view bytes) {
    const std::optional<usn_record> read = read_usn_record(bytes);
    if (!read || !read->reaches(&usn_layout::file)) return false;
    record.inode = read->file().number();
    record.sequence = read->file().sequence();
    if (!read->reaches(&usn_layout::parent)) return false;
    add_parent(record, read->parent());
    if (!read->reaches(&usn_layout::usn)) return false;
    record.usn = read->get(&usn_layout::usn);
    if (read->has(&usn_layout::name) ? !take_details(record, *read) : !read->reaches(&usn_layout::reason)) return false;
    // Kept: also for a file whose deletion the record states; only `flags` says that.
    record.in_use = true;
    return true;
}

void append_reason_text(std::string& out, std::uint32_t reason, bool with_close) {
    const std::size_t begin = out.size();
    for (std::uint32_t left = with_close ? reason : reason & ~usn_reasons::closed; left != 0; left &= left - 1) {
        const std::string_view word = reason_of_bit[static_cast<std::size_t>(std::countr_zero(left))];
        if (word.empty()) continue;
        if (out.size() != begin) out += "; ";
        out += word;
    }
    if (out.size() == begin && with_close) out += no_reason;
}

std::string reason_text(std::uint32_t reason, bool with_close) {
    std::string text;
    append_reason_text(text, reason, with_close);
    return text;
}

void append_attribute_text(std::string& out, std::uint32_t attributes) {
    if (!append_flag_words(out, attributes, attribute_words, "; ")) out += no_attribute;
}

void append_source_text(std::string& out, std::uint32_t source_info) {
    if (!append_flag_words(out, source_info, source_words, ", ")) out += no_source;
}

}  // namespace kest
