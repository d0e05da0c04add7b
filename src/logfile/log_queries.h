#pragma once

#include <cstdint>
#include <vector>

#include "logfile/log_store.h"

namespace kest {

// Look-ups over a scanned log. Each index is built when it is first asked for; the store must not change while
// this is used. Results are positions in `entries`; empty for what is not there.
class log_queries {
public:
    explicit log_queries(const log_store& store) : m_store(store) {}

    // Records under their redo operation, and once more under their undo operation if that differs, in the order
    // of storing.
    const std::vector<std::uint32_t>& entries_for_opcode(std::uint32_t operation);

    // From the record with this LSN back along its links, newest first. Of equal LSNs the first in file order
    // answers.
    std::vector<std::uint32_t> entries_for_chain(std::uint64_t lsn);

    // The records that begin in a page, counted from 1. Only the first 4 GiB of a file can be asked for.
    std::vector<std::uint32_t> entries_for_page(std::uint32_t page_number);

private:
    const log_store& m_store;
    std::vector<std::vector<std::uint32_t>> m_by_opcode;
    uni::sealed_index m_by_lsn;
    uni::sealed_index m_by_offset;
};

}  // namespace kest
