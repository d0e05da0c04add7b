#include "images/ntfs_volume.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <string_view>

#include "format/number.h"
#include "mft/inode_ref.h"
#include "mft/record_layout.h"
#include "mft/record_view.h"
#include "mft/run_reader.h"

namespace kest {

namespace {

namespace boot_layout {
constexpr std::uint32_t size = 512;  // bytes
constexpr uni::field<std::uint64_t> oem_id{3};
constexpr std::uint64_t ntfs = 0x202020205346544E;  // "NTFS    "
constexpr uni::field<std::uint16_t> sector_size{11};
constexpr uni::field<std::uint8_t> cluster_sectors{13};  // or the power of 2 of so many, negative
constexpr uni::field<std::uint64_t> sectors{40};         // less the last one, which has the copy
constexpr uni::field<std::uint64_t> mft_lcn{48};
constexpr uni::field<std::uint64_t> mirror_lcn{56};
constexpr uni::field<std::uint8_t> record_clusters{64};  // or the power of 2 of its bytes, negative
}  // namespace boot_layout

namespace index_root_layout {
constexpr uni::field<std::uint32_t> block_size{8};  // bytes
constexpr std::uint32_t header = 16;
}  // namespace index_root_layout

namespace index_block_layout {
constexpr std::uint32_t index_signature = 0x58444E49;  // "INDX"
constexpr std::uint32_t header = 24;
}  // namespace index_block_layout

// Of the entries of an index, from its header on.
namespace index_header_layout {
constexpr uni::field<std::uint32_t> first_entry{0};
constexpr uni::field<std::uint32_t> end_of_entries{4};
}  // namespace index_header_layout

constexpr std::uint64_t mft_number = 0, log_number = 2, extend_number = 11;
constexpr std::uint64_t mirrored_records = 4;
constexpr std::string_view index_name = "$I30", journal_file_name = "$UsnJrnl", journal_stream_name = "$J";

constexpr std::uint32_t longest_list = 262'144;     // bytes of an attribute list; the format allows no more
constexpr std::size_t most_extensions = 1024;       // records with pieces of one stream
constexpr std::uint64_t longest_index = 1'048'576;  // bytes of the index of $Extend; it has a few entries
constexpr std::uint32_t largest_block = 65'536;     // bytes of an index
constexpr std::uint64_t searched_records = 4096;    // for a journal that the index of $Extend does not lead to
constexpr std::uint64_t most_clusters = std::uint64_t{1} << 40;  // in a stream, holes among them

// A count of units, or the power of 2 of one if its top bit is set; 0 if it is too large.
std::uint32_t stated_size(std::uint8_t value, std::uint32_t unit, std::uint32_t power_unit) {
    if (value <= 128) return value * unit;
    const unsigned power = 256U - value;
    return power <= 31 - std::bit_width(power_unit) ? power_unit << power : 0;
}

bool is_size(std::uint32_t size, std::uint32_t least, std::uint32_t most) {
    return std::has_single_bit(size) && size >= least && size <= most;
}

bool is_ascii(uni::byte_view utf16, std::string_view text) {
    if (utf16.size() != 2 * text.size()) return false;
    for (std::size_t at = 0; at < text.size(); ++at)
        if (utf16.u16(2 * at) != static_cast<unsigned char>(text[at])) return false;
    return true;
}

using record_bytes = std::vector<std::uint8_t>;

uni::byte_view view_of(const record_bytes& bytes) {
    return std::span<const std::uint8_t>(bytes);
}

// A file record or an index block whose sector ends are put back. Empty if the bytes do not begin so.
void repair(record_bytes& bytes, std::uint32_t signature) {
    using namespace file_record_layout;  // index blocks have their update sequence at the same offsets
    const uni::byte_view view = view_of(bytes);
    if (view.u32(0) != signature) return bytes.clear();
    const std::uint32_t words = view.get(usa_count);
    if (words != 0) restore_sector_ends(bytes, view.get(usa_offset), words - 1);
}

// One attribute of a file, in pieces.
struct attribute_pieces {
    std::vector<stream_extent> extents;  // of the clusters so far
    std::uint64_t next_vcn = 0;
    std::uint64_t size = 0;         // bytes
    std::uint64_t initialized = 0;  // bytes
    bool found = false;
    bool readable = true;  // neither resident, nor compressed, nor encrypted
};

class volume_reader {
public:
    volume_reader(const image_bytes& image, const volume_place& volume)
        : m_image(image.source), m_volume(volume), m_geometry(volume.geometry) {
        const std::uint64_t there = m_image->size() > volume.offset ? m_image->size() - volume.offset : 0;
        m_clusters = m_geometry.size / m_geometry.cluster_size;
        m_size = std::min(m_geometry.size, there);
        m_data_room = std::min(m_size, image.most_data) / m_geometry.cluster_size;
    }

