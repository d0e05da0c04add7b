#include "events/file_runs.h"

#include <algorithm>

namespace kest {

namespace {

// No volume has clusters beyond.
constexpr std::uint64_t most_clusters = std::uint64_t{1} << 62;

struct piece {
    const attribute_change* change;
    const run_change* runs;

    std::uint32_t type() const { return change->type().value_or(0); }
    uni::byte_view name() const { return change->name(); }
};

constexpr auto come_before = [](const auto& a, const auto& b) {
    if (a.type() != b.type()) return a.type() < b.type();
    return uni::compare_bytes(a.name(), b.name()) < 0;
};

// A further piece that was not there before.
bool is_new(const attribute_change& piece) {
    return piece.key.continues && piece.before.present == presence::absent;
}

// What is no place on a volume ends the list.
void append_runs(std::vector<cluster_run>& out, run_reader runs) {
    while (runs.next()) {
        const std::uint64_t clusters = runs.clusters();
        if (std::max({clusters, runs.vcn(), runs.lcn().value_or(0)}) >= most_clusters) return;
        if (clusters != 0) out.push_back({runs.vcn(), runs.lcn(), clusters});
    }
}

// By VCN. Of runs over one another the first counts.
void put_in_order(std::vector<cluster_run>& runs) {
    if (!std::ranges::is_sorted(runs, {}, &cluster_run::vcn)) std::ranges::stable_sort(runs, {}, &cluster_run::vcn);
    std::uint64_t end = 0;
    std::erase_if(runs, [&end](const cluster_run& run) {
        if (run.vcn < end) return true;
        end = run.end_vcn();
        return false;
    });
}

// Adds to the last run what follows it on the volume, too.
void append_joined(std::vector<cluster_run>& out, const cluster_run& run) {
    if (!out.empty()) {
        cluster_run& last = out.back();
        const bool follows = last.lcn ? run.lcn && *last.lcn + last.clusters == *run.lcn : !run.lcn;
        if (follows && last.end_vcn() == run.vcn) {
            last.clusters += run.clusters;
            return;
        }
    }
    out.push_back(run);
}

}  // namespace

void read_runs(std::vector<cluster_run>& out, run_reader runs) {
    out.clear();
    append_runs(out, runs);
    put_in_order(out);
}

std::vector<cluster_run> runs_without(std::span<const cluster_run> one, std::span<const cluster_run> other) {
    std::vector<cluster_run> left;
    auto next = other.begin();
    for (const cluster_run& run : one) {
        for (std::uint64_t vcn = run.vcn; vcn < run.end_vcn();) {
            while (next != other.end() && next->end_vcn() <= vcn)
                ++next;
            std::uint64_t end = run.end_vcn();
            bool same = false;
            if (next != other.end() && next->vcn <= vcn) {
                end = std::min(end, next->end_vcn());
                same = run.part(vcn, 0).lcn == next->part(vcn, 0).lcn;
            } else if (next != other.end()) {
                end = std::min(end, next->vcn);
            }
            if (!same) append_joined(left, run.part(vcn, end - vcn));
            vcn = end;
        }
    }
    return left;
}

std::vector<stream_runs> find_stream_runs(const file_history& history, const file_changes& changes) {
    std::vector<piece> pieces;
    for (const owned_change& one : changes.records) {
        if (one.lost) continue;
        for (const attribute_change& change : history.attributes_of(*one.record)) {
            if (const run_change* const runs = history.runs_of(change)) pieces.push_back({&change, runs});
        }
    }
    std::ranges::stable_sort(pieces, come_before);
    std::vector<stream_runs> streams;
    std::vector<cluster_run> before;
    std::vector<cluster_run> after;
    for (std::size_t begin = 0; begin != pieces.size();) {
        std::size_t end = begin;
        before.clear();
        after.clear();
        bool has_new_piece = false;
        for (; end != pieces.size() && !come_before(pieces[begin], pieces[end]); ++end) {
            has_new_piece = has_new_piece || is_new(*pieces[end].change);
            append_runs(before, pieces[end].runs->before);
            append_runs(after, pieces[end].runs->after);
        }
        put_in_order(before);
        put_in_order(after);
        streams.push_back(
            {pieces[begin].change, runs_without(before, after), runs_without(after, before), has_new_piece});
        begin = end;
    }
    return streams;
}

stream_runs* find_stream(std::vector<stream_runs>& streams, const joined_change& attribute) {
    struct key {
        const joined_change& of;
        std::uint32_t type() const { return of.type().value_or(0); }
        uni::byte_view name() const { return of.name(); }
    };
    const key wanted{attribute};
    const auto found = std::partition_point(
        streams.begin(), streams.end(), [&wanted](const stream_runs& stream) { return come_before(stream, wanted); });
    return found != streams.end() && !come_before(wanted, *found) ? &*found : nullptr;
}

}  // namespace kest
