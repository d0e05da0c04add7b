#include "history/file_history.h"

#include <algorithm>
#include <numeric>
#include <tuple>
#include <utility>

#include "journal/usn_record.h"
#include "logfile/lsn_layout.h"
#include "mft/mft_reader.h"
#include "operations/record_fact.h"
#include "portable/portable_thread.h"
#include "portable/radix_sort.h"
#include "portable/seeded_map.h"

namespace kest {

namespace {

using namespace operation_code;

// What may be kept of a step: differences are larger than the log's own bytes, as they hold both sides.
constexpr std::uint64_t kept_for_a_step = 512;
constexpr std::uint64_t kept_for_a_byte = 6;

void prefetch_bytes(uni::byte_view record) {
    uni::prefetch(record.bytes().data());
    uni::prefetch(record.bytes().data() + record_layout::payload_begin);
}

bool changes_file_record(const log_entry& entry) {
    if (!entry.of_client()) return false;
    if (entry.redo_op() > compensation_log_record) return target_of(entry.redo_op()) == operation_target::file_record;
    return entry.undo_op() == initialize_file_record_segment || entry.undo_op() == deallocate_file_record_segment;
}

// What cannot be undone.
bool is_final(const record_step& step) {
    if (step.redo.operation == initialize_file_record_segment) return true;
    if (step.redo.operation == noop || step.redo.operation == zero_end_of_file_record) return false;
    return step.undo.operation == noop || step.undo.operation == compensation_log_record;
}

struct target {
    std::uint32_t number;  // of the file record
    std::uint32_t position;
};

// Whether the record holds an image that calls itself another file record than it is written to: it is no file record's
// of this volume, whatever put it into the log.
bool names_another(const log_entry& entry, std::uint64_t number) {
    const bool redo = entry.redo_op() == operation_code::initialize_file_record_segment;
    if (!redo && entry.undo_op() != operation_code::initialize_file_record_segment) return false;
    const file_record_view image(redo ? exact_redo(entry) : exact_undo(entry));
    const std::optional<std::uint32_t> own = image.has_header() ? image.own_number() : std::nullopt;
    return own && *own != number;
}

// The log's records that change file records, and what LSNs it has.
struct target_list {
    uni::large_vector<target> targets;        // by number, then position
    std::vector<std::uint32_t> transactions;  // of all records, by position
    std::uint64_t lowest_lsn = ~std::uint64_t{0};
    std::uint64_t highest_lsn = 0;
};

target_list find_targets(const history_inputs& inputs, std::uint32_t record_size) {
    const mft_geometry geometry{inputs.geometry.cluster_size(), record_size};
    const auto& entries = inputs.log.entries;
    target_list found;
    found.transactions = number_transactions(inputs.log);
    uni::try_reserve(found.targets, entries.size());
    for (std::uint32_t at = 0; at < entries.size(); ++at) {
        const log_entry& entry = entries[at];
        prefetch_record(inputs.log, at);
        found.lowest_lsn = std::min(found.lowest_lsn, entry.this_lsn());
        found.highest_lsn = std::max(found.highest_lsn, entry.this_lsn());
        if (found.transactions[at] == no_transaction || !changes_file_record(entry)) continue;
        const std::uint32_t stated = stated_record_size(entry);
        if (stated != 0 && stated != record_size) continue;  // no file record of this volume
        const std::uint64_t number = file_record_at(entry, geometry);
        if (number == 0 && (entry.get(record_layout::target_vcn) != 0 || offset_in_cluster(entry) >= record_size))
            continue;
        if (names_another(entry, number)) continue;
        found.targets.push_back({static_cast<std::uint32_t>(number), at});
    }
    uni::radix_sort(found.targets, [](const target& one) { return one.number; });
    return found;
}

bool same_target(const record_step& a, const record_step& b) {
    return a.attribute == b.attribute && a.offset == b.offset && a.transaction == b.transaction;
}

// Replays one file record after another.
class record_replay {
public:
    record_replay(const history_inputs& inputs, std::uint32_t record_size, record_changes& changes,
                  const target_list& all, const log_gaps& gaps)
        : m_inputs(inputs),
          m_changes(changes),
          m_now(record_size),
          m_later(record_size),
          m_copy(record_size),
          m_finder(changes, inputs.with_data),
          m_transactions(all.transactions),
          m_lowest_lsn(all.lowest_lsn),
          m_highest_lsn(all.highest_lsn),
          m_gaps(gaps),
          m_recoverable(inputs.log.entries.size() + few_steps) {}