    volume_streams open() {
        if (m_volume.by_copy) note("boot sector damaged, its copy at the end was read");
        if (m_size < m_geometry.size) note("reaches beyond the image");
        open_mft();
        m_streams.log = open_stream(log_number, {}, "$LogFile");
        if (!m_streams.log) note("no $LogFile found");
        if (const auto journal = find_journal()) {
            m_streams.journal = open_stream(*journal, journal_stream_name, "$UsnJrnl:$J");
        }
        return std::move(m_streams);
    }

private:
    void note(std::string text) { m_streams.notes.push_back(std::move(text)); }

    std::uint64_t place_of(std::uint64_t lcn) const { return m_volume.offset + lcn * m_geometry.cluster_size; }

    record_bytes read_image(std::uint64_t lcn, std::uint64_t offset, std::size_t length) const {
        record_bytes bytes(length);
        if (lcn >= m_clusters) return {};
        const bool whole = m_image->read_at(bytes, place_of(lcn) + offset).bytes == length;
        return whole ? bytes : record_bytes{};
    }

    record_bytes read_mirror(std::uint64_t number) const {
        record_bytes bytes = read_image(m_geometry.mirror_lcn, number * m_geometry.record_size, m_geometry.record_size);
        repair(bytes, file_record_layout::file_signature);
        return bytes;
    }

    void note_mirror(std::uint64_t number) {
        note("file record " + format_number(number, false) + " damaged, its copy was read");
    }

    // By the MFT as far as its runs are known; its first clusters are known by the boot sector.
    record_bytes read_record(std::uint64_t number) const {
        const std::uint64_t offset = number * m_geometry.record_size;
        record_bytes bytes;
        if (m_streams.mft) {
            bytes.resize(m_geometry.record_size);
            if (m_streams.mft->read_at(bytes, offset).bytes != bytes.size()) bytes.clear();
        } else if (number < mirrored_records) {
            bytes = read_image(m_geometry.mft_lcn, offset, m_geometry.record_size);
        }
        repair(bytes, file_record_layout::file_signature);
        return bytes;
    }

    record_bytes read_mirrored_record(std::uint64_t number) {
        record_bytes bytes = read_record(number);
        if (!bytes.empty() || number >= mirrored_records) return bytes;
        bytes = read_mirror(number);
        if (!bytes.empty()) note_mirror(number);
        return bytes;
    }

    // An MFT in many pieces names them in records of its own, of which the first pieces hold the next ones.
    void open_mft() {
        const bool found = open_mft_by(read_record(mft_number), false);
        if (!found && !open_mft_by(read_mirror(mft_number), true))
            return note("file record 0 and its copy damaged: no $MFT");
        if (!found) note_mirror(mft_number);
        note_losses(*m_streams.mft, "$MFT");
    }

    // With `by_copy` the copy stands in the stream, too.
    bool open_mft_by(const record_bytes& record, bool by_copy) {
        attribute_pieces pieces;
        const auto known = std::make_shared<image_stream>(m_image);
        std::size_t taken = 0;
        gather(pieces, record, mft_number, {}, [&] {
            for (; taken < pieces.extents.size(); ++taken)
                known->append(pieces.extents[taken]);
            if (pieces.readable) m_streams.mft = known;
        });
        if (by_copy) replace_begin(pieces.extents, m_geometry.record_size, place_of(m_geometry.mirror_lcn));
        m_streams.mft = pieces.readable && pieces.next_vcn != 0 ? finish(pieces) : nullptr;
        return m_streams.mft != nullptr;
    }

