#include "events/names.h"

#include <algorithm>
#include <numeric>

#include "events/journal_folders.h"
#include "events/lives.h"
#include "events/name_order.h"
#include "events/system_files.h"
#include "journal/usn_record.h"

namespace kest {

namespace {

// The last pushed of those that still count, a long name ahead of a DOS one. What no longer counts is dropped when it
// comes to light, so all calls together cost no more than all pushes.
class newest_name {
public:
    static constexpr std::uint32_t none = 0xFFFF'FFFF;

    void push(std::uint32_t word, bool dos) { (dos ? m_dos : m_long).push_back(word); }

    template <class test>
    std::uint32_t top(test&& counts) {
        for (std::vector<std::uint32_t>* stack : {&m_long, &m_dos}) {
            while (!stack->empty() && !counts(stack->back()))
                stack->pop_back();
            if (!stack->empty()) return stack->back();
        }
        return none;
    }

private:
    std::vector<std::uint32_t> m_long;
    std::vector<std::uint32_t> m_dos;
};

}  // namespace

name_history::name_history(const told_log& told, const _inode_collection& inodes) : m_inodes(inodes) {
    for (const told_fact& fact : told.facts) {
        if (!fact.undone) learn(fact);
    }
    m_words.seal([](const name_word& a, const name_word& b) { return a.lsn < b.lsn; });
    m_journal_words.seal([](const journal_word& a, const journal_word& b) { return a.lsn < b.lsn; });
}

void name_history::learn(const told_fact& fact) {
    const auto add = [this, &fact](sign what, const file_name_view& name) {
        m_words.add(fact.owner.value(), {fact.lsn, name, what});
    };
    switch (fact.kind) {
        case fact_kind::entry_added:
        case fact_kind::entry_removed:
            add(fact.kind == fact_kind::entry_added ? sign::came : sign::went, *file_name_view::read(fact.data));
            break;
        case fact_kind::attribute_added:
        case fact_kind::attribute_removed: {
            const auto attribute = attribute_view::read(fact.data);
            if (attribute->type() != attribute_type::file_name || fact.owner.sequence() == 0) break;
            const auto name = file_name_view::read(attribute->value());
            if (name) add(fact.kind == fact_kind::attribute_added ? sign::came : sign::went, *name);
            break;
        }
        case fact_kind::image:
        case fact_kind::image_before: {
            const file_record_view record(fact.data);
            if (!record.in_use() || record.base() != inode_ref{}) break;
            record.for_each_name([&add](const file_name_view& name) { add(sign::there, name); });
            break;
        }
        case fact_kind::journal_record: {
            const auto record = read_usn_record(fact.data);
            const std::uint32_t reasons = record->get(&usn_layout::reason);
            const bool past = (reasons & usn_reasons::old_name) != 0 && (reasons & usn_reasons::new_name) == 0;
            if (!past) m_journal_words.add(fact.owner.value(), {fact.lsn, record->parent(), record->name()});
            break;
        }
        default:
            break;
    }
}

void name_history::number_names(std::span<const name_word> words) {
    m_order.resize(words.size());
    std::iota(m_order.begin(), m_order.end(), 0U);
    std::ranges::sort(
        m_order, [words](std::uint32_t a, std::uint32_t b) { return compare_links(words[a].name, words[b].name) < 0; });
    m_name_ids.resize(words.size());
    std::uint32_t id = 0;
    for (std::size_t at = 0; at < m_order.size(); ++at) {
        if (at != 0 && compare_links(words[m_order[at - 1]].name, words[m_order[at]].name) != 0) ++id;
        m_name_ids[m_order[at]] = id;
    }
}

// For each moment: the newest name that is there, else the first one that is told later to have been there, else the
// one that went last, else any.
void name_history::replay(std::span<const name_word> words, std::span<name_state> states) {
    number_names(words);

    // Backwards: of each name the first word that follows.
    newest_name later;
    std::vector<std::uint32_t> first(words.size(), none);  // by name
    const auto is_first = [&](std::uint32_t word) { return first[m_name_ids[word]] == word; };
    for (auto at = static_cast<std::uint32_t>(words.size()); at != 0;) {
        states[at].word = later.top(is_first);
        --at;
        first[m_name_ids[at]] = at;
        if (words[at].what != sign::came) later.push(at, words[at].name.is_dos_name());
    }
    states[0].word = later.top(is_first);

    // Forwards: the names that are there.
    newest_name there;
    newest_name gone;
    std::vector<std::uint32_t> came(words.size(), none);  // by name: the word that it is there by
    const auto is_there = [&](std::uint32_t word) { return came[m_name_ids[word]] == word; };
    for (std::uint32_t at = 0; at < words.size(); ++at) {
        const bool dos = words[at].name.is_dos_name();
        std::uint32_t& word = came[m_name_ids[at]];
        if (words[at].what == sign::went) {
            word = none;
            gone.push(at, dos);
        } else if (word == none || words[word].name.is_dos_name() != dos) {
            word = at;
            there.push(at, dos);
        }
        if (const std::uint32_t now = there.top(is_there); now != none) {
            states[at + 1].word = now;
        } else if (states[at + 1].word == none) {
            states[at + 1].word = gone.top([](std::uint32_t) { return true; });
        }
    }

    newest_name any;
    for (auto at = static_cast<std::uint32_t>(words.size()); at != 0; --at)
        any.push(at - 1, words[at - 1].name.is_dos_name());
    const std::uint32_t first_of_all = any.top([](std::uint32_t) { return true; });
    for (name_state& state : states) {
        if (state.word != none) continue;
        state = {first_of_all, true};
    }
}

held_name name_history::told_name(const name_word& word) {
    return {.parent = word.name.parent(), .units = word.name.name(), .known = known_by::log};
}

std::optional<held_name> name_history::stored_name(const inode_record& stored) const {
    held_name name{.parent = stored.name_parent, .units = m_inodes.odd_name_of(stored), .known = known_by::mft};
    if (name.units.empty()) name.stored = stored.name;
    return name.units.empty() && name.stored.empty() ? std::nullopt : std::optional(name);
}

// The last one told, else the first one.
std::optional<held_name> name_history::journal_name(inode_ref file, std::uint64_t lsn) const {
    const std::span<const journal_word> words = m_journal_words.find(file.value());
    if (words.empty()) return std::nullopt;
    auto word = std::ranges::upper_bound(words, lsn, {}, &journal_word::lsn);
    if (word != words.begin()) --word;
    return held_name{.parent = word->parent, .units = word->units};
}

std::span<const name_history::name_state> name_history::states_of(inode_ref file, std::span<const name_word> words) {
    std::uint32_t& begin = m_states_begin[file.value()];
    if (begin == 0) {
        begin = static_cast<std::uint32_t>(m_states.size()) + 1;
        m_states.resize(m_states.size() + words.size() + 1);
        replay(words, std::span(m_states).subspan(begin - 1));
    }
    return std::span(m_states).subspan(begin - 1, words.size() + 1);
}

std::optional<held_name> name_history::name_at(inode_ref file, std::uint64_t lsn) {
    if (file.number() == root_number) return held_name{.parent = file};
    const std::span<const name_word> words = m_words.find(file.value());
    name_state state;
    if (!words.empty()) {
        const auto after = std::ranges::upper_bound(words, lsn, {}, &name_word::lsn);
        state = states_of(file, words)[static_cast<std::size_t>(after - words.begin())];
    }
    if (state.word != none && !state.weak) return told_name(words[state.word]);
    if (const auto told = journal_name(file, lsn)) return told;
    if (const auto told = folder_name(file, m_journal_place); m_folders_count && told) return known_name(*told);
    const inode_record* const stored = file.sequence() != 0 ? stored_file(m_inodes, file) : nullptr;
    if (const auto name = stored != nullptr ? stored_name(*stored) : std::nullopt) return name;
    if (state.word == none) return std::nullopt;
    return told_name(words[state.word]);
}

void name_history::consult(const journal_folders& folders, bool for_log) {
    m_folders = &folders;
    m_folders_count = for_log;
}

std::optional<held_name> name_history::folder_name(inode_ref file, std::uint64_t place) const {
    return m_folders != nullptr ? m_folders->name_at(file, place) : std::nullopt;
}

std::uint64_t name_history::renames_in_journal(std::uint64_t place) const {
    return m_folders != nullptr ? m_folders->renames_until(place) : 0;
}

std::optional<held_name> name_history::name_in_journal(inode_ref file, std::uint64_t place, std::uint64_t lsn) {
    if (file.number() == root_number) return held_name{.parent = file};
    const auto told = folder_name(file, place);
    return told ? known_name(*told) : name_at(file, lsn);
}

}  // namespace kest