    // Gives what becomes known of the file record, valid until the next call.
    std::vector<file_moment>& run(std::span<const target> targets) {
        m_number = targets.front().number;
        m_moments.clear();
        add_steps(targets);
        const bool comparable = read_copy();
        replay();
        if (comparable && m_inputs.check) check_copy();
        return m_moments;
    }

    const uncompared_copies& uncompared() const { return m_uncompared; }

    // Only compares the file record with the copy.
    void compare(std::span<const target> targets) {
        m_number = targets.front().number;
        m_is_log_only = false;
        if (!load_copy()) {
            if (has_copy()) ++m_uncompared.unreadable;
            return;
        }
        const auto lsn = [this](const target& one) { return m_inputs.log.entries[one.position].this_lsn(); };
        const auto after = std::ranges::upper_bound(targets, m_copy_lsn, {}, lsn);
        const bool is_older = std::any_of(after, targets.end(), [this](const target& one) {
            return m_inputs.log.entries[one.position].redo_op() != update_file_name_root;
        });
        if (after == targets.begin() || lsn(*std::prev(after)) != m_copy_lsn) {
            if (is_lsn_of_log()) {
                ++m_uncompared.lsn_unknown;
                return;
            }
        } else if (!is_older) {
            add_steps(targets);
            if (read_copy_place()) check_copy();
            return;
        }
        if (is_older) ++m_uncompared.older;
    }

private:
    static constexpr std::size_t nowhere = ~std::size_t{0};
    static constexpr std::size_t few_steps = 4096;

    struct turn {
        replayed_record before;
        record_change change = {};
        std::vector<change_finder::write> writes = {};
        bool running = false;
    };

    void add_steps(std::span<const target> targets) {
        m_steps.clear();
        m_open.clear();
        for (const target& one : targets)
            add_step(one.position);
    }

    void add_step(std::uint32_t position) {
        const log_entry& entry = m_inputs.log.entries[position];
        record_step step(entry);
        step.position = position;
        step.transaction = m_transactions[position];
        step.rolled_back = m_inputs.rolled_back[position];
        step.after_gap =
            !m_steps.empty() && step.found_lsn() != m_steps.back().lsn && gap_between(m_steps.back().lsn, step.lsn);
        m_changes.kept.earn(kept_for_a_step + kept_for_a_byte * entry.bytes().size());
        if (m_inputs.with_data) earn_data();
        if (step.compensates) complete_compensation(step);
        if (step.rolled_back) m_open.push_back(static_cast<std::uint32_t>(m_steps.size()));
        m_steps.push_back(step);
    }

    // Each step may make another version of all that a file record holds.
    void earn_data() {
        const std::size_t earned = std::min(2 * m_now.bytes().size(), m_data_left);
        m_data_left -= earned;
        m_changes.kept_data.earn(earned);
    }

    // A compensation repeats what is to be undone, and does not say what it replaces: the step itself does.
    void complete_compensation(record_step& step) {
        if (m_open.empty()) return;
        const record_step& compensated = m_steps[m_open.back()];
        if (compensated.undo.operation != step.redo.operation || !same_target(compensated, step)) return;
        step.undo = compensated.redo;
        m_open.pop_back();
    }

    // Answers whether the MFT copy is of the moment of the last step.
    bool read_copy() {
        m_copy_is_extension = false;
        return load_copy() && read_copy_place();
    }