    static void replace_begin(std::vector<stream_extent>& extents, std::uint64_t length, std::uint64_t place) {
        std::vector<stream_extent> replaced = {{0, length, stream_extent::content::data, place}};
        for (const stream_extent& extent : extents) {
            const std::uint64_t covered = std::min(extent.length, length - std::min(length, extent.begin));
            if (covered == extent.length) continue;
            replaced.push_back({extent.begin + covered, extent.length - covered, extent.holds, extent.place + covered});
        }
        extents = std::move(replaced);
    }

    std::shared_ptr<const image_stream> open_stream(std::uint64_t number, std::string_view name,
                                                    std::string_view shown) {
        const record_bytes record = read_mirrored_record(number);
        if (record.empty()) return nullptr;
        attribute_pieces pieces;
        gather(pieces, record, number, name, [] {});
        if (!pieces.found || pieces.size == 0) return nullptr;
        if (!pieces.readable) {
            note(std::string(shown).append(" resident, compressed or encrypted: not read"));
            return nullptr;
        }
        auto stream = finish(pieces);
        note_losses(*stream, shown);
        return stream;
    }

    void note_losses(const image_stream& stream, std::string_view shown) {
        if (stream.lost_bytes() == 0) return;
        note(format_number(stream.lost_bytes(), false)
                 .append(" bytes of ")
                 .append(shown)
                 .append(" lie nowhere in the image"));
    }

    // Takes the attribute's pieces off the record, and off those that its attribute list names. `between` is called
    // where there are more pieces than before.
    template <class step>
    void gather(attribute_pieces& pieces, const record_bytes& record, std::uint64_t number, std::string_view name,
                step&& between) {
        take_pieces(pieces, view_of(record), name);
        for (const std::uint64_t extension : listed_records(record, number, name)) {
            between();
            const record_bytes bytes = read_record(extension);
            const file_record_view view(view_of(bytes));
            if (view.in_use() && view.base().number() == number) take_pieces(pieces, view_of(bytes), name);
        }
    }

    // Pieces that do not go on where the last one ended are left out: what lies between is lost.
    void take_pieces(attribute_pieces& pieces, uni::byte_view record, std::string_view name) {
        file_record_view(record).for_each_attribute([&](std::uint32_t offset, const attribute_view& attribute) {
            if (attribute.type() != attribute_type::data || !is_ascii(attribute.name(), name)) return;
            const uni::byte_view bytes = record.slice(offset, attribute.length());
            if (attribute.lowest_vcn() == 0 && !pieces.found) take_sizes(pieces, attribute, bytes);
            if (!attribute.resident() && pieces.found && attribute.lowest_vcn() >= pieces.next_vcn) {
                take_runs(pieces, bytes);
            }
        });
    }

    void take_sizes(attribute_pieces& pieces, const attribute_view& attribute, uni::byte_view bytes) {
        using namespace attribute_layout;
        constexpr std::uint16_t compressed_or_encrypted = 0x40FF;
        pieces.found = true;
        pieces.readable = !attribute.resident() && (bytes.get(flags) & compressed_or_encrypted) == 0;
        pieces.size = std::min(attribute.real_size(), most_clusters * m_geometry.cluster_size);
        pieces.initialized = std::min(bytes.get(initialized_size), pieces.size);
    }

    void take_runs(attribute_pieces& pieces, uni::byte_view attribute) {
        using namespace attribute_layout;
        const std::uint64_t begin = attribute.get(lowest_vcn);
        if (begin > most_clusters) return;
        add_clusters(pieces, begin - pieces.next_vcn, stream_extent::content::lost, 0);
        run_reader runs(attribute.from(attribute.get(mapping_pairs_offset)), begin);
        while (pieces.next_vcn < most_clusters && runs.next()) {
            const std::uint64_t clusters = std::min(runs.clusters(), most_clusters - pieces.next_vcn);
            if (const auto lcn = runs.lcn()) {
                add_data(pieces, clusters, *lcn);
            } else {
                add_clusters(pieces, clusters, stream_extent::content::hole, 0);
            }
        }
    }

    // Clusters that the image does not have are lost, and so are all beyond as many as there are: some must be the same
    // then.
    void add_data(attribute_pieces& pieces, std::uint64_t clusters, std::uint64_t lcn) {
        const std::uint64_t all = m_size / m_geometry.cluster_size;
        const std::uint64_t there = lcn < all ? std::min(clusters, all - lcn) : 0;
        const std::uint64_t taken = std::min(there, m_data_room);
        add_clusters(pieces, taken, stream_extent::content::data, place_of(lcn));
        m_data_room -= taken;
        add_clusters(pieces, clusters - taken, stream_extent::content::lost, 0);
    }

