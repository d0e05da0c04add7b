#include "logfile/whole_log.h"

#include <algorithm>
#include <new>
#include <vector>

#include "logfile/scanner.h"
#include "portable/seeded_map.h"

namespace kest {

namespace {

constexpr std::uint32_t least_header = 48;  // bytes of a record; a page end never splits them
constexpr std::size_t alignment = 8;        // bytes, of records
constexpr std::uint64_t page_data = log_page_size - page_layout::records_begin;  // bytes

constexpr std::size_t aligned(std::size_t at) {
    return (at + alignment - 1) / alignment * alignment;
}

// One copy of a page: at its own place in the log, or in a tail page.
struct page_copy {
    uni::byte_view bytes;
    std::uint64_t file_offset = 0;
    std::uint64_t home = 0;                          // file offset of its own place
    std::size_t begin = page_layout::records_begin;  // where records begin, after one that goes on here

    std::uint64_t last_lsn() const { return bytes.get(page_layout::last_lsn); }
    std::uint64_t last_end_lsn() const { return bytes.get(page_layout::last_end_lsn); }
};

class log_completer {
public:
    log_completer(log_store& store, const lsn_layout& layout)
        : m_store(store), m_layout(layout), m_by_lsn(index_entries(store, &log_entry::this_lsn)) {}

    void run() {
        m_proved.resize(m_store.entries.size());
        place_pages();
        for (const std::uint32_t at : in_order_of_lsns())
            walk(m_pages[at]);
        take_out_false_joins();
    }

private:
    bool is_record(const page_copy& page, std::size_t at) const {
        const uni::byte_view record = page.bytes.from(at);
        if (record.size() < least_header || !record_plausible(record, any_lsn)) {
            if (!undo_lies_beyond(record)) return false;
        }
        return m_layout.place(record.get(record_layout::this_lsn)) == page.home + at;
    }

    // Pages of the record area are at home where they stand, those of the tail where their records say. One in which no
    // record begins stays where it stands: what goes on in it has its LSN.
    void place_pages() {
        for (const log_page& kept : m_store.record_pages) {
            page_copy page{.bytes = kept.bytes, .file_offset = kept.file_offset, .home = kept.file_offset};
            if (may_be_tail_copy(page)) find_home(page);
            m_pages.push_back(page);
        }
        std::ranges::stable_sort(m_pages, {}, &page_copy::home);
    }

    // Says that no record of the page is at home here.
    bool may_be_tail_copy(const page_copy& page) const {
        if (page.file_offset >= copies_end * log_page_size) return false;
        for (std::size_t at = page_layout::records_begin; at + least_header <= page.bytes.size(); at += alignment) {
            if (is_record(page, at)) return false;
        }
        return true;
    }

    // By the first record that fits into a page of the log.
    void find_home(page_copy& page) const {
        page_copy placed = page;
        for (std::size_t at = page_layout::records_begin; at + least_header <= page.bytes.size(); at += alignment) {
            const std::uint64_t place = m_layout.place(page.bytes.u64(at));
            if (place % log_page_size != at || place >= m_layout.log_size ||
                place < first_record_pages[0] * log_page_size) {
                continue;
            }
            placed.home = place - at;
            if (!is_record(placed, at)) continue;
            page = placed;
            return;
        }
    }

    // A record is walked to before the page that it goes on in.
    std::vector<std::uint32_t> in_order_of_lsns() const {
        std::vector<std::uint32_t> order(m_pages.size());
        for (std::uint32_t at = 0; at < order.size(); ++at)
            order[at] = at;
        std::ranges::stable_sort(order, {}, [this](std::uint32_t at) { return m_pages[at].last_end_lsn(); });
        return order;
    }

    void walk(const page_copy& page) {
        for (std::size_t at = page.begin; at + least_header <= page.bytes.size();) {
            if (!is_record(page, at)) {
                at += alignment;
                continue;
            }
            const uni::byte_view record = page.bytes.from(at);
            const std::size_t size = std::max<std::size_t>(total_length(record), record_layout::payload_begin);
            if (size <= record.size()) {
                keep(record.slice(0, size), page.file_offset + at, false);
            } else if (join(page, record, size)) {
                const auto& block = m_store.blocks.emplace_back(m_joined.size());
                std::ranges::copy(m_joined, block.bytes().begin());
                keep(block.bytes(), page.file_offset + at, true);
            }
            at = aligned(at + size);
        }
    }

