#include "report/logged_facts.h"

#include <algorithm>
#include <utility>

#include "format/time.h"
#include "logfile/operation.h"
#include "mft/record_layout.h"
#include "operations/record_fact.h"
#include "portable/seeded_map.h"

namespace kest {

namespace {

using namespace operation_code;

// $STANDARD_INFORMATION is the first attribute of a file record, and no header is longer.
constexpr std::uint16_t second_attribute = 120;

// The time of last change in what is written over a part of the value, from `begin` on; 0 if it is not whole there.
std::uint64_t change_time_in(uni::byte_view part, std::uint32_t begin) {
    const auto at = standard_information_layout::mft_changed;
    return begin <= at.offset ? part.u64(at.offset - begin) : 0;
}

std::uint64_t raised_time(const log_entry& entry) {
    const std::uint16_t offset = entry.get(record_layout::attribute_offset);
    if (entry.get(record_layout::record_offset) >= second_attribute) return 0;
    if (offset < attribute_layout::resident_header_size) return 0;
    const std::uint32_t begin = offset - attribute_layout::resident_header_size;
    const std::uint64_t before = change_time_in(exact_undo(entry), begin);
    const std::uint64_t after = change_time_in(exact_redo(entry), begin);
    return before != 0 && before < after ? after : 0;
}

bool in_use_base(uni::byte_view record) {
    using namespace file_record_layout;
    return record.get(signature) == file_signature && (record.get(flags) & 1U) != 0 && record.get(base_record) == 0;
}

std::uint64_t change_time_of(uni::byte_view record) {
    const uni::byte_view attribute = record.from(record.get(file_record_layout::first_attribute));
    if (attribute.get(attribute_layout::type) != attribute_type::standard_information) return 0;
    return attribute.from(attribute.get(attribute_layout::value_offset)).get(standard_information_layout::mft_changed);
}

// Goes through the records of one transaction.
class change_times {
public:
    void begin() { ++m_transaction; }

    // `lost`: what may stand ahead of the record is not in the log.
    void add(const log_entry& entry, bool lost) {
        if (entry.get(record_layout::record_type) != record_types::client) return;
        if (entry.undo_op == compensation_log_record) return;
        if (entry.redo_op == update_resident_value && entry.undo_op == update_resident_value) {
            keep(entry, raised_time(entry));
        } else if (entry.redo_op == noop && entry.undo_op == initialize_file_record_segment) {
            m_replaced[exact_undo(entry).get(file_record_layout::own_number)] = m_transaction;
        } else if (entry.redo_op == initialize_file_record_segment && !lost && in_use_base(exact_redo(entry))) {
            // A file record whose old image stands ahead is written again, with an old time.
            const std::uint32_t number = exact_redo(entry).get(file_record_layout::own_number);
            const std::uint32_t* const replaced = m_replaced.find(number);
            if (replaced == nullptr || *replaced != m_transaction) keep(entry, change_time_of(exact_redo(entry)));
        }
    }

    std::vector<logged_time> take() { return std::move(m_times); }

private:
    void keep(const log_entry& entry, std::uint64_t time) {
        if (cv::has_calendar_form(time)) m_times.push_back({.lsn = entry.this_lsn, .time = time});
    }

    std::vector<logged_time> m_times;
    std::uint32_t m_transaction = 0;            // its number
    uni::seeded_map<std::uint32_t> m_replaced;  // by record number: the last transaction with an old image of it
};

}  // namespace

std::vector<logged_usn> logged_journal_records(const log_store& log) {
    std::vector<logged_usn> found;
    for (const log_entry& entry : log.entries) {
        if (entry.redo_op != update_nonresident_value) continue;
        const record_fact fact = proved_fact(entry, log.place);
        if (fact.kind != fact_kind::journal_record) continue;
        const usn_record record = *read_usn_record(fact.data);
        found.push_back({.lsn = entry.this_lsn,
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
    change_times times;
    for (const chain_head& chain : log.chain_heads) {
        times.begin();
        bool lost = chain.cut;  // what went before the first record
        for (const std::uint32_t position : log.records(chain))
            times.add(log.entries[position], std::exchange(lost, false));
    }
    return times.take();
}

}  // namespace kest