    void add_clusters(attribute_pieces& pieces, std::uint64_t clusters, stream_extent::content holds,
                      std::uint64_t place) {
        if (clusters == 0) return;
        const std::uint64_t begin = pieces.next_vcn * m_geometry.cluster_size;
        pieces.extents.push_back({begin, clusters * m_geometry.cluster_size, holds, place});
        pieces.next_vcn += clusters;
    }

    // What lies after the stream's end is cut off; what was never written, though it has clusters, reads as zeros; what
    // has no clusters though it was written is lost.
    std::shared_ptr<const image_stream> finish(const attribute_pieces& pieces) {
        using content = stream_extent::content;
        const auto stream = std::make_shared<image_stream>(m_image);
        std::uint64_t end = 0;
        const auto add = [&](stream_extent extent, std::uint64_t limit) {
            extent.length = std::min(extent.length, limit - std::min(limit, extent.begin));
            if (extent.length == 0) return;
            stream->append(extent);
            end = extent.begin + extent.length;
        };
        for (const stream_extent& extent : pieces.extents)
            add(extent, pieces.initialized);
        if (end < pieces.initialized) add({end, pieces.initialized - end, content::lost, 0}, pieces.initialized);
        if (end < pieces.size) add({end, pieces.size - end, content::hole, 0}, pieces.size);
        return stream;
    }

    // Numbers of the records that hold pieces of the attribute, in their order, without the base record's.
    std::vector<std::uint64_t> listed_records(const record_bytes& record, std::uint64_t number, std::string_view name) {
        using namespace list_entry_layout;
        std::vector<std::uint64_t> numbers;
        const record_bytes list = attribute_list(view_of(record));
        for (uni::byte_view rest = view_of(list); rest.has(0, list_entry_layout::name);) {
            const std::uint32_t length = rest.get(entry_length);
            if (length < list_entry_layout::name) break;
            const uni::byte_view entry = rest.slice(0, length);
            const uni::byte_view listed = entry.slice(entry.get(name_offset), 2U * entry.get(name_length));
            const std::uint64_t holder = inode_ref(entry.get(file_reference)).number();
            const bool wanted = entry.get(type) == attribute_type::data && is_ascii(listed, name);
            rest = rest.from(length);
            if (!wanted || holder == number || (!numbers.empty() && numbers.back() == holder)) continue;
            if (numbers.size() == most_extensions) {
                note("attribute list too long");
                break;
            }
            numbers.push_back(holder);
        }
        return numbers;
    }

    // Empty if the record has none.
    record_bytes attribute_list(uni::byte_view record) {
        record_bytes list;
        file_record_view(record).for_each_attribute([&](std::uint32_t offset, const attribute_view& attribute) {
            if (attribute.type() != attribute_type::attribute_list || !list.empty()) return;
            const auto value = attribute.value().bytes();
            list.assign(value.begin(), value.end());
            if (!attribute.resident()) list = read_attribute(record.slice(offset, attribute.length()), longest_list);
        });
        return list;
    }

    // The first bytes of a non-resident attribute that is whole in its record.
    record_bytes read_attribute(uni::byte_view attribute, std::uint64_t most) {
        attribute_pieces pieces;
        pieces.size = std::min(attribute.get(attribute_layout::real_size), most);
        pieces.initialized = pieces.size;
        take_runs(pieces, attribute);
        const auto stream = finish(pieces);
        record_bytes bytes(static_cast<std::size_t>(stream->size()));
        bytes.resize(stream->read_at(bytes, 0).bytes);
        return bytes;
    }

    // By the index of $Extend, or by the name in a record near the MFT's beginning if that fails.
    std::optional<std::uint64_t> find_journal() {
        if (!m_streams.mft) return std::nullopt;
        const auto listed = find_in_index();
        return listed ? listed : search_records();
    }