    // The MFT copy counts where it lies among the steps: it is what one of them left, or older than all and no older
    // than the log, which has all from there on. Answers whether it is what the last one left: steps that keep the
    // record's LSN may follow.
    bool read_copy_place() {
        const auto after = std::ranges::upper_bound(m_steps, m_copy_lsn, {}, &record_step::lsn);
        const auto next = static_cast<std::size_t>(after - m_steps.begin());
        const bool left_by_step = next != 0 && m_steps[next - 1].lsn == m_copy_lsn;
        const bool is_older = next == 0 && m_copy_lsn >= m_lowest_lsn && !gap_between(m_copy_lsn, m_steps.front().lsn);
        if (left_by_step || is_older) m_copy_at = next;
        return left_by_step && std::all_of(after, m_steps.end(), keeps_lsn);
    }

    // The times and sizes beside a name in an index are written to the file record, but do not give it another LSN.
    static bool keeps_lsn(const record_step& step) { return step.redo.operation == update_file_name_root; }

    bool load_copy() {
        m_copy_at = nowhere;
        if (!m_inputs.inodes.mft_file) return false;
        const std::vector<std::uint8_t> bytes = read_record(m_inputs.inodes, m_number);
        const uni::byte_view record = std::span<const std::uint8_t>(bytes);
        if (record.size() != m_now.bytes().size()) return false;
        m_copy.load(record, true);
        m_copy_is_extension = m_copy.in_use() == true && file_record_view(record).base() != inode_ref{};
        m_copy_lsn = record.get(file_record_layout::lsn);
        return true;
    }

    // Whether the copy reaches as far as the file record.
    bool has_copy() const {
        const _inode_collection& inodes = m_inputs.inodes;
        return inodes.mft_file && inodes.record_size == m_now.bytes().size() &&
               m_number < inodes.total_size / inodes.record_size;
    }

    // Whether the log has what the copy's LSN names, if there is such a record at all.
    bool is_lsn_of_log() {
        if (m_copy_lsn < m_lowest_lsn || m_copy_lsn > m_highest_lsn || !m_gaps) return false;
        const auto gap = first_gap_after(m_copy_lsn);
        return gap == m_gaps->end() || m_copy_lsn <= gap->before;
    }

    // By what the log itself says; from its last gap on, if all of it makes a difference.
    void check_copy() {
        if (!m_is_log_only) redo_from(0);
        const bool may_be_older = m_copy_at != m_steps.size() || gap_after(m_copy_lsn);
        copy_comparison found = compare_with_copy(m_now, m_copy, may_be_older);
        if (found.differs) {
            const auto sound = std::ranges::lower_bound(m_steps, lsn_after_gaps(), {}, &record_step::lsn);
            redo_from(static_cast<std::size_t>(sound - m_steps.begin()));
            found = compare_with_copy(m_now, m_copy, may_be_older);
        }
        if (found.bytes != 0)
            m_inputs.check(
                {m_number, m_steps[m_copy_at - 1].position, m_steps[m_copy_at - 1].transaction, m_now, m_copy}, found);
    }

    void redo_from(std::size_t first) {
        m_now.forget();
        for (std::size_t at = m_steps.size(); at-- > first;) {
            if (m_steps[at].is_image()) first = at;
        }
        for (const record_step& step : std::span(m_steps).subspan(first)) {
            m_now.learn_before(step);
            m_now.redo(step);
        }
    }

    // The log has all from that LSN on to the step that left the copy. Where it cannot be known what it lacks, it is
    // that step's.
    std::uint64_t lsn_after_gaps() {
        if (!m_gaps) return m_copy_lsn;
        const auto gap = first_gap_after(m_copy_lsn);
        return gap != m_gaps->begin() ? std::prev(gap)->after : 0;
    }

    // The gaps are known.
    std::vector<lsn_gap>::const_iterator first_gap_after(std::uint64_t lsn) const {
        return std::ranges::upper_bound(*m_gaps, lsn, {}, &lsn_gap::after);
    }
    // Whether the log lacks something from one LSN on to another.
    bool gap_between(std::uint64_t first, std::uint64_t last) {
        if (!m_gaps) return false;
        const auto gap = first_gap_after(first);
        return gap != m_gaps->end() && gap->after <= last;
    }
    bool gap_after(std::uint64_t lsn) { return !m_gaps || first_gap_after(lsn) != m_gaps->end(); }

