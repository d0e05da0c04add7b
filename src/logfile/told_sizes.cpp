#include "logfile/told_sizes.h"

#include <algorithm>
#include <array>
#include <bit>

#include "logfile/operation.h"
#include "mft/record_view.h"

namespace kest {

namespace {

using namespace operation_code;

// How often each power of two was told.
class size_votes {
public:
    void add(std::uint64_t size) {
        if (is_cluster_size(size)) ++m_count[static_cast<unsigned>(std::countr_zero(size))];
    }
    std::optional<std::uint32_t> winner() const {
        const auto most = std::ranges::max_element(m_count);
        if (*most == 0) return std::nullopt;
        return 1U << (most - m_count.begin());
    }

private:
    std::array<std::uint32_t, 32> m_count{};
};

// The file record that a log record puts into the MFT, or that was there before; empty if there is none.
uni::byte_view file_record_of(const log_entry& entry) {
    uni::byte_view bytes;
    if (entry.redo_op == initialize_file_record_segment) {
        bytes = exact_redo(entry);
    } else if (entry.undo_op == initialize_file_record_segment) {
        bytes = exact_undo(entry);
    }
    if (bytes.get(file_record_layout::signature) != file_record_layout::file_signature) return {};
    return entry.get(record_layout::record_type) == record_types::client ? bytes : uni::byte_view{};
}

// In the first cluster any size gives the same numbers.
void vote_for_cluster(size_votes& votes, const log_entry& entry, const file_record_view& record) {
    const std::optional<std::uint64_t> number = record.own_number();
    const std::uint64_t vcn = entry.get(record_layout::target_vcn);
    if (!number || vcn == 0) return;
    const std::uint32_t stated = stated_record_size(entry);
    const std::uint64_t place = *number * (stated != 0 ? stated : record.record_room());
    if (place <= place_in_cluster(entry)) return;
    const std::uint64_t ahead = place - place_in_cluster(entry);
    if (ahead % vcn == 0) votes.add(ahead / vcn);
}

}  // namespace

told_sizes find_told_sizes(const log_store& log) {
    size_votes cluster;
    size_votes file_record;
    for (const log_entry& entry : log.entries) {
        const file_record_view record(file_record_of(entry));
        if (!record.has_header()) continue;
        file_record.add(record.record_room());
        vote_for_cluster(cluster, entry, record);
    }
    return {cluster.winner(), file_record.winner()};
}

}  // namespace kest
