#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "history/record_state.h"
#include "logfile/log_store.h"
#include "portable/byte_view.h"
#include "portable/seeded_map.h"

namespace kest {

// The SID of the owner that a self-relative security descriptor names; empty if it names none, or not within its bytes.
uni::byte_view owner_of_descriptor(uni::byte_view descriptor);

// Of an attribute that holds a descriptor.
uni::byte_view owner_in(const attribute_state& descriptor);

// The security descriptors that pass through the log on their way to the $SDS stream of $Secure. File records name them
// by an identifier. Shows the log's bytes.
class security_descriptors {
public:
    // `rolled_back` by position of a record; clusters in bytes.
    security_descriptors(const log_store& log, const std::vector<bool>& rolled_back, std::uint32_t cluster_size);

    // The owner's SID; empty if the log does not hold the descriptor.
    uni::byte_view owner_of(std::optional<std::uint32_t> id) const;

private:
    void add(const log_entry& entry, std::uint32_t cluster_size);

    uni::seeded_map<uni::byte_view> m_owners;  // by identifier; empty where descriptors of one contradict each other
};

}  // namespace kest
