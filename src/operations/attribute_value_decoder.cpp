#include "format/number.h"
#include "mft/record_layout.h"
#include "operations/decoders.h"
#include "portable/unicode.h"

namespace kest {

namespace {

// Kept: lists of 1024 bytes and more, counted to the end of the redo bytes, are not shown.
constexpr std::int64_t shortest_list = 32;
constexpr std::int64_t longest_list = 1023;

// A walk over an attribute list. Kept: what was walked is reckoned from the names and not from the entry lengths, and
// is held against bytes of which the entries gone by are already taken off. A list that is cut ends early by that.
class attribute_list_walk {
public:
    attribute_list_walk(entry_info& info, const fragment& list)
        : m_info(info),
          m_entry(list.bytes),
          m_left(static_cast<std::int64_t>(list.bytes.size())),
          m_partial(list.partial) {}

    // Kept: only the last entry's group is closed.
    void run() {
        bool any = false;
        while (m_left >= shortest_list && m_left <= longest_list && !ends_by(0)) {
            m_info.details.open_listed_group(attribute_name(m_entry.get(list_entry_layout::type)));
            any = true;
            if (!show_entry() || !step()) break;
        }
        if (any) m_info.details.close_group();
    }

private:
    bool ends_by(std::int64_t offset) const { return m_partial && m_left <= m_consumed + offset; }

    bool show_entry() {
        using namespace list_entry_layout;
        details_writer& details = m_info.details;
        if (ends_by(lowest_vcn.offset)) return false;
        details.number("lowest_vcn", m_entry.get(lowest_vcn));
        if (ends_by(file_reference.offset)) return false;
        show_reference(inode_ref(m_entry.get(file_reference)));
        if (ends_by(id.offset)) return false;
        details.number("id", m_entry.get(id));
        if (ends_by(name)) return false;
        show_name();
        return true;
    }

    // Kept: decimal in either base, and the sequence number is not remembered.
    void show_reference(inode_ref reference) {
        m_info.inode = inode_ref(reference.number(), 0);
        m_info.details.decimal("inode", reference.number());
        m_info.details.decimal("seq", reference.sequence());
    }

    void show_name() {
        using namespace list_entry_layout;
        std::int64_t units = m_entry.get(name_length);
        if (units != 0) {
            take_name_text(m_info, m_entry.slice(name, static_cast<std::uint64_t>(units) * 2));
        } else {
            units = (std::int64_t{m_entry.get(entry_length)} - name) / 2;  // below 0 for a short entry
        }
        m_consumed += name + 2 * units;
    }

    // An entry too short for its own fields ends the list after it: a list of those would be shown many times over.
    bool step() {
        using namespace list_entry_layout;
        const std::uint16_t length = m_entry.get(entry_length);
        if (length < name || ends_by(0)) return false;
        m_left -= length;
        m_entry = m_entry.from(length);
        m_consumed += m_entry.get(entry_length);
        return true;
    }

    entry_info& m_info;
    uni::byte_view m_entry;
    std::int64_t m_left;  // bytes from the entry on
    std::int64_t m_consumed = 0;
    bool m_partial;
};

void write_guid(details_writer& details, std::string_view key, uni::byte_view guid) {
    append_guid(details.begin_field(key), guid);
    details.end_field();
}

// Bytes of the zero units from `at` on.
std::uint64_t zero_units(uni::byte_view value, std::uint64_t at) {
    const std::uint64_t begin = at;
    while (value.has(at, 2) && value.u16(at) == 0) {
        at += 2;
    }
    return at - begin;
}

void write_nonempty(details_writer& details, std::string_view key, uni::byte_view units) {
    if (units.size() < 2 || units.u16(0) == 0) return;
    details.evidence_text(key, units, details_writer::text_kind::path);
}

// Kept: where the substitute name begins with zeros both names are looked for after them; and that there is a print
// name in a value that is cut is judged by where the substitute name is, as if the link had no flags.
void write_reparse_names(details_writer& details, const fragment& reparse) {
    const uni::byte_view value = reparse.bytes;
    using namespace reparse_layout;
    const std::uint32_t buffer = value.get(tag) == symbolic_link ? link_path_buffer : path_buffer;
    const std::uint64_t substitute = value.get(substitute_offset);
    const std::uint64_t skipped = zero_units(value, buffer + substitute);
    write_nonempty(details, "substitute_name",
                   value.slice(buffer + substitute + skipped, value.get(substitute_length)));
    if (reparse.stops_before(substitute + path_buffer + skipped)) return;
    write_nonempty(details, "print_name",
                   value.slice(buffer + value.get(print_offset) + skipped, value.get(print_length)));
}

// Layout of a $VOLUME_INFORMATION value.
namespace volume_layout {
constexpr uni::field<std::uint8_t> major_version{8};
constexpr uni::field<std::uint8_t> minor_version{9};
constexpr uni::field<std::uint16_t> flags{10};
}  // namespace volume_layout

constexpr flag_word volume_flags[] = {
    {0x0001, "dirty"},      {0x0002, "resize_log"},        {0x0004, "upgrade_on_mount"}, {0x0008, "mounted_on_nt4"},
    {0x0010, "delete_usn"}, {0x0020, "repair_object_ids"}, {0x8000, "chkdsk modified"},
};

// Kept: the versions are written as the characters that the bytes are.
void write_volume_information(details_writer& details, const fragment& value) {
    using namespace volume_layout;
    if (!value.reaches(major_version.offset)) return;
    details.character("major_version", value.bytes.get(major_version));
    if (!value.reaches(minor_version.offset)) return;
    details.character("minor_version", value.bytes.get(minor_version));
    if (!value.reaches(flags.offset)) return;
    append_flag_words(details.begin_field("flags"), value.bytes.get(flags), volume_flags, " ;");
    details.end_field();
}

}  // namespace

void decode_attribute_list(entry_info& info, const fragment& value) {
    if (!value.partial && value.length < shortest_list) return;
    attribute_list_walk(info, value).run();
}

void decode_object_id(entry_info& info, const fragment& value) {
    if (!value.partial && value.length < 4 * guid_size) return;
    info.details.open_listed_group("$OBJECT_ID");
    if (value.length >= guid_size) write_guid(info.details, "object_id", value.bytes);
    if (value.length >= 4 * guid_size) {
        write_guid(info.details, "birth_volume_id", value.bytes.from(guid_size));
        write_guid(info.details, "birth_object_id", value.bytes.from(2 * guid_size));
        write_guid(info.details, "birth_domain_id", value.bytes.from(3 * guid_size));
    }
    info.details.close_group();
}

void decode_reparse_point(entry_info& info, const fragment& value) {
    using namespace reparse_layout;
    if (!value.partial && value.length < path_buffer) return;
    info.details.open_listed_group("$REPARSE_POINT");
    info.details.number("tag", value.bytes.get(tag));
    const bool has_names = value.bytes.get(data_length) != 0 && !value.stops_before(path_buffer);
    if (has_names) write_reparse_names(info.details, value);
    info.details.close_group();
}

void decode_volume_information(entry_info& info, const fragment& value) {
    if (!value.partial && value.length < volume_layout::flags.end()) return;
    info.details.open_listed_group("$VOLUME_INFORMATION");
    write_volume_information(info.details, value);
    info.details.close_group();
}

std::span<const flag_word> volume_flag_words() {
    return volume_flags;
}

}  // namespace kest
