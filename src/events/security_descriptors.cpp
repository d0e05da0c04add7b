#include "events/security_descriptors.h"

#include <algorithm>
#include <bit>

#include "logfile/operation.h"
#include "logfile/volume_geometry.h"

namespace kest {

namespace {

// An entry of $SDS: this header, and the descriptor after it.
namespace entry_layout {
constexpr uni::field<std::uint32_t> hash{0};
constexpr uni::field<std::uint32_t> id{4};
constexpr uni::field<std::uint64_t> offset{8};   // of the entry in the stream
constexpr uni::field<std::uint32_t> length{16};  // of header and descriptor
constexpr std::uint32_t header = length.end();
}  // namespace entry_layout

// The stream holds each block of entries twice, the second one right after the first.
constexpr std::uint64_t block_size = std::uint64_t{1} << 18;  // bytes

namespace descriptor_layout {
constexpr uni::field<std::uint8_t> revision{0};
constexpr uni::field<std::uint16_t> control{2};
constexpr std::uint16_t self_relative = 0x8000;
constexpr uni::field<std::uint32_t> owner{4};  // offset in the descriptor
constexpr std::uint32_t header = 20;
}  // namespace descriptor_layout

namespace sid_layout {
constexpr uni::field<std::uint8_t> revision{0};
constexpr uni::field<std::uint8_t> parts{1};  // of 4 bytes each
constexpr std::uint8_t most_parts = 15;
constexpr std::uint32_t header = 8;
}  // namespace sid_layout

// As the system reckons it, over whole units of 4 bytes.
std::uint32_t hash_of(uni::byte_view descriptor) {
    std::uint32_t hash = 0;
    for (std::uint64_t at = 0; descriptor.has(at, sizeof hash); at += sizeof hash)
        hash = std::rotl(hash, 3) + descriptor.u32(at);
    return hash;
}

}  // namespace

uni::byte_view owner_of_descriptor(uni::byte_view descriptor) {
    namespace of = descriptor_layout;
    if (!descriptor.has(0, of::header) || descriptor.get(of::revision) != 1) return {};
    if ((descriptor.get(of::control) & of::self_relative) == 0 || descriptor.get(of::owner) < of::header) return {};
    const uni::byte_view sid = descriptor.from(descriptor.get(of::owner));
    const std::uint8_t parts = sid.get(sid_layout::parts);
    const std::uint64_t length = sid_layout::header + sizeof(std::uint32_t) * std::uint64_t{parts};
    if (sid.get(sid_layout::revision) != 1 || parts > sid_layout::most_parts || !sid.has(0, length)) return {};
    return sid.slice(0, length);
}

uni::byte_view owner_in(const attribute_state& descriptor) {
    return descriptor.value ? owner_of_descriptor(*descriptor.value) : uni::byte_view{};
}

security_descriptors::security_descriptors(const log_store& log, const std::vector<bool>& rolled_back,
                                           std::uint32_t cluster_size) {
    for (std::uint32_t at = 0; at < log.entries.size(); ++at) {
        const log_entry& entry = log.entries[at];
        if (entry.redo_op() == operation_code::update_nonresident_value && !rolled_back[at]) add(entry, cluster_size);
    }
}

// What looks like an entry may be any file's bytes, unless it is written where it says that it stands, and is whole.
void security_descriptors::add(const log_entry& entry, std::uint32_t cluster_size) {
    const uni::byte_view bytes = exact_redo(entry);
    const std::uint32_t length = bytes.get(entry_layout::length);
    if (length < entry_layout::header || !bytes.has(0, length)) return;
    const std::uint64_t offset = bytes.get(entry_layout::offset);
    const bool is_second = offset < ~block_size && is_written_at(entry, cluster_size, offset + block_size);
    if (!is_second && !is_written_at(entry, cluster_size, offset)) return;
    const uni::byte_view descriptor = bytes.slice(entry_layout::header, length - entry_layout::header);
    const uni::byte_view owner = owner_of_descriptor(descriptor);
    if (owner.empty() || hash_of(descriptor) != bytes.get(entry_layout::hash)) return;
    const std::uint32_t id = bytes.get(entry_layout::id);
    const uni::byte_view* const known = m_owners.find(id);
    if (known == nullptr) {
        m_owners[id] = owner;
    } else if (!std::ranges::equal(known->bytes(), owner.bytes())) {
        m_owners[id] = {};
    }
}

uni::byte_view security_descriptors::owner_of(std::optional<std::uint32_t> id) const {
    const uni::byte_view* const owner = id ? m_owners.find(*id) : nullptr;
    return owner != nullptr ? *owner : uni::byte_view{};
}

}  // namespace kest
