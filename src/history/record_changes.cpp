#include "history/record_changes.h"

#include <algorithm>

namespace kest {

namespace {

using found = const found_attribute*;

// What the change of an attribute takes of the budget: as if nothing of it were kept with another's, so that what a
// report leaves out does not depend on how states are kept.
constexpr std::uint64_t bytes_of_change = 56;
constexpr std::uint64_t attribute_cost = bytes_of_change + 2 * sizeof(attribute_state);
static_assert(sizeof(attribute_change) + sizeof(attribute_key) <= bytes_of_change);

std::span<const std::uint8_t> bytes_of(const std::optional<uni::byte_view>& view) {
    return view ? view->bytes() : std::span<const std::uint8_t>{};
}

// A name attribute is another one with each name: its key is the name itself.
uni::byte_view key_name(const found_attribute& attribute) {
    if (attribute.type != attribute_type::file_name) return attribute.name.value_or(uni::byte_view{});
    return attribute.state.value ? attribute.state.value->from(file_name_layout::name_length.offset) : uni::byte_view{};
}

std::uint64_t key_parent(const found_attribute& attribute) {
    if (attribute.type != attribute_type::file_name || !attribute.state.value) return attribute.lowest_vcn;
    return attribute.state.value->get(file_name_layout::parent);
}

std::strong_ordering compare_keys(const found_attribute& a, const found_attribute& b) {
    if (const auto order = a.type.value_or(0) <=> b.type.value_or(0); order != 0) return order;
    if (const auto order = key_parent(a) <=> key_parent(b); order != 0) return order;
    return uni::compare_bytes(key_name(a), key_name(b));
}

bool same_state(const found_attribute& a, const found_attribute& b) {
    if (a.type == attribute_type::file_name) return compare_keys(a, b) == 0;
    const attribute_state& one = a.state;
    const attribute_state& other = b.state;
    return one.resident == other.resident && one.file_size == other.file_size &&
           one.valid_length == other.valid_length && one.allocated_size == other.allocated_size &&
           !one.value == !other.value && std::ranges::equal(bytes_of(one.value), bytes_of(other.value));
}

// The runs on one side; an attribute that is not there has none.
std::optional<run_reader> runs_of(found side, presence there) {
    if (side == nullptr) return there == presence::absent ? std::optional(run_reader()) : std::nullopt;
    return side->state.resident == true ? std::optional(run_reader()) : side->runs;
}

// Leaves out the runs that both sides have in common. False if that is all of them.
bool skip_common_runs(run_change& runs) {
    run_reader one = runs.before;
    run_reader other = runs.after;
    for (;;) {
        const bool more = one.next();
        if (other.next() != more) return true;
        if (!more) return false;
        if (one.vcn() != other.vcn() || one.lcn() != other.lcn() || one.end_vcn() != other.end_vcn()) return true;
        runs = {one, other};
    }
}

}  // namespace

void record_changes::append(record_changes& others) {
    for (record_change& change : others.records) {
        change.first_attribute += static_cast<std::uint32_t>(attributes.size());
        if (change.standard != 0) change.standard += static_cast<std::uint32_t>(standards.size());
    }
    for (attribute_change& change : others.attributes)
        if (change.runs != 0) change.runs += static_cast<std::uint32_t>(runs.size());
    const auto take = [](auto& all, auto& added) {
        for (const auto& one : added)
            all.push_back(one);
        std::remove_reference_t<decltype(added)>().swap(added);
    };
    take(records, others.records);
    take(standards, others.standards);
    take(attributes, others.attributes);
    take(runs, others.runs);
}

void change_finder::add(record_change change, const replayed_record& before, const replayed_record& after,
                        bool may_be_base, std::span<const write> writes) {
    m_writes = writes;
    m_replaced = before.generation() != after.generation();
    list(m_before, before);
    list(m_after, after);
    skip_same_attributes(before, after);
    change.before = &m_changes.headers.keep(m_before.header);
    change.after = &m_changes.headers.keep(m_after.header);
    change.copied =
        (change.freed != record_change::none ? before : after).is_copied(file_record_layout::sequence.offset);
    change.first_attribute = static_cast<std::uint32_t>(m_changes.attributes.size());
    m_change = change;
    if (!m_before.starts.empty() || !m_after.starts.empty()) {
        if (change.is_birth()) {  // what was there before is another file's
            m_before.starts.clear();
            m_before.complete = true;
        }
        read(m_before, before, may_be_base);
        read(m_after, after, may_be_base);
        // What goes and comes again under one name in one transaction is one attribute: it was converted or moved.
        pair_up([](const found_attribute& a, const found_attribute& b) { return a.id <=> b.id; });
        pair_up(compare_keys);
        for (const found gone : m_before.unpaired)
            add_attribute(gone, nullptr);
        for (const found added : m_after.unpaired)
            add_attribute(nullptr, added);
        constexpr std::uint64_t of_both = sizeof(standard_change) + 2 * sizeof(standard_information);
        if (m_before.standard != m_after.standard && m_changes.kept.spend(of_both)) {
            const std::uint32_t id = m_after.standard_id != 0 ? m_after.standard_id : m_before.standard_id;
            const standard_information& was = m_changes.standard_states.keep(m_before.standard);
            m_changes.standards.push_back({was, m_changes.standard_states.keep(m_after.standard), write_to(id, false)});
            change.standard = static_cast<std::uint32_t>(m_changes.standards.size());
        }
    }
    change.attribute_count = static_cast<std::uint32_t>(m_changes.attributes.size()) - change.first_attribute;
    if (change.attribute_count == 0 && change.standard == 0 && *change.before == *change.after) return;
    m_changes.records.push_back(change);
}

void change_finder::list(side& out, const replayed_record& record) const {
    out.header = read_header(record);
    out.record = &record;
    out.complete.reset();
    out.starts.clear();
    if (out.header.in_use == false) {
        out.complete = true;
        return;
    }
    record.for_each_attribute([&out](const replayed_record::attribute_start& one) { out.starts.push_back(one); });
    std::ranges::sort(out.starts, {}, &replayed_record::attribute_start::id);
}

// Those that may have moved, but are the same byte for byte.
void change_finder::skip_same_attributes(const replayed_record& before, const replayed_record& after) {
    auto one = m_before.starts.begin();
    auto kept = one;
    std::erase_if(m_after.starts, [&](const replayed_record::attribute_start& other) {
        while (one != m_before.starts.end() && one->id < other.id)
            *kept++ = *one++;
        const bool same = one != m_before.starts.end() && one->id == other.id &&
                          before.same_attribute(one->offset, after, other.offset);
        if (same) ++one;
        return same;
    });
    m_before.starts.erase(std::move(one, m_before.starts.end(), kept), m_before.starts.end());
}

void change_finder::read(side& out, const replayed_record& record, bool may_be_base) const {
    const bool is_base = out.header.base ? *out.header.base == inode_ref{} : may_be_base;
    out.standard = {};
    out.standard_id = 0;
    out.attributes.clear();
    for (const auto& start : out.starts) {
        const found_attribute& one = out.attributes.emplace_back(read_attribute(record, start, is_base, m_with_data));
        if (one.type != attribute_type::standard_information) continue;
        out.standard_id = one.id;
        out.standard = read_standard(record, one.offset);
    }
    out.unpaired.clear();
    for (const found_attribute& one : out.attributes)
        out.unpaired.push_back(&one);
}

// Position of the first or the last write to the attribute; where there is none, of a write to all of the record.
std::uint32_t change_finder::write_to(std::uint32_t attribute, bool created) const {
    const bool imaged = m_change.image != record_change::none;
    std::uint32_t first = record_change::none;
    std::uint32_t last = imaged ? m_change.image : m_change.last;
    for (const write& one : m_writes) {
        if (one.attribute != attribute) continue;
        if (first == record_change::none) first = one.position;
        last = one.position;
    }
    if (created && imaged && (attribute & replayed_record::of_image) != 0) return m_change.image;
    return created && first != record_change::none ? first : last;
}

// Makes changes of pairs that the order takes for equal; what is left stays in the lists.
template <class order>
void change_finder::pair_up(order&& compare) {
    const auto before = [&compare](found a, found b) { return compare(*a, *b) < 0; };
    auto& gone = m_before.unpaired;
    std::ranges::sort(gone, before);
    std::ranges::sort(m_after.unpaired, before);
    auto one = gone.begin();
    auto kept = one;
    std::erase_if(m_after.unpaired, [&](found added) {
        while (one != gone.end() && before(*one, added))
            *kept++ = *one++;
        const bool paired = one != gone.end() && !before(added, *one);
        if (paired) add_attribute(*one++, added);
        return paired;
    });
    gone.erase(std::move(one, gone.end(), kept), gone.end());
}

void change_finder::add_attribute(found before, found after) {
    const found_attribute& shown = after != nullptr ? *after : *before;
    if (shown.type == attribute_type::standard_information) return;
    const bool same = before != nullptr && after != nullptr && same_state(*before, *after);
    attribute_state was;
    attribute_state is;
    if (before != nullptr) {
        was = before->state;
    } else if ((shown.id & (replayed_record::came_to_light | replayed_record::of_image)) == 0 ||
               m_before.is_complete()) {
        was.present = presence::absent;
    }
    if (after != nullptr) {
        is = after->state;
    } else if (!m_replaced || m_after.is_complete()) {
        is.present = presence::absent;
    }
    std::uint32_t runs = 0;
    const auto runs_before = runs_of(before, was.present);
    const auto runs_after = runs_of(after, is.present);
    if (runs_before && runs_after) runs = keep({*runs_before, *runs_after});
    if (same && runs == 0) return;
    if (!m_changes.kept.spend(attribute_cost)) return;
    const attribute_key key{.type = shown.type, .name = keep_name(shown.name), .continues = shown.lowest_vcn != 0};
    const bool is_data = shown.type == attribute_type::data;
    const attribute_state& kept = keep(was, is_data);
    m_changes.attributes.push_back({.before = kept,
                                    .after = keep(is, is_data),
                                    .key = m_changes.attribute_keys.keep(key),
                                    .proof = write_to(shown.id, before == nullptr),
                                    .runs = runs});
}

// Most have none, and of those that have one many have the same.
std::optional<uni::byte_view> change_finder::keep_name(const std::optional<uni::byte_view>& name) {
    if (!name || name->empty()) return name ? std::optional(uni::byte_view{}) : std::nullopt;
    const bool again = m_last_name && uni::compare_bytes(*m_last_name, *name) == 0;
    if (again) return m_changes.kept.spend(name->size()) ? m_last_name : std::nullopt;
    m_last_name = m_changes.kept.keep(*name);
    return m_last_name;
}

// A value that was kept last is often what comes before the next change.
const attribute_state& change_finder::keep(attribute_state state, bool is_data) {
    if (state.present != presence::present) state = {.present = state.present};
    if (state.value) {
        const bool again = m_last_value && std::ranges::equal(bytes_of(m_last_value), bytes_of(state.value));
        if (!again) m_last_value = (is_data ? m_changes.kept_data : m_changes.kept).keep(*state.value);
        state.value = m_last_value;
    }
    return m_changes.attribute_states.keep(state);
}

std::uint32_t change_finder::keep(run_change runs) {
    if (!skip_common_runs(runs) || !m_changes.kept.spend(sizeof runs)) return 0;
    for (run_reader* const one : {&runs.before, &runs.after}) {
        run_reader end = *one;
        while (end.next()) {
        }
        const auto pairs = m_changes.kept.keep(one->rest().slice(0, one->rest().size() - end.rest().size()));
        if (!pairs) return 0;
        *one = run_reader(*pairs, one->end_vcn(), one->last_lcn());
    }
    m_changes.runs.push_back(runs);
    return static_cast<std::uint32_t>(m_changes.runs.size());
}

}  // namespace kest
