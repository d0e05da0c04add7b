#pragma once

// Files, file records and attributes as a volume keeps them, spelled with values of their own.

#include <map>

#include "support/usn_image.h"

namespace kest::disk {

namespace attribute_type {
inline constexpr u32 standard_information = 0x10, attribute_list = 0x20, file_name = 0x30, data = 0x80,
                     index_root = 0x90, index_allocation = 0xA0, bitmap = 0xB0, reparse_point = 0xC0;
}  // namespace attribute_type

// Ticks of 100 nanoseconds since 1601-01-01 UTC.
u64 ticks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second);

namespace attribute_bits {
inline constexpr u32 read_only = 0x1, hidden = 0x2, system = 0x4, archive = 0x20, reparse = 0x400,
                     directory = 0x10000000;
}  // namespace attribute_bits

namespace reasons {
inline constexpr u32 overwritten = 0x1, extended = 0x2, truncated = 0x4, stream_extended = 0x20, created = 0x100,
                     deleted = 0x200, security = 0x800, old_name = 0x1000, new_name = 0x2000, basic_info = 0x8000,
                     hard_link = 0x10000, object_id = 0x80000, reparse = 0x100000, stream = 0x200000,
                     closed = 0x80000000;
}  // namespace reasons

struct run {
    u64 lcn, clusters;
};

struct file_times {
    u64 created = {}, modified = {}, changed = {}, accessed = {};
};

struct file_name {
    u64 parent = {};  // whole reference
    std::u16string name = {};
    u8 space = 1;  // 1 long, 2 DOS, 3 both
};

// A file as its file record tells it.
struct volume_file {
    u32 number = {};
    u16 sequence = 1;
    bool in_use = true;
    bool directory = false;
    bool large_index = false;  // the directory's entries lie in clusters
    u64 base = {};             // an extension record: reference of its base
    std::vector<file_name> names = {};
    file_times times = {};       // of $STANDARD_INFORMATION
    file_times name_times = {};  // of $FILE_NAME
    u32 attributes = {};
    u64 size = {};
    std::vector<run> runs = {};  // empty: the data is resident
    u64 lsn = {};
    u64 usn = {};
    std::map<u32, bytes> further = {};  // attributes by type, whole
    std::vector<u32> children = {};     // of a directory without a large index

    u64 reference() const { return number | u64{sequence} << 48; }
    u64 allocated_size() const;                             // bytes
    u64 index_lcn() const { return 8000 + number % 4000; }  // of a large index

    // Parts of the file that the log shows by themselves.
    bytes standard_information() const;
    bytes duplicated_information(const file_times& times) const;  // what a name repeats of the file
    bytes name_attribute(const file_name& name) const;
    bytes data_attribute() const;
    bytes index_entry(const file_name& name) const;

    // The file record up to its end marker, sectors not protected. `entries` are what its index root lists.
    bytes open_record(const bytes& entries = {}) const;
    // The whole record, 1024 bytes.
    bytes image(const bytes& entries = {}) const;
};

// An attribute, whole, padded to 8 bytes.
bytes resident_attribute(u32 type, u16 id, const bytes& value, std::u16string_view name = {});
// Ends a list of index entries.
inline const bytes index_end_entry = pack(u64{0}, u32{16}, u32{2});
// Where the first attribute of a type begins in a file record; its end if there is none.
u16 attribute_place(const bytes& record, u32 type);

}  // namespace kest::disk
