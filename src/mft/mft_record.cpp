#include "mft/mft_record.h"

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

#include "mft/attribute_list.h"
#include "mft/mft_reader.h"
#include "mft/record_layout.h"
#include "mft/run_list.h"
#include "portable/utf16.h"

namespace kest {

namespace {

using namespace file_record_layout;

constexpr std::uint16_t most_usa_words = 9;
constexpr std::uint16_t first_attribute_bound = 73;
constexpr std::uint32_t sector_size = 512;  // bytes

// Bounds on what attribute lists lead to. A file has fewer extension records than this.
constexpr std::size_t most_extensions = 1024;  // read for one record, failed reads among them
constexpr unsigned deepest_list = 32;

// Reads one file record with all that its attribute lists name.
class record_parser {
public:
    record_parser(inode_record& record, mft_source& source) : m_record(record), m_source(source) {}

    bool parse(std::span<std::uint8_t> bytes) {
        if (!enter(bytes)) return false;
        const uni::byte_view view = bytes;
        take_header(view);
        m_own_number = view.get(own_number);
        m_source.reads.begin_record();
        m_source.runs.begin_record();
        m_source.odd_name.clear();
        walk_attributes(view, m_own_number);
        return !m_record.parents.empty() || !m_record.base_records.empty();
    }

private:
    bool enter(std::span<std::uint8_t> bytes) const {
        if (bytes.size() < m_source.record_size || !is_file_record(bytes)) return false;
        repair_sectors(bytes);
        return true;
    }

    void take_header(uni::byte_view view) {
        m_record.sequence = view.get(sequence);
        m_record.lsn = view.get(lsn);
        m_record.inode = view.get(own_number);
        m_record.flags = view.get(flags);
        m_record.is_directory = (m_record.flags & inode_flags::directory) != 0;
        m_record.in_use = (m_record.flags & inode_flags::in_use) != 0;
        const std::uint64_t base = view.get(base_record);
        m_record.is_base = base == 0;
        if (base != 0) m_record.base_records.insert(inode_ref(base).number());
    }

    void parse_extension(std::span<std::uint8_t> bytes) {
        if (!enter(bytes)) return;
        const uni::byte_view view = bytes;
        const std::uint32_t number = view.get(own_number);
        if (view.get(base_record) != 0 && !m_record.base_records.insert(number)) return;
        walk_attributes(view, number);
    }

    void walk_attributes(uni::byte_view view, std::uint64_t number) {
        uni::byte_view rest = view.from(view.get(first_attribute));
        while (!rest.empty()) {
            const std::uint32_t type = rest.get(attribute_layout::type);
            const std::uint32_t length = rest.get(attribute_layout::record_length);
            if (type == attribute_type::end_of_attributes || length == 0 || length > rest.size()) return;
            take_attribute(type, rest.slice(0, length), number);
            rest = rest.from(length);
        }
    }

    void take_attribute(std::uint32_t type, uni::byte_view attribute, std::uint64_t number) {
        const std::uint32_t value_length = attribute.get(attribute_layout::value_length);
        const std::uint16_t value_offset = attribute.get(attribute_layout::value_offset);
        const bool has_value = value_length != 0 && value_offset != 0;
        const uni::byte_view value = attribute.slice(value_offset, value_length);
        switch (type) {
            case attribute_type::standard_information:
                if (has_value) take_standard_information(value, value_length);
                break;
            case attribute_type::attribute_list:
                if (attribute.get(attribute_layout::nonresident) != 0) {
                    const std::vector<std::uint8_t> list = read_nonresident_list(attribute, m_source);
                    follow_list(std::span<const std::uint8_t>(list), number);
                } else if (has_value) {
                    follow_list(value, number);
                }
                break;
            case attribute_type::file_name:
                if (has_value) take_file_name(value);
                break;
            case attribute_type::index_allocation:
                take_index_runs(attribute);
                break;
            default:
                break;
        }
    }

    void take_standard_information(uni::byte_view value, std::uint32_t stated_length) {
        using namespace standard_information_layout;
        m_record.si_times = {.modified = value.get(modified),
                             .accessed = value.get(accessed),
                             .mft_changed = value.get(mft_changed),
                             .created = value.get(created)};
        m_record.file_attributes = value.get(standard_information_layout::flags);
        if (stated_length >= usn.end()) m_record.usn = value.get(usn);
    }

