#include "operations/record_fact.h"

#include "journal/usn_record.h"
#include "logfile/operation.h"
#include "mft/record_view.h"

namespace kest {

namespace {

using namespace operation_code;
using namespace record_layout;

// $STANDARD_INFORMATION is the first attribute: it begins at 48 or later and takes 72 bytes at least, of which 48 are
// its value. So the second one never begins before this.
constexpr std::uint16_t second_attribute = 120;

// The data of a freed record, which begins like a file record.
constexpr std::size_t smallest_freed = 24;

constexpr std::size_t three_sizes = 24;
constexpr std::size_t four_sizes = 32;

// The journal's record may have up to seven bytes of padding after it, which the log does not hold.
constexpr std::size_t most_padding = 8;

bool undoes(const log_entry& entry, std::uint16_t first, std::uint16_t second) {
    return entry.undo_op() == first || entry.undo_op() == second;
}

record_fact named_entry(fact_kind kind, uni::byte_view bytes) {
    const auto entry = index_entry_view::read(bytes);
    if (!entry) return {};
    return {kind, entry->file, bytes.from(index_entry_layout::key)};
}

record_fact record_image(fact_kind kind, const log_entry& entry, uni::byte_view bytes, const mft_geometry& geometry) {
    const file_record_view record(bytes);
    if (!record.has_header()) return {};
    const std::optional<std::uint64_t> number = record.own_number();
    return {kind, inode_ref(number ? *number : file_record_at(entry, geometry), record.sequence()), bytes};
}

record_fact freed_record(const log_entry& entry, const mft_geometry& geometry) {
    const inode_ref file(file_record_at(entry, geometry), 0);
    const uni::byte_view bytes = exact_undo(entry);
    if (entry.undo_op() != initialize_file_record_segment || bytes.size() < smallest_freed) {
        return {fact_kind::freed, file, {}};
    }
    return {fact_kind::freed, inode_ref(file.number(), file_record_view(bytes).sequence()), bytes};
}

record_fact attribute(fact_kind kind, const log_entry& entry, uni::byte_view bytes, const mft_geometry& geometry) {
    if (!attribute_view::read(bytes)) return {};
    return {kind, inode_ref(file_record_at(entry, geometry), 0), bytes, entry.get(record_offset)};
}

record_fact resident_update(const log_entry& entry, const mft_geometry& geometry) {
    if (entry.undo_op() != update_resident_value || entry.get(record_offset) >= second_attribute) return {};
    if (entry.get(attribute_offset) < attribute_layout::resident_header_size) return {};
    const uni::byte_view bytes = exact_redo(entry);
    const std::uint32_t begin = entry.get(attribute_offset) - attribute_layout::resident_header_size;
    if (bytes.empty() || begin >= standard_information_layout::size) return {};
    return {fact_kind::standard_written, inode_ref(file_record_at(entry, geometry), 0), bytes,
            static_cast<std::uint16_t>(begin)};
}

record_fact new_sizes(const log_entry& entry, const mft_geometry& geometry) {
    const uni::byte_view bytes = exact_redo(entry);
    if (entry.undo_op() != set_new_attribute_sizes) return {};
    if (bytes.size() != three_sizes && bytes.size() != four_sizes) return {};
    if (exact_undo(entry).size() < 2 * sizeof(std::uint64_t)) return {};
    return {fact_kind::sizes_written, inode_ref(file_record_at(entry, geometry), 0), bytes, entry.get(record_offset)};
}

record_fact journal_fact_of(const log_entry& entry) {
    const uni::byte_view bytes = exact_redo(entry);
    const auto record = read_usn_record(bytes);
    if (!record || !record->has(&usn_layout::time)) return {};
    if (bytes.size() < record->name_begin() || record->length() > bytes.size() + most_padding) return {};
    if (record->name().size() != record->get(&usn_layout::name_length)) return {};
    return {fact_kind::journal_record, record->file(), bytes};
}

}  // namespace

record_fact proved_fact(const log_entry& entry, const mft_geometry& geometry) {
    if (entry.undo_op() == compensation_log_record || !entry.of_client()) return {};
    switch (entry.redo_op()) {
        case add_index_entry_root:
        case add_index_entry_allocation:
            return named_entry(fact_kind::entry_added, exact_redo(entry));
        case delete_index_entry_root:
        case delete_index_entry_allocation:
            if (!undoes(entry, add_index_entry_root, add_index_entry_allocation)) return {};
            return named_entry(fact_kind::entry_removed, exact_undo(entry));
        case initialize_file_record_segment:
            return record_image(fact_kind::image, entry, exact_redo(entry), geometry);
        case deallocate_file_record_segment:
            return freed_record(entry, geometry);
        case noop:
            if (entry.undo_op() == initialize_file_record_segment) {
                return record_image(fact_kind::image_before, entry, exact_undo(entry), geometry);
            }
            if (entry.undo_op() != deallocate_file_record_segment) return {};
            return {fact_kind::taken, inode_ref(file_record_at(entry, geometry), 0), {}};
        case create_attribute:
            return attribute(fact_kind::attribute_added, entry, exact_redo(entry), geometry);
        case delete_attribute:
            if (entry.undo_op() != create_attribute) return {};
            return attribute(fact_kind::attribute_removed, entry, exact_undo(entry), geometry);
        case update_resident_value:
            return resident_update(entry, geometry);
        case set_new_attribute_sizes:
            return new_sizes(entry, geometry);
        case update_nonresident_value:
            return journal_fact_of(entry);
        default:
            return {};
    }
}

}  // namespace kest
