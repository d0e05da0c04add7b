#include "events/file_changes.h"

#include <algorithm>

namespace kest {

namespace {

bool is_reported(const attribute_change& change) {
    using namespace attribute_type;
    const auto type = change.type();
    return !change.key.continues &&
           (!type || type == file_name || type == object_id || type == data || type == reparse_point ||
            type == extended_attributes || type == security_descriptor);
}

// A name is another attribute with each name and folder.
std::strong_ordering compare_keys(const joined_change& a, const joined_change& b) {
    if (const auto order = a.type().value_or(0) <=> b.type().value_or(0); order != 0) return order;
    if (a.type() != attribute_type::file_name) return uni::compare_bytes(a.name(), b.name());
    const auto value = [](const joined_change& change) {
        const attribute_state& state = change.after != nullptr ? change.state_after() : change.state_before();
        return state.value.value_or(uni::byte_view{});
    };
    const auto order = value(a).get(file_name_layout::parent) <=> value(b).get(file_name_layout::parent);
    if (order != 0) return order;
    return uni::compare_bytes(value(a).from(file_name_layout::name_length.offset),
                              value(b).from(file_name_layout::name_length.offset));
}

// What one of the two witnesses states of one link: the folder's index, or the name attribute of the file record.
struct link_evidence {
    std::uint32_t proof;
    file_name_view name;
    bool added;
    bool in_index;
    bool copied = false;
};

void collect_evidence(std::vector<link_evidence>& out, std::span<const log_fact* const> facts,
                      std::span<const joined_change> attributes) {
    for (const log_fact* const fact : facts) {
        if (fact->is_journal_record()) continue;
        out.push_back({fact->position, fact->name(), fact->kind == fact_kind::entry_added, true});
    }
    for (const joined_change& change : attributes) {
        const bool added = change.added();
        if (change.type() != attribute_type::file_name || (!added && !change.removed())) continue;
        const attribute_state& state = added ? change.state_after() : change.state_before();
        if (const auto name = state.file_name()) out.push_back({change.proof(), *name, added, false, state.copied});
    }
}

// Of a link's evidence on one side the record that shows it: of what was added the last, of what was removed the first,
// that of an index entry rather than that of an attribute.
const link_evidence& best_evidence(std::span<const link_evidence> evidence, bool added) {
    const link_evidence* best = nullptr;
    for (const link_evidence& one : evidence) {
        if (one.added != added || (best != nullptr && best->in_index && !one.in_index)) continue;
        if (best == nullptr || added || (one.in_index && !best->in_index)) best = &one;
    }
    return *best;
}

void settle_link(link_changes& out, std::span<const link_evidence> evidence) {
    int index = 0;
    int attribute = 0;
    for (const link_evidence& one : evidence)
        (one.in_index ? index : attribute) += one.added ? 1 : -1;
    if (index == 0 && attribute == 0) return;
    const bool added = index != 0 ? index > 0 : attribute > 0;
    const link_evidence& shown = best_evidence(evidence, added);
    (added ? out.added : out.removed)
        .push_back({.proof = shown.proof,
                    .name = shown.name,
                    .in_index = index != 0,
                    .by_attribute = added ? attribute > 0 : attribute < 0,
                    .copied = shown.copied});
}

}  // namespace

void join_attributes(std::vector<joined_change>& out, const file_history& history, const file_changes& changes) {
    out.clear();
    std::vector<joined_change> halves;
    for (const owned_change& one : changes.records) {
        for (const attribute_change& change : history.attributes_of(*one.record)) {
            if (!is_reported(change)) continue;
            const bool removed = change.after.present == presence::absent;
            const bool added = change.before.present == presence::absent;
            if (changes.records.size() == 1 || removed == added) {
                out.push_back({&change, &change});
            } else {
                halves.push_back({removed ? &change : nullptr, removed ? nullptr : &change});
            }
        }
    }
    std::ranges::stable_sort(halves, [](const auto& a, const auto& b) { return compare_keys(a, b) < 0; });
    for (std::size_t at = 0; at < halves.size(); ++at) {
        joined_change& half = out.emplace_back(halves[at]);
        if (at + 1 == halves.size() || !half.type() || compare_keys(half, halves[at + 1]) != 0) continue;
        const joined_change& next = halves[at + 1];
        if ((half.before == nullptr) == (next.before == nullptr)) continue;
        (half.before == nullptr ? half.before : half.after) = half.before == nullptr ? next.before : next.after;
        ++at;
    }
}

void find_link_changes(link_changes& out, std::span<const log_fact* const> facts,
                       std::span<const joined_change> attributes) {
    out.added.clear();
    out.removed.clear();
    std::vector<link_evidence> evidence;
    collect_evidence(evidence, facts, attributes);
    std::ranges::stable_sort(evidence, [](const link_evidence& a, const link_evidence& b) {
        const auto order = compare_links(a.name, b.name);
        return order != 0 ? order < 0 : a.proof < b.proof;
    });
    for (auto begin = evidence.begin(); begin != evidence.end();) {
        const auto end = std::find_if(begin, evidence.end(), [begin](const link_evidence& one) {
            return compare_links(one.name, begin->name) != 0;
        });
        settle_link(out, {begin, end});
        begin = end;
    }
    for (std::vector<link_change>* const links : {&out.added, &out.removed}) {
        std::ranges::stable_sort(
            *links, {}, [](const link_change& link) { return std::pair(link.name.is_dos_name(), link.proof); });
    }
}

std::span<const link_change> link_changes::long_names(const std::vector<link_change>& links) {
    return {links.begin(), std::ranges::find_if(links, [](const auto& link) { return link.name.is_dos_name(); })};
}

std::strong_ordering compare_links(const file_name_view& a, const file_name_view& b) {
    if (const auto order = a.parent().value() <=> b.parent().value(); order != 0) return order;
    return uni::compare_bytes(a.name(), b.name());
}

}  // namespace kest
