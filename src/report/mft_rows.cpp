#include "report/mft_rows.h"

#include "journal/usn_record.h"
#include "operations/details_writer.h"
#include "report/columns.h"
#include "report/journal_lookup.h"

namespace kest {

namespace {

constexpr std::string_view row_tag = "mft";
constexpr std::string_view details_label = "mft";

struct time_keys {
    std::string_view created, modified, mft_changed, accessed;
};
constexpr time_keys si_keys = {"si_created", "si_modified", "si_mft_changed", "si_accessed"};
constexpr time_keys fn_keys = {"fn_created", "fn_modified", "fn_mft_changed", "fn_accessed"};

void write_times(details_writer& details, const file_times& times, const time_keys& keys, const text_style& style) {
    details.time(keys.created, times.created, style);
    details.time(keys.modified, times.modified, style);
    details.time(keys.mft_changed, times.mft_changed, style);
    details.time(keys.accessed, times.accessed, style);
}

// Also finds the path to show: under the last parent whose directory is known.
void write_base_details(details_writer& details, const logfile_options& options, const inode_record& record,
                        std::string& path) {
    details.open_group(details_label);
    details.field("name", record.name);
    for (const inode_ref parent : record.parents) {
        details.number("parent", parent.number(), options);
        if (const inode_record* directory = options.find_directory(parent.number())) {
            details.field("path", directory->path);
            path.assign(directory->path).append(record.name);
        }
    }
    if (record.usn != 0) details.number("usn", record.usn, options);
    write_times(details, record.si_times, si_keys, options);
    write_times(details, record.fn_times, fn_keys, options);
    details.number("allocated_size", record.allocated_size, options);
    details.number("real_size", record.real_size, options);
    details.close_group();
}

void write_extension_details(details_writer& details, const logfile_options& options, const inode_record& record) {
    details.open_group(details_label);
    std::string& value = details.begin_field("extension");
    value += "inode ";
    append_number(value, record.inode, options.base16);
    value += " base ";
    append_number(value, record.base_records.empty() ? 0 : *record.base_records.begin(), options.base16);
    details.end_field();
    details.close_group();
}

}  // namespace

void report_mft_row(logfile_options& options, uni::fileio_output& report_sink, result_row& row, time_column& times,
                    std::uint32_t position, std::uint64_t& last_time) {
    const inode_record& record = options.records[position];
    row.clear();
    row.show_text(column_ids::level, row_tag);
    row.set_number(column_ids::lsn, record.lsn);
    append_number(row.text(column_ids::inode), record.inode, options.base16);
    append_number(row.text(column_ids::seq), record.sequence, options.base16);
    details_writer details;
    if (record.is_base) {
        if (!record.parents.empty()) {
            append_number(row.text(column_ids::parent), record.first_parent().number(), options.base16);
            append_number(row.text(column_ids::parent_seq), record.first_parent().sequence(), options.base16);
        }
        write_base_details(details, options, record, row.text(column_ids::path));
    } else {
        write_extension_details(details, options, record);
    }
    row.show_text(column_ids::details, details.text());

    journal_fact fact;
    if (lookup_journal(options.journal, record.usn, fact)) {
        append_reason_text(row.text(column_ids::action), fact.reason, false);
    }
    last_time = fact.time;
    if (times.text(fact.time).empty()) {
        last_time = 0;
        time_from_inode(record, last_time);
    }
    row.show_time(column_ids::time, times.text(last_time), !options.no_whitespace);
    emit_row(report_sink, row, options, options.base16);
}

}  // namespace kest