    // What can be undone goes together: backward from its end, so that its beginning is known, then forward. What was
    // known before a gap need not be so after it.
    void replay() {
        m_now.forget();
        m_is_log_only = false;
        m_turn.running = m_rolled_back.running = false;
        m_noted = {};
        for (std::size_t begin = 0; begin < m_steps.size();) {
            std::size_t end = begin;
            while (end < m_steps.size() && !is_final(m_steps[end]) && (end == begin || !m_steps[end].after_gap))
                ++end;
            m_end = end;
            m_ends_at_gap = end != begin && end < m_steps.size() && m_steps[end].after_gap;
            m_recoveries = 0;
            if (m_steps[begin].after_gap) pass_gap();
            if (!m_now.complete()) {  // else nothing of it is left to be learned
                go_back(begin, end);
                learn_from(m_later);
            }
            note(lsn_before(begin), false, m_steps[begin].after_gap);
            const std::size_t next = m_ends_at_gap ? end : std::min(end + 1, m_steps.size());
            for (std::size_t at = begin; at < next; ++at)
                go_forward(at);
            begin = next;
        }
        end_turn(m_rolled_back, true);
        end_turn(m_turn, false);
    }

    void pass_gap() {
        end_turn(m_rolled_back, true);
        end_turn(m_turn, false);
        m_now.forget();
        m_is_log_only = false;
    }

    // Since when what is known before a step was so.
    std::uint64_t lsn_before(std::size_t at) const {
        if (at == 0) return 0;
        if (!m_steps[at].after_gap) return m_steps[at - 1].lsn;
        return std::prev(first_gap_after(m_steps[at].lsn))->after - 1;
    }

    void go_back(std::size_t begin, std::size_t end) {
        m_later.forget();
        if (end < m_steps.size() && !m_ends_at_gap) m_later.learn_before(m_steps[end]);
        if (end == m_copy_at) m_later.merge(m_copy);
        for (std::size_t at = end; at-- != begin;) {
            m_later.learn_after(m_steps[at]);
            m_later.undo(m_steps[at]);
            if (copy_holds_before(at)) m_later.merge(m_copy);
        }
    }

    // The copy is what the step found.
    bool copy_holds_before(std::size_t at) const { return at == m_copy_at && !m_steps[at].after_gap; }

    // What is known was forgotten; the steps from here on say something of it yet. All recoveries of a half together go
    // over no more steps than the log has, beyond a few.
    void recover(std::size_t at) {
        constexpr unsigned most = 4;
        if (++m_recoveries > most || m_end - at > m_recoverable) return;
        m_recoverable -= m_end - at;
        go_back(at, m_end);
        learn_from(m_later);
    }

    void learn_from(const replayed_record& state) {
        m_now.merge(state);
        m_is_log_only = false;
    }

    void go_forward(std::size_t at) {
        const record_step& step = m_steps[at];
        if (m_turn.running && step.transaction != m_transaction) {
            end_turn(m_rolled_back, true);
            end_turn(m_turn, false);
        }
        if (!step.rolled_back) end_turn(m_rolled_back, true);
        if (copy_holds_before(at)) learn_from(m_copy);
        if (!m_now.learn_before(step)) recover(at);
        m_transaction = step.transaction;
        begin_turn(m_turn);
        if (step.rolled_back) begin_turn(m_rolled_back);
        const std::optional<bool> was_in_use = m_now.in_use();
        const std::uint32_t was_there = m_now.attribute_at(step.attribute);
        m_now.redo(step);
        m_is_log_only = m_is_log_only || step.is_image();
        if (!step.compensates) count_step(step.rolled_back ? m_rolled_back : m_turn, step, was_there);
        if (step.rolled_back || step.compensates || !changes_identity(step)) return;
        note(step.lsn, was_in_use != true && m_now.in_use() == true);
    }

