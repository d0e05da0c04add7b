#pragma once

// A file of a volume, and what file records and the log show of it.

#include <bit>
#include <chrono>
#include <map>
#include <utility>

#include "support/mft_image.h"

namespace kest::disk {

namespace types {
inline constexpr u32 standard_information = 0x10, attribute_list = 0x20, file_name = 0x30, object_id = 0x40,
                     data = 0x80, index_root = 0x90, index_allocation = 0xA0, bitmap = 0xB0, reparse_point = 0xC0;
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

template <class integer>
integer read(const bytes& image, std::size_t offset) {
    integer value{};
    std::memcpy(&value, image.data() + offset, sizeof value);
    return value;
}

struct cluster_run {
    u64 lcn, clusters;
};

inline u64 clusters_of(const std::vector<cluster_run>& runs) {
    u64 sum = 0;
    for (const cluster_run& r : runs)
        sum += r.clusters;
    return sum;
}

// An attribute with these runs, each further on than the one before; one at cluster 0 is a hole.
inline bytes in_clusters(u32 type, u16 id, std::u16string_view name, const std::vector<cluster_run>& runs = {},
                         u64 size = 0) {
    bytes pairs;
    for (u64 before = 0; const cluster_run& r : runs) {
        const u64 step = r.lcn == 0 ? 0 : r.lcn - std::exchange(before, r.lcn);
        const std::size_t length_width = (std::bit_width(r.clusters) + 7) / 8;
        const std::size_t step_width = step == 0 ? 0 : std::bit_width(step) / 8 + 1;  // signed
        append(pairs, pack(static_cast<u8>(length_width | step_width << 4), part(pack(r.clusters), 0, length_width),
                           part(pack(step), 0, step_width)));
    }
    const u64 clusters = clusters_of(runs);
    return nonresident(type, pack(pairs, u8{0}),
                       {.name = name,
                        .id = id,
                        .last_vcn = clusters - 1,
                        .allocated_size = clusters * 4096,
                        .real_size = size,
                        .initialized_size = size});
}

struct file_times {
    u64 created = {}, modified = {}, changed = {}, accessed = {};

    bytes image() const { return pack(created, modified, changed, accessed); }
};

// Ends a list of index entries.
inline const bytes index_end_entry = pack(u64{0}, u32{16}, u32{2});

// A file as its file record tells it.
struct volume_file {
    u32 number = {};
    u16 sequence = 1;
    bool in_use = true;
    bool directory = false;
    bool large_index = false;  // the directory's entries lie in clusters
    u64 base = {};             // an extension record: reference of its base
    std::u16string part = {};  // name of the system's own stream in it, or, without runs, of its index
    std::vector<name_image> names = {};
    file_times times = {};
    u32 attributes = {};
    u32 security_id = 0x105;
    u64 size = {};
    std::vector<cluster_run> runs = {};  // empty: the data is resident
    u64 lsn = {};
    u64 usn = {};
    u32 reasons = {};                              // of the journal, since it was last closed
    std::vector<bytes> further = {};               // attributes, whole
    u16 next_id = 10;                              // of an attribute
    std::map<std::u16string, bytes> entries = {};  // of a directory, by name
    std::vector<bytes> logged = {};                // the attributes as the log has left them

    u64 reference() const { return number | u64{sequence} << 48; }
    u64 index_lcn() const { return 8000 + number % 4000; }  // of a large index

    // What names repeat of the file.
    bytes copy() const {
        return pack(times.image(), runs.empty() ? padded(size) : clusters_of(runs) * 4096, size, attributes, u32{0});
    }

    bytes index_entry(const name_image& name) const {
        const bytes key = name.value();
        const std::size_t length = padded(16 + key.size());
        return pack(reference(), static_cast<u16>(length), static_cast<u16>(key.size()), u32{0}, key, at{length});
    }

    bytes all_entries() const {
        bytes all;
        for (const auto& [name, entry] : entries)
            append(all, entry);
        return pack(all, index_end_entry);
    }

    bytes data_attribute() const {
        if (!runs.empty()) return in_clusters(types::data, 3, part, runs, size);
        bytes content(size);
        for (std::size_t i = 0; i < content.size(); ++i)
            content[i] = static_cast<u8>("The quick brown fox. "[(i + number) % 21]);
        return resident(types::data, content, {.id = 3});
    }

    void append_index(std::vector<bytes>& out) const {
        const bytes shown = large_index ? index_end_entry : all_entries();
        const auto length = static_cast<u32>(16 + shown.size());
        const u32 type = part.empty() ? types::file_name : 0;
        const auto head = pack(type, u32{1}, u32{4096}, u32{1}, u32{16}, length, length, u32{large_index});
        out.push_back(resident(types::index_root, pack(head, shown),
                               {.name = part.empty() ? u"$I30" : part, .id = static_cast<u16>(large_index ? 7 : 4)}));
        if (!large_index) return;
        out.push_back(in_clusters(types::index_allocation, 5, u"$I30", {{index_lcn(), 1}}, 4096));
        out.push_back(resident(types::bitmap, pack(u64{1}), {.name = u"$I30", .id = 6}));
    }

    // In the order in which they stand in the record.
    std::vector<bytes> all_attributes() const {
        std::vector<bytes> all;
        if (!names.empty()) {
            all.push_back(resident(types::standard_information,
                                   pack(times.image(), attributes & 0xFFFF, at{52}, security_id, at{64}, usn)));
            for (const name_image& name : names)
                all.push_back(name.attribute());
            if (!directory) all.push_back(data_attribute());
            if (directory || (!part.empty() && runs.empty())) append_index(all);
        }
        all.insert(all.end(), further.begin(), further.end());
        std::ranges::stable_sort(all, {}, [](const bytes& attribute) { return read<u32>(attribute, 0); });
        return all;
    }

    // Where, as the log has left them, the first attribute of a type begins; their end if there is none.
    std::size_t place_of(u32 type) const {
        std::size_t place = 56;
        for (auto attribute = logged.begin(); attribute != logged.end() && read<u32>(*attribute, 0) < type; ++attribute)
            place += attribute->size();
        return place;
    }

    // The file record up to its end marker, sectors not protected.
    bytes open_record() const {
        bytes out = pack(u32{0x454C4946}, u16{48}, u16{3}, lsn, sequence, static_cast<u16>(names.size()), u16{56},
                         static_cast<u16>((in_use ? 1 : 0) | (directory ? 2 : 0)), at{28}, u32{1024}, base, next_id,
                         at{44}, number, at{56});
        for (const bytes& attribute : all_attributes())
            append(out, attribute);
        append(out, pack(u64{0xFFFFFFFF}));
        put(out, 24, static_cast<u32>(out.size()));
        return out;
    }

    // The whole record, 1024 bytes.
    bytes image() const {
        bytes out = open_record();
        out.resize(1024);
        protect_sectors(out, 48, static_cast<u16>(3 + number % 5));
        return out;
    }
};

}  // namespace kest::disk
