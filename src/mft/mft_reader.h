#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "mft/inode_collection.h"

namespace kest {

// Checks the first record of an MFT; on success it stays open in `collection` and `record_size` and `total_size` are
// set. False, with none open, for one that is shorter than 4096 bytes or does not begin with a file record.
[[nodiscard]] bool load_mft(_inode_collection& collection, std::shared_ptr<const uni::byte_source> file);

// The bytes of the record at the offset of this number in the open MFT, repaired. Empty if there is none; a read that
// fails is noted.
std::vector<std::uint8_t> read_record(const _inode_collection& collection, std::uint64_t number);

// Called for each stored record, before it is indexed: record, position in the store, record number.
using mft_record_callback = std::function<void(inode_record&, std::uint32_t, std::uint64_t)>;

// Called as the walk advances: bytes done, bytes in all.
using mft_progress = std::function<void(std::uint64_t, std::uint64_t)>;

// Reads every file record of the open MFT into the store and builds the paths. False if no file is open or no
// directory was found; records may be stored all the same. Where reading stops early what was read stands, and
// `incomplete` is set.
bool walk_mft_records(_inode_collection& collection, const mft_record_callback& callback, const mft_progress& progress);

}  // namespace kest
