#include "events/volume_events.h"

#include <algorithm>
#include <array>

#include "logfile/lsn_layout.h"

namespace kest {

namespace {

// The data of a client's restart record, which older systems write without the last fields.
namespace client_layout {
constexpr std::uint32_t data = record_layout::client_begin;
constexpr std::array<uni::field<std::uint64_t>, 4> tables = {{{data + 16}, {data + 24}, {data + 32}, {data + 40}}};
constexpr uni::field<std::uint64_t> next_usn{data + 64};
constexpr uni::field<std::uint64_t> mount_lsn{data + 72};
}  // namespace client_layout

// A checkpoint without tables: nothing was under way on the volume.
bool is_empty_checkpoint(const log_entry& entry) {
    return std::ranges::all_of(client_layout::tables, [&entry](const auto& table) { return entry.get(table) == 0; });
}

class restart_reader {
public:
    explicit restart_reader(const log_store& log) : m_log(log), m_layout(find_layout(log)) {}

    std::vector<volume_event> read() {
        m_records = m_log.restart_records;
        std::ranges::stable_sort(m_records, {}, [this](std::uint32_t at) { return m_log.entries[at].this_lsn(); });
        for (const std::uint32_t at : m_records) {
            read_mount(at);
            read_usn(at);
            m_last = &m_log.entries[at];
        }
        return std::move(m_events);
    }

private:
    void read_mount(std::uint32_t at) {
        const log_entry& entry = m_log.entries[at];
        const std::uint64_t lsn = entry.get(client_layout::mount_lsn);
        if (lsn == 0 || lsn == m_mount_lsn) return;
        volume_event found{.kind = event_kind::mounted, .proof = at, .before = {}, .after = {}};
        found.after.log_state = state_at_mount(lsn);
        m_events.push_back(found);
        m_mount_lsn = lsn;
    }

    // An LSN that states the log's very beginning is of a log that was begun anew.
    std::string_view state_at_mount(std::uint64_t lsn) const {
        if (m_mount_lsn == 0) return "first";
        if (m_layout && m_layout->offset(lsn) == 0) return "new_log";
        return is_empty_checkpoint(*m_last) ? "clean" : "unclean";
    }

    // The next USN of a journal rises; one that was made anew begins low again.
    void read_usn(std::uint32_t at) {
        const std::uint64_t usn = m_log.entries[at].get(client_layout::next_usn);
        if (usn == 0) return;
        if (usn < m_usn) {
            volume_event found{.kind = event_kind::journal_created, .proof = at, .before = {}, .after = {}};
            found.before.next_usn = m_usn;
            found.after.next_usn = usn;
            m_events.push_back(found);
        }
        m_usn = usn;
    }

    const log_store& m_log;
    const std::optional<lsn_layout> m_layout;
    std::vector<std::uint32_t> m_records;  // by LSN
    const log_entry* m_last = nullptr;
    std::uint64_t m_mount_lsn = 0;
    std::uint64_t m_usn = 0;
    std::vector<volume_event> m_events;
};

}  // namespace

std::optional<std::uint16_t> volume_flags_of(std::optional<std::uint32_t> type, const attribute_state& state) {
    constexpr uni::field<std::uint16_t> flags{10};
    if (type != attribute_type::volume_information || !state.value || !state.value->has(0, flags.end()))
        return std::nullopt;
    return state.value->get(flags);
}

std::optional<journal_limit> journal_limit::read(const joined_change& change, const attribute_state& state) {
    constexpr std::size_t size = 32;
    if (change.type() != attribute_type::data || !state.value || state.value->size() != size) return std::nullopt;
    return journal_limit{state.value->u64(0), state.value->u64(8), state.value->u64(16)};
}

std::vector<volume_event> find_volume_events(const log_store& log) {
    return restart_reader(log).read();
}

}  // namespace kest
