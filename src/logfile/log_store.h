#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "logfile/log_entry.h"
#include "logfile/log_memory.h"
#include "logfile/page.h"
#include "logfile/volume_geometry.h"
#include "mft/inode_record.h"
#include "portable/byte_view.h"
#include "portable/large_pages.h"
#include "portable/ordered_index.h"
#include "portable/prefetch.h"
#include "portable/seeded_map.h"

namespace kest {

// The pieces of the record that crosses the page end at hand. Empty: no record is pending.
class carry_buffer {
public:
    void begin(std::uint64_t file_offset) {
        m_bytes.clear();
        m_file_offset = file_offset;
    }
    void append(uni::byte_view piece) {
        const auto bytes = piece.bytes();
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    void drop() { m_bytes.clear(); }  // keeps the capacity

    bool pending() const { return !m_bytes.empty(); }
    std::size_t size() const { return m_bytes.size(); }
    uni::byte_view bytes() const { return std::span<const std::uint8_t>(m_bytes); }
    std::uint64_t file_offset() const { return m_file_offset; }

private:
    std::vector<std::uint8_t> m_bytes;
    std::uint64_t m_file_offset = 0;  // bytes; where the record began
};

// A client chain: a record without predecessor, the head, and the records that follow it by their backward links.
struct chain_head {
    std::uint32_t first = 0;  // where its records stand in `log_store::chain_records`
    std::uint32_t count = 0;
    bool cut = false;  // what went before is not in the log
};

// A record page with its sector ends put back. Its bytes belong to the `log_store`.
struct log_page {
    std::uint64_t file_offset = 0;
    uni::byte_view bytes;
    std::uint8_t torn = 0;  // `torn_sectors`; none where these are kept

    bool has_torn_header() const { return is_torn(torn, 0, page_layout::records_begin); }
};

// A log as parsed: its records in the order in which the file holds them, or of their LSNs after `complete_log`, and
// what links them. Positions are 32-bit indexes into `entries`.
struct log_store {
    uni::large_vector<log_entry> entries;

    std::array<restart_page_image, 2> restart_pages{};  // at file offset 0; the first one seen elsewhere
    std::vector<tail_name_image> tail_names_first;      // name table of the first tail page; no report shows them
    std::vector<tail_name_image> tail_names_second;     // name table of the second
    std::vector<log_page> record_pages;                 // by file offset; kept if `keeps_pages` is set before the scan
    bool keeps_pages = false;                           // `complete_log` follows the scan, and links chains
    bool keeps_torn = false;                            // records in torn sectors, too, which prove nothing
    std::optional<page_tally> pages;                    // counted if there is one

    std::uint64_t file_size = 0;  // bytes
    int open_error = 0;           // why the file could not be opened, as `errno` has it

    // A read failed before the file's end, or memory ran out: something of the log is missing.
    bool incomplete = false;

    // Of a store that `keeps_pages`, until `complete_log` puts the entries in order: positions of those whose LSN is
    // not above that of the one before.
    std::vector<std::uint32_t> falls;
    bool by_lsn = false;                    // the entries are in the order of their LSNs
    std::optional<volume_geometry> volume;  // found by `complete_log`

    // Filled by `link_chains`.
    uni::large_vector<chain_head> chain_heads;       // by LSN; of equal LSNs the first of the entries
    uni::large_vector<std::uint32_t> chain_records;  // positions in `entries`, chain after chain

    // Positions of the restart records of clients; filled by `link_chains`.
    std::vector<std::uint32_t> restart_records;

    // Positions of log records that hold a journal record, the first of each file reference.
    std::vector<std::uint32_t> journal_records;
    uni::seeded_map<bool> journal_files;  // the file references; key: inode_ref::value()

    // The walk's state between pages.
    std::uint64_t previous_last_lsn = 0;  // of the last accepted page; 0 before the first
    std::uint64_t last_entry_lsn = 0;
    carry_buffer carry;

    mft_geometry geometry;  // what record numbers are derived with; set after the scan

    log_memory memory;  // what the entries show

    // The positions of a chain's records, that of the head first.
    std::span<const std::uint32_t> records(const chain_head& chain) const {
        return std::span(chain_records).subspan(chain.first, chain.count);
    }
    std::uint64_t lsn_of(const chain_head& chain) const { return entries[chain_records[chain.first]].this_lsn(); }
};

// A scan leaves a large log out of the processor's caches. Whoever goes over all records asks at each for the bytes of
// one that comes soon.
inline void prefetch_record(const log_store& log, std::size_t position) {
    constexpr std::size_t distance = 16;
    if (position + distance >= log.entries.size()) return;
    const std::uint8_t* const bytes = log.entries[position + distance].data();
    uni::prefetch(bytes + record_layout::client_begin);
    uni::prefetch(bytes + record_layout::payload_begin + record_layout::client_begin);
}

// Strings each chain together from the backward links of its records. Run once a scan.
void link_chains(log_store& store);

// Adds the chains whose beginning is lost: of the records that joined no chain, and whose LSN no record in a chain has,
// the first of each LSN. Every LSN of the log is then in a chain once. Run after `link_chains`.
void link_cut_chains(log_store& store);

// The entries by one of their 64-bit fields; of equal ones the first in file order.
uni::sealed_index index_entries(const log_store& store, std::uint64_t (log_entry::*key)() const);

// What the journal record in a log record says of its file.
inode_record file_of_journal_record(const log_entry& entry);

// Empties the store for the next log. Kept: a record pending at the end of one log meets the first page of the
// next.
void log_store_reset(log_store& store);

}  // namespace kest
