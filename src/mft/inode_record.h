#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "mft/file_times.h"
#include "mft/inode_ref.h"

namespace kest {

// One run of a non-resident attribute.
struct run_record {
    std::uint64_t lcn = 0;       // first cluster
    std::uint64_t delta = 0;     // size of the step that led to it, in clusters
    std::uint32_t clusters = 0;  // length, cut to 32 bits
    std::uint64_t vcn = 0;       // first virtual cluster
    bool negative = false;       // the step was backward
};

namespace inode_flags {
inline constexpr std::uint32_t in_use = 1;
inline constexpr std::uint32_t directory = 2;
inline constexpr std::uint32_t system = 4;  // from a journal record's attributes
}  // namespace inode_flags

// One file record as the program knows it.
struct inode_record {
    std::uint64_t inode = 0;     // record number
    std::uint16_t sequence = 0;  // 0: unknown
    bool is_directory = false;
    bool path_set = false;    // `path` holds a value; in `log_inode_records`: the record was unique
    bool path_final = false;  // the path reached the root
    bool in_use = false;
    bool is_base = false;     // read as a complete base record
    std::uint32_t flags = 0;  // inode_flags, and whatever else the file record header says
    std::uint32_t file_attributes = 0;
    std::set<inode_ref> parents = {};  // one for each name; the first is the lowest by the whole value
    std::string name = {};             // UTF-8
    std::string alt_name = {};         // a second name seen for the same file reference
    std::string path = {};             // directories only, ends in its separator; set by `build_paths`
    // On an extension record: its base record. On a base record: the extension records that were read.
    std::set<std::uint64_t> base_records = {};
    std::uint64_t lsn = 0;             // from the file record header
    std::uint64_t usn = 0;             // update sequence number
    file_times si_times = {};          // from $STANDARD_INFORMATION
    file_times fn_times = {};          // from $FILE_NAME
    std::uint64_t allocated_size = 0;  // bytes, from $FILE_NAME
    std::uint64_t real_size = 0;       // bytes, from $FILE_NAME
    std::vector<run_record> index_runs = {};
    std::uint64_t disk_offset = 0;  // bytes, in the MFT file
    // Where the inode store holds this file, on an element of `log_inode_records` that was merged: a position,
    // with the top bit set for a name conflict. 0: none.
    std::uint64_t store_index = 0;

    inode_ref ref() const { return {inode, sequence}; }
    inode_ref first_parent() const { return parents.empty() ? inode_ref{} : *parents.begin(); }
};

}  // namespace kest
