#include "history/record_state.h"

#include <algorithm>

namespace kest {

namespace {

using namespace attribute_layout;

// $STANDARD_INFORMATION is the first attribute and has at least 72 bytes: the second never lies further ahead.
constexpr std::uint32_t second_attribute = 120;

// Attributes of which more is told than their value.
bool has_small_value(std::uint32_t type) {
    namespace of = attribute_type;
    const auto without = {of::standard_information, of::attribute_list, of::data, of::index_root, of::index_allocation};
    return std::ranges::find(without, type) == without.end();
}

class state_reader {
public:
    // Without another state of the record: of the attributes the names only.
    state_reader(record_state& out, const replayed_record& record, const replayed_record* other)
        : m_out(out), m_record(record), m_other(other) {}

    void read(bool may_be_base) {
        using namespace file_record_layout;
        m_out.generation = m_record.generation();
        m_out.standard = {};
        m_out.standard_id = 0;
        m_out.attributes.clear();
        read_header();
        if (m_out.header.in_use == false) return;
        const bool is_base = m_out.header.base ? *m_out.header.base == inode_ref{} : may_be_base;
        m_record.list_attributes(m_starts);
        for (const auto& start : m_starts)
            read_attribute(start, is_base);
    }

private:
    void read_header() {
        using namespace file_record_layout;
        record_header& header = m_out.header;
        header = {};
        header.sequence = m_record.get(sequence);
        header.links = m_record.get(hard_links);
        m_out.copied = m_record.is_copied(sequence.offset);
        header.in_use = m_record.in_use();
        if (const auto bits = m_record.get(file_record_layout::flags)) header.directory = (*bits & directory) != 0;
        if (const auto base = m_record.get(base_record)) header.base = inode_ref(*base);
    }

    void read_attribute(const replayed_record::attribute_start& start, bool is_base) {
        const std::uint32_t at = start.offset;
        if (m_other == nullptr && m_record.get(type, at) != attribute_type::file_name) return;
        if (m_other != nullptr && m_other->in_use() != false && m_record.same_attribute(*m_other, start)) return;
        found_attribute& found = m_out.attributes.emplace_back();
        found.id = start.id;
        found.state.present = presence::present;
        found.type = m_record.get(type, at);
        if (const auto form = m_record.get(nonresident, at)) found.state.resident = *form == 0;
        const bool is_first = at < second_attribute && found.state.resident == true && is_base;
        if (!found.type && is_first) found.type = attribute_type::standard_information;
        if (const auto length = m_record.get(record_length, at)) found.bytes = m_record.bytes().slice(at, *length);
        read_name(found, at);
        if (found.type == attribute_type::standard_information) {
            m_out.standard_id = found.id;
            read_standard(at);
        }
        if (found.state.resident == true) read_resident(found, at);
        if (found.state.resident == false) read_nonresident(found, at);
    }

    void read_name(found_attribute& found, std::uint32_t at) {
        const auto units = m_record.get(name_length, at);
        const auto place = m_record.get(name_offset, at);
        if (!units || !place) return;
        if (const auto name = known_bytes(at + *place, std::size_t{2} * *units)) found.name = *name;
    }

    void read_standard(std::uint32_t at) {
        namespace layout = standard_information_layout;
        const std::uint32_t value = at + m_record.get(value_offset, at).value_or(resident_header_size);
        const std::uint32_t length = m_record.get(value_length, at).value_or(layout::size);
        standard_information& standard = m_out.standard;
        const auto take = [&](auto& to, auto f) {
            if (f.end() <= length) to = m_record.get(f, value);
        };
        for (std::size_t time = 0; time < standard.times.size(); ++time)
            standard.times[time] = known_part(layout::times[time], value);
        standard.flags = known_part(layout::flags, value);
        take(standard.owner_id, layout::owner_id);
        take(standard.security_id, layout::security_id);
        take(standard.usn, layout::usn);
    }

    void read_resident(found_attribute& found, std::uint32_t at) {
        const auto length = m_record.get(value_length, at);
        const auto place = m_record.get(value_offset, at);
        if (length && found.type != attribute_type::index_root) found.state.file_size = *length;
        if (!length || !place || !found.type || !has_small_value(*found.type)) return;
        found.state.value = known_bytes(at + *place, *length);
        found.state.copied = m_record.is_copied(at + *place);
    }

    void read_nonresident(found_attribute& found, std::uint32_t at) {
        found.lowest_vcn = m_record.get(lowest_vcn, at).value_or(0);
        if (found.lowest_vcn == 0 && found.type != attribute_type::index_allocation) {
            found.state.file_size = m_record.get(real_size, at);
            found.state.valid_length = m_record.get(initialized_size, at);
            found.state.allocated_size = m_record.get(allocated_size, at);
        }
        found.state.runs = m_record.runs_of(at);
    }

    template <class integer>
    partial_number<integer> known_part(uni::field<integer> f, std::uint32_t base) const {
        if (const auto whole = m_record.get(f, base)) return {*whole, static_cast<integer>(~integer{0})};
        partial_number<integer> part;
        for (std::uint32_t at = 0; at < sizeof(integer); ++at) {
            if (!m_record.knows(std::uint64_t{base} + f.offset + at, 1)) continue;
            part.value |= static_cast<integer>(integer{m_record.bytes().u8(base + f.offset + at)} << 8 * at);
            part.known |= static_cast<integer>(integer{0xFF} << 8 * at);
        }
        return part;
    }

    std::optional<uni::byte_view> known_bytes(std::uint64_t offset, std::size_t size) const {
        if (!m_record.knows(offset, size)) return std::nullopt;
        return m_record.bytes().slice(offset, size);
    }

    record_state& m_out;
    const replayed_record& m_record;
    const replayed_record* const m_other;
    std::vector<replayed_record::attribute_start> m_starts;
};

}  // namespace

// Identifiers of attributes rise.
const found_attribute* newest_name(const record_state& state) {
    const found_attribute* newest = nullptr;
    std::uint32_t highest = 0;
    for (const found_attribute& attribute : state.attributes) {
        const auto name = attribute.type == attribute_type::file_name ? attribute.state.file_name() : std::nullopt;
        if (!name) continue;
        const std::uint32_t rank = attribute.bytes.get(id) + (name->is_dos_name() ? 0 : 0x10000U);
        if (newest != nullptr && rank < highest) continue;
        highest = rank;
        newest = &attribute;
    }
    return newest;
}

void read_state(record_state& out, const replayed_record& record, bool may_be_base, const replayed_record& other) {
    state_reader(out, record, &other).read(may_be_base);
}

void read_identity(record_state& out, const replayed_record& record) {
    state_reader(out, record, nullptr).read(false);
}

}  // namespace kest
