#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "events/event.h"
#include "events/journal_folders.h"
#include "events/logged_records.h"
#include "events/open_files.h"
#include "events/paths.h"

namespace kest {

// What has to be known of a journal file as a whole before its first event is told.
struct journal_outline {
    journal_folders folders;
    std::vector<std::uint64_t> lone_names;  // places of the old names that no new one follows
    journal_reading reading;                // of the file
};

// Goes through the file once. Notes which records the log has, too.
journal_outline outline_journal(const uni::byte_source& file, logged_records& logged);

// Tells the events of a journal file in the order of its records, as far as it is asked to. What the log has, too, is
// told there.
class journal_events {
public:
    journal_events(const uni::byte_source& file, const journal_outline& outline, const logged_records& logged,
                   name_history& names, folder_paths& paths, std::function<void(const event&)> listener);

    // Some of the file could be read the first time only.
    bool incomplete() const { return m_cursor.reading().incomplete; }

    // The next record not told of is here; behind all places at the end.
    std::uint64_t place() const { return m_next != nullptr ? m_next->place : logged_records::nowhere; }

    // `lsn` is that of the log at this point of the merge: for folders that only the log or the MFT knows.
    void tell_before(std::uint64_t place, std::uint64_t lsn);
    // Tells what comes before `place` and, one after the other, is earlier than `time`.
    void tell_earlier(std::uint64_t time, std::uint64_t place, std::uint64_t lsn);

private:
    std::uint64_t next_time() const;
    void tell_next(std::uint64_t lsn);
    void tell_news(const journal_record& record, const record_news& news, std::uint64_t lsn);
    void locate(const journal_record& record, std::uint64_t lsn);
    void tell_rename(const journal_record& record, const former_name& old, std::uint64_t lsn);
    void tell_reason(const journal_record& record, std::uint32_t reason, std::uint32_t known);
    bool is_lone(std::uint64_t place);

    const journal_outline& m_outline;
    const logged_records& m_logged;
    name_history& m_names;
    folder_paths& m_paths;
    std::function<void(const event&)> m_listener;
    journal_cursor m_cursor;
    const journal_record* m_next;
    open_files m_files;
    event m_told;              // what all events of the record at hand have in common
    std::uint64_t m_time = 0;  // the latest that a record had
    std::size_t m_lone = 0;    // of the lone names those that are behind
};

}  // namespace kest