    void count_step(turn& counted, const record_step& step, std::uint32_t was_there) const {
        record_change& change = counted.change;
        if (change.first == record_change::none) change.first = step.position;
        change.last = step.position;
        if (step.redo.operation == initialize_file_record_segment && change.image == record_change::none) {
            change.image = step.position;
        }
        if (step.redo.operation == deallocate_file_record_segment) change.freed = step.position;
        const bool removes = step.redo.operation == delete_attribute;
        const std::uint32_t attribute = removes ? was_there : m_now.attribute_at(step.attribute);
        if (attribute != 0) counted.writes.push_back({attribute, step.position});
    }

    static bool changes_identity(const record_step& step) { return step.redo.operation <= delete_attribute; }

    void begin_turn(turn& one) {
        if (one.running) return;
        one.before = m_now;
        one.change = {};
        one.writes.clear();
        one.running = true;
    }

    void end_turn(turn& one, bool rolled_back) {
        if (!one.running) return;
        one.running = false;
        if (one.change.first == record_change::none) return;
        one.change.number = static_cast<std::uint32_t>(m_number);
        one.change.transaction = m_transaction;
        one.change.rolled_back = rolled_back;
        m_finder.add(one.change, one.before, m_now, !m_copy_is_extension, one.writes);
    }

    // Puts down whose record it is, where that is news.
    void note(std::uint64_t lsn, bool born, bool after_gap = false) {
        file_moment moment{.lsn = lsn, .name = {}, .header = read_header(m_now)};
        moment.born = born && moment.header.base.value_or(inode_ref{}) == inode_ref{};
        moment.after_gap = after_gap;
        moment.copied = m_now.is_copied(file_record_layout::sequence.offset) &&
                        (moment.header.sequence != m_noted.header.sequence || m_noted.copied);
        if (const auto name = newest_name(m_now)) {
            moment.name = timeline_name(*name->state.file_name());
            moment.name->copied = name->state.copied;
        }
        if (!moment.born && !after_gap && !moment.adds_to(m_noted)) return;
        if (moment.name && moment.name == m_noted.name) {
            moment.name = m_noted.name;
        } else if (moment.name) {
            const auto units = m_changes.kept.keep(moment.name->units());
            if (!units) return;
            moment.name->set_units(*units);
        }
        if (!m_changes.kept.spend(sizeof moment)) return;
        m_noted = moment;
        m_moments.push_back(moment);
    }

    const history_inputs& m_inputs;
    record_changes& m_changes;
    replayed_record m_now;
    replayed_record m_later;
    replayed_record m_copy;
    change_finder m_finder;
    const std::vector<std::uint32_t>& m_transactions;  // by position
    const std::uint64_t m_lowest_lsn;
    const std::uint64_t m_highest_lsn;
    uncompared_copies m_uncompared;
    const log_gaps& m_gaps;

    // Of the file record at hand.
    std::uint64_t m_number = 0;
    std::vector<record_step> m_steps;   // by LSN
    std::vector<std::uint32_t> m_open;  // steps whose compensation is still to come
    std::size_t m_copy_at = nowhere;    // the step that the MFT copy comes before
    std::uint64_t m_copy_lsn = 0;
    bool m_copy_is_extension = false;
    bool m_is_log_only = false;  // what is known is what steps leave on an image
    std::size_t m_end = 0;       // of the piece at hand
    bool m_ends_at_gap = false;
    unsigned m_recoveries = 0;                        // in it
    std::size_t m_data_left = std::size_t{63} << 20;  // bytes, of all file records of a half
    std::size_t m_recoverable;                        // steps that recoveries may still go over
    std::uint32_t m_transaction = 0;
    turn m_turn{replayed_record(0)};
    turn m_rolled_back{replayed_record(0)};
    file_moment m_noted;
    std::vector<file_moment> m_moments;
};

constexpr std::uint64_t no_number = ~std::uint64_t{0};  // higher than any of a file record

// What is known besides the file records: index entries and journal records. Folders are mentioned with each, and noted
// where the last mention was another one's.
class mention_list {
    struct mention {
        std::uint64_t number;  // of the file record
        std::uint32_t fact;
        bool of_folder;
    };

public:
    explicit mention_list(const history_inputs& inputs) : m_inputs(inputs) {
        const std::span<const log_fact> facts = inputs.facts.all();
        std::vector<std::uint32_t> by_position(inputs.log.entries.size(), none);
        for (std::uint32_t at = 0; at < facts.size(); ++at)
            by_position[facts[at].position] = at;
        uni::seeded_map<std::uint16_t> folders;  // sequence numbers, by record number
        uni::try_reserve(m_mentions, 2 * facts.size());
        for (const std::uint32_t at : by_position) {
            if (at == none || facts[at].rolled_back) continue;
            m_mentions.push_back({facts[at].file.number(), at, false});
            const inode_ref parent = parent_of(facts[at]);
            if (parent.sequence() == 0 ||
                std::exchange(folders[parent.number()], parent.sequence()) == parent.sequence())
                continue;  // as it was mentioned last
            m_mentions.push_back({parent.number(), at, true});
        }
        uni::radix_sort(m_mentions, [](const mention& one) { return one.number; });
    }