    // Gathers a record over page ends into `m_joined`. Pages are found by their place; of several copies of one the
    // first counts in which this record goes on. False if there is none.
    bool join(const page_copy& page, uni::byte_view record, std::size_t size) {
        m_joined.assign(record.bytes().begin(), record.bytes().end());
        const std::uint64_t lsn = record.get(record_layout::this_lsn);
        for (std::uint64_t home = page.home; m_joined.size() < size;) {
            page_copy* const next = next_page(home, lsn, size - m_joined.size());
            if (next == nullptr) return false;
            const uni::byte_view piece = next->bytes.slice(page_layout::records_begin, size - m_joined.size());
            m_joined.insert(m_joined.end(), piece.bytes().begin(), piece.bytes().end());
            home = next->home;
        }
        return true;
    }

    page_copy* next_page(std::uint64_t home, std::uint64_t lsn, std::size_t missing) {
        if (home + log_page_size < m_layout.log_size) return next_copy(home + log_page_size, lsn, missing);
        for (const std::uint64_t first : first_record_pages) {
            if (page_copy* const found = next_copy(first * log_page_size, lsn, missing)) return found;
        }
        return nullptr;
    }

    page_copy* next_copy(std::uint64_t home, std::uint64_t lsn, std::size_t missing) {
        page_copy* found = nullptr;
        for (auto at = std::ranges::lower_bound(m_pages, home, {}, &page_copy::home);
             at != m_pages.end() && at->home == home; ++at) {
            if (!goes_on(*at, lsn, missing)) continue;
            at->begin = aligned(page_layout::records_begin + std::min<std::size_t>(missing, page_data));
            if (found == nullptr) found = &*at;
        }
        return found;
    }

    // Says whether a record goes on in a page: it fills the page, it is the last one to end there, or the next one
    // follows.
    bool goes_on(const page_copy& page, std::uint64_t lsn, std::size_t missing) const {
        if (missing > page_data) return page.last_lsn() == lsn;
        if (page.last_end_lsn() == lsn) return true;
        const std::size_t end = aligned(page_layout::records_begin + missing);
        return page.last_end_lsn() > lsn && is_record(page, end) && page.bytes.u64(end) > lsn &&
               m_layout.round(page.bytes.u64(end)) <= m_layout.round(lsn) + 1;
    }

    void keep(uni::byte_view record, std::uint64_t file_offset, bool spanned) {
        const std::uint64_t lsn = record.get(record_layout::this_lsn);
        if (const auto known = m_by_lsn.find(lsn)) {
            log_entry& entry = m_store.entries[*known];
            if (entry.spanned && spanned) entry = make_log_entry(record, entry.file_offset, true);
            m_proved[*known] = true;
        } else if (bool& added = m_added[lsn]; !added) {
            added = add_record(m_store, record, file_offset, spanned);
        }
    }

    // A record over a page end that stands where its LSN says, and that goes on nowhere, was joined with bytes of
    // another round.
    void take_out_false_joins() {
        std::size_t kept = 0;
        for (std::size_t at = 0; at < m_store.entries.size(); ++at) {
            const log_entry& entry = m_store.entries[at];
            const bool of_scan = at < m_proved.size();
            const bool proves_itself = m_layout.place(entry.this_lsn) == entry.file_offset;
            if (of_scan && entry.spanned && proves_itself && !m_proved[at]) continue;
            m_store.entries[kept++] = m_store.entries[at];
        }
        m_store.entries.resize(kept);
    }

    log_store& m_store;
    const lsn_layout m_layout;
    const uni::sealed_index m_by_lsn;  // of what the scan found
    std::vector<bool> m_proved;        // likewise, by position
    uni::seeded_map<bool> m_added;     // by LSN
    std::vector<page_copy> m_pages;    // by home
    std::vector<std::uint8_t> m_joined;
};

}  // namespace

void complete_log(log_store& store) {
    try {
        if (const auto layout = stated_layout(store)) log_completer(store, *layout).run();
    } catch (const std::bad_alloc&) {
        store.incomplete = true;
    }
    store.chain_heads.clear();
    store.chain_records.clear();
    link_chains(store);
    link_cut_chains(store);
}

}  // namespace kest
