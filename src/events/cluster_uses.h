#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "events/event.h"
#include "history/file_history.h"
#include "logfile/log_store.h"
#include "mft/run_reader.h"

namespace kest {

// What the log says of the volume's clusters: by the bits of $Bitmap that its transactions set and clear, and by the
// runs that files get.
class cluster_uses {
public:
    struct inputs {
        const log_store& log;                  // in the order of its LSNs
        const std::vector<bool>& rolled_back;  // by position of a record
        const file_history& history;
        std::uint32_t cluster_size;  // bytes
        std::uint64_t most_runs;     // that are kept of files
    };
    explicit cluster_uses(const inputs& from);

    // Whether the transaction clears the bits of all clusters, or sets them.
    bool clears_all(std::uint32_t transaction, std::span<const cluster_run> runs) const;
    bool sets_all(std::uint32_t transaction, std::span<const cluster_run> runs) const;
    // Whether the log shows $Bitmap, so that what it does not give to a file is free.
    bool shows_bitmap() const { return m_shows_bitmap; }
    // The log gives more clusters to files than are kept.
    bool incomplete() const { return m_incomplete; }
    // How many clusters records after that position give to files.
    cluster_share given_after(std::uint32_t position, std::span<const cluster_run> runs) const;

private:
    struct extent {
        std::uint64_t begin;  // clusters of the volume
        std::uint64_t end;
        std::uint32_t when;  // the transaction, or the position in the log
    };
    using extent_list = std::vector<extent>;
    struct bounds {
        std::uint32_t lowest = 0;
        std::uint32_t highest = 0;
    };

    void read_bitmap(const inputs& from, extent_list& given);
    void index_given(extent_list given);
    bounds given_within(std::uint64_t begin, std::uint64_t end) const;

    bool m_shows_bitmap = false;
    bool m_incomplete = false;
    extent_list m_cleared;                // by transaction, then place; none over one another
    extent_list m_set;                    // likewise
    std::vector<std::uint64_t> m_places;  // where what was ever given begins or ends, in order
    // From 1, when what lies from each place to the next was given last: a tree, whose leaves are its second half.
    std::vector<bounds> m_given;
};

}  // namespace kest
