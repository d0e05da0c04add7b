#include "report/match_details.h"

#include "format/number.h"

namespace kest {

namespace {

constexpr std::string_view details_label = "mft";

struct time_keys {
    std::string_view created, modified, mft_changed, accessed;
};
constexpr time_keys si_keys = {"si_created", "si_modified", "si_mft_changed", "si_accessed"};
constexpr time_keys fn_keys = {"fn_created", "fn_modified", "fn_mft_changed", "fn_accessed"};

void write_times(details_writer& details, const file_times& times, const time_keys& keys) {
    details.time(keys.created, times.created);
    details.time(keys.modified, times.modified);
    details.time(keys.mft_changed, times.mft_changed);
    details.time(keys.accessed, times.accessed);
}

void write_base_record(details_writer& details, const inode_record& record, const _inode_collection& inodes,
                       std::string& path) {
    details.field("name", record.name);
    for (const inode_ref parent : record.parents) {
        details.in_list().number("parent", parent.number());
        if (const inode_record* directory = inodes.find_directory(parent.number())) {
            details.in_list().field("path", directory->path);
            path.assign(directory->path).append(record.name);
        }
    }
    if (record.usn != 0) details.number("usn", record.usn);
    write_times(details, record.si_times, si_keys);
    write_times(details, record.fn_times, fn_keys);
    details.number("allocated_size", record.allocated_size);
    details.number("real_size", record.real_size);
}

void write_extension_record(details_writer& details, const inode_record& record) {
    std::string& value = details.begin_field("extension");
    value += "inode ";
    append_number(value, record.inode, details.style().base16);
    value += " base ";
    append_number(value, record.base_records.empty() ? 0 : *record.base_records.begin(), details.style().base16);
    details.end_field();
}

void write_owner(details_writer& details, const file_match& match) {
    details.open_group(details_label);
    details.number("inode", match.owner);
    if (match.parent_found) details.in_list().number("parent", match.parent.number());
    if (match.directory != nullptr) details.in_list().field("path", match.owner_path);
    details.close_group();
}

void write_found_file(details_writer& details, const file_match& match) {
    const candidate& found = *match.found;
    details.open_group(details_label);
    if (match.extension) {
        std::string& value = details.begin_field("base");
        append_number(value, *found.base_record, details.style().base16);
        value += " extension- ";
        append_number(value, *match.extension, details.style().base16);
        details.end_field();
    }
    if (found.parent) {
        details.number("inode", found.ref.number());
        details.number("seq", found.ref.sequence());
    }
    if (match.conflict == match_conflict::parent) details.field("mismatch", "parent differs");
    if (match.conflict == match_conflict::sequence) details.field("mismatch", "seq differs");
    if (!found.name.empty()) details.field("name", found.name);
    if (!found.path.empty()) details.in_list().field("path", found.path);
    if (match.parent_found) details.in_list().number("parent", match.parent.number());
    details.close_group();
}

}  // namespace

void write_match(details_writer& details, const file_match& match) {
    if (match.owner != 0) {
        write_owner(details, match);
    } else if (match.found != nullptr) {
        write_found_file(details, match);
    }
}

void write_mft_record(details_writer& details, const inode_record& record, const _inode_collection& inodes,
                      std::string& path) {
    details.open_group(details_label);
    if (record.is_base) {
        write_base_record(details, record, inodes, path);
    } else {
        write_extension_record(details, record);
    }
    details.close_group();
}

}  // namespace kest
