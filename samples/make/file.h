#pragma once

// A file of a volume, and what file records and the log show of it.

#include <bit>
#include <chrono>
#include <map>

#include "support/mft_image.h"

namespace kest::disk {

namespace types {
inline constexpr u32 standard_information = 0x10, attribute_list = 0x20, file_name = 0x30, data = 0x80,
                     index_root = 0x90, index_allocation = 0xA0, bitmap = 0xB0, reparse_point = 0xC0;
}  // namespace types

namespace attribute_bits {
inline constexpr u32 read_only = 0x1, hidden = 0x2, system = 0x4, archive = 0x20, reparse = 0x400,
                     directory = 0x10000000;
}  // namespace attribute_bits

// Ticks of 100 nanoseconds since 1601-01-01 UTC.
inline u64 ticks(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second) {
    using namespace std::chrono;
    const auto days = (sys_days{std::chrono::year{year} / month / day} - sys_days{1601y / 1 / 1}).count();
    return ((static_cast<u64>(days) * 24 + hour) * 3600 + minute * 60 + second) * 10000000;
}

struct run {
    u64 lcn, clusters;
};

inline u64 clusters_of(const std::vector<run>& runs) {
    u64 sum = 0;
    for (const run& r : runs)
        sum += r.clusters;
    return sum;
}

// An attribute with these runs.
inline bytes in_clusters(u32 type, u16 id, std::u16string_view name, const std::vector<run>& runs, u64 size) {
    bytes pairs;
    u64 before = 0;
    for (const run& r : runs) {
        const u64 step = r.lcn - before;
        const std::size_t length_width = (std::bit_width(r.clusters) + 7) / 8;
        const std::size_t step_width = std::bit_width(r.lcn < before ? ~step : step) / 8 + 1;
        append(pairs, {static_cast<u8>(length_width | step_width << 4)});
        append(pairs, pack(part(pack(r.clusters), 0, length_width), part(pack(step), 0, step_width)));
        before = r.lcn;
    }
    const u64 clusters = clusters_of(runs);
    attribute_head head{.name = name, .id = id, .last_vcn = clusters - 1};
    head.allocated_size = clusters * 4096;
    head.real_size = head.initialized_size = size;
    return nonresident(type, pack(pairs, u8{0}), head);
}

struct file_times {
    u64 created = {}, modified = {}, changed = {}, accessed = {};

    bytes image() const { return pack(created, modified, changed, accessed); }
};

struct file_name {
    u64 parent = {};  // whole reference
    std::u16string name = {};
    u8 space = 1;  // 1 long, 2 DOS, 3 both
};

// Ends a list of index entries.
inline const bytes index_end_entry = pack(u64{0}, u32{16}, u32{2});

// Where the first attribute of a type begins in a file record; its end if there is none.
inline u16 attribute_place(const bytes& record, u32 type) {
    std::size_t place = 56;
    for (u32 next = 0, length = 0; place + 8 <= record.size(); place += length) {
        std::memcpy(&next, record.data() + place, 4);
        std::memcpy(&length, record.data() + place + 4, 4);
        if (next >= type || length == 0) break;
    }
    return static_cast<u16>(place);
}

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
    u64 index_lcn() const { return 8000 + number % 4000; }  // of a large index

    u64 clusters() const { return clusters_of(runs); }

    bytes standard_information() const {
        const u32 security_id = 0x100 + number % 7;
        return pack(times.image(), attributes & 0xFFFF, at{52}, security_id, at{64}, usn);
    }

    // What a name repeats of the file.
    bytes duplicated_information(const file_times& t) const {
        return pack(t.image(), runs.empty() ? padded(size) : clusters() * 4096, size, attributes, u32{0});
    }

    bytes name_value(const file_name& name) const {
        return pack(name.parent, duplicated_information(name_times), static_cast<u8>(name.name.size()), name.space,
                    name.name);
    }

    bytes name_attribute(const file_name& name) const {
        return resident(types::file_name, name_value(name), {.id = 2, .indexed = 1});
    }

    bytes data_attribute() const {
        if (!runs.empty()) return in_clusters(types::data, 3, {}, runs, size);
        bytes content(size);
        for (std::size_t i = 0; i < content.size(); ++i)
            content[i] = static_cast<u8>("The quick brown fox. "[(i + number) % 21]);
        return resident(types::data, content, {.id = 3});
    }

    bytes index_entry(const file_name& name) const {
        const bytes key = name_value(name);
        const std::size_t length = padded(16 + key.size());
        return pack(reference(), static_cast<u16>(length), static_cast<u16>(key.size()), u32{0}, key, at{length});
    }

    bytes index_root(const bytes& entries) const {
        const auto length = static_cast<u32>(32 + entries.size());
        return resident(types::index_root,
                        pack(types::file_name, u32{1}, u32{4096}, u32{1}, u32{16}, length, length, u32{large_index},
                             entries, index_end_entry),
                        {.name = u"$I30", .id = 4});
    }

    // The file record up to its end marker, sectors not protected. `entries` are what its index root lists.
    bytes open_record(const bytes& entries = {}) const {
        std::map<u32, bytes> all = further;  // they stand in the order of their types
        if (!names.empty()) {
            all[types::standard_information] = resident(types::standard_information, standard_information());
            for (const file_name& name : names)
                append(all[types::file_name], name_attribute(name));
            if (!directory) {
                all[types::data] = pack(data_attribute(), all[types::data]);  // named streams behind it
            } else {
                all[types::index_root] = index_root(entries);
                if (large_index) {
                    all[types::index_allocation] =
                        in_clusters(types::index_allocation, 5, u"$I30", {{index_lcn(), 1}}, 4096);
                    all[types::bitmap] = resident(types::bitmap, pack(u64{1}), {.name = u"$I30", .id = 6});
                }
            }
        }
        bytes out = pack(u32{0x454C4946}, u16{48}, u16{3}, lsn, sequence, static_cast<u16>(names.size()), u16{56},
                         static_cast<u16>((in_use ? 1 : 0) | (directory ? 2 : 0)), at{28}, u32{1024}, base, u16{8},
                         at{44}, number, at{56});
        for (const auto& [type, attribute] : all)
            append(out, attribute);
        append(out, pack(u64{0xFFFFFFFF}));
        put(out, 24, static_cast<u32>(out.size()));
        return out;
    }

    // The whole record, 1024 bytes.
    bytes image(const bytes& entries = {}) const {
        bytes out = open_record(entries);
        out.resize(1024);
        protect_sectors(out, 48, static_cast<u16>(3 + number % 5));
        return out;
    }
};

}  // namespace kest::disk
