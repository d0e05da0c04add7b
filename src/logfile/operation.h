#pragma once

#include <cstdint>

namespace kest {

// What a log record says is to be done, and how it is undone.
namespace operation_code {
enum : std::uint16_t {
    noop,
    compensation_log_record,
    initialize_file_record_segment,
    deallocate_file_record_segment,
    write_end_of_file_record_segment,
    create_attribute,
    delete_attribute,
    update_resident_value,
    update_nonresident_value,
    update_mapping_pairs,
    delete_dirty_clusters,
    set_new_attribute_sizes,
    add_index_entry_root,
    delete_index_entry_root,
    add_index_entry_allocation,
    delete_index_entry_allocation,
    write_end_of_index_buffer,
    set_index_entry_vcn_root,
    set_index_entry_vcn_allocation,
    update_file_name_root,
    update_file_name_allocation,
    set_bits_in_nonresident_bit_map,
    clear_bits_in_nonresident_bit_map,
    hot_fix,
    end_top_level_action,
    prepare_transaction,
    commit_transaction,
    forget_transaction,
    open_nonresident_attribute,
    open_attribute_table_dump,
    attribute_names_dump,
    dirty_page_table_dump,
    transaction_table_dump,
    update_record_data_root,
    update_record_data_allocation,
    update_relative_data_in_index,
    update_relative_data_in_index_2,
    zero_end_of_file_record,
};
}  // namespace operation_code

// What an operation writes to.
enum class operation_target : std::uint8_t { other, file_record, index_buffer };

// Kept: 16, 18 and 34 write to index buffers too, and count as others, since rows take their target for a
// file record.
constexpr operation_target target_of(std::uint16_t operation) {
    using namespace operation_code;
    switch (operation) {
        case initialize_file_record_segment:
        case deallocate_file_record_segment:
        case write_end_of_file_record_segment:
        case create_attribute:
        case delete_attribute:
        case update_resident_value:
        case update_mapping_pairs:
        case set_new_attribute_sizes:
        case add_index_entry_root:
        case delete_index_entry_root:
        case set_index_entry_vcn_root:
        case update_file_name_root:
        case update_record_data_root:
        case zero_end_of_file_record:
            return operation_target::file_record;
        case add_index_entry_allocation:
        case delete_index_entry_allocation:
        case update_file_name_allocation:
            return operation_target::index_buffer;
        default:
            return operation_target::other;
    }
}

inline constexpr std::uint16_t highest_operation = operation_code::zero_end_of_file_record;  // of a valid record

}  // namespace kest
