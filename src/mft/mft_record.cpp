#include "mft/mft_record.h"

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

#include "mft/inode_ref.h"
#include "mft/record_layout.h"
#include "mft/record_view.h"
#include "portable/unicode.h"

namespace kest {

namespace {

constexpr std::uint32_t cluster_size = 4096;   // bytes; the volume's own is not known
constexpr std::size_t longest_list = 262'144;  // bytes; the format allows no more
constexpr std::uint32_t least_entry = list_entry_layout::file_reference.end();
constexpr std::uint32_t least_first_entry = 32;
constexpr std::uint32_t highest_type = 256;

bool begins_as_list(uni::byte_view list) {
    using namespace list_entry_layout;
    const std::uint32_t first_type = list.get(type);
    const std::uint32_t length = list.get(entry_length);
    return first_type % 16 == 0 && first_type <= highest_type && length >= least_first_entry && length <= list.size() &&
           std::uint32_t{list.get(name_length)} + list.get(name_offset) <= length;
}

// Appends the run's clusters up to the first that cannot be read. False if a bound has kept it from reading some.
// Kept: clusters are counted from the start of the MFT's own file.
bool append_run(std::vector<std::uint8_t>& list, const run_record& run, mft_source& source) {
    for (std::uint64_t cluster = 0; cluster < run.clusters; ++cluster) {
        if (list.size() >= longest_list || !source.reads.spend(1)) return false;
        const std::size_t begin = list.size();
        list.resize(std::min(begin + cluster_size, longest_list));
        const uni::read_result arrived =
            source.file.read_at(std::span(list).subspan(begin), (run.lcn + cluster) * cluster_size);
        list.resize(begin + arrived.bytes);
        if (arrived.failed) source.read_failed = true;
        if (arrived.bytes == 0) break;
    }
    return true;
}

// Takes the first entry off `list`: the number of the file record that holds its attribute. Nothing at the end.
std::optional<std::uint64_t> next_listed_record(uni::byte_view& list) {
    using namespace list_entry_layout;
    if (list.empty() || list.get(type) == attribute_type::end_of_attributes) return std::nullopt;
    const std::uint64_t number = inode_ref(list.get(file_reference)).number();
    const std::uint32_t length = list.get(entry_length);
    list = length < least_entry ? uni::byte_view{} : list.from(length);
    return number;
}

// The bytes of a non-resident list, as far as they can be read. Empty if they do not begin as a list does.
std::vector<std::uint8_t> read_nonresident_list(uni::byte_view attribute, mft_source& source) {
    std::vector<std::uint8_t> list;
    std::vector<run_record> runs;
    if (attribute.get(attribute_layout::initialized_size) == 0 || !decode_runs(attribute, runs)) return list;
    bool whole = true;
    for (const run_record& run : runs) {
        whole = append_run(list, run, source) && whole;
    }
    if (!whole && (list.empty() || begins_as_list(std::span<const std::uint8_t>(list)))) {
        source.omitted.attribute_lists = true;
    }
    if (!begins_as_list(std::span<const std::uint8_t>(list))) list.clear();
    return list;
}

using namespace file_record_layout;

constexpr std::uint16_t most_usa_words = 9;
constexpr std::uint16_t first_attribute_bound = 73;

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
        return !m_record.parents.empty() || !m_record.further->base_records.empty();
    }

private:
    bool enter(std::span<std::uint8_t> bytes) const {
        if (bytes.size() < m_source.record_size || !is_file_record(bytes)) return false;
        repair_sectors(bytes);
        return true;
    }

    void take_header(uni::byte_view view) {
        const file_record_view header(view);
        m_record.sequence = header.sequence();
        m_record.lsn = view.get(lsn);
        m_record.inode = view.get(own_number);
        m_record.flags = view.get(flags);
        m_record.is_directory = header.is_directory();
        m_record.in_use = header.in_use();
        m_record.is_base = header.base().value() == 0;
        if (!m_record.is_base) m_record.further.made().base_records.insert(header.base().number());
    }

    void parse_extension(std::span<std::uint8_t> bytes) {
        if (!enter(bytes)) return;
        const uni::byte_view view = bytes;
        const std::uint32_t number = view.get(own_number);
        if (view.get(base_record) != 0 && !m_record.further.made().base_records.insert(number)) return;
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
        m_record.si_times = read_times(value, times);
        if (stated_length >= usn.end()) m_record.usn = value.get(usn);
    }

    // Every name gives a parent; a DOS name gives no more. The last of the others decides name and times, the first
    // nonzero ones the sizes.
    void take_file_name(uni::byte_view value) {
        using namespace file_name_layout;
        if (add_parent(m_record, inode_ref(value.get(parent))) == parent_entry::no_room) {
            m_source.omitted.parents = true;
        }
        if (value.get(name_space) == dos_name_space) return;
        m_record.fn_times = read_times(value, times);
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
        std::vector<run_record>& runs = m_record.further.made().index_runs;
        const std::size_t before = runs.size();
        decode_runs(attribute, runs);
        if (m_source.runs.spend(runs.size() - before)) return;
        runs.resize(before);
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
        const std::uint64_t offset = number * m_source.record_size;
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
    const std::uint32_t words = uni::byte_view(bytes).get(usa_count);
    if (words != 0) restore_sector_ends(bytes, usa_begin, words - 1);
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
