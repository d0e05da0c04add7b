#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mft/inode_record.h"
#include "mft/inode_ref.h"
#include "mft/record_layout.h"
#include "portable/byte_view.h"

namespace kest {

// Structures that are whole inside of the bytes given: what is cut is not read at all. The bytes must outlive the
// views.

// Puts back the words at the ends of the first `sectors` sectors, as far as the bytes have them. The update sequence
// array at `array_offset` begins with the number that stands there in their place; it is not compared.
void restore_sector_ends(std::span<std::uint8_t> bytes, std::size_t array_offset, std::uint32_t sectors);

// A $FILE_NAME value.
class file_name_view {
public:
    file_name_view() = default;

    // `bytes` begin with the value. Nothing for a name without a character.
    static std::optional<file_name_view> read(uni::byte_view bytes) {
        const std::size_t size = file_name_layout::name + std::size_t{2} * bytes.get(file_name_layout::name_length);
        if (size < file_name_layout::smallest || bytes.size() < size) return std::nullopt;
        return file_name_view(bytes.slice(0, size));
    }

    template <class integer>
    integer get(uni::field<integer> f) const {
        return m_bytes.get(f);
    }
    inode_ref parent() const { return inode_ref(get(file_name_layout::parent)); }
    uni::byte_view name() const { return m_bytes.from(file_name_layout::name); }  // UTF-16
    bool is_dos_name() const { return get(file_name_layout::name_space) == file_name_layout::dos_name_space; }
    bool names_directory() const { return (get(file_name_layout::flags) & file_name_layout::directory) != 0; }

private:
    explicit file_name_view(uni::byte_view bytes) : m_bytes(bytes) {}

    uni::byte_view m_bytes;
};

// An entry of an index of file names.
struct index_entry_view {
    inode_ref file;
    file_name_view name;

    // Nothing for an entry of another index, or for the end entry.
    static std::optional<index_entry_view> read(uni::byte_view bytes);
};

// An attribute record.
class attribute_view {
public:
    // `bytes` begin with the record.
    static std::optional<attribute_view> read(uni::byte_view bytes);

    std::uint32_t type() const { return m_bytes.get(attribute_layout::type); }
    std::uint32_t length() const { return static_cast<std::uint32_t>(m_bytes.size()); }
    bool resident() const { return m_bytes.get(attribute_layout::nonresident) == 0; }
    uni::byte_view name() const;      // UTF-16
    uni::byte_view value() const;     // of a resident one
    std::uint64_t real_size() const;  // bytes of the value
    // 0 unless the record is a further piece of an attribute.
    std::uint64_t lowest_vcn() const { return resident() ? 0 : m_bytes.get(attribute_layout::lowest_vcn); }

private:
    explicit attribute_view(uni::byte_view bytes) : m_bytes(bytes) {}

    uni::byte_view m_bytes;
};

// A file record, or as much of its beginning as there is.
class file_record_view {
public:
    explicit file_record_view(uni::byte_view bytes) : m_bytes(bytes) {}

    bool has_header() const { return m_bytes.size() >= file_record_layout::usa_begin; }
    std::uint16_t sequence() const { return m_bytes.get(file_record_layout::sequence); }
    std::uint16_t hard_links() const { return m_bytes.get(file_record_layout::hard_links); }
    bool in_use() const { return (m_bytes.get(file_record_layout::flags) & file_record_layout::in_use) != 0; }
    bool is_directory() const { return (m_bytes.get(file_record_layout::flags) & file_record_layout::directory) != 0; }
    inode_ref base() const { return inode_ref(m_bytes.get(file_record_layout::base_record)); }
    std::uint32_t record_room() const { return m_bytes.get(file_record_layout::record_room); }
    // Nothing on a record of a version that does not hold it.
    std::optional<std::uint32_t> own_number() const {
        using namespace file_record_layout;
        if (m_bytes.get(first_attribute) < first_attribute_after_number) return std::nullopt;
        return m_bytes.get(file_record_layout::own_number);
    }

    // Calls `visit(offset, attribute)` up to the end marker, or to the first that does not fit.
    template <class visitor>
    void for_each_attribute(visitor&& visit) const {
        if (!has_header()) return;
        std::uint64_t offset = m_bytes.get(file_record_layout::first_attribute);
        if (offset < file_record_layout::smallest_header) return;
        for (;;) {
            const auto attribute = attribute_view::read(m_bytes.from(offset));
            if (!attribute) return;
            visit(static_cast<std::uint32_t>(offset), *attribute);
            offset += attribute->length();
        }
    }

    // Its names in their order.
    template <class visitor>
    void for_each_name(visitor&& visit) const {
        for_each_attribute([&visit](std::uint32_t, const attribute_view& attribute) {
            if (attribute.type() != attribute_type::file_name || !attribute.resident()) return;
            if (const auto name = file_name_view::read(attribute.value())) visit(*name);
        });
    }

    // The $STANDARD_INFORMATION value; empty if there is none that is whole.
    uni::byte_view standard_information() const;

private:
    uni::byte_view m_bytes;
};

// Appends the runs of a non-resident attribute, whose stated bytes `attribute` shows. True also if the list ends
// early; false if the attribute cannot hold one. A sparse run stands at the cluster of the run before it.
bool decode_runs(uni::byte_view attribute, std::vector<run_record>& runs);

}  // namespace kest
