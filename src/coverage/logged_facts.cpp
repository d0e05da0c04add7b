#include "coverage/logged_facts.h"

#include <algorithm>
#include <utility>

#include "format/time.h"
#include "logfile/operation.h"
#include "mft/record_view.h"
#include "operations/record_fact.h"
#include "portable/seeded_map.h"

namespace kest {

namespace {

// The time of last change in what is written over a part of the value, from `begin` on; 0 if it is not whole there.
std::uint64_t change_time_in(uni::byte_view part, std::uint32_t begin) {
    const auto at = standard_information_layout::mft_changed;
    return begin <= at.offset ? part.u64(at.offset - begin) : 0;
}

std::uint64_t raised_time(const log_entry& entry, const record_fact& written) {
    const std::uint64_t before = change_time_in(exact_undo(entry), written.offset);
    const std::uint64_t after = change_time_in(written.data, written.offset);
    return before != 0 && before < after ? after : 0;
}

// Of a file record in use that is no extension record; 0 for another one.
std::uint64_t change_time_of(uni::byte_view bytes) {
    const file_record_view record(bytes);
    const bool signed_as_one = bytes.get(file_record_layout::signature) == file_record_layout::file_signature;
    if (!signed_as_one || !record.in_use() || record.base().value() != 0) return 0;
    return record.standard_information().get(standard_information_layout::mft_changed);
}

// Goes through the records of one transaction.
class change_times {
public:
    explicit change_times(const mft_geometry& geometry) : m_geometry(geometry) {}

    void begin() { ++m_transaction; }

    // `lost`: what may stand before the record is not in the log.
    void add(const log_entry& entry, bool lost) {
        const record_fact fact = proved_fact(entry, m_geometry);
        if (fact.kind == fact_kind::standard_written) {
            keep(entry, raised_time(entry, fact));
        } else if (fact.kind == fact_kind::image_before) {
            m_replaced[fact.file.number()] = m_transaction;
        } else if (fact.kind == fact_kind::image && !lost) {
            // A file record whose old image comes before is written again, with an old time.
            const std::uint32_t* const replaced = m_replaced.find(fact.file.number());
            if (replaced == nullptr || *replaced != m_transaction) keep(entry, change_time_of(fact.data));
        }
    }

    std::vector<logged_time> take() { return std::move(m_times); }

private:
    void keep(const log_entry& entry, std::uint64_t time) {
        if (cv::has_calendar_form(time)) m_times.push_back({.lsn = entry.this_lsn(), .time = time});
    }

    const mft_geometry& m_geometry;
    std::vector<logged_time> m_times;
    std::uint32_t m_transaction = 0;            // its number
    uni::seeded_map<std::uint32_t> m_replaced;  // by record number: the last transaction with an old image of it
};

}  // namespace

std::vector<logged_usn> logged_journal_records(const log_store& log) {
    std::vector<logged_usn> found;
    for (const log_entry& entry : log.entries) {
        if (entry.redo_op() != operation_code::update_nonresident_value) continue;
        const record_fact fact = proved_fact(entry, log.geometry);
        if (fact.kind != fact_kind::journal_record) continue;
        const usn_record record = *read_usn_record(fact.data);
        found.push_back({.lsn = entry.this_lsn(),
                         .usn = record.get(&usn_layout::usn),
                         .time = record.get(&usn_layout::time),
                         .file = record.file(),
                         .reason = record.get(&usn_layout::reason),
                         .name = record.name()});
    }
    std::ranges::stable_sort(found, {}, &logged_usn::usn);
    const auto same = [](const logged_usn& a, const logged_usn& b) { return a.usn == b.usn; };
    found.erase(std::unique(found.begin(), found.end(), same), found.end());
    return found;
}

std::vector<logged_time> logged_change_times(const log_store& log) {
    change_times times(log.geometry);
    for (const chain_head& chain : log.chain_heads) {
        times.begin();
        bool lost = chain.cut;  // what went before the first record
        for (const std::uint32_t position : log.records(chain))
            times.add(log.entries[position], std::exchange(lost, false));
    }
    return times.take();
}

}  // namespace kest
