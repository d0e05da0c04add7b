#include <algorithm>
#include <new>
#include <numeric>
#include <utility>
#include <vector>

#include "logfile/lsn_layout.h"
#include "logfile/scanner.h"
#include "portable/ordered_index.h"
#include "portable/prefetch.h"
#include "portable/seeded_map.h"

namespace kest {

namespace {

constexpr std::size_t alignment = 8;  // bytes, of records

constexpr std::size_t aligned(std::size_t at) {
    return (at + alignment - 1) / alignment * alignment;
}

// One copy of a page: where it belongs in the log, or in a tail page.
struct page_copy {
    uni::byte_view bytes;
    std::uint64_t file_offset = 0;
    std::uint64_t home = 0;                          // file offset at which it belongs
    std::size_t begin = page_layout::records_begin;  // where records begin, after one that goes on here
    std::uint8_t torn = 0;                           // sectors of which nothing is taken

    std::uint64_t last_lsn() const { return bytes.get(page_layout::last_lsn); }
    std::uint64_t last_end_lsn() const { return bytes.get(page_layout::last_end_lsn); }
};

// Lists those from a position on; before it there are none.
void list_falls(log_store& store, std::size_t from) {
    store.falls.clear();
    for (auto at = static_cast<std::uint32_t>(std::max<std::size_t>(from, 1)); at < store.entries.size(); ++at) {
        if (store.entries[at].this_lsn() <= store.entries[at - 1].this_lsn()) store.falls.push_back(at);
    }
}

class log_completer {
public:
    log_completer(log_store& store, const lsn_layout& layout)
        : m_store(store), m_layout(layout), m_scanned(store.entries.size()) {}

    void run() {
        order_entries(std::exchange(m_store.falls, {}));
        m_proved.resize(m_scanned);
        find_homes();
        const std::vector<std::uint32_t> order = in_order_of_lsns();
        for (std::size_t at = 0; at < order.size(); ++at) {
            const std::size_t next = std::min(at + 1, order.size() - 1);
            walk(m_pages[order[at]], m_pages[order[next]].bytes);
        }
        const std::size_t added = m_store.entries.size() - m_scanned;
        take_out_false_records();
        list_falls(m_store, m_store.entries.size() - added);
        order_entries(std::exchange(m_store.falls, {}));
        m_store.by_lsn = true;
    }

private:
    bool is_record(const page_copy& page, std::size_t at) const {
        const uni::byte_view record = page.bytes.from(at);
        return record.size() >= least_header &&
               m_layout.offset(record.get(record_layout::this_lsn)) == page.home + at &&
               (record_plausible(record, any_lsn) || undo_lies_beyond(record));
    }

    bool is_at_home(const log_entry& entry) const { return m_layout.offset(entry.this_lsn()) == entry.file_offset(); }

    // A tail page is at home elsewhere; after its last record it may have some that were at home where it stands.
    void find_homes() {
        for (const log_page& kept : m_store.record_pages) {
            page_copy page{
                .bytes = kept.bytes, .file_offset = kept.file_offset, .home = kept.file_offset, .torn = kept.torn};
            const bool may_be_copy = kept.file_offset < copies_end * log_page_size && !kept.has_torn_header();
            const std::uint64_t home = may_be_copy ? home_of(page) : page.home;
            if (home != page.home) {
                page_copy copy = page;
                copy.home = home;
                m_pages.push_back(copy);
                page.begin =
                    aligned(std::max<std::size_t>(page.begin, page.bytes.get(page_layout::next_record_offset)));
            }
            if (page.file_offset >= first_record_pages[0] * log_page_size) m_pages.push_back(page);
        }
        std::ranges::stable_sort(m_pages, {}, &page_copy::home);
    }

    bool in_log(std::uint64_t offset) const {
        return offset >= first_record_pages[0] * log_page_size && offset < m_layout.log_size;
    }

    // By the LSN of the last record that begins in the page. Tail pages of version 1 state their own offset instead;
    // where nothing is stated, by the first record that fits. In a page of the log no record may begin at all.
    std::uint64_t home_of(const page_copy& page) const {
        const std::uint64_t stated = page.last_lsn();
        if (in_log(stated) && stated % log_page_size == 0) return stated;
        const std::uint64_t offset = m_layout.offset(stated);
        if (in_log(offset) && page.bytes.u64(offset % log_page_size) == stated) return offset - offset % log_page_size;
        return stated == 0 ? home_of_first_record(page) : page.file_offset;
    }