    // How many there are of file records from one number on, up to another.
    std::size_t count(std::uint64_t first, std::uint64_t next) const {
        const auto begin = std::ranges::lower_bound(m_mentions, first, {}, &mention::number);
        return static_cast<std::size_t>(std::ranges::lower_bound(m_mentions, next, {}, &mention::number) - begin);
    }
    // Gives those of one file record after another, from that of a number on.
    class cursor {
    public:
        cursor(const mention_list& list, std::uint64_t first)
            : m_list(list),
              m_left(std::ranges::lower_bound(list.m_mentions, first, {}, &mention::number), list.m_mentions.end()) {}

        // Of the next file record; none after the last one.
        std::uint64_t number() const { return m_left.empty() ? no_number : m_left.front().number; }
        void take(std::uint64_t number, std::vector<file_moment>& out) {
            constexpr std::size_t distance = 8;
            for (; this->number() == number && !m_left.empty(); m_left = m_left.subspan(1)) {
                if (m_left.size() > distance) m_list.m_inputs.facts.all()[m_left[distance].fact].prefetch();
                out.push_back(m_list.moment_of(m_left.front()));
            }
        }

    private:
        const mention_list& m_list;
        std::span<const mention> m_left;
    };

private:
    static constexpr std::uint32_t none = 0xFFFF'FFFF;

    // A journal record may state the name that a file had before.
    static bool states_name(const log_fact& fact) {
        if (!fact.is_journal_record()) return true;
        const std::uint32_t reasons = fact.usn().get(&usn_layout::reason);
        return (reasons & usn_reasons::old_name) == 0 || (reasons & usn_reasons::new_name) != 0;
    }
    static inode_ref parent_of(const log_fact& fact) {
        if (!states_name(fact)) return {};
        return fact.is_journal_record() ? fact.usn().parent() : fact.name().parent();
    }

    file_moment moment_of(const mention& one) const {
        using sign = file_moment::sign;
        const log_fact& fact = m_inputs.facts.all()[one.fact];
        file_moment moment{
            .lsn = m_inputs.log.entries[fact.position].this_lsn(), .name = {}, .header = {}, .what = sign::mentioned};
        moment.header.sequence = one.of_folder ? parent_of(fact).sequence() : fact.file.sequence();
        moment.header.directory = one.of_folder || fact.names_directory();
        if (one.of_folder) return moment;
        if (!fact.is_journal_record()) {
            moment.what = fact.kind == fact_kind::entry_added ? sign::name_added : sign::name_removed;
            moment.name = timeline_name(fact.name());
        } else if (states_name(fact)) {
            moment.name = timeline_name(fact.usn().parent(), fact.usn().name());
        }
        return moment;
    }

