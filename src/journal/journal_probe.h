#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "journal/usn_record.h"
#include "portable/byte_source.h"

namespace kest {

// Looks into a journal file at both ends, and where a record must be by its USN, without reading the whole of it. What
// lies deeper than 16 MiB from an end is not found.
class journal_probe {
public:
    // The file is open and outlives the probe.
    explicit journal_probe(const uni::byte_source& file);

    // A read failed: what was not found may be there.
    bool incomplete() const { return m_incomplete; }
    // Whether there is a record. The others may be asked only then.
    bool any() const { return m_first_shift.has_value(); }
    std::uint64_t lowest_usn() const { return m_lowest; }  // of the records at the ends
    std::uint64_t highest_usn() const { return m_highest; }
    std::uint64_t first_time() const { return m_first_time; }  // of the record with the lowest USN
    std::uint64_t last_time() const { return m_last_time; }
    // USNs are offsets in the journal. True if the file lacks nothing of it between its first and its last record.
    bool contiguous() const { return m_first_shift == m_last_shift; }

    // Nothing if the record is not where the first one lets expect it. Stands until the next call.
    std::optional<usn_record> find(std::uint64_t usn);

private:
    uni::byte_view read(std::uint64_t offset, std::size_t length);
    bool scan(std::uint64_t offset, std::size_t length);
    void find_first();
    void find_last();

    const uni::byte_source& m_file;
    std::vector<std::uint8_t> m_buffer;
    std::optional<std::uint64_t> m_first_shift;  // of the first record: its USN less its offset
    std::optional<std::uint64_t> m_last_shift;
    std::uint64_t m_lowest = ~std::uint64_t{0};
    std::uint64_t m_highest = 0;
    std::uint64_t m_first_time = 0;
    std::uint64_t m_last_time = 0;
    bool m_incomplete = false;
};

}  // namespace kest
