#pragma once

#include <vector>

#include "mft/inode_record.h"
#include "portable/byte_view.h"

namespace kest {

// Appends the runs of a non-resident attribute, whose stated bytes `attribute` shows. True also if the list ends
// early; false if the attribute cannot hold one. A sparse run stands at the cluster of the run before it.
bool decode_runs(uni::byte_view attribute, std::vector<run_record>& runs);

}  // namespace kest