    const history_inputs& m_inputs;
    uni::large_vector<mention> m_mentions;  // by number, then position
};

// The size of a file record, in bytes.
std::uint32_t record_size_of(const history_inputs& inputs) {
    const bool ask_copy = !inputs.geometry.voted_record && inputs.inodes.mft_file != nullptr;
    return ask_copy ? inputs.inodes.record_size : inputs.geometry.record_size();
}

// Calls `visit(targets)` for those of each file record, by LSN: of several with one LSN the first, which a transaction
// has.
template <class visitor>
void for_each_record(const log_store& log, std::span<target> targets, visitor&& visit) {
    constexpr std::ptrdiff_t distance = 8;  // they lie all over the log: asked for before their turn
    const auto lsn = [&log](const target& one) { return log.entries[one.position].this_lsn(); };
    for (auto begin = targets.begin(); begin != targets.end();) {
        auto next = begin;
        bool rises = true;
        for (; next != targets.end() && next->number == begin->number; ++next) {
            const std::ptrdiff_t left = targets.end() - next;
            if (left > 2 * distance) uni::prefetch(&log.entries[next[2 * distance].position]);
            if (left > distance) prefetch_bytes(log.entries[next[distance].position].bytes());
            rises = rises && (next == begin || lsn(*std::prev(next)) < lsn(*next));
        }
        auto end = next;
        if (!rises) {
            std::stable_sort(begin, end, [&](const target& a, const target& b) { return lsn(a) < lsn(b); });
            end = std::unique(begin, end, [&](const target& a, const target& b) { return lsn(a) == lsn(b); });
        }
        visit(std::span<const target>(begin, end));
        begin = next;
    }
}

log_gaps gaps_of(const log_store& log) {
    const auto layout = find_layout(log);
    return layout ? log_gaps(find_gaps(log, *layout)) : std::nullopt;
}

}  // namespace

uncompared_copies compare_copies(const history_inputs& inputs) {
    const std::uint32_t record_size = record_size_of(inputs);
    record_changes changes;
    target_list all = find_targets(inputs, record_size);
    const log_gaps gaps = gaps_of(inputs.log);
    record_replay replay(inputs, record_size, changes, all, gaps);
    for_each_record(inputs.log, all.targets, [&replay](std::span<const target> targets) { replay.compare(targets); });
    return replay.uncompared();
}

file_history::file_history(const history_inputs& inputs) {
    replay(inputs);
    order_changes(inputs.log);
}

// From the order of file records to that of transactions.
void file_history::order_changes(const log_store& log) {
    auto& records = m_changes.records;
    m_first_changes.resize(log.chain_heads.size() + 1);
    for (const record_change& change : records)
        ++m_first_changes[change.transaction + std::size_t{1}];
    std::partial_sum(m_first_changes.begin(), m_first_changes.end(), m_first_changes.begin());
    std::vector<std::uint32_t> next(m_first_changes);
    std::vector<std::uint32_t> order(records.size());
    for (std::uint32_t at = 0; at < records.size(); ++at)
        order[next[records[at].transaction]++] = at;
    const auto key = [&](std::uint32_t at) {
        return std::pair(log.entries[records[at].first].this_lsn(), records[at].rolled_back);
    };
    for (std::size_t number = 0; number + 1 < m_first_changes.size(); ++number) {
        const auto of_transaction =
            std::span(order).subspan(m_first_changes[number], m_first_changes[number + 1] - m_first_changes[number]);
        if (of_transaction.size() > 1) std::ranges::sort(of_transaction, {}, key);
    }
    m_by_number.resize(records.size());
    for (std::uint32_t at = 0; at < order.size(); ++at)
        m_by_number[order[at]] = at;
    next = m_by_number;  // where each belongs
    for (std::uint32_t at = 0; at < next.size(); ++at) {
        while (next[at] != at) {
            std::swap(records[at], records[next[at]]);
            std::swap(next[at], next[next[at]]);
        }
    }
}

namespace {

// Replays some of the file records, and gathers what else is known of them and of those between.
class range_replay {
public:
    range_replay(const history_inputs& inputs, target_list& all, const mention_list& mentions, const log_gaps& gaps)
        : m_inputs(inputs), m_all(all), m_mentions(mentions), m_gaps(gaps), m_record_size(record_size_of(inputs)) {}

