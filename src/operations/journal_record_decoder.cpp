#include "journal/usn_record.h"
#include "operations/decoders.h"
#include "portable/utf16.h"

namespace kest {

namespace {

constexpr uni::field<std::uint32_t> remaining_extents{56};  // of version 4, in the place of all that follows

inode_ref write_reference(details_writer& details, std::string_view number_key, std::string_view sequence_key,
                          std::uint64_t value, const text_style& style) {
    const inode_ref reference(value);
    details.number(number_key, reference.number(), style);
    details.number(sequence_key, reference.sequence(), style);
    return reference;
}

// A journal record, as far as its bytes go. A field is shown as soon as its first byte is there.
class record_text {
public:
    record_text(entry_info& info, uni::byte_view record, const usn_layout& layout, const text_style& style)
        : m_info(info), m_details(info.details), m_record(record), m_layout(layout), m_style(style) {}

    void write() {
        m_info.inode = write_reference(m_details, "inode", "seq", m_record.get(usn_common::file_reference), m_style);
        if (!reaches(m_layout.parent)) return;
        m_info.parent =
            write_reference(m_details, "parent_inode", "parent_seq", m_record.u64(m_layout.parent), m_style);
        if (!reaches(m_layout.usn)) return;
        m_details.number("usn", m_record.u64(m_layout.usn), m_style);
        if (has_time() && reaches(m_layout.time)) write_time();
        if (!reaches(m_layout.reason)) return;
        write_reason();
        if (!reaches(m_layout.source_info)) return;
        m_details.field("source_info", source_text(m_record.u32(m_layout.source_info)));
        if (has_time()) {
            write_file();
        } else {
            write_extents();
        }
    }

private:
    bool reaches(std::uint32_t offset) const { return m_record.size() > offset; }
    bool has_time() const { return m_layout.time != 0; }  // not in version 4, which has no name either

    void write_time() {
        m_info.usn_time = m_record.u64(m_layout.time);
        m_details.time("time", m_info.usn_time, m_style);
    }

    void write_reason() {
        m_info.usn_reason = m_record.u32(m_layout.reason);
        append_reason_text(m_details.begin_field("reason"), m_info.usn_reason, true);
        m_details.end_field();
    }

    void write_extents() {
        if (reaches(remaining_extents.offset)) {
            m_details.number("remaining_extents", m_record.get(remaining_extents), m_style);
        }
    }

    // Kept: the name is read at its usual place; the offset that the record tells is not asked.
    void write_file() {
        if (!reaches(m_layout.security_id)) return;
        m_details.number("security_id", m_record.u32(m_layout.security_id), m_style);
        if (!reaches(m_layout.file_attributes)) return;
        m_details.field("file_attributes", attribute_text(m_record.u32(m_layout.file_attributes)));
        if (!reaches(m_layout.name)) return;
        m_info.name.clear();
        uni::append_utf16_text(m_info.name, m_record.slice(m_layout.name, m_record.u16(m_layout.name_length)));
        m_details.field("name", m_info.name);
    }

    entry_info& m_info;
    details_writer& m_details;
    uni::byte_view m_record;
    const usn_layout& m_layout;
    const text_style& m_style;
};

}  // namespace

// Of all that is written to non-resident streams only records of the change journal are shown.
void decode_journal_record(entry_info& info, const redo_payload& payload) {
    const usn_layout* const layout = usn_record_layout(payload.data);
    if (layout == nullptr || payload.data.size() <= usn_common::file_reference.offset) return;
    info.details.open_group("usn_record");
    record_text(info, payload.data, *layout, payload.style).write();
    info.details.close_group();
}

}  // namespace kest
