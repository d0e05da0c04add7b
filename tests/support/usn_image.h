#pragma once

// Change journal records as they lie on disk, and journal files. Offsets and values are spelled out here on their own,
// so that a wrong one shows as a difference to the program. All integers are little-endian.

#include <optional>
#include <string>

#include "support/log_image.h"

namespace kest::disk {

// A journal record of version 2, 3 or 4, padded to 8 bytes. Version 4 has no time, name or attributes.
struct usn_image {
    std::uint16_t version = 2;
    std::uint16_t minor_version = 0;
    std::uint64_t file = 0x0003'0000'0000'0028;
    std::uint64_t parent = 0x0005'0000'0000'0005;
    std::uint64_t usn = 0x140000;
    std::uint64_t time = 130'000'000'000'000'000;
    std::uint32_t reason = 0x100;
    std::uint32_t attributes = 0x20;
    std::u16string name = u"a.txt";
    std::optional<std::uint32_t> length = {};       // as stated; without it, what the record really has
    std::optional<std::uint16_t> name_length = {};  // likewise, in bytes
    std::optional<std::uint16_t> name_offset = {};

    bytes image() const {
        const std::size_t references = version == 2 ? 8 : 16;  // width of each
        const std::size_t behind = 8 + 2 * references;
        const std::size_t name_begin = behind + 36;
        bytes out(version == 4 ? 80 : padded(name_begin + 2 * name.size()));
        put<std::uint32_t>(out, 0, length.value_or(static_cast<std::uint32_t>(out.size())));
        put<std::uint16_t>(out, 4, version);
        put<std::uint16_t>(out, 6, minor_version);
        put<std::uint64_t>(out, 8, file);
        put<std::uint64_t>(out, 8 + references, parent);
        put<std::uint64_t>(out, behind, usn);
        if (version != 4) put<std::uint64_t>(out, behind + 8, time);
        const std::size_t words = version == 4 ? 48 : behind + 16;
        put<std::uint32_t>(out, words, reason);
        put<std::uint32_t>(out, words + 4, 2);  // source information
        if (version == 4) return out;
        put<std::uint32_t>(out, words + 8, 0x107);  // security id
        put<std::uint32_t>(out, words + 12, attributes);
        put<std::uint16_t>(out, words + 16, name_length.value_or(static_cast<std::uint16_t>(2 * name.size())));
        put<std::uint16_t>(out, words + 18, name_offset.value_or(static_cast<std::uint16_t>(name_begin)));
        for (std::size_t i = 0; i < name.size(); ++i) {
            put<std::uint16_t>(out, name_begin + 2 * i, name[i]);
        }
        return out;
    }
};

// Records and zeros, one behind the other.
struct journal_image {
    bytes image = {};

    journal_image& record(const usn_image& r) {
        lay(image, image.size(), r.image());
        return *this;
    }
    journal_image& zeros_up_to(std::size_t offset) {
        image.resize(offset);
        return *this;
    }
};

}  // namespace kest::disk
