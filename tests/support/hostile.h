#pragma once

// Evidence made to keep the program busy, as much of it as is asked for.

#include <utility>

#include "support/damage.h"
#include "support/mft_image.h"

namespace kest::disk::hostile {

// Records laid into pages as they fit, each page with a last LSN of its own above all of theirs.
inline bytes log_of(const std::vector<record>& records) {
    log_image log;
    std::uint64_t last_lsn = 0x1000'0000;
    record_page page;
    std::size_t used = 64;
    for (const record& r : records) {
        if (used + r.size() > 4096) {
            page.last_lsn = ++last_lsn;
            log.page(std::exchange(page, {}));
            used = 64;
        }
        page.records.push_back(r);
        used += r.size();
    }
    page.last_lsn = ++last_lsn;
    return log.page(page).image();
}

// Heads with a member each; the members have one LSN, from which as many further records go on.
inline bytes chains_that_share_a_tail(std::size_t count) {
    std::vector<record> records;
    for (std::uint64_t lsn = 1; lsn <= count; ++lsn) {
        records.push_back({.lsn = lsn});
        records.push_back({.lsn = count + 1, .previous = lsn});
    }
    for (std::uint64_t lsn = count + 2; lsn <= 2 * count + 1; ++lsn) {
        records.push_back({.lsn = lsn, .previous = lsn - 1});
    }
    return log_of(records);
}

// A head, and records each of which is its own predecessor and that of all the others.
inline bytes records_that_name_themselves(std::size_t count) {
    std::vector<record> records(count, record{.lsn = 8, .previous = 8});
    records[0].previous = 0;
    return log_of(records);
}

// A log of one record that spans pages, with these redo bytes.
inline bytes log_of_one(u16 operation, const bytes& redo) {
    log_writer log(1 << 18);
    const u64 head = log.add({.redo_op = operation, .redo = redo});
    log.add({.previous = head});
    return log.image();
}

// A file record as the log holds it, filled with attributes of this type, each of this stated length.
inline bytes record_of_attributes(u32 type, u32 length, std::size_t size = 65'000) {
    bytes out = pack(u32{0x454C4946}, at{16}, u16{1}, u16{1}, u16{48}, u16{1}, at{44}, u32{40});
    while (out.size() < size) {
        lay(out, out.size(), cut(pack(type, length, u16{0}, at{16}, u32{8}, at{length}), length));
    }
    return out;
}

// Index entries of this stated length that hold no key.
inline bytes index_entries(u16 length, u16 key_length, std::size_t size = 65'000) {
    bytes out;
    while (out.size() < size) {
        lay(out, out.size(), pack(u64{0x0001'0000'0000'0028}, length, key_length, u32{0}));
    }
    return out;
}

// Folders each of which lies in the next, the last in the folder with this number.
inline bytes mft_of_folders(std::uint32_t count, std::uint32_t last_parent, std::size_t name_length) {
    std::vector<file_record> records;
    for (std::uint32_t number = 0; number < count; ++number) {
        const std::uint64_t parent = number + 1 < count ? number + 1 : last_parent;
        const name_image name{.parent = 0x0001'0000'0000'0000 | parent, .name = std::u16string(name_length, u'n')};
        records.push_back({.number = number, .flags = 3, .lsn = 100 + number, .attributes = {name.attribute()}});
    }
    return mft_image(records, count);
}

// File records with one attribute each besides the name.
template <class function>
bytes mft_of_files(std::uint32_t count, const function& attribute_of) {
    std::vector<file_record> records;
    for (std::uint32_t number = 0; number < count; ++number) {
        const std::uint16_t flags = number % 8 == 5 ? 3 : 1;
        records.push_back({.number = number,
                           .flags = flags,
                           .lsn = 100 + number,
                           .attributes = {name_image{}.attribute(), attribute_of(number)}});
    }
    return mft_image(records, count);
}

// Attribute lists each of which names as many other file records as it can.
inline bytes mft_of_lists(std::uint32_t count) {
    return mft_of_files(count, [count](std::uint32_t number) {
        std::vector<u64> references;
        for (std::uint32_t step = 1; step <= 24; ++step) {
            references.push_back((number * 24 + step * 7) % count);
        }
        return resident(0x20, list_value(references));
    });
}

// Attributes whose runs claim 2^55 clusters each, far more bytes than 64 bits count.
inline bytes mft_of_claims(std::uint32_t count, u32 type) {
    return mft_of_files(count, [type](std::uint32_t) {
        bytes runs;
        for (u8 step = 1; step <= 80; ++step) {
            lay(runs, runs.size(), {0x17, 0, 0, 0, 0, 0, 0, 0x80, step});
        }
        return nonresident(type, runs, 0, ~u64{0});
    });
}

// Attribute lists outside their records, in one run that shows the MFT's own clusters.
inline bytes mft_of_outer_lists(std::uint32_t count) {
    return mft_of_files(count, [](std::uint32_t number) {
        return nonresident(0x20, {0x21, 64, static_cast<u8>(number), static_cast<u8>(number >> 8 & 0x7F), 0}, 0,
                           262'144);
    });
}

}  // namespace kest::disk::hostile
