#include "events/links.h"

#include <algorithm>

#include "events/name_order.h"

namespace kest {

namespace {

// One word on one link, by one of the two witnesses: the folder's index, and the name attribute of the file record.
struct link_word {
    std::uint64_t lsn;
    std::uint32_t proof;
    file_name_view name;
    bool came;
    bool in_index;
    bool copied = false;
};

void collect_words(std::vector<link_word>& words, const log_store& log, std::span<const event_fact* const> facts,
                   std::span<const joined_change> attributes) {
    for (const event_fact* const fact : facts) {
        if (fact->kind == fact_kind::journal_record) continue;
        words.push_back({.lsn = fact->lsn,
                         .proof = fact->entry,
                         .name = *file_name_view::read(fact->data),
                         .came = fact->kind == fact_kind::entry_added,
                         .in_index = true});
    }
    for (const joined_change& change : attributes) {
        if (change.type() != attribute_type::file_name || (!change.came() && !change.went())) continue;
        const attribute_state& state = change.came() ? change.after->after : change.before->before;
        const auto name = state.file_name();
        if (!name) continue;
        words.push_back({.lsn = log.entries[change.proof()].this_lsn,
                         .proof = change.proof(),
                         .name = *name,
                         .came = change.came(),
                         .in_index = false,
                         .copied = state.copied});
    }
}

// Of a link's words on one side the record that shows it: of what came the last, of what went the first, that of an
// index entry rather than that of an attribute.
const link_word& showing(std::span<const link_word> words, bool came) {
    const link_word* shown = nullptr;
    for (const link_word& word : words) {
        if (word.came != came) continue;
        if (shown != nullptr && shown->in_index && !word.in_index) continue;
        if (shown == nullptr || came || (word.in_index && !shown->in_index)) shown = &word;
    }
    return *shown;
}

void settle_link(link_changes& out, std::span<const link_word> words) {
    int index = 0;
    int attribute = 0;
    for (const link_word& word : words)
        (word.in_index ? index : attribute) += word.came ? 1 : -1;
    if (index == 0 && attribute == 0) return;
    const bool came = index != 0 ? index > 0 : attribute > 0;
    const link_word& shown = showing(words, came);
    const link_change change{.proof = shown.proof,
                             .name = shown.name,
                             .in_index = index != 0,
                             .by_attribute = came ? attribute > 0 : attribute < 0,
                             .copied = shown.copied};
    const bool dos = shown.name.is_dos_name();
    (came ? (dos ? out.dos_came : out.came) : (dos ? out.dos_went : out.went)).push_back(change);
}

}  // namespace

void find_link_changes(link_changes& out, const log_store& log, std::span<const event_fact* const> facts,
                       std::span<const joined_change> attributes) {
    for (std::vector<link_change>* list : {&out.came, &out.went, &out.dos_came, &out.dos_went})
        list->clear();
    std::vector<link_word> words;
    collect_words(words, log, facts, attributes);
    if (words.empty()) return;
    const auto before = [](const link_word& a, const link_word& b) {
        const auto order = compare_links(a.name, b.name);
        return order != 0 ? order < 0 : a.lsn < b.lsn;
    };
    std::ranges::stable_sort(words, before);
    for (auto begin = words.begin(); begin != words.end();) {
        const auto end = std::find_if(
            begin, words.end(), [&begin](const link_word& word) { return compare_links(word.name, begin->name) != 0; });
        settle_link(out, {begin, end});
        begin = end;
    }
    const auto step = [&log](const link_change& change) { return log.entries[change.proof].this_lsn; };
    for (std::vector<link_change>* list : {&out.came, &out.went, &out.dos_came, &out.dos_went})
        std::ranges::stable_sort(*list, {}, step);
}

}  // namespace kest
