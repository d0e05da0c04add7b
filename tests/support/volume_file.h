#pragma once

// Files, file records, attributes and journal records as a volume keeps them, spelled with values of their own.

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support/log_image.h"

namespace kest::disk {

namespace attribute_type {
inline constexpr std::uint32_t standard_information = 0x10, attribute_list = 0x20, file_name = 0x30, object_id = 0x40,
                               data = 0x80, index_root = 0x90, index_allocation = 0xA0, bitmap = 0xB0,
                               reparse_point = 0xC0;
}  // namespace attribute_type

// Ticks of 100 nanoseconds since 1601-01-01 UTC.
std::uint64_t ticks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second);

namespace attribute_bits {
inline constexpr std::uint32_t read_only = 0x1, hidden = 0x2, system = 0x4, archive = 0x20, reparse = 0x400;
inline constexpr std::uint32_t directory = 0x10000000;
}  // namespace attribute_bits

namespace reasons {
inline constexpr std::uint32_t overwritten = 0x1, extended = 0x2, truncated = 0x4, stream_extended = 0x20,
                               created = 0x100, deleted = 0x200, security = 0x800, old_name = 0x1000, new_name = 0x2000,
                               basic_info = 0x8000, hard_link = 0x10000, object_id = 0x80000, reparse = 0x100000,
                               stream = 0x200000, closed = 0x80000000;
}  // namespace reasons

struct run {
    std::uint64_t lcn = {};
    std::uint64_t clusters = {};
};

struct file_times {
    std::uint64_t created = {}, modified = {}, changed = {}, accessed = {};
};

struct file_name {
    std::uint64_t parent = {};  // whole reference
    std::u16string name = {};
    std::uint8_t space = 1;  // 1 long, 2 DOS, 3 both
};

// A file as its file record tells it.
struct volume_file {
    std::uint32_t number = {};
    std::uint16_t sequence = 1;
    bool in_use = true;
    bool directory = false;
    bool large_index = false;  // the directory's entries lie in clusters
    std::uint64_t base = {};   // an extension record: reference of its base
    std::vector<file_name> names = {};
    file_times times = {};       // of $STANDARD_INFORMATION
    file_times name_times = {};  // of $FILE_NAME
    std::uint32_t attributes = {};
    std::uint64_t size = {};
    std::vector<run> runs = {};  // empty: the data is resident
    std::uint64_t lsn = {};
    std::uint64_t usn = {};
    std::map<std::uint32_t, bytes> further = {};  // attributes by type, whole
    std::vector<std::uint32_t> children = {};     // of a directory without a large index

    std::uint64_t reference() const { return number | std::uint64_t{sequence} << 48; }
};

// Attributes, whole, padded to 8 bytes.
bytes resident_attribute(std::uint32_t type, std::uint16_t id, const bytes& value, std::u16string_view name = {});
bytes nonresident_attribute(std::uint32_t type, std::uint16_t id, const std::vector<run>& runs, std::uint64_t size,
                            std::u16string_view name = {});
bytes mapping_pairs(const std::vector<run>& runs);

// One journal record of version 2, padded to 8 bytes.
struct journal_record {
    std::uint64_t file = {};
    std::uint64_t parent = {};
    std::uint64_t usn = {};
    std::uint64_t time = {};
    std::uint32_t reason = {};
    std::uint32_t attributes = {};
    std::u16string_view name = {};
    bytes image() const;
};

// Parts of files that the log shows by themselves.
bytes standard_information_value(const volume_file& f);
bytes duplicated_information(const volume_file& f, const file_times& times);  // what a name repeats of the file
bytes file_name_attribute(const volume_file& f, const file_name& name);
bytes data_attribute(const volume_file& f);
bytes index_entry(const volume_file& f, const file_name& name);
bytes index_end_entry();
std::uint64_t allocated_size(const volume_file& f);                      // bytes
std::uint64_t index_lcn(const volume_file& directory);                   // of a large index
std::uint16_t attribute_place(const bytes& record, std::uint32_t type);  // the record's end if it has none

// A file record up to its end marker, sectors not protected. `entries` are what its index root lists.
bytes open_record(const volume_file& f, const bytes& entries = {});
// The whole record, 1024 bytes.
bytes file_record_image(const volume_file& f, const bytes& entries = {});

bytes part(const bytes& whole, std::size_t begin, std::size_t end = SIZE_MAX);
void append(bytes& out, const bytes& part);
bytes number_bytes(std::uint64_t value);     // 8 bytes
bytes text_bytes(std::u16string_view text);  // UTF-16

}  // namespace kest::disk
