#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "events/file_memory.h"
#include "events/standard_values.h"
#include "logfile/log_store.h"
#include "mft/inode_collection.h"

namespace kest {

// What the records of one transaction on one file did to its $STANDARD_INFORMATION.
struct standard_change {
    standard_values before;
    standard_values after;
    bool new_creation = false;
    std::uint32_t set_back = 0;  // bits in the order of the four times: earlier than before
    std::uint32_t flags_went = 0;
    std::uint32_t flags_came = 0;

    bool touches_times() const { return new_creation || set_back != 0; }
    bool touches_flags() const { return (flags_went | flags_came) != 0; }
};

// By the bytes that the records write alone: those are known on both sides.
standard_change find_standard_change(const log_store& log, std::span<const told_fact* const> facts);

// Completes a change by the bytes that the records did not write, which are the same before and after.
class standard_lookup {
public:
    standard_lookup(const log_store& log, const told_log& told, const file_memory& memory,
                    const _inode_collection& inodes, left_out& omitted)
        : m_log(log), m_told(told), m_memory(memory), m_inodes(inodes), m_omitted(omitted) {}

    void complete(standard_change& change, inode_ref file, std::uint64_t lsn);

private:
    struct write {
        std::uint64_t file;
        std::uint64_t lsn;
        std::uint32_t fact;
    };

    void collect();
    void add_later(standard_values& known, inode_ref file, std::uint64_t lsn);

    const log_store& m_log;
    const told_log& m_told;
    const file_memory& m_memory;
    const _inode_collection& m_inodes;
    left_out& m_omitted;
    bool m_collected = false;
    std::vector<write> m_writes;  // by file, then LSN
};

}  // namespace kest
