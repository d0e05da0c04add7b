#pragma once

// File records and MFTs as they lie on disk. Spelled out like the logs of log_image.h.

#include <optional>
#include <string>

#include "support/log_image.h"

namespace kest::disk {

// What attributes have besides their value. `names` lie at 24 in a resident attribute, at 64 or 72 in another.
struct attribute_head {
    std::u16string_view name = {};
    u16 id = {};
    u16 flags = {};
    u8 indexed = {};  // resident
    u64 first_vcn = {}, last_vcn = {};
    u64 allocated_size = {}, real_size = {}, initialized_size = 4096;
    std::optional<u64> compressed_size = {};
};

// An attribute with its value in the record, padded to 8 bytes.
inline bytes resident(u32 type, const bytes& value, const attribute_head& head = {}) {
    const std::size_t begin = padded(24 + 2 * head.name.size());
    const std::size_t length = padded(begin + value.size());
    return pack(type, static_cast<u32>(length), u8{0}, static_cast<u8>(head.name.size()), u16{24}, head.flags, head.id,
                static_cast<u32>(value.size()), static_cast<u16>(begin), head.indexed, at{24}, head.name, at{begin},
                value, at{length});
}

// An attribute whose value lies in clusters: each run is a byte of widths, its length and the step from the run before.
inline bytes nonresident(u32 type, const bytes& runs, const attribute_head& head = {}) {
    const u16 name_begin = head.compressed_size ? 72 : 64;
    const std::size_t begin = padded(name_begin + 2 * head.name.size());
    const std::size_t length = padded(begin + runs.size());
    return pack(type, static_cast<u32>(length), u8{1}, static_cast<u8>(head.name.size()), name_begin, head.flags,
                head.id, head.first_vcn, head.last_vcn, static_cast<u16>(begin),
                u16{head.compressed_size ? u8{4} : u8{0}}, at{40}, head.allocated_size, head.real_size,
                head.initialized_size, head.compressed_size.value_or(0), at{name_begin}, head.name, at{begin}, runs,
                at{length});
}

struct name_image {
    u64 parent = 0x0005'0000'0000'0005;
    std::u16string name = u"a";
    u8 space = 1;  // 2: DOS, 3: both
    u64 real_size = 0;
    // Created 1, modified 2, changed 3, accessed 4.
    bytes copy = pack(u64{1}, u64{2}, u64{3}, u64{4}, u64{4096}, real_size, u64{0});
    u16 id = 0;

    bytes value() const { return pack(parent, copy, static_cast<u8>(name.size()), space, name); }
    bytes attribute() const { return resident(0x30, value(), {.id = id, .indexed = 1}); }
};

// An attribute list whose entries name these file records.
inline bytes list_value(const std::vector<u64>& references, u16 entry_length = 32) {
    bytes out;
    for (const u64 reference : references)
        append(out, pack(u32{0x30}, entry_length, u8{0}, u8{26}, u64{0}, reference, u64{0}));
    return out;
}

struct file_record {
    u32 number = 40;
    u16 sequence = 1;
    u16 flags = 1;  // 1: in use, 2: directory
    u64 base = 0;
    u64 lsn = 0;
    std::vector<bytes> attributes = {name_image{}.attribute()};
    std::size_t size = 1024;
    u16 usa_offset = 48;
    std::optional<u16> usa_count = {};  // as stated; without it, what `size` asks for
    u16 first_attribute = 72;

    bytes image() const {
        bytes out = pack(u32{0x454C4946}, u32{0}, lsn, sequence, at{20}, first_attribute, flags, at{32}, base, u32{0},
                         number, at{72});
        for (const bytes& attribute : attributes)
            append(out, attribute);
        append(out, {0xFF, 0xFF, 0xFF, 0xFF});
        out.resize(size);
        protect_sectors(out, 48, 0x1234);
        put(out, 4, usa_offset);
        put(out, 6, usa_count.value_or(size / 512 + 1));
        return out;
    }
};

// Records one after the other, the first with the number 0; what is not named is zeros.
inline bytes mft_image(const std::vector<file_record>& records, std::size_t count = 8) {
    bytes out(count * records.at(0).size);
    for (const file_record& r : records)
        lay(out, r.number * r.size, r.image());
    return out;
}

}  // namespace kest::disk