    std::uint64_t home_of_first_record(page_copy page) const {
        const std::uint64_t file_offset = page.file_offset;
        for (std::size_t at = page_layout::records_begin; at + least_header <= page.bytes.size(); at += alignment) {
            const std::uint64_t offset = m_layout.offset(page.bytes.u64(at));
            if (!in_log(offset) || offset % log_page_size != at) continue;
            page.home = offset - at;
            if (is_record(page, at)) return page.home;
        }
        return file_offset;
    }

    // A record is walked to before the page that it goes on in. Where no record ends between both, the page in which
    // the last one begins comes first.
    std::vector<std::uint32_t> in_order_of_lsns() const {
        std::vector<std::uint32_t> order(m_pages.size());
        std::iota(order.begin(), order.end(), 0);
        std::ranges::stable_sort(order, {}, [this](std::uint32_t at) {
            const page_copy& page = m_pages[at];
            const std::uint64_t offset = m_layout.offset(page.last_lsn());
            return std::pair(page.last_end_lsn(), offset / log_page_size != page.home / log_page_size);
        });
        return order;
    }

    // By LSN, and of equal ones the one at its own offset first: the order must not depend on where the ring ends. A
    // scan leaves a few runs in order, which begin where LSNs fall and are merged.
    void order_entries(std::vector<std::uint32_t> begins) {
        const auto before = [this](const log_entry& a, const log_entry& b) {
            return a.this_lsn() != b.this_lsn() ? a.this_lsn() < b.this_lsn() : is_at_home(a) && !is_at_home(b);
        };
        auto& entries = m_store.entries;
        begins.insert(begins.begin(), 0);
        const auto place = [&](std::size_t run) {
            return entries.begin() + (run < begins.size() ? begins[run] : static_cast<std::ptrdiff_t>(entries.size()));
        };
        while (begins.size() > 1) {
            for (std::size_t run = 0; run + 1 < begins.size(); run += 2) {
                std::inplace_merge(place(run), place(run + 1), place(run + 2), before);
                begins[run / 2] = begins[run];
            }
            if (begins.size() % 2 != 0) begins[begins.size() / 2] = begins.back();
            begins.resize((begins.size() + 1) / 2);
        }
    }

    // Position of the first entry of an LSN, or of the next one, among those that the scan found. Pages follow one
    // another as a rule, and so do their records.
    std::size_t position_of(std::uint64_t lsn) {
        const auto scanned = std::span(std::as_const(m_store.entries)).first(m_scanned);
        m_near = uni::lower_bound_near(scanned, lsn, m_near, &log_entry::this_lsn);
        return m_near;
    }
    bool is_scanned(std::size_t position, std::uint64_t lsn) const {
        return position < m_scanned && m_store.entries[position].this_lsn() == lsn;
    }

    // Nothing is left to ask of a record that the scan found whole at its own offset. Its bytes are not touched again.
    bool is_proved(std::size_t position, std::uint64_t file_offset) const {
        if (position >= m_scanned) return false;
        const log_entry& entry = m_store.entries[position];
        return entry.file_offset() == file_offset && !entry.spanned() && is_at_home(entry);
    }

    // Asks for the next page's bytes while it goes over this one's.
    void walk(const page_copy& page, uni::byte_view next) {
        std::size_t known = position_of(page.bytes.u64(page.begin));
        for (std::size_t at = page.begin; at + least_header <= page.bytes.size();) {
            const std::uint64_t file_offset = page.file_offset + at;
            if (is_torn(page.torn, at, at + least_header)) {
                at += alignment;
                continue;
            }
            if (is_proved(known, file_offset)) {
                const log_entry& entry = m_store.entries[known];
                const std::size_t begin = std::exchange(at, aligned(at + entry.bytes().size()));
                uni::prefetch(next.slice(begin, at - begin).bytes());
                m_proved[known] = true;
                while (is_scanned(known, entry.this_lsn()))
                    ++known;
                m_near = known;
                continue;
            }
            if (!is_record(page, at)) {
                at += alignment;
                continue;
            }
            const uni::byte_view record = page.bytes.from(at);
            const std::size_t size = std::max<std::size_t>(total_length(record), record_layout::payload_begin);
            const bool sound = !is_torn(page.torn, at, std::min(at + size, page.bytes.size()));
            if (sound && size <= record.size()) {
                keep(record);
            } else if (sound && join(page, record, size)) {
                keep_joined(file_offset);
            }
            at = aligned(at + size);
            known = position_of(page.bytes.u64(at));
        }
    }

