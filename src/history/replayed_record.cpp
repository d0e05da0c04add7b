#include "history/replayed_record.h"

#include <algorithm>
#include <array>
#include <bit>

#include "mft/record_view.h"

namespace kest {

namespace {

using namespace operation_code;
using namespace file_record_layout;

constexpr uni::field<std::uint32_t> bytes_in_use{24};
// What follows in the header is of no file: numbers, and what protects the sectors.
constexpr std::uint32_t header_end = base_record.end();
constexpr std::uint32_t freed_header = 24;  // bytes of a freed record that the log holds

// Index root: its value begins with 16 bytes of its own, then the index header.
constexpr std::uint32_t index_length = 16 + 4;
constexpr std::uint32_t index_allocated = 16 + 8;
constexpr std::uint32_t name_copy_in_entry = index_entry_layout::key + file_name_layout::created.offset;

constexpr std::uint64_t aligned(std::uint64_t size) {
    return (size + 7) & ~std::uint64_t{7};
}

// The order in which a log record holds new sizes is not that of the attribute.
constexpr std::uint32_t size_offsets[] = {attribute_layout::allocated_size.offset,
                                          attribute_layout::initialized_size.offset, attribute_layout::real_size.offset,
                                          attribute_layout::compressed_size.offset};

enum class target_kind : std::uint8_t { any, nonresident, index_root };

// What an operation needs and leaves. Whole records are not checked against what undoes them.
struct operation_row {
    static constexpr std::uint16_t anything = 0xFFFF;