    // Every name gives a parent; a DOS name gives no more. The last of the others decides name and times, the first
    // nonzero ones the sizes.
    void take_file_name(uni::byte_view value) {
        using namespace file_name_layout;
        if (add_parent(m_record, inode_ref(value.get(parent))) == parent_news::no_room) {
            m_source.omitted.parents = true;
        }
        if (value.get(name_space) == dos_name_space) return;
        m_record.fn_times = {.modified = value.get(modified),
                             .accessed = value.get(accessed),
                             .mft_changed = value.get(mft_changed),
                             .created = value.get(created)};
        if (m_record.allocated_size == 0) m_record.allocated_size = value.get(allocated_size);
        if (m_record.real_size == 0) m_record.real_size = value.get(real_size);
        m_record.name_parent = inode_ref(value.get(parent));
        m_record.name.clear();
        const uni::byte_view units = value.slice(name, std::uint64_t{2} * value.get(name_length));
        m_source.odd_name.clear();
        if (!uni::append_utf16_text(m_record.name, units)) {
            m_source.odd_name.assign(units.bytes().begin(), units.bytes().end());
        }
    }

    void take_index_runs(uni::byte_view attribute) {
        if ((m_source.parse_mask & parse_bits::index_allocation) == 0) return;
        const std::size_t before = m_record.index_runs.size();
        decode_runs(attribute, m_record.index_runs);
        if (m_source.runs.spend(m_record.index_runs.size() - before)) return;
        m_record.index_runs.resize(before);
        m_source.omitted.index_runs = true;
    }

    // Recursion comes back here at most `deepest_list` times.
    void follow_list(uni::byte_view list, std::uint64_t number) {
        if (list.get(list_entry_layout::entry_length) > list.size()) return;
        if (m_depth == deepest_list) {
            m_source.omitted.attribute_lists = true;
            return;
        }
        ++m_depth;
        while (const std::optional<std::uint64_t> named = next_listed_record(list)) {
            if (*named != 0 && *named != number) read_extension(*named);
        }
        --m_depth;
    }

    void read_extension(std::uint64_t number) {
        if (number == m_own_number || m_read.contains(number)) return;
        if (m_read.size() == most_extensions || !m_source.reads.spend(1)) {
            m_source.omitted.extension_records = true;
            return;
        }
        m_read.insert(number);
        std::vector<std::uint8_t> bytes(m_source.record_size);
        const std::uint64_t offset = number * m_source.record_size + m_source.base_offset;
        const uni::read_result arrived = m_source.file.read_at(bytes, offset);
        if (arrived.failed) m_source.read_failed = true;
        if (arrived.bytes == bytes.size()) parse_extension(bytes);
    }

    inode_record& m_record;
    mft_source& m_source;
    std::uint64_t m_own_number = 0;
    std::set<std::uint64_t> m_read;  // numbers of the extension records
    unsigned m_depth = 0;
};

}  // namespace

// Kept: what is replaced is not compared with the update sequence number, so a
// record with a torn sector is taken as it is.
void repair_sectors(std::span<std::uint8_t> bytes) {
    const uni::byte_view view = bytes;
    const std::uint32_t words = view.get(usa_count);
    for (std::uint32_t word = 1; word < words; ++word) {
        const std::size_t place = std::size_t{sector_size} * word - 2;
        if (!view.has(place, 2)) return;
        const std::uint16_t held = view.u16(usa_begin + 2 * word);
        bytes[place] = static_cast<std::uint8_t>(held & 0xFF);
        bytes[place + 1] = static_cast<std::uint8_t>(held >> 8);
    }
}

bool is_file_record(uni::byte_view bytes) {
    return bytes.get(signature) == file_signature && bytes.get(usa_offset) == usa_begin &&
           bytes.get(usa_count) <= most_usa_words && bytes.get(first_attribute) < first_attribute_bound;
}

std::uint32_t file_record_size(uni::byte_view bytes) {
    const std::uint32_t words = bytes.get(usa_count);
    return is_file_record(bytes) && words > 0 ? (words - 1) * sector_size : 0;
}

bool parse_mft_record(inode_record& record, std::span<std::uint8_t> bytes, mft_source& source) {
    return record_parser(record, source).parse(bytes);
}

}  // namespace kest
