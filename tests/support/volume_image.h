#pragma once

// Volumes and disks as they lie in an image. Clusters have 4096 bytes, sectors 512.

#include "support/mft_image.h"

namespace kest::disk {

constexpr std::size_t cluster = 4096;  // bytes

struct cluster_run {
    u64 clusters;
    std::optional<u64> lcn = {};  // none: a hole
};
inline bytes pairs(const std::vector<cluster_run>& runs) {
    bytes out;
    u64 last = 0;
    for (const cluster_run& r : runs) {
        append(out, r.lcn ? pack(u8{0x88}, r.clusters, *r.lcn - last) : pack(u8{0x08}, r.clusters));
        last = r.lcn.value_or(last);
    }
    out.push_back(0);
    return out;
}

// A $DATA attribute of so many bytes, all of them written.
inline bytes data_in(const std::vector<cluster_run>& runs, u64 size, const attribute_head& more = {}) {
    attribute_head head = more;
    head.real_size = head.initialized_size = size;
    return nonresident(0x80, pairs(runs), head);
}

// A volume with a log and a journal: the boot sector; the MFT, 32 records from cluster 4 on; copies of its first four
// at 2; the log at 100; the journal at 200; the copy of the boot sector in a sector of its own.
struct volume_image {
    bytes log = {};
    bytes journal = {};
    u64 clusters = 300;
    u64 claimed_sectors = clusters * 8;
    std::vector<cluster_run> mft_runs = {{8, 4}};
    std::vector<cluster_run> log_runs = {{16, 100}};
    std::vector<cluster_run> journal_runs = {{2, 200}};
    u64 journal_hole = 0;  // bytes of the journal before its data
    std::vector<bytes> mft_attributes = {data_in(mft_runs, 32 * 1024)};
    std::vector<bytes> journal_attributes = {data_in(journal_runs, journal_hole + journal.size(), {.name = u"$J"})};
    std::vector<file_record> more = {};  // records

    bytes boot() const {
        return pack(u8{0xEB}, u16{0x9052}, at{3}, u64{0x202020205346544E}, u16{512}, u8{8}, at{40}, claimed_sectors,
                    u64{4}, u64{2}, u8{0xF6}, at{510}, u16{0xAA55});
    }
    std::vector<file_record> records() const {
        const bytes entry = pack(u64{0x0001'0000'0000'0018}, u16{16 + 66 + 16}, u16{66 + 16}, u32{0},
                                 name_image{.parent = 11, .name = u"$UsnJrnl"}.value());
        const bytes end = pack(u64{0}, u16{16}, u16{0}, u32{2});
        const bytes root = pack(u32{0x30}, u32{1}, u32{4096}, u32{1}, u32{16}, u32{16 + 98 + 16}, at{32}, entry, end);
        std::vector<file_record> out = {
            {.number = 0, .attributes = mft_attributes},
            {.number = 2, .attributes = {data_in(log_runs, log.size())}},
            {.number = 11, .flags = 3, .attributes = {resident(0x90, root, {.name = u"$I30"})}},
            {.number = 24, .attributes = journal_attributes}};
        out.insert(out.end(), more.begin(), more.end());
        return out;
    }
    bytes mft() const { return mft_image(records(), 32); }
    bytes image() const {
        bytes out = pack(boot(), at{2 * cluster}, part(mft(), 0, 4096), at{4 * cluster}, mft(), at{100 * cluster}, log,
                         at{200 * cluster}, journal, at{clusters * cluster}, boot());
        return out;
    }
};

struct partition_image {
    u32 first;  // sector
    u32 sectors;
    u8 type = 7;
};
inline bytes partition_table(const std::vector<partition_image>& partitions) {
    bytes out(512);
    for (std::size_t k = 0; k < partitions.size(); ++k)
        lay(out, 446 + 16 * k, pack(u32{0}, partitions[k].type, at{8}, partitions[k].first, partitions[k].sectors));
    put(out, 510, u16{0xAA55});
    return out;
}

}  // namespace kest::disk
