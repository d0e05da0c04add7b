#include "events/links.h"

#include <algorithm>

#include "events/name_order.h"

namespace kest {

namespace {

// One word on one link, by one of the two witnesses: the folder's index, and the name attribute of the file record.
struct link_word {
    const told_fact* fact;
    file_name_view name;
    bool came;
    bool in_index;
};

void collect_words(std::vector<link_word>& words, std::span<const told_fact* const> facts) {
    for (const told_fact* const fact : facts) {
        switch (fact->kind) {
            case fact_kind::entry_added:
            case fact_kind::entry_removed:
                words.push_back({fact, *file_name_view::read(fact->data), fact->kind == fact_kind::entry_added, true});
                break;
            case fact_kind::attribute_added:
            case fact_kind::attribute_removed: {
                const auto attribute = attribute_view::read(fact->data);
                if (attribute->type() != attribute_type::file_name) break;
                if (const auto name = file_name_view::read(attribute->value())) {
                    words.push_back({fact, *name, fact->kind == fact_kind::attribute_added, false});
                }
                break;
            }
            default:
                break;
        }
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
    const link_change change{shown.fact, shown.name, came ? attribute > 0 : attribute < 0};
    const bool dos = shown.name.is_dos_name();
    (came ? (dos ? out.dos_came : out.came) : (dos ? out.dos_went : out.went)).push_back(change);
}

}  // namespace

void find_link_changes(link_changes& out, std::span<const told_fact* const> facts) {
    for (std::vector<link_change>* list : {&out.came, &out.went, &out.dos_came, &out.dos_went})
        list->clear();
    std::vector<link_word> words;
    collect_words(words, facts);
    if (words.empty()) return;
    std::ranges::stable_sort(words,
                             [](const link_word& a, const link_word& b) { return compare_links(a.name, b.name) < 0; });
    for (auto begin = words.begin(); begin != words.end();) {
        const auto end = std::find_if(
            begin, words.end(), [&begin](const link_word& word) { return compare_links(word.name, begin->name) != 0; });
        settle_link(out, {begin, end});
        begin = end;
    }
    const auto step = [](const link_change& change) { return change.fact->lsn; };
    for (std::vector<link_change>* list : {&out.came, &out.went, &out.dos_came, &out.dos_went})
        std::ranges::stable_sort(*list, {}, step);
}

}  // namespace kest