    // The targets from `begin` to `end`, which are all of their file records. No other run reads these; `next_number`
    // is that of the file record after them.
    void run(std::size_t begin, std::size_t end, std::uint64_t next_number, record_changes& changes,
             file_timeline& timeline) const {
        const std::span<target> targets = std::span(m_all.targets).subspan(begin, end - begin);
        const std::size_t most = m_all.targets.size() - begin;  // of the first range and what is appended to it
        uni::try_reserve(changes.records, most);
        uni::try_reserve(changes.standards, most);
        uni::try_reserve(changes.attributes, most);
        const std::uint64_t first_number = begin != 0 ? targets.front().number : 0;
        timeline.reserve(targets.size() + m_mentions.count(first_number, next_number));
        mention_list::cursor mentions(m_mentions, first_number);
        std::vector<file_moment> moments;
        const auto add_mentioned = [&](std::uint64_t next) {  // of file records that the log does not write to
            while (mentions.number() < next) {
                moments.clear();
                add(mentions.number(), mentions, moments, timeline);
            }
        };
        record_replay replay(m_inputs, m_record_size, changes, m_all, m_gaps);
        for_each_record(m_inputs.log, targets, [&](std::span<const target> of_record) {
            add_mentioned(of_record.front().number);
            add(of_record.front().number, mentions, replay.run(of_record), timeline);
        });
        add_mentioned(next_number);
    }

private:
    void add(std::uint64_t number, mention_list::cursor& mentions, std::vector<file_moment>& moments,
             file_timeline& timeline) const {
        mentions.take(number, moments);
        if (m_inputs.inodes.mft_file && std::ranges::none_of(moments, &file_moment::says_holder)) {
            // Where the log names no holder at all, the MFT does, unless it was written later.
            const inode_record* const stored = record_in_use(m_inputs.inodes, number);
            const bool counts = stored != nullptr && stored->is_base && stored->lsn <= m_all.highest_lsn;
            for (file_moment& moment : counts ? moments : std::span<file_moment>{}) {
                moment.header.sequence = stored->sequence;
                moment.copied = true;
            }
        }
        if (!moments.empty()) timeline.add(number, moments);
    }

    const history_inputs& m_inputs;
    target_list& m_all;
    const mention_list& m_mentions;
    const log_gaps& m_gaps;
    const std::uint32_t m_record_size;
};

// Records or facts; with fewer for each of two, a thread costs more than it brings.
constexpr std::size_t worthwhile = std::size_t{1} << 14;

// Where the second half of the file records begins, for a thread of its own. A small log is not worth one; an MFT copy
// is read, and shared, by one at a time. Budgets of the halves are their own, so whether there is a thread must not
// matter.
std::size_t middle_of(const history_inputs& inputs, const target_list& all) {
    std::size_t middle = all.targets.size() / 2;
    if (middle < worthwhile || inputs.inodes.mft_file || inputs.with_data) return all.targets.size();
    while (middle < all.targets.size() && all.targets[middle].number == all.targets[middle - 1].number)
        ++middle;
    return middle;
}

}  // namespace

void file_history::replay(const history_inputs& inputs) {
    std::optional<mention_list> mentions;
    const auto list_mentions = [&] { mentions.emplace(inputs); };
    std::optional<portable_thread> lister;
    if (inputs.threads_allowed && inputs.facts.all().size() >= worthwhile) lister.emplace(list_mentions);
    m_gaps = gaps_of(inputs.log);
    target_list all = find_targets(inputs, record_size_of(inputs));
    lister ? lister->wait() : list_mentions();
    const std::size_t middle = middle_of(inputs, all);
    const std::uint64_t next_number = middle != all.targets.size() ? all.targets[middle].number : no_number;
    if (next_number != no_number) m_timeline.begin_other(next_number);
    {
        const range_replay replay(inputs, all, *mentions, m_gaps);
        const auto rest = [&] {
            if (next_number == no_number) return;
            replay.run(middle, all.targets.size(), no_number, m_other_changes, *m_timeline.other());
        };
        std::optional<portable_thread> thread;
        if (inputs.threads_allowed && next_number != no_number) thread.emplace(rest);
        replay.run(0, middle, next_number, m_changes, m_timeline);
        thread ? thread->wait() : rest();
    }
    mentions.reset();
    all = {};
    m_changes.append(m_other_changes);
    uni::release_room(m_changes.records);
}

}  // namespace kest