    std::uint16_t operation;
    std::uint16_t undone_by;
    bool states;  // its data are there once it is done
    target_kind of = target_kind::any;
};
constexpr operation_row operations[] = {
    {noop, operation_row::anything, false},
    {compensation_log_record, operation_row::anything, false},
    {initialize_file_record_segment, operation_row::anything, true},
    {deallocate_file_record_segment, operation_row::anything, true},
    {write_end_of_file_record_segment, write_end_of_file_record_segment, true},
    {create_attribute, delete_attribute, true},
    {delete_attribute, create_attribute, false},
    {update_resident_value, update_resident_value, true},
    {update_mapping_pairs, update_mapping_pairs, true, target_kind::nonresident},
    {set_new_attribute_sizes, set_new_attribute_sizes, true, target_kind::nonresident},
    {add_index_entry_root, delete_index_entry_root, true, target_kind::index_root},
    {delete_index_entry_root, add_index_entry_root, false, target_kind::index_root},
    {set_index_entry_vcn_root, set_index_entry_vcn_root, true, target_kind::index_root},
    {update_file_name_root, update_file_name_root, true, target_kind::index_root},
    {update_record_data_root, update_record_data_root, true, target_kind::index_root},
    {zero_end_of_file_record, operation_row::anything, false},
};

// By code. An operation of no file record is undone by none of them, so it fits nowhere.
constexpr auto operation_rows = [] {
    std::array<operation_row, highest_operation + 2> rows{};
    for (std::uint16_t at = 0; at < rows.size(); ++at)
        rows[at] = {at, at, true};
    for (const operation_row& row : operations)
        rows[row.operation] = row;
    return rows;
}();

const operation_row& row_of(std::uint16_t operation) {
    return operation_rows[std::min<std::size_t>(operation, highest_operation + 1)];
}

// Operations whose data end the attribute, which grows or shrinks with them.
bool ends_attribute(std::uint16_t operation, const operation_side& one, const operation_side& other) {
    if (operation == update_mapping_pairs) return true;
    return operation == update_resident_value && one.length != other.length;
}

bool touches_nothing(std::uint16_t operation) {
    return operation <= compensation_log_record;
}

// Whether the side is a write of a value with what it wrote. Systems that do not log data log zeros where it grows.
bool states_data(const operation_side& one) {
    return one.operation == update_resident_value &&
           std::ranges::any_of(one.data.bytes(), [](auto b) { return b != 0; });
}

// The attribute that the data begin with, or as much as there is of them.
uni::byte_view attribute_in(uni::byte_view data) {
    const auto attribute = attribute_view::read(data);
    return attribute && attribute->length() % 8 == 0 ? data.slice(0, attribute->length()) : uni::byte_view{};
}

}  // namespace

void replayed_record::forget() {
    ++m_generation;
    m_in_use.reset();
    if (m_blank) return;
    std::ranges::fill(m_known, std::uint8_t{0});
    m_attributes.clear();
    m_blank = true;
}

void replayed_record::put(std::uint64_t offset, uni::byte_view data, std::uint8_t known) {
    if (!bytes().has(offset, data.size())) return;
    const auto at = static_cast<std::ptrdiff_t>(offset);
    m_blank = false;
    std::ranges::copy(data.bytes(), m_bytes.begin() + at);
    std::fill_n(m_known.begin() + at, data.size(), known);
}

template <class integer>
void replayed_record::set(uni::field<integer> f, std::uint32_t base, integer value) {
    const auto raw = std::bit_cast<std::array<std::uint8_t, sizeof(integer)>>(value);
    put(std::uint64_t{base} + f.offset, std::span<const std::uint8_t>(raw));
}

void replayed_record::unknow(std::uint64_t begin, std::uint64_t end) {
    for (std::uint64_t at = begin; at < std::min<std::uint64_t>(end, size()); ++at)
        m_known[at] = 0;
}

void replayed_record::take_header(uni::byte_view image) {
    if (image.size() < freed_header) return;
    put(sequence.offset, image.slice(sequence.offset, freed_header - sequence.offset));
    m_in_use = (image.get(flags) & file_record_layout::in_use) != 0;
}

void replayed_record::load(uni::byte_view image, bool from_copy) {
    forget();
    const std::uint64_t used = image.get(bytes_in_use);
    if (image.get(signature) != file_signature || image.size() < usa_begin) return;
    const std::uint8_t known = from_copy ? by_copy : by_log;
    put(0, image.slice(0, size()), known);
    if (used <= image.size() && image.size() < size()) {
        std::fill(m_bytes.begin() + static_cast<std::ptrdiff_t>(image.size()), m_bytes.end(), std::uint8_t{0});
        std::ranges::fill(m_known, known);
    }
    m_in_use = (image.get(flags) & file_record_layout::in_use) != 0;
    walk_attributes(image.get(first_attribute), of_image);
}

// What lies after the attributes is of no file either.
bool replayed_record::contradicts(const replayed_record& other) const {
    const std::uint32_t attributes = get(first_attribute).value_or(header_end);
    const std::uint32_t end =
        std::min({get(bytes_in_use).value_or(size()), other.get(bytes_in_use).value_or(size()), size()});
    const auto differs = [&](std::uint32_t at) {
        if (m_known[at] == 0 || other.m_known[at] == 0 || m_bytes[at] == other.m_bytes[at]) return false;
        if (at >= header_end && at < attributes) return false;
        const auto next = first_from(at + 1);
        const std::uint32_t start = next != m_attributes.begin() ? std::prev(next)->offset : 0;
        return !may_lag(start, at - start) && !other.may_lag(start, at - start);
    };
    for (std::uint32_t word = sequence.offset; word < end; word += sizeof(std::uint64_t)) {
        if (load_as<std::uint64_t>(m_bytes, word) == load_as<std::uint64_t>(other.m_bytes, word)) continue;
        const auto both = load_as<std::uint64_t>(m_known, word) & load_as<std::uint64_t>(other.m_known, word);
        if (both == 0) continue;
        for (std::uint32_t at = word; at < std::min<std::uint32_t>(word + sizeof(std::uint64_t), end); ++at) {
            if (differs(at)) return true;
        }
    }
    return false;
}

void replayed_record::merge(const replayed_record& other) {
    if (!m_in_use) m_in_use = other.m_in_use;
    if (other.m_blank) return;
    if (contradicts(other)) {
        const std::uint32_t generation = m_generation;
        const std::uint32_t last_id = m_last_id;
        *this = other;
        m_generation = generation + 1;
        m_last_id = std::max(last_id, other.m_last_id);
        return;
    }
    for (std::uint32_t word = 0; word < size(); word += sizeof(std::uint64_t)) {
        const auto known = load_as<std::uint64_t>(m_known, word);
        const auto added = load_as<std::uint64_t>(other.m_known, word);
        if (added == 0 || known == all_known<std::uint64_t>) continue;
        if (known == 0 && (added & all_known<std::uint64_t>) == all_known<std::uint64_t>) {
            std::memcpy(m_bytes.data() + word, other.m_bytes.data() + word, sizeof known);
            std::memcpy(m_known.data() + word, other.m_known.data() + word, sizeof known);
            continue;
        }
        for (std::uint32_t at = word; at < word + sizeof(std::uint64_t); ++at) {
            if (other.m_known[at] == 0 || (m_known[at] != 0 && m_known[at] != by_copy)) continue;
            if (m_known[at] == by_copy && m_bytes[at] != other.m_bytes[at]) continue;
            m_bytes[at] = other.m_bytes[at];
            m_known[at] = other.m_known[at];
        }
    }
    const auto own = static_cast<std::ptrdiff_t>(m_attributes.size());
    for (const attribute_start& one : other.m_attributes) {
        const auto end = m_attributes.begin() + own;
        const auto found =
            std::ranges::lower_bound(m_attributes.begin(), end, one.offset, {}, &attribute_start::offset);
        if (found == end || found->offset != one.offset) {
            m_attributes.push_back({one.offset, next_id(came_to_light)});
        }
    }
    std::ranges::inplace_merge(m_attributes, m_attributes.begin() + own, {}, &attribute_start::offset);
    m_blank = false;
}

std::uint32_t replayed_record::next_id(std::uint32_t kind) {
    m_last_id = (m_last_id + 1) & ~(came_to_light | of_image);
    return m_last_id | kind;
}

// None begins there yet.
void replayed_record::begin_attribute(std::uint32_t offset, std::uint32_t kind) {
    m_attributes.insert(first_from(offset), {offset, next_id(kind)});
    m_blank = false;
}

void replayed_record::walk_attributes(std::uint32_t offset, std::uint32_t kind) {
    while (offset >= smallest_header && offset % 8 == 0) {
        const auto length = attribute_length(offset);
        if (!length) return;
        begin_attribute(offset, kind);
        offset += *length;
    }
}

std::optional<std::uint32_t> replayed_record::attribute_length(std::uint32_t offset) const {
    using namespace attribute_layout;
    static_assert(type.offset == 0 && record_length.offset == 4);  // asked for so often that both are read at once
    constexpr unsigned of_length = 32;                             // bits
    if (!bytes().has(offset, sizeof(std::uint64_t))) return std::nullopt;
    const auto known = load_as<std::uint64_t>(m_known, offset) & all_known<std::uint64_t>;
    const auto both = load_as<std::uint64_t>(m_bytes, offset);
    if (known >> of_length != all_known<std::uint32_t>) return std::nullopt;
    const bool knows_type = static_cast<std::uint32_t>(known) == all_known<std::uint32_t>;
    if (knows_type && static_cast<std::uint32_t>(both) == attribute_type::end_of_attributes) return std::nullopt;
    const auto length = static_cast<std::uint32_t>(both >> of_length);
    if (length < resident_header_size || length % 8 != 0) return std::nullopt;
    return bytes().has(offset, length) ? std::optional(length) : std::nullopt;
}

bool replayed_record::same_attribute(std::uint32_t offset, const replayed_record& other,
                                     std::uint32_t its_offset) const {
    const auto length = attribute_length(offset);
    if (!length || !other.bytes().has(its_offset, *length)) return false;
    const auto same = [&](const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
        return std::memcmp(a.data() + offset, b.data() + its_offset, *length) == 0;
    };
    return same(m_known, other.m_known) && same(m_bytes, other.m_bytes);
}

bool replayed_record::complete() const {
    std::uint32_t end = get(first_attribute).value_or(0);
    if (end < smallest_header || end % alignment != 0) return false;
    for (auto at = first_from(end); at != m_attributes.end() && at->offset <= end; ++at) {
        if (at->offset < end) continue;
        const auto length = attribute_length(end);
        if (!length) break;
        end += *length;
    }
    return get(attribute_layout::type, end) == attribute_type::end_of_attributes;
}

// Not inside of an attribute that is known.
bool replayed_record::attribute_may_begin(std::uint32_t offset) const {
    if (offset % alignment != 0 || offset < smallest_header || !bytes().has(offset, alignment)) return false;
    const auto next = first_from(offset + 1);
    if (next == m_attributes.begin()) return get(first_attribute).value_or(0) <= offset;
    const std::uint32_t last = std::prev(next)->offset;
    return last == offset || last + attribute_length(last).value_or(alignment) <= offset;
}

// What the system also writes without the log: times of access, data within the record, a volume's flags, the copies of
// times and sizes beside names.
bool replayed_record::may_lag(std::uint32_t attribute, std::uint32_t offset) const {
    constexpr std::uint32_t value = attribute_layout::resident_header_size;
    if (offset < value || get(attribute_layout::nonresident, attribute) != 0) return false;
    using namespace attribute_type;
    const std::uint32_t type = get(attribute_layout::type, attribute).value_or(0);
    const auto lagging = {standard_information, attribute_type::data, volume_information, index_root,
                          logged_utility_stream};
    if (type != file_name) return std::ranges::find(lagging, type) != lagging.end();
    return offset >= value + file_name_layout::created.offset && offset < value + file_name_layout::name_length.offset;
}

// Where the data of an operation lie in the file record; nothing if that is not known.
std::optional<std::uint32_t> replayed_record::data_offset(const record_step& step, std::uint16_t operation) const {
    const std::uint32_t begin = std::uint32_t{step.attribute} + step.offset;
    switch (operation) {
        case write_end_of_file_record_segment:
        case create_attribute:
            return step.attribute;
        case set_index_entry_vcn_root: {
            const auto length = get(index_entry_layout::entry_length, begin);
            if (!length || *length < index_entry_layout::key + sizeof(std::uint64_t)) return std::nullopt;
            return begin + *length - sizeof(std::uint64_t);
        }
        case update_file_name_root:
            return begin + name_copy_in_entry;
        case update_record_data_root: {
            const auto within = get(uni::field<std::uint16_t>{0}, begin);
            return within ? std::optional(begin + *within) : std::nullopt;
        }
        default:
            return begin;
    }
}

// What a side of the step says is there, piece by piece; nothing where its offset is not known.
std::size_t replayed_record::pieces_of(const record_step& step, const operation_side& there, piece_list& out) const {
    const std::size_t size = there.data.size();
    if (there.operation == set_new_attribute_sizes) {
        for (std::size_t at = 0; at < out.size(); ++at)
            out[at] = {step.attribute + size_offsets[at], there.data.slice(at * 8, 8), 8, 8};
        return out.size();
    }
    const auto offset = data_offset(step, there.operation);
    if (!offset) return 0;
    out[0] = {*offset, there.data, size, size};
    switch (there.operation) {
        case create_attribute:
            out[0].data = attribute_in(there.data);
            if (may_lag(step.attribute, attribute_layout::resident_header_size)) {
                out[0].lag_begin = attribute_layout::resident_header_size;
            }
            break;
        case add_index_entry_root:
            out[0].lag_begin = index_entry_layout::key + file_name_layout::modified.offset;
            out[0].lag_end = index_entry_layout::key + file_name_layout::name_length.offset;
            break;
        case update_file_name_root:
            out[0].lag_begin = sizeof(std::uint64_t);  // the creation stays
            break;
        case update_resident_value:
            if (may_lag(step.attribute, step.offset)) out[0].lag_begin = 0;
            break;
        default:
            break;
    }
    return 1;
}

bool replayed_record::holds(const piece& one) const {
    if (!bytes().has(one.offset, one.data.size())) return false;
    const auto there = m_bytes.begin() + static_cast<std::ptrdiff_t>(one.offset);
    if (std::equal(one.data.bytes().begin(), one.data.bytes().end(), there)) return true;
    for (std::size_t at = 0; at < one.data.size(); ++at) {
        if (at >= one.lag_begin && at < one.lag_end) continue;
        if (m_known[one.offset + at] != 0 && m_bytes[one.offset + at] != one.data.u8(at)) return false;
    }
    return true;
}

// Whether an operation can be about the attribute that begins here, as far as that one is known: sizes are of
// attributes that lie elsewhere, entries of an index root.
bool replayed_record::may_target(std::uint32_t attribute, std::uint16_t operation) const {
    if (attribute_at(attribute) == 0) return true;
    switch (row_of(operation).of) {
        case target_kind::nonresident:
            return get(attribute_layout::nonresident, attribute).value_or(1) != 0;
        case target_kind::index_root:
            return get(attribute_layout::type, attribute).value_or(attribute_type::index_root) ==
                   attribute_type::index_root;
        default:
            return true;
    }
}

bool replayed_record::is_there(const piece& one) const {
    return knows(one.offset, one.data.size()) &&
           std::ranges::equal(bytes().slice(one.offset, one.data.size()).bytes(), one.data.bytes());
}

// Whether the state holds what a side of the step says is there. What is not known agrees with anything.
bool replayed_record::agrees(const record_step& step, const operation_side& there, const operation_side& other) const {
    if (!row_of(there.operation).states) return true;
    if (there.operation == deallocate_file_record_segment) return m_in_use != true;
    if (there.operation == initialize_file_record_segment) {
        const uni::byte_view number = there.data.slice(sequence.offset, sizeof(std::uint16_t));
        return there.data.size() >= usa_begin || holds({sequence.offset, number, 2, 2});  // an image replaces all
    }
    if (m_in_use == false) return false;  // a record that is free holds no attributes
    if (!may_target(step.attribute, there.operation)) return false;
    piece_list pieces;
    const std::size_t count = pieces_of(step, there, pieces);
    // What comes after the last run is not of the runs. To find it takes long, so only where it matters.
    if (there.operation == update_mapping_pairs && count != 0 && !holds(pieces[0])) {
        const std::uint64_t end = run_list_end(step.attribute);
        pieces[0].lag_begin = end > pieces[0].offset ? end - pieces[0].offset : 0;
    }
    if (!std::all_of(pieces.begin(), pieces.begin() + count, [this](const piece& one) { return holds(one); })) {
        return false;
    }
    if (there.operation == write_end_of_file_record_segment) return true;
    if (!attribute_may_begin(step.attribute)) return false;
    if (attribute_at(step.attribute) == 0 && knows(step.attribute, 4)) return false;  // the end, or beyond
    const auto length = attribute_length(step.attribute);
    if (!length || there.operation == create_attribute) return true;
    const std::uint64_t end = aligned(step.offset + there.length);
    return ends_attribute(there.operation, there, other) ? *length == end : *length >= end;
}

bool replayed_record::learn(const record_step& step, const operation_side& there, const operation_side& other) {
    if (agrees(step, there, other)) {
        write(step, there, other);
        return true;
    }
    const bool of_another = !may_target(step.attribute, there.operation);
    forget();
    if (!of_another) write(step, there, other);  // what contradicts the kind of attribute proves nothing of it
    return false;
}

// Puts down what a side of the step says is there. It agrees, or nothing is known.
void replayed_record::write(const record_step& step, const operation_side& there, const operation_side& other) {
    if (!row_of(there.operation).states) return;
    if (there.operation == initialize_file_record_segment) {
        return there.data.size() >= usa_begin ? load(there.data) : take_header(there.data);
    }
    if (there.operation == deallocate_file_record_segment) {
        m_in_use = false;
        if (const auto bits = get(flags)) set<std::uint16_t>(flags, 0, *bits & ~file_record_layout::in_use);
        return;
    }
    piece_list pieces;
    const std::size_t count = pieces_of(step, there, pieces);
    if (!attribute_may_begin(step.attribute)) return;
    if (there.operation == create_attribute && pieces[0].data.empty()) return;
    if (attribute_at(step.attribute) == 0 && there.operation != write_end_of_file_record_segment) {
        begin_attribute(step.attribute, came_to_light);
    }
    if (there.operation == set_new_attribute_sizes || there.operation == update_mapping_pairs) {
        set<std::uint8_t>(attribute_layout::nonresident, step.attribute, 1);
        learn_first_vcn(step, there);
    } else if (there.operation == update_resident_value) {
        set<std::uint8_t>(attribute_layout::nonresident, step.attribute, 0);
    }
    const bool unchanged = count == 1 && there.data.size() == there.length && is_there(pieces[0]);
    const bool writes_data = states_data(there) && get(attribute_layout::type, step.attribute) == attribute_type::data;
    for (std::size_t at = 0; at < count; ++at)
        put(pieces[at].offset, pieces[at].data, writes_data ? by_data_write : by_log);
    if (count == 1 && there.operation != create_attribute) {
        unknow(pieces[0].offset + there.data.size(), pieces[0].offset + there.length);
    }
    if (!ends_attribute(there.operation, there, other)) return;
    const std::uint32_t end = step.offset + there.length;
    if (unchanged && attribute_length(step.attribute) == end && get(attribute_layout::highest_vcn, step.attribute) &&
        there.operation == update_mapping_pairs) {
        return;  // to count the clusters anew takes long
    }
    unknow(step.attribute + end, step.attribute + aligned(end));
    set(attribute_layout::record_length, step.attribute, static_cast<std::uint32_t>(aligned(end)));
    if (there.operation == update_mapping_pairs) return set_highest_vcn(step.attribute);
    const auto value_begin = get(attribute_layout::value_offset, step.attribute);
    if (value_begin && *value_begin <= end) set(attribute_layout::value_length, step.attribute, end - *value_begin);
}

// Sizes are written to the first piece of an attribute only. Runs begin right after the header, whose length shows
// whether there is a total of compressed clusters: where that is known, or the data begin before it, they begin no
// later.
void replayed_record::learn_first_vcn(const record_step& step, const operation_side& there) {
    using namespace attribute_layout;
    if (there.operation == set_new_attribute_sizes) {
        if (!get(lowest_vcn, step.attribute)) set<std::uint64_t>(lowest_vcn, step.attribute, 0);
        return;
    }
    if (get(mapping_pairs_offset, step.attribute)) return;
    const bool is_first = step.offset == compressed_size.offset ||
                          (step.offset == compressed_size.end() && get(compressed_size, step.attribute));
    if (is_first) set(mapping_pairs_offset, step.attribute, step.offset);
}

std::optional<run_reader> replayed_record::runs_of(std::uint32_t attribute) const {
    using namespace attribute_layout;
    const auto length = attribute_length(attribute);
    const auto begin = get(mapping_pairs_offset, attribute);
    const auto first = get(lowest_vcn, attribute);
    if (!length || !begin || !first || *begin >= *length) return std::nullopt;
    if (get(nonresident, attribute) != 1) return std::nullopt;
    const std::size_t room = *length - *begin;
    const uni::byte_view known_there = known().slice(attribute + *begin, room);
    const void* const unknown = std::memchr(known_there.bytes().data(), 0, room);
    const std::size_t known_size =
        unknown == nullptr
            ? room
            : static_cast<std::size_t>(static_cast<const std::uint8_t*>(unknown) - known_there.bytes().data());
    const run_reader runs(bytes().slice(attribute + *begin, known_size), *first);
    if (known_size == room) return runs;
    run_reader end = runs;  // what comes after the last run is not of the runs
    while (end.next()) {
    }
    const bool ends = !end.rest().empty() && end.rest().u8(0) == 0;
    return ends ? std::optional(runs) : std::nullopt;
}

// Where the runs end in the file record; nowhere if they are not known.
std::uint64_t replayed_record::run_list_end(std::uint32_t attribute) const {
    auto runs = runs_of(attribute);
    if (!runs) return ~std::uint64_t{0};
    while (runs->next()) {
    }
    return attribute + *attribute_length(attribute) - runs->rest().size();
}

void replayed_record::set_highest_vcn(std::uint32_t attribute) {
    using namespace attribute_layout;
    unknow(attribute + highest_vcn.offset, attribute + highest_vcn.end());
    auto runs = runs_of(attribute);
    if (!runs) return;
    while (runs->next()) {
    }
    set(highest_vcn, attribute, runs->end_vcn() - 1);
}

void replayed_record::carry_out(const record_step& step, const operation_side& done, const operation_side& was) {
    if (was.operation == zero_end_of_file_record) unknow(step.attribute, size());
    if (!may_target(step.attribute, done.operation)) return forget();
    if (!change(step, done, was)) forget();
    write(step, done, was);
}

// What the operation moves. False if that cannot be.
bool replayed_record::change(const record_step& step, const operation_side& done, const operation_side& was) {
    if (touches_nothing(done.operation)) return true;
    const bool known_before = !touches_nothing(was.operation);
    const std::uint16_t undone_by = row_of(done.operation).undone_by;
    if (known_before && undone_by != operation_row::anything && undone_by != was.operation) return false;
    switch (done.operation) {
        case initialize_file_record_segment:
            return true;
        case deallocate_file_record_segment:
            if (const auto old = get(sequence)) {
                set(sequence, 0, static_cast<std::uint16_t>(*old == 0xFFFF ? 1 : *old + 1));
            }
            m_in_use.reset();  // `write` sets it
            return true;
        case zero_end_of_file_record:
            if (get(bytes_in_use).value_or(0) > step.attribute) return false;
            unknow(step.attribute, size());
            return true;
        case write_end_of_file_record_segment: {
            if (!attribute_may_begin(step.attribute) || !bytes().has(step.attribute, done.data.size())) return false;
            m_attributes.erase(first_from(step.attribute), m_attributes.end());
            put(step.attribute, done.data);
            unknow(step.attribute + done.data.size(), size());
            const std::uint64_t end = aligned(step.attribute + done.data.size());
            set(bytes_in_use, 0, static_cast<std::uint32_t>(end));
            unknow(next_attribute_id.offset, next_attribute_id.end());
            walk_attributes(step.attribute, 0);
            return true;
        }
        case create_attribute: {
            const std::size_t length = attribute_in(done.data).size();
            if (length == 0 || !attribute_may_begin(step.attribute)) return false;
            if (!shift(step.attribute, static_cast<std::int64_t>(length))) return false;
            begin_attribute(step.attribute, 0);
            count_links(done.data, 1);
            count_identifier(done.data.get(attribute_layout::id));
            return true;
        }
        case delete_attribute: {
            const auto length = attribute_length(step.attribute);
            const std::int64_t removed = length ? *length : static_cast<std::int64_t>(attribute_in(was.data).size());
            if (removed == 0 || !attribute_may_begin(step.attribute)) return false;
            if (attribute_at(step.attribute) == 0 && knows(step.attribute, 4)) return false;
            count_links(bytes().from(step.attribute), -1);
            return shift(static_cast<std::uint32_t>(step.attribute + removed), -removed);
        }
        case update_resident_value:
        case update_mapping_pairs: {
            if (!known_before) return false;
            if (!ends_attribute(done.operation, done, was)) return true;
            return resize_attribute(step.attribute, aligned(step.offset + was.length),
                                    aligned(step.offset + done.length));
        }
        case add_index_entry_root:
            if (done.data.get(index_entry_layout::entry_length) != done.data.size()) return false;
            return resize_index_entry(step, static_cast<std::int64_t>(done.data.size()));
        case delete_index_entry_root: {
            const auto length = get(index_entry_layout::entry_length, std::uint32_t{step.attribute} + step.offset);
            const std::size_t removed = length ? *length : was.data.size();
            return removed != 0 && resize_index_entry(step, -static_cast<std::int64_t>(removed));
        }
        default:
            return true;
    }
}

// Moves what is there from `from` on; what comes free is not known. Bytes before it are lost if `by` is negative.
bool replayed_record::shift(std::uint32_t from, std::int64_t by) {
    const std::int64_t to = from + by;
    if (from % 8 != 0 || by % 8 != 0 || from > size() || to < 0 || to > size()) return false;
    if (const auto used = get(bytes_in_use)) {
        if (from > *used || *used + by > size()) return false;
        set(bytes_in_use, 0, static_cast<std::uint32_t>(*used + by));
    }
    const auto move = [](auto& cells, std::int64_t begin, std::int64_t end) {
        const auto first = cells.begin();
        const auto last = static_cast<std::int64_t>(cells.size());
        if (end < begin) {
            std::move(first + begin, cells.end(), first + end);
            std::fill(first + (last - (begin - end)), cells.end(), 0);
        } else {
            std::move_backward(first + begin, first + (last - (end - begin)), cells.end());
            std::fill(first + begin, first + end, 0);
        }
    };
    move(m_bytes, from, to);
    move(m_known, from, to);
    m_attributes.erase(first_from(static_cast<std::uint32_t>(std::min<std::int64_t>(from, to))), first_from(from));
    for (attribute_start& one : m_attributes) {
        if (one.offset >= from) one.offset = static_cast<std::uint32_t>(one.offset + by);
    }
    m_attributes.erase(first_from(size()), m_attributes.end());
    return true;
}

bool replayed_record::resize_attribute(std::uint32_t attribute, std::uint64_t old_length, std::uint64_t new_length) {
    if (!attribute_may_begin(attribute) || !bytes().has(attribute, old_length)) return false;
    const auto length = attribute_length(attribute);
    if (length && *length != old_length) return false;
    if (attribute_at(attribute) == 0) begin_attribute(attribute, came_to_light);
    // Attributes inside of what is taken for one cannot be.
    const auto next = first_from(attribute + 1);
    if (next != m_attributes.end() && next->offset < attribute + old_length) return false;
    if (!shift(static_cast<std::uint32_t>(attribute + old_length),
               static_cast<std::int64_t>(new_length - old_length))) {
        return false;
    }
    if (!bytes().has(attribute, new_length)) return false;
    set(attribute_layout::record_length, attribute, static_cast<std::uint32_t>(new_length));
    return true;
}

bool replayed_record::resize_index_entry(const record_step& step, std::int64_t by) {
    using namespace attribute_layout;
    const std::uint32_t begin = std::uint32_t{step.attribute} + step.offset;
    if (!attribute_may_begin(step.attribute) || step.offset < resident_header_size) return false;
    const auto length = attribute_length(step.attribute);
    const std::int64_t end = by < 0 ? begin - by : begin;
    if (length && end > step.attribute + *length) return false;
    if (!shift(static_cast<std::uint32_t>(std::min<std::int64_t>(end, size())), by)) return false;
    const auto grow = [this, by](uni::field<std::uint32_t> f, std::uint32_t base) {
        if (const auto old = get(f, base)) set(f, base, static_cast<std::uint32_t>(*old + by));
    };
    grow(record_length, step.attribute);
    grow(value_length, step.attribute);
    if (const auto value = get(value_offset, step.attribute)) {
        grow({index_length}, step.attribute + *value);
        grow({index_allocated}, step.attribute + *value);
    }
    return true;
}

// The next one passes all that there were. Going backward nothing says what it was: then it may be too high.
void replayed_record::count_identifier(std::uint16_t used) {
    const auto next = get(next_attribute_id);
    if (next && *next <= used) set(next_attribute_id, 0, static_cast<std::uint16_t>(used + 1));
}

void replayed_record::count_links(uni::byte_view attribute, int by) {
    if (attribute.get(attribute_layout::type) != attribute_type::file_name) return;
    if (const auto links = get(hard_links)) set(hard_links, 0, static_cast<std::uint16_t>(*links + by));
}

}  // namespace kest
