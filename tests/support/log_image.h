#pragma once

// NTFS logs as they lie on disk. Offsets and values are spelled out here on their own, so that a wrong one shows as a
// difference to the program. All integers are little-endian.

#include <optional>
#include <string>

#include "support/byte_builder.h"

namespace kest::disk {

// A log record: 48 bytes of header, 40 of client header, redo data, undo data. Both are padded to 8 bytes.
struct record {
    u64 lsn = {};
    u64 previous = {};  // 0: head of a chain
    u64 undo_next = {};
    std::optional<u32> data_length = {};  // as stated; without it, what the record really has
    u32 type = 1;
    u32 transaction = {};
    u16 flags = {};
    u16 redo_op = {};
    u16 undo_op = {};
    std::optional<u16> redo_offset = {};  // as stated, from the client header; likewise the next three
    std::optional<u16> redo_length = {};
    std::optional<u16> undo_offset = {};
    std::optional<u16> undo_length = {};
    u16 target_attribute = {};
    u16 lcns_to_follow = {};
    u16 record_offset = {};
    u16 attribute_offset = {};
    u16 cluster_block = {};
    u16 block_size = {};  // in sectors
    u64 vcn = {};
    u64 lcn = {};
    bytes redo = {};
    bytes undo = {};
    bytes client = {};  // laid over the record from its client header on

    std::size_t size() const { return 88 + padded(redo.size()) + padded(undo.size()); }

    bytes image() const {
        const std::size_t undo_begin = 40 + padded(redo.size());
        return pack(lsn, previous, undo_next, data_length.value_or(size() - 48), at{32}, type, transaction, flags,
                    at{48}, redo_op, undo_op, redo_offset.value_or(40), redo_length.value_or(redo.size()),
                    undo_offset.value_or(undo_begin), undo_length.value_or(undo.size()), at{60}, target_attribute,
                    lcns_to_follow, record_offset, attribute_offset, cluster_block, block_size, at{72}, vcn, lcn,
                    at{88}, redo, at{48 + undo_begin}, undo, at{size()}, at{48}, client);
    }
};

// What a record page begins with. `ending`: a record ends here.
inline bytes page_header(u64 last_lsn, bool ending, std::size_t next_record_offset, u64 last_end_lsn) {
    return pack(u32{0x44524352}, u16{40}, u16{9}, last_lsn, u32{ending}, u16{1}, u16{1},
                static_cast<u16>(next_record_offset), at{32}, last_end_lsn, at{64});
}

// A record page: a 64-byte header, names if it is a tail page, what continues a record of the page before, records.
// What does not fit into 4096 bytes is cut, as a page shows it.
struct record_page {
    u64 last_lsn = {};
    std::optional<u64> last_end_lsn = {};  // without it `last_lsn`: nothing continues past the page
    u16 usa_offset = 40;
    u16 usa_count = 9;
    std::optional<u16> next_record_offset = {};  // without it, where the data ends
    bytes names = {};
    bytes continuation = {};
    std::vector<record> records = {};

    bytes image() const {
        bytes out = pack(at{64}, names, at{64 + padded(names.size())}, continuation);
        for (const record& r : records)
            append(out, r.image());
        const std::size_t end = std::min<std::size_t>(out.size(), 4096);
        lay(out, 0, page_header(last_lsn, true, next_record_offset.value_or(end), last_end_lsn.value_or(last_lsn)));
        out.resize(4096);
        put(out, 4, usa_offset);
        put(out, 6, usa_count);
        protect_sectors(out, 40, 1);
        return out;
    }
};

// A restart page of log version 1.1: page header, restart area at 48, one client named "NTFS".
struct restart_page {
    u64 current_lsn = {};
    u64 oldest_lsn = {};
    u64 file_size = 64 * 1024;
    u32 sequence_bits = {};
    u16 sequence_value = 0x0001;

    bytes image() const {
        const bytes client = pack(oldest_lsn, oldest_lsn, ~u32{0}, at{28}, u32{8}, u"NTFS");  // none before or after
        const bytes area = pack(current_lsn, u16{1}, u16{0xFFFF}, at{16}, sequence_bits, u16{224}, u16{64}, file_size,
                                at{36}, u16{48}, u16{64}, at{64}, client);
        bytes out = pack(u32{0x52545352}, u16{30}, u16{9}, at{16}, u32{4096}, u32{4096}, u16{48}, u16{1}, u16{1},
                         at{48}, area, at{4096});
        protect_sectors(out, 30, sequence_value);
        return out;
    }
};

// One name of the table on a tail page: a value and a zero-ended UTF-16 name that begins with "$".
inline bytes tail_name(u32 value, std::string_view name) {
    return pack(value, std::u16string(name.begin(), name.end()), u16{0});
}

// A log put together page by page.
class log_image {
public:
    log_image& page(const record_page& p) { return raw(p.image()); }
    log_image& restart() { return raw(restart_page{}.image()); }
    log_image& raw(const bytes& page) {
        append(m_image, page);
        return *this;
    }
    const bytes& image() const { return m_image; }

private:
    bytes m_image;
};

// Records laid into pages as they fit, each page with a last LSN of its own above all of theirs.
inline bytes log_of_pages(const std::vector<record>& records) {
    bytes log;
    record_page page{.last_lsn = 0x1000'0000};
    std::size_t used = 64;
    for (const record& r : records) {
        if (used + r.size() > 4096) {
            append(log, page.image());
            page = {.last_lsn = page.last_lsn + 1};
            used = 64;
        }
        page.records.push_back(r);
        used += r.size();
    }
    append(log, page.image());
    return log;
}

// A head that runs on over pages, and a record of its chain.
inline bytes log_of_one(u16 operation, const bytes& redo) {
    const bytes head = record{.lsn = 8, .redo_op = operation, .redo = redo}.image();
    bytes log;
    std::size_t shown = 0;
    for (; head.size() - shown > 4032; shown += 4032)
        append(log,
               record_page{.last_lsn = 8, .last_end_lsn = 0, .continuation = part(head, shown, shown + 4032)}.image());
    append(log, record_page{.last_lsn = 9, .continuation = part(head, shown)}.image());
    append(log, record_page{.last_lsn = 9, .records = {{.lsn = 9, .previous = 8}}}.image());
    return log;
}

}  // namespace kest::disk
