#pragma once

#include <cstdint>
#include <functional>

#include "events/event.h"
#include "events/folder_paths.h"
#include "events/journal_outline.h"

namespace kest {

// Reports the events of a journal file in the order of its records, as far as it is asked to. What the log has, too, is
// reported there.
class journal_events {
public:
    static constexpr std::uint64_t no_limit = ~std::uint64_t{0};

    journal_events(const uni::byte_source& file, const journal_outline& outline, const log_facts& facts,
                   const file_names& names, folder_paths& paths, const std::function<void(const event&)>& listener);

    // Some of the file could be read the first time only.
    bool incomplete() const { return m_cursor.reading().incomplete; }

    // Where the next record stands; after all offsets at the end.
    std::uint64_t offset() const { return m_next != nullptr ? m_next->place : no_limit; }

    // Reports what stands before the offset and, one after the other, is earlier than `time`. `lsn` is that of the log
    // at this point of the merge: for folders that only the log or the MFT knows.
    void report_until(std::uint64_t offset, std::uint64_t lsn, std::uint64_t time = no_limit);

private:
    std::uint64_t next_time() const;
    void report_next(std::uint64_t lsn);
    void follow_clock(const journal_record& record, bool in_log);
    void report(const journal_record& record, const reason_delta& delta, std::uint64_t lsn);
    void locate(const journal_record& record, const moment& when);
    void report_rename(const journal_record& record, const former_name& old, std::uint64_t lsn);
    void report_reason(const journal_record& record, std::uint32_t reason, std::uint32_t known);
    bool is_paired(std::uint64_t offset);

    const journal_outline& m_outline;
    const log_facts& m_facts;
    const file_names& m_names;
    folder_paths& m_paths;
    const std::function<void(const event&)>& m_listener;
    journal_cursor m_cursor;
    const journal_record* m_next;
    reason_tracker m_files;
    event m_event;               // what all events of the record at hand have in common
    std::uint64_t m_time = 0;    // of the last record that has one
    bool m_time_in_log = false;  // the log has that record, too
    std::size_t m_paired = 0;    // of the paired names those before the record at hand
};

}  // namespace kest
