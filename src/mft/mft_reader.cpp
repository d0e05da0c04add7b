#include "mft/mft_reader.h"

#include <algorithm>
#include <array>
#include <new>

#include "format/number.h"
#include "mft/mft_record.h"
#include "mft/record_layout.h"
#include "portable/byte_block.h"
#include "portable/console.h"

namespace kest {

namespace {

constexpr std::size_t probe_size = 4096;        // bytes; a shorter file is no MFT
constexpr std::size_t records_in_chunk = 16;    // what one failure costs at most
constexpr std::size_t chunks_in_block = 64;     // read at once
constexpr std::size_t most_reserved = 1 << 20;  // records
constexpr std::uint64_t spare_extension_reads = 1024;

// In a sound MFT each extension record belongs to one base record, so that a walk reads each at most once more. Stale
// lists of deleted files get as many again; what lies beyond was made to keep the program busy.
std::uint64_t extension_reads(const _inode_collection& collection) {
    return 2 * (collection.total_size / collection.record_size) + spare_extension_reads;
}

class mft_walk {
public:
    mft_walk(_inode_collection& collection, const mft_record_callback& callback, const mft_progress& progress)
        : m_store(collection),
          m_callback(callback),
          m_progress(progress),
          m_source{collection.mft_file, collection.base_offset, collection.record_size, extension_reads(collection)} {}

    void run() {
        const std::size_t chunk = records_in_chunk * m_source.record_size;
        const uni::byte_block block(chunk * chunks_in_block);
        bool fruitful = true;
        for (std::uint64_t offset = 0; offset < m_store.total_size; offset += block.bytes().size()) {
            if (!fruitful) offset = behind_hole(offset, chunk);
            const std::int64_t arrived = m_source.file.read_at(block.bytes(), m_source.base_offset + offset);
            if (arrived < 0) return;
            const std::size_t known = m_store.records.size();
            read_block(block.bytes().first(static_cast<std::size_t>(arrived)), offset, chunk);
            fruitful = m_store.records.size() != known;
        }
    }

private:
    // A hole of a sparse file holds no records.
    std::uint64_t behind_hole(std::uint64_t offset, std::size_t chunk) {
        const std::uint64_t data = m_source.file.next_data(m_source.base_offset + offset) - m_source.base_offset;
        return offset + (data - offset) / chunk * chunk;
    }

    void read_block(std::span<std::uint8_t> block, std::uint64_t offset, std::size_t chunk) {
        for (std::size_t at = 0; at < block.size(); at += chunk) {
            m_progress(m_source.base_offset + offset + at, m_store.total_size);
            read_chunk(block.subspan(at, std::min(chunk, block.size() - at)), offset + at);
        }
    }

    void read_chunk(std::span<std::uint8_t> chunk, std::uint64_t offset) {
        std::uint64_t inode = 0;
        try {
            for (std::size_t at = 0; at + m_source.record_size <= chunk.size(); at += m_source.record_size) {
                read_record(chunk.subspan(at, m_source.record_size), m_source.base_offset + offset + at, inode);
            }
        } catch (const std::bad_alloc&) {
            std::string text = "exception caught: ";
            append_decimal(text, inode);
            uni::console_write(text += '\n');
        }
    }

    void read_record(std::span<std::uint8_t> bytes, std::uint64_t disk_offset, std::uint64_t& inode) {
        using namespace mft_layout;
        const uni::byte_view view = bytes;
        if (!is_file_record(view) || view.get(first_attribute) > m_source.record_size) return;
        if (!m_store.all_records && (view.get(flags) & inode_flags::directory) == 0) return;
        inode = view.get(record_number);
        inode_record& record = m_store.records.emplace_back();
        record.parse_mask = m_store.parse_mask;
        if (!parse_mft_record(record, bytes, m_source)) {
            m_store.records.pop_back();
            return;
        }
        record.disk_offset = disk_offset;
        enter(record, inode);
    }

    void enter(inode_record& record, std::uint64_t inode) {
        const auto position = static_cast<std::uint32_t>(m_store.records.size() - 1);
        m_callback(record, position, inode);
        m_store.inodes_by_ref.add_unique(record.ref().by_number(), position);
        m_store.inodes_all.add(inode, position);
        if (record.is_directory) index_directory(m_store, inode, position);
    }

    _inode_collection& m_store;
    const mft_record_callback& m_callback;
    const mft_progress& m_progress;
    mft_source m_source;
};

}  // namespace

bool load_mft(_inode_collection& collection, const std::string& path) {
    uni::file& file = collection.mft_file;
    file.close();
    if (path.empty() || !file.open(path, uni::open_mode::read)) return false;
    collection.total_size = file.size();
    std::array<std::uint8_t, probe_size> first{};
    const bool read = file.size() >= probe_size && file.read_at(first, 0) == static_cast<std::int64_t>(probe_size);
    collection.record_size = read ? file_record_size(std::span<const std::uint8_t>(first)) : 0;
    if (collection.record_size == 0) file.close();
    return file.is_open();
}

bool walk_mft_records(_inode_collection& collection, const mft_record_callback& callback,
                      const mft_progress& progress) {
    if (collection.mft_file.is_open()) {
        collection.inodes_by_number.clear();
        collection.records.reserve(
            std::min<std::uint64_t>(collection.total_size / collection.record_size, most_reserved));
        mft_walk(collection, callback, progress).run();
    }
    if (collection.inodes_by_number.empty()) return false;
    build_paths(collection);
    return true;
}

}  // namespace kest
