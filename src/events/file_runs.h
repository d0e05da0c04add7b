#pragma once

#include <vector>

#include "events/file_changes.h"
#include "mft/run_reader.h"

namespace kest {

// What became of the clusters of one attribute of a file, in whichever of its file records the runs stand.
struct stream_runs {
    const attribute_change* attribute = nullptr;  // the first piece of it
    std::vector<cluster_run> lost;                // by VCN; what it had before and has no longer, or at another place
    std::vector<cluster_run> gained;
    bool has_new_piece = false;  // in a file record: runs of it may come from a record that is not known
    bool reported = false;       // what is lost, by an event

    std::uint32_t type() const { return attribute->type().value_or(0); }
    uni::byte_view name() const { return attribute->name(); }
};

// The attributes of the file whose runs are known before and after the transaction, and not the same. By type, then
// name.
std::vector<stream_runs> find_stream_runs(const file_history& history, const file_changes& changes);
// The one of that type and name; null for none.
stream_runs* find_stream(std::vector<stream_runs>& streams, const joined_change& attribute);

// Runs by VCN, none over one another; what is no place on a volume ends the list.
void read_runs(std::vector<cluster_run>& out, run_reader runs);

// The clusters in `one` that are not in `other`; both by VCN, and no two of a list over one another.
std::vector<cluster_run> runs_without(std::span<const cluster_run> one, std::span<const cluster_run> other);

}  // namespace kest