    // Gathers a record over page ends into `m_joined`. Pages are found by their offset; of several copies of one the
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
        if (is_torn(page.torn, 0, page_layout::records_begin + std::min<std::size_t>(missing, page_data))) return false;
        if (missing > page_data) return page.last_lsn() == lsn;
        if (page.last_end_lsn() == lsn) return true;
        const std::size_t end = aligned(page_layout::records_begin + missing);
        return page.last_end_lsn() > lsn && is_record(page, end) && page.bytes.u64(end) > lsn &&
               m_layout.round(page.bytes.u64(end)) <= m_layout.round(lsn) + 1;
    }

    void keep(uni::byte_view record) {
        const std::uint64_t lsn = record.get(record_layout::this_lsn);
        if (const std::size_t known = position_of(lsn); is_scanned(known, lsn)) {
            m_proved[known] = true;
        } else if (bool& added = m_added[lsn]; !added) {
            added = add_record(m_store, record);
        }
    }

    // What the scan has joined wrongly is mended.
    void keep_joined(std::uint64_t file_offset) {
        const std::uint64_t lsn = uni::byte_view(m_joined).get(record_layout::this_lsn);
        const std::size_t known = position_of(lsn);
        const bool scanned = is_scanned(known, lsn);
        if (scanned) {
            m_proved[known] = true;
            const log_entry& entry = m_store.entries[known];
            if (!entry.spanned() || std::ranges::equal(entry.bytes().bytes(), m_joined)) return;
        } else if (std::exchange(m_added[lsn], true)) {
            return;
        }
        if (scanned) {
            log_entry& entry = m_store.entries[known];
            entry = m_store.memory.keep_joined(std::span(m_joined), entry.file_offset());
        } else {
            add_joined_record(m_store, std::span(m_joined), file_offset);
        }
    }

    // What stands where its LSN says and was not walked to lies within another record, or goes on nowhere over its page
    // end and was joined with bytes of another round.
    void take_out_false_records() {
        std::size_t next = 0;
        std::erase_if(m_store.entries, [&](const log_entry& entry) {
            const std::size_t at = next++;
            return at < m_scanned && !m_proved[at] && is_at_home(entry);
        });
    }

    log_store& m_store;
    const lsn_layout m_layout;
    const std::size_t m_scanned;     // entries that the scan found; what is added stands after them
    std::size_t m_near = 0;          // where an LSN was found last
    std::vector<bool> m_proved;      // of these, by position
    uni::seeded_map<bool> m_added;   // by LSN
    std::vector<page_copy> m_pages;  // by home
    std::vector<std::uint8_t> m_joined;
};

// Of a record over page ends the scan has joined what the next pages of the file hold.
bool lies_in_torn_sector(const log_store& store, const log_entry& entry) {
    std::uint64_t begin = entry.file_offset() % log_page_size;
    std::uint64_t left = entry.bytes().size();
    const auto first =
        std::ranges::lower_bound(store.record_pages, entry.file_offset() - begin, {}, &log_page::file_offset);
    for (auto page = first; page != store.record_pages.end() && left != 0; ++page) {
        const std::uint64_t piece = std::min(left, log_page_size - begin);
        if (is_torn(page->torn, begin, begin + piece)) return true;
        left -= piece;
        begin = page_layout::records_begin;
    }
    return false;
}

// A torn sector is damaged, or of another time than the rest of its page. Another copy of the page may be sound.
void leave_out_torn_sectors(log_store& store) {
    if (std::ranges::none_of(store.record_pages, [](const log_page& page) { return page.torn != 0; })) return;
    std::erase_if(store.entries, [&store](const log_entry& entry) { return lies_in_torn_sector(store, entry); });
    list_falls(store, 0);  // takes no memory: what is left falls no more often
}

// Memory that runs out costs the step that asked for it, and no other.
template <class step>
void attempt(log_store& store, step&& taken) {
    try {
        taken();
    } catch (const std::bad_alloc&) {
        store.incomplete = true;
    }
}

}  // namespace

void complete_log(log_store& store) {
    leave_out_torn_sectors(store);
    if (const auto layout = find_layout(store)) attempt(store, [&] { log_completer(store, *layout).run(); });
    attempt(store, [&] {
        link_chains(store);
        link_cut_chains(store);
        store.volume = find_volume_geometry(store);
    });
}

}  // namespace kest
