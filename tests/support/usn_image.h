#pragma once

// Change journal records as they lie on disk, and journal files. Spelled out like the logs of log_image.h.

#include <optional>
#include <string>

#include "support/log_image.h"

namespace kest::disk {

// A journal record of version 2, 3 or 4, padded to 8 bytes. Version 4 has no time, name or attributes.
struct usn_image {
    u16 version = 2;
    u16 minor_version = 0;
    u64 file = 0x0003'0000'0000'0028;
    u64 parent = 0x0005'0000'0000'0005;
    u64 usn = 0x140000;
    u64 time = 130'000'000'000'000'000;
    u32 reason = 0x100;
    u32 source = 2;
    u32 security_id = 0x107;
    u32 attributes = 0x20;
    std::u16string name = u"a.txt";
    std::optional<u32> length = {};       // as stated; without it, what the record really has
    std::optional<u16> name_length = {};  // likewise, in bytes
    std::optional<u16> name_offset = {};

    bytes image() const {
        const std::size_t width = version == 2 ? 8 : 16;  // of a reference
        const std::size_t name_begin = 44 + 2 * width;
        const std::size_t size = version == 4 ? 80 : padded(name_begin + 2 * name.size());
        const bytes head =
            pack(length.value_or(size), version, minor_version, file, at{8 + width}, parent, at{8 + 2 * width}, usn);
        if (version == 4) return pack(head, reason, source, at{size});
        return pack(head, time, reason, source, security_id, attributes, name_length.value_or(2 * name.size()),
                    name_offset.value_or(name_begin), name, at{size});
    }
};

}  // namespace kest::disk
