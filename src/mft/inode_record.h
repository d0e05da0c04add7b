#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mft/inode_ref.h"
#include "mft/record_layout.h"
#include "portable/small_values.h"

namespace kest {

// The four times of a file, as FILETIME values; 0 where there is none.
struct file_times {
    std::uint64_t modified = 0;
    std::uint64_t accessed = 0;
    std::uint64_t mft_changed = 0;
    std::uint64_t created = 0;

    std::uint64_t latest() const { return std::max({modified, accessed, mft_changed, created}); }
};

// One of the four, in the order in which they stand on disk; its names in reports.
struct file_time_row {
    std::string_view key, si_key, fn_key;
    std::uint64_t file_times::*time;
};
inline constexpr file_time_row file_time_rows[] = {
    {"created", "si_created", "fn_created", &file_times::created},
    {"modified", "si_modified", "fn_modified", &file_times::modified},
    {"mft_changed", "si_mft_changed", "fn_mft_changed", &file_times::mft_changed},
    {"accessed", "si_accessed", "fn_accessed", &file_times::accessed},
};
static_assert(std::size(file_time_rows) == std::size(standard_information_layout::times));
static_assert(std::size(file_time_rows) == std::size(file_name_layout::times));

// The times of a value, at these offsets.
inline file_times read_times(uni::byte_view value, std::span<const uni::field<std::uint64_t>> offsets) {
    file_times times;
    for (std::size_t at = 0; at < std::size(file_time_rows); ++at)
        times.*file_time_rows[at].time = value.get(offsets[at]);
    return times;
}

// One run of a non-resident attribute.
struct run_record {
    std::uint64_t lcn = 0;       // first cluster
    std::uint32_t clusters = 0;  // length, cut to 32 bits
};

namespace inode_flags {
inline constexpr std::uint32_t in_use = file_record_layout::in_use;
inline constexpr std::uint32_t directory = file_record_layout::directory;
inline constexpr std::uint32_t system = 4;  // from a journal record's attributes
}  // namespace inode_flags

// What is known of few file records.
struct further_facts {
    std::string alt_name = {};  // a second name seen for the same file reference
    // On an extension record: its base record. On a base record: the extension records that were read.
    uni::small_set<std::uint64_t> base_records = {};
    std::vector<run_record> index_runs = {};
};

// One file record as the program knows it. There are as many as an MFT has, so each byte counts.
struct inode_record {
    std::uint64_t inode = 0;     // record number
    std::uint16_t sequence = 0;  // 0: unknown
    bool is_directory : 1 = false;
    bool path_set : 1 = false;    // `path` holds a value
    bool path_final : 1 = false;  // the path reached the root
    bool in_use : 1 = false;
    bool is_base : 1 = false;  // read as a complete base record
    std::uint32_t flags = 0;   // inode_flags, and whatever else the file record header says
    // One for each name, in ascending order of the whole value, so by sequence number first. `add_parent` keeps them
    // few.
    uni::small_set<inode_ref> parents = {};
    std::string name = {};       // UTF-8
    inode_ref name_parent = {};  // the parent of that name, on a record read from an MFT
    uni::shared_text path = {};  // directories only, ends in its separator; set by `build_paths`
    uni::optional_part<further_facts> further = {};
    std::uint64_t lsn = 0;             // from the file record header
    std::uint64_t usn = 0;             // update sequence number
    file_times si_times = {};          // from $STANDARD_INFORMATION
    file_times fn_times = {};          // from $FILE_NAME
    std::uint64_t allocated_size = 0;  // bytes, from $FILE_NAME
    std::uint64_t real_size = 0;       // bytes, from $FILE_NAME

    inode_ref ref() const { return {inode, sequence}; }
    inode_ref first_parent() const { return parents.empty() ? inode_ref{} : *parents.begin(); }
};

// Stands in a path for whatever lies above a folder.
inline constexpr std::string_view unknown_path = "<unk_path>\\";

namespace path_rules {
inline constexpr std::uint64_t root_number = 5;
inline constexpr std::string_view root_text = "[root]";
inline constexpr std::size_t longest = 98'301;  // bytes: three for each unit of the longest path that the system allows
}  // namespace path_rules

inline constexpr std::size_t most_parents = 1024;  // a file has no more names

enum class parent_entry { added, known, no_room };

// Enters a further parent of a file. No room: it has as many as there can be, and this one is not kept.
inline parent_entry add_parent(inode_record& record, inode_ref parent) {
    if (record.parents.size() >= most_parents && !record.parents.contains(parent)) return parent_entry::no_room;
    return record.parents.insert(parent) ? parent_entry::added : parent_entry::known;
}

}  // namespace kest
