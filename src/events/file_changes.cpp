#include "events/file_changes.h"

#include <algorithm>

#include "events/name_order.h"

namespace kest {

namespace {

bool is_reported(const attribute_change& change) {
    if (change.lowest_vcn != 0) return false;
    if (!change.type) return true;
    switch (*change.type) {
        case attribute_type::file_name:
        case attribute_type::object_id:
        case attribute_type::data:
        case attribute_type::reparse_point:
            return true;
        default:
            return false;
    }
}

// A name is another attribute with each name and folder.
uni::byte_view key_of(const joined_change& change) {
    if (change.type() != attribute_type::file_name) return change.name();
    const std::optional<uni::byte_view> value =
        change.after != nullptr ? change.state_after().value : change.state_before().value;
    return value.value_or(uni::byte_view{});
}

std::strong_ordering compare(const joined_change& a, const joined_change& b) {
    if (const auto order = a.type().value_or(0) <=> b.type().value_or(0); order != 0) return order;
    const uni::byte_view one = key_of(a);
    const uni::byte_view other = key_of(b);
    if (a.type() != attribute_type::file_name) return compare_bytes(one, other);
    const auto order = one.get(file_name_layout::parent) <=> other.get(file_name_layout::parent);
    if (order != 0) return order;
    return compare_bytes(one.from(file_name_layout::name_length.offset),
                         other.from(file_name_layout::name_length.offset));
}

}  // namespace

void join_attributes(std::vector<joined_change>& out, const file_history& history, const file_changes& changes) {
    out.clear();
    std::vector<joined_change> halves;
    for (const record_change* const record : changes.records) {
        for (const attribute_change& change : history.attributes_of(*record)) {
            if (!is_reported(change)) continue;
            const bool gone = change.after.present == presence::absent;
            const bool added = change.before.present == presence::absent;
            if (changes.records.size() == 1 || gone == added) {
                out.push_back({&change, &change});
            } else {
                halves.push_back({gone ? &change : nullptr, gone ? nullptr : &change});
            }
        }
    }
    std::ranges::stable_sort(halves, [](const joined_change& a, const joined_change& b) { return compare(a, b) < 0; });
    for (std::size_t at = 0; at < halves.size(); ++at) {
        joined_change& half = halves[at];
        const bool pairs = at + 1 < halves.size() && (half.before == nullptr) != (halves[at + 1].before == nullptr) &&
                           half.type() && compare(half, halves[at + 1]) == 0;
        if (pairs) {
            const joined_change& other = halves[++at];
            out.push_back({half.before != nullptr ? half.before : other.before,
                           half.after != nullptr ? half.after : other.after});
        } else {
            out.push_back(half);
        }
    }
}

}  // namespace kest
