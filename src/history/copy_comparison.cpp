#include "history/copy_comparison.h"

#include <algorithm>
#include <vector>

namespace kest {

namespace {

using namespace file_record_layout;

// Bytes that may differ without having been logged, as offsets in the file record.
struct unlogged_bytes {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
};

class comparison {
public:
    comparison(const replayed_record& replayed, const replayed_record& copy, bool names_may_lag)
        : m_replayed(replayed), m_copy(copy), m_names_may_lag(names_may_lag) {}

    // What the replay knows has to be in the copy: so its attributes are gone through, which nobody could hide there.
    copy_comparison run() {
        compare(sequence.offset, next_attribute_id.end());
        if (m_replayed.get(first_attribute).value_or(0) >= first_attribute_after_number) {
            compare(own_number.offset, usa_begin);
        }
        std::uint32_t end = m_replayed.get(first_attribute).value_or(0);
        std::vector<std::uint32_t> starts;
        m_replayed.for_each_attribute(
            [&](const replayed_record::attribute_start& start) { starts.push_back(start.offset); });
        for (std::size_t at = 0; at < starts.size(); ++at) {
            const auto length = m_replayed.attribute_length(starts[at]);
            const std::uint32_t next = at + 1 < starts.size() ? starts[at + 1] : size();
            end = length ? starts[at] + *length : next;
            m_attribute = starts[at];
            find_unlogged(starts[at], end);
            compare(starts[at], end);
        }
        m_unlogged.clear();
        if (m_replayed.get(attribute_layout::type, end) == attribute_type::end_of_attributes) {
            compare(end, end + attribute_layout::type.end());
        }
        return m_result;
    }

private:
    std::uint32_t size() const { return static_cast<std::uint32_t>(m_replayed.bytes().size()); }

    template <class integer>
    integer get(uni::field<integer> f, std::uint32_t base) const {
        return m_replayed.get(f, base).value_or(m_copy.bytes().from(base).get(f));
    }

    void find_unlogged(std::uint32_t offset, std::uint32_t end) {
        m_unlogged.clear();
        if (get(attribute_layout::nonresident, offset) != 0) return;
        const std::uint32_t value = offset + get(attribute_layout::value_offset, offset);
        switch (get(attribute_layout::type, offset)) {
            case attribute_type::data:
                m_unlogged.push_back({value, end});
                break;
            case attribute_type::standard_information:
                m_unlogged.push_back({value + standard_information_layout::accessed.offset,
                                      value + standard_information_layout::accessed.end()});
                break;
            case attribute_type::file_name:
                m_unlogged.push_back(
                    {value + file_name_layout::allocated_size.offset, value + file_name_layout::real_size.end()});
                break;
            case attribute_type::index_root:
                if (m_names_may_lag) find_entries(value, end);
                break;
            default:
                break;
        }
    }

    // Entries of an index of names have what is written without another LSN beside the name.
    void find_entries(std::uint32_t value, std::uint32_t end) {
        constexpr std::uint32_t entries_begin = 32;
        if (get(uni::field<std::uint32_t>{0}, value) != attribute_type::file_name) return;
        for (std::uint32_t entry = value + entries_begin; entry < end;) {
            const std::uint32_t length = get(index_entry_layout::entry_length, entry);
            const std::uint32_t key = entry + index_entry_layout::key;
            m_unlogged.push_back({key + file_name_layout::created.offset, key + file_name_layout::name_length.offset});
            if (length < index_entry_layout::key) return;
            entry += length;
        }
    }

    bool is_unlogged(std::uint32_t at) const {
        const auto one = std::ranges::upper_bound(m_unlogged, at, {}, &unlogged_bytes::end);
        return one != m_unlogged.end() && one->begin <= at;
    }

    void compare(std::uint32_t begin, std::uint32_t end) {
        if (m_replayed.same_bytes(begin, end - begin, m_copy)) {
            m_result.bytes += end - begin;
            return;
        }
        for (std::uint32_t at = begin; at < end; ++at) {
            if (!m_replayed.knows_byte(at)) continue;
            ++m_result.bytes;
            if (m_replayed.bytes().u8(at) == m_copy.bytes().u8(at)) continue;
            if (!m_replayed.is_stated_data(at) && is_unlogged(at)) {
                m_result.differs_in_unlogged = true;
                continue;
            }
            if (!m_result.differs) m_result.differing_at = at;
            m_result.differs = true;
            m_result.parts = static_cast<std::uint16_t>(m_result.parts | static_cast<std::uint16_t>(part_at(at)));
        }
    }

    record_part part_at(std::uint32_t at) const {
        if (at < usa_begin) return header_part_at(at);
        const std::uint32_t type = get(attribute_layout::type, m_attribute);
        if (get(attribute_layout::nonresident, m_attribute) != 0) {
            if (at < m_attribute + attribute_layout::allocated_size.offset) return record_part::attributes;
            const bool is_run = at >= m_attribute + get(attribute_layout::mapping_pairs_offset, m_attribute);
            return is_run ? record_part::runs : record_part::sizes;
        }
        const std::uint32_t value = m_attribute + get(attribute_layout::value_offset, m_attribute);
        if (at < value) return record_part::attributes;
        const std::uint32_t offset = at - value;
        if (type == attribute_type::standard_information) {
            namespace layout = standard_information_layout;
            if (offset < layout::flags.offset) return record_part::times;
            if (offset < layout::flags.end()) return record_part::flags;
            const bool is_security = offset >= layout::security_id.offset && offset < layout::security_id.end();
            return is_security ? record_part::security_id : record_part::standard_information;
        }
        if (type == attribute_type::file_name) {
            namespace layout = file_name_layout;
            const bool is_time = offset >= layout::created.offset && offset < layout::allocated_size.offset;
            return is_time ? record_part::name_times : record_part::name;
        }
        return type == attribute_type::data ? record_part::data : record_part::attributes;
    }

    static record_part header_part_at(std::uint32_t at) {
        if (at < sequence.end()) return record_part::sequence;
        if (at < hard_links.end()) return record_part::links;
        if (at >= flags.offset && at < flags.end()) return record_part::record_flags;
        return at >= base_record.offset && at < base_record.end() ? record_part::base_record : record_part::header;
    }

    const replayed_record& m_replayed;
    const replayed_record& m_copy;
    const bool m_names_may_lag;
    copy_comparison m_result;
    std::uint32_t m_attribute = 0;           // at hand
    std::vector<unlogged_bytes> m_unlogged;  // of the attribute at hand, by offset
};

}  // namespace

copy_comparison compare_with_copy(const replayed_record& replayed, const replayed_record& copy, bool names_may_lag) {
    return comparison(replayed, copy, names_may_lag).run();
}

}  // namespace kest