    std::optional<std::uint64_t> find_in_index() {
        const record_bytes folder = read_record(extend_number);
        std::optional<std::uint64_t> found;
        std::uint32_t block_size = 0;
        file_record_view(view_of(folder)).for_each_attribute([&](std::uint32_t offset, const attribute_view& part) {
            if (found || !is_ascii(part.name(), index_name)) return;
            if (part.type() == attribute_type::index_root) {
                block_size = part.value().get(index_root_layout::block_size);
                found = find_entry(part.value().from(index_root_layout::header));
            } else if (part.type() == attribute_type::index_allocation && !part.resident()) {
                if (!is_size(block_size, sector_size, largest_block)) return;
                const record_bytes blocks = read_attribute(view_of(folder).slice(offset, part.length()), longest_index);
                found = find_in_blocks(view_of(blocks), block_size);
            }
        });
        return found;
    }

    static std::optional<std::uint64_t> find_in_blocks(uni::byte_view blocks, std::uint32_t block_size) {
        for (; !blocks.empty(); blocks = blocks.from(block_size)) {
            const auto part = blocks.slice(0, block_size).bytes();
            record_bytes block(part.begin(), part.end());
            repair(block, index_block_layout::index_signature);
            if (const auto found = find_entry(view_of(block).from(index_block_layout::header))) return found;
        }
        return std::nullopt;
    }

    // `index` begins with the header of its entries.
    static std::optional<std::uint64_t> find_entry(uni::byte_view index) {
        using namespace index_header_layout;
        uni::byte_view rest = index.slice(0, index.get(end_of_entries)).from(index.get(first_entry));
        while (!rest.empty()) {
            const auto entry = index_entry_view::read(rest);
            if (entry && is_ascii(entry->name.name(), journal_file_name)) return entry->file.number();
            const std::uint32_t length = rest.get(index_entry_layout::entry_length);
            if (length < index_entry_layout::key) break;
            rest = rest.from(length);
        }
        return std::nullopt;
    }

    std::optional<std::uint64_t> search_records() const {
        const std::uint64_t count = std::min(m_streams.mft->size() / m_geometry.record_size, searched_records);
        for (std::uint64_t number = 0; number < count; ++number) {
            const record_bytes bytes = read_record(number);
            const file_record_view record(view_of(bytes));
            bool found = false;
            if (!record.in_use() || record.base().number() != 0) continue;
            record.for_each_name([&found](const file_name_view& name) {
                found = found || (name.parent().number() == extend_number && is_ascii(name.name(), journal_file_name));
            });
            if (found) return number;
        }
        return std::nullopt;
    }

    const std::shared_ptr<const uni::byte_source>& m_image;
    const volume_place& m_volume;
    const ntfs_geometry& m_geometry;
    std::uint64_t m_clusters = 0;   // that the volume claims to have
    std::uint64_t m_size = 0;       // bytes of it that the image has
    std::uint64_t m_data_room = 0;  // clusters that streams may have besides those that they were found to have
    volume_streams m_streams;
};

}  // namespace

std::optional<ntfs_geometry> read_boot_sector(const uni::byte_source& image, std::uint64_t offset) {
    using namespace boot_layout;
    std::array<std::uint8_t, boot_layout::size> bytes{};
    if (offset >= image.size() || image.read_at(bytes, offset).bytes != bytes.size()) return std::nullopt;
    const uni::byte_view boot = std::span<const std::uint8_t>(bytes);
    if (boot.get(oem_id) != ntfs) return std::nullopt;
    ntfs_geometry found;
    found.sector_size = boot.get(boot_layout::sector_size);
    if (!is_size(found.sector_size, 256, 4096)) return std::nullopt;
    found.cluster_size = stated_size(boot.get(cluster_sectors), found.sector_size, found.sector_size);
    if (!is_size(found.cluster_size, found.sector_size, 2'097'152)) return std::nullopt;
    found.record_size = stated_size(boot.get(record_clusters), found.cluster_size, 1);
    if (!is_size(found.record_size, 512, 65'536)) return std::nullopt;
    const std::uint64_t sector_count = boot.get(boot_layout::sectors);
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (sector_count == 0 || offset > most / 2) return std::nullopt;
    found.size = std::min(sector_count, most / 2 / found.sector_size) * found.sector_size;
    found.mft_lcn = boot.get(boot_layout::mft_lcn);
    found.mirror_lcn = boot.get(boot_layout::mirror_lcn);
    return found;
}

volume_streams open_streams(const image_bytes& image, const volume_place& volume) {
    return volume_reader(image, volume).open();
}

}  // namespace kest
