#pragma once

// File records and MFTs as they lie on disk. Spelled out like the logs of log_image.h.

#include <optional>
#include <string>

#include "support/log_image.h"

namespace kest::disk {

// An attribute with its value at 24, padded to 8 bytes.
inline bytes resident(u32 type, const bytes& value) {
    const auto length = static_cast<u32>(padded(24 + value.size()));
    return pack(type, length, u64{0}, static_cast<u32>(value.size()), u16{24}, u16{0}, value, at{length});
}

// An attribute with its run list at 64.
inline bytes nonresident(u32 type, const bytes& runs, u64 first_vcn = 0, u64 initialized_size = 4096) {
    const auto length = static_cast<u32>(padded(64 + runs.size()));
    return pack(type, length, u8{1}, at{16}, first_vcn, at{32}, u16{64}, at{56}, initialized_size, runs, at{length});
}

struct name_image {
    u64 parent = 0x0005'0000'0000'0005;
    std::u16string name = u"a";
    u8 space = 1;  // 2: DOS
    u64 real_size = 0;

    // Created 1, modified 2, changed 3, accessed 4.
    bytes attribute() const {
        return resident(0x30, pack(parent, u64{1}, u64{2}, u64{3}, u64{4}, u64{4096}, real_size, u64{0},
                                   static_cast<u8>(name.size()), space, name));
    }
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

// Records one behind the other, the first with the number 0; what is not named is zeros.
inline bytes mft_image(const std::vector<file_record>& records, std::size_t count = 8) {
    bytes out(count * records.at(0).size);
    for (const file_record& r : records)
        lay(out, r.number * r.size, r.image());
    return out;
}

}  // namespace kest::disk
