#include "events/cluster_uses.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "events/file_runs.h"
#include "logfile/open_attributes.h"
#include "logfile/operation.h"

namespace kest {

namespace {

constexpr std::uint64_t bitmap_file = 6;
constexpr std::uint64_t bits_in_byte = 8;
constexpr std::uint64_t most_clusters = std::uint64_t{1} << 62;

// Layout of the data of a record that sets or clears bits.
constexpr uni::field<std::uint32_t> first_bit{0};  // from the block on that the record writes to
constexpr uni::field<std::uint32_t> bit_count{4};

bool writes_bits(const log_entry& entry) {
    return entry.redo_op() == operation_code::set_bits_in_nonresident_bit_map ||
           entry.redo_op() == operation_code::clear_bits_in_nonresident_bit_map;
}

// Where the bitmap that a record writes to would begin, if it was in one piece.
std::uint64_t bitmap_begin(const log_entry& entry) {
    return entry.get(record_layout::first_lcn) - entry.get(record_layout::target_vcn);
}

// The positions of the records that write to $Bitmap: by the table of open attributes, and before that is known by
// where the bits lie.
std::vector<std::uint32_t> find_bitmap_records(const log_store& log) {
    constexpr std::uint64_t unknown = ~std::uint64_t{0};
    open_attributes open;
    uni::seeded_map<std::uint64_t> begins;                       // the file whose bitmap begins there
    std::vector<std::pair<std::uint32_t, std::uint64_t>> found;  // records that write bits, and the file
    for (std::uint32_t at = 0; at < log.entries.size(); ++at) {
        const log_entry& entry = log.entries[at];
        open.learn(entry);
        if (!writes_bits(entry)) continue;
        const auto file = open.file_of(entry);
        found.emplace_back(at, file ? file->number() : unknown);
        if (!file) continue;
        std::uint64_t& owner = begins.find_or_add(bitmap_begin(entry), file->number());
        if (owner != file->number()) owner = unknown;
    }
    std::vector<std::uint32_t> records;
    for (const auto& [at, file] : found) {
        const std::uint64_t* const owner = file == unknown ? begins.find(bitmap_begin(log.entries[at])) : &file;
        if (owner != nullptr && *owner == bitmap_file) records.push_back(at);
    }
    return records;
}

bool is_no_hole(const cluster_run& run) {
    return run.lcn.has_value();
}

// By transaction, then place; none over one another.
template <class extent>
void join(std::vector<extent>& extents) {
    std::ranges::sort(extents, {}, [](const extent& one) { return std::pair(one.when, one.begin); });
    auto kept = extents.begin();
    for (const extent& one : extents) {
        if (kept != extents.begin() && kept[-1].when == one.when && one.begin <= kept[-1].end) {
            kept[-1].end = std::max(kept[-1].end, one.end);
        } else {
            *kept++ = one;
        }
    }
    extents.erase(kept, extents.end());
}

template <class extent>
bool holds_all(const std::vector<extent>& extents, std::uint32_t transaction, std::span<const cluster_run> runs) {
    const auto key = [](const extent& one) { return std::pair(one.when, one.begin); };
    return std::ranges::any_of(runs, &is_no_hole) && std::ranges::all_of(runs, [&](const cluster_run& run) {
               if (!run.lcn) return true;
               const auto after = std::ranges::upper_bound(extents, std::pair(transaction, *run.lcn), {}, key);
               return after != extents.begin() && after[-1].when == transaction &&
                      *run.lcn + run.clusters <= after[-1].end;
           });
}

}  // namespace

cluster_uses::cluster_uses(const inputs& from) {
    extent_list given;
    read_bitmap(from, given);
    const std::size_t most = given.size() + from.most_runs;
    std::vector<cluster_run> before;
    std::vector<cluster_run> after;
    for (const record_change& change : from.history.changes()) {
        if (change.rolled_back) continue;
        for (const attribute_change& attribute : from.history.attributes_of(change)) {
            const run_change* const runs = from.history.runs_of(attribute);
            if (runs == nullptr) continue;
            read_runs(after, runs->after);
            read_runs(before, runs->before);
            if (!before.empty()) after = runs_without(after, before);
            if (after.size() > most - given.size()) {
                m_incomplete = true;
                return;
            }
            for (const cluster_run& run : after) {
                if (run.lcn) given.push_back({*run.lcn, *run.lcn + run.clusters, attribute.proof});
            }
        }
    }
    index_given(std::move(given));
}

void cluster_uses::read_bitmap(const inputs& from, extent_list& given) {
    const std::vector<std::uint32_t> records = find_bitmap_records(from.log);
    const std::vector<std::uint32_t> transactions = number_transactions(from.log, records);
    m_shows_bitmap = !records.empty();
    for (std::size_t index = 0; index < records.size(); ++index) {
        const std::uint32_t at = records[index];
        const log_entry& entry = from.log.entries[at];
        const uni::byte_view bits = exact_redo(entry);
        const std::uint64_t cluster = entry.get(record_layout::target_vcn);
        if (from.rolled_back[at] || cluster > most_clusters / from.cluster_size / bits_in_byte) continue;
        const std::uint64_t begin =
            (cluster * from.cluster_size + offset_in_cluster(entry)) * bits_in_byte + bits.get(first_bit);
        const std::uint64_t end = begin + bits.get(bit_count);
        const bool sets = entry.redo_op() == operation_code::set_bits_in_nonresident_bit_map;
        if (sets) given.push_back({begin, end, at});
        const std::uint32_t transaction = transactions[index];
        if (transaction != no_transaction) (sets ? m_set : m_cleared).push_back({begin, end, transaction});
    }
    join(m_set);
    join(m_cleared);
}

// What was given last is put down first, and what is put down once stays.
void cluster_uses::index_given(extent_list given) {
    for (const extent& one : given) {
        m_places.push_back(one.begin);
        m_places.push_back(one.end);
    }
    std::ranges::sort(m_places);
    m_places.erase(std::unique(m_places.begin(), m_places.end()), m_places.end());
    std::ranges::stable_sort(given, std::greater<>(), &extent::when);
    const std::size_t count = m_places.size();
    m_given.resize(2 * count);
    std::vector<std::uint32_t> next_open(count + 1);  // a place at or after this one where nothing is put down yet
    std::iota(next_open.begin(), next_open.end(), 0);
    const auto open_from = [&next_open](std::uint32_t at) {
        while (next_open[at] != at)
            at = next_open[at] = next_open[next_open[at]];
        return at;
    };
    const auto index_of = [this](std::uint64_t place) {
        return static_cast<std::uint32_t>(std::ranges::lower_bound(m_places, place) - m_places.begin());
    };
    for (const extent& one : given) {
        const std::uint32_t end = index_of(one.end);
        for (std::uint32_t at = open_from(index_of(one.begin)); at < end; at = open_from(at)) {
            m_given[count + at] = {one.when + 1, one.when + 1};
            next_open[at] = at + 1;
        }
    }
    for (std::size_t at = count; at-- > 1;) {
        const bounds& left = m_given[2 * at];
        const bounds& right = m_given[2 * at + 1];
        m_given[at] = {std::min(left.lowest, right.lowest), std::max(left.highest, right.highest)};
    }
}

// The number of a position from 1; 0 for what was never given.
cluster_uses::bounds cluster_uses::given_within(std::uint64_t begin, std::uint64_t end) const {
    const auto first = std::ranges::upper_bound(m_places, begin);
    const auto last = std::ranges::lower_bound(m_places, end);
    bounds found{~std::uint32_t{0}, 0};
    if (first == m_places.begin() || last == m_places.end()) found.lowest = 0;
    const std::size_t count = m_places.size();
    std::size_t low = count + static_cast<std::size_t>(first - m_places.begin()) - (first != m_places.begin() ? 1 : 0);
    std::size_t high = count + static_cast<std::size_t>(last - m_places.begin());
    const auto take = [&](const bounds& one) {
        found = {std::min(found.lowest, one.lowest), std::max(found.highest, one.highest)};
    };
    for (; low < high; low /= 2, high /= 2) {
        if (low % 2 != 0) take(m_given[low++]);
        if (high % 2 != 0) take(m_given[--high]);
    }
    return found;
}

bool cluster_uses::clears_all(std::uint32_t transaction, std::span<const cluster_run> runs) const {
    return holds_all(m_cleared, transaction, runs);
}

bool cluster_uses::sets_all(std::uint32_t transaction, std::span<const cluster_run> runs) const {
    return holds_all(m_set, transaction, runs);
}

cluster_share cluster_uses::given_after(std::uint32_t position, std::span<const cluster_run> runs) const {
    bool some = false;
    bool all = true;
    for (const cluster_run& run : runs) {
        if (!run.lcn) continue;
        const bounds found = given_within(*run.lcn, *run.lcn + run.clusters);
        some = some || found.highest > position + 1;
        all = all && found.lowest > position + 1;
    }
    if (!some) return cluster_share::none;
    return all ? cluster_share::all : cluster_share::part;
}

}  // namespace kest
