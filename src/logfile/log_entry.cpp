#include "logfile/log_entry.h"

#include <algorithm>

#include "logfile/operation.h"

namespace kest {

namespace {

using namespace record_layout;

static_assert(sizeof(log_entry) == 8 && highest_operation < log_entry::beyond);

// Sizes of a file record in sectors of 512 bytes.
constexpr std::uint16_t small_record = 2;
constexpr std::uint16_t large_record = 8;

bool has_data(std::uint16_t operation, std::uint16_t offset, std::uint16_t length, uni::byte_view payload) {
    return operation != operation_code::noop && offset >= client_header_size && length != 0 && !payload.empty();
}

}  // namespace

data_window redo_data(const log_entry& entry) {
    const std::uint16_t offset = entry.get(redo_offset);
    const std::uint16_t length = entry.get(redo_length);
    if (!has_data(entry.redo_op(), offset, length, entry.payload())) return {};
    const std::uint32_t begin = offset - client_header_size;
    std::uint32_t end = begin + length;
    const std::uint16_t undo_begin = entry.get(undo_offset);
    if (offset < undo_begin) end = std::max(end, undo_begin - client_header_size);
    return {.begin = begin, .length = length, .extent = end - begin};
}

data_window undo_data(const log_entry& entry) {
    const std::uint16_t offset = entry.get(undo_offset);
    const std::uint16_t length = entry.get(undo_length);
    const uni::byte_view payload = entry.payload();
    if (!has_data(entry.undo_op(), offset, length, payload)) return {};
    const std::uint32_t begin = offset - client_header_size;
    return {.begin = begin, .length = length, .extent = static_cast<std::uint32_t>(payload.from(begin).size())};
}

uni::byte_view exact_redo(const log_entry& entry) {
    const data_window window = redo_data(entry);
    return entry.payload().slice(window.begin, window.length);
}

uni::byte_view exact_undo(const log_entry& entry) {
    const data_window window = undo_data(entry);
    return entry.payload().slice(window.begin, window.length);
}

bool record_has_inode(const log_entry& entry) {
    const std::uint16_t block = entry.get(target_block_size);
    return (block == small_record || block == large_record) &&
           target_of(entry.redo_op()) != operation_target::index_buffer;
}

}  // namespace kest
