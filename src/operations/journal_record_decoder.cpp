#include "journal/usn_record.h"
#include "operations/decoders.h"
#include "portable/unicode.h"

namespace kest {

namespace {

inode_ref write_reference(details_writer& details, std::string_view number_key, std::string_view sequence_key,
                          inode_ref reference) {
    details.number(number_key, reference.number());
    details.number(sequence_key, reference.sequence());
    return reference;
}

// A journal record, as far as its bytes go. A field is shown as soon as its first byte is there.
class record_text {
public:
    record_text(entry_info& info, const usn_record& record) : m_info(info), m_details(info.details), m_record(record) {}

    void write() {
        m_info.inode = write_reference(m_details, "inode", "seq", m_record.file());
        if (!m_record.reaches(&usn_layout::parent)) return;
        m_info.parent = write_reference(m_details, "parent_inode", "parent_seq", m_record.parent());
        if (!m_record.reaches(&usn_layout::usn)) return;
        m_details.number("usn", m_record.get(&usn_layout::usn));
        if (m_record.reaches(&usn_layout::time)) write_time();
        if (!m_record.reaches(&usn_layout::reason)) return;
        write_reason();
        if (!m_record.reaches(&usn_layout::source_info)) return;
        m_details.field("source_info", source_text(m_record.get(&usn_layout::source_info)));
        write_file();
        write_extents();
    }

private:
    void write_time() {
        m_info.usn_time = m_record.get(&usn_layout::time);
        m_details.time("time", m_info.usn_time);
    }

    void write_reason() {
        m_info.usn_reason = m_record.get(&usn_layout::reason);
        append_reason_text(m_details.begin_field("reason"), m_info.usn_reason, true);
        m_details.end_field();
    }

    // Version 4 has nothing of this; it has extents in its place.
    void write_file() {
        if (!m_record.reaches(&usn_layout::security_id)) return;
        m_details.number("security_id", m_record.get(&usn_layout::security_id));
        if (!m_record.reaches(&usn_layout::file_attributes)) return;
        m_details.field("file_attributes", attribute_text(m_record.get(&usn_layout::file_attributes)));
        if (!m_record.reaches(&usn_layout::name)) return;
        take_name_text(m_info, m_record.name());
    }

    void write_extents() {
        if (!m_record.reaches(&usn_layout::remaining_extents)) return;
        m_details.number("remaining_extents", m_record.get(&usn_layout::remaining_extents));
    }

    entry_info& m_info;
    details_writer& m_details;
    const usn_record& m_record;
};

}  // namespace

// Of all that is written to non-resident streams only records of the change journal are shown.
void decode_journal_record(entry_info& info, const operation_data& given) {
    const std::optional<usn_record> record = read_usn_record(given.bytes);
    if (!record || !record->reaches(&usn_layout::file)) return;
    info.details.open_group("usn_record");
    record_text(info, *record).write();
    info.details.close_group();
}

}  // namespace kest
