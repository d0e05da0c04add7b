#include "mft/mft_reader.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "format/number.h"
#include "mft/mft_record.h"
#include "mft/record_layout.h"
#include "portable/byte_source.h"
#include "portable/console.h"
#include "portable/large_pages.h"

namespace kest {

namespace {

constexpr std::size_t probe_size = 4096;        // bytes; a shorter file is no MFT
constexpr std::size_t records_in_chunk = 16;    // what one failure costs at most
constexpr std::size_t chunks_in_block = 64;     // read at once
constexpr std::size_t most_reserved = 1 << 20;  // records

// What a walk may spend beyond reading the file once. In a sound MFT each extension record belongs to one base record,
// so that a walk reads it at most once more, and an index has few runs; stale lists of deleted files get as much again.
// What lies beyond was made to keep the program busy. The claim of a sparse file buys little in advance: the rest is
// earned by the records that are really read.
constexpr std::uint64_t reads_of_a_record = 16;  // its own, as are the runs
constexpr std::uint64_t reads_for_a_start = 1024;
constexpr std::uint64_t most_reads_in_advance = 65'536;
constexpr std::uint64_t reads_earned = 2;  // by each record
constexpr std::uint64_t runs_of_a_record = 16;
constexpr std::uint64_t runs_earned = 16;  // by each record: together a quarter of the file
constexpr std::uint64_t runs_for_a_start = 65'536;

mft_source source_of(_inode_collection& collection) {
    const std::uint64_t claimed = collection.total_size / collection.record_size;
    return {.file = *collection.mft_file,
            .record_size = collection.record_size,
            .reads = {reads_of_a_record, reads_for_a_start + std::min(claimed, most_reads_in_advance)},
            .runs = {runs_of_a_record, runs_for_a_start},
            .omitted = collection.omitted};
}

class mft_walk {
public:
    mft_walk(_inode_collection& collection, const mft_record_callback& callback, const mft_progress& progress)
        : m_store(collection),
          m_callback(callback),
          m_progress(progress),
          m_source(source_of(collection)),
          m_chunk(records_in_chunk * collection.record_size) {}

    void run() {
        const uni::byte_block block(m_chunk * chunks_in_block);
        uni::block_reader reader(m_source.file, 0, m_store.total_size, m_chunk);
        while (m_records_wanted != 0 && reader.advance()) {
            const uni::block_reader::block arrived = reader.read(block.bytes());
            read_block(block.bytes().first(arrived.bytes), arrived.offset, arrived.failed);
        }
        if (m_source.read_failed) m_store.incomplete = true;
    }

private:
    // Kept: where a chunk arrives short, as at a bad sector, no later chunk brings more records than it did.
    void read_block(std::span<std::uint8_t> block, std::uint64_t offset, bool failed) {
        const std::size_t whole = block.size() - block.size() % m_chunk;
        for (std::size_t at = 0; at < whole; at += m_chunk) {
            read_chunk(block.subspan(at, m_chunk), offset + at);
        }
        if (failed) m_source.read_failed = true;
        if (whole == block.size() && !failed) return;
        m_records_wanted = (block.size() - whole) / m_source.record_size;
        read_chunk(block.subspan(whole), offset + whole);
    }

    void read_chunk(std::span<std::uint8_t> chunk, std::uint64_t offset) {
        m_progress(offset, m_store.total_size);
        m_source.reads.add_common(reads_earned * m_records_wanted);
        m_source.runs.add_common(runs_earned * m_records_wanted);
        std::uint64_t inode = 0;
        try {
            for (std::size_t k = 0; k < m_records_wanted; ++k) {
                read_record(chunk.subspan(k * m_source.record_size, m_source.record_size), inode);
            }
        } catch (const std::bad_alloc&) {
            m_store.incomplete = true;
            std::string text = "exception caught: ";
            append_decimal(text, inode);
            uni::console_write(text += '\n');
        }
    }

    void read_record(std::span<std::uint8_t> bytes, std::uint64_t& inode) {
        using namespace file_record_layout;
        const uni::byte_view view = bytes;
        if (!is_file_record(view)) return;
        inode = view.get(own_number);
        inode_record& record = m_store.records.push_back({});
        if (!parse_mft_record(record, bytes, m_source)) {
            m_store.records.pop_back();
            return;
        }
        enter(record, inode);
    }

    void enter(inode_record& record, std::uint64_t inode) {
        const auto position = static_cast<std::uint32_t>(m_store.records.size() - 1);
        if (!m_source.odd_name.empty()) m_store.odd_names.push_back({position, m_source.odd_name});
        m_callback(record, position, inode);
        m_store.inodes_by_ref.add_unique(record.ref().by_number(), position);
        m_store.inodes_all.add(inode, position);
        if (record.is_directory) index_directory(m_store, inode, position);
    }

    _inode_collection& m_store;
    const mft_record_callback& m_callback;
    const mft_progress& m_progress;
    mft_source m_source;
    const std::size_t m_chunk;                        // bytes
    std::size_t m_records_wanted = records_in_chunk;  // of each chunk
};

}  // namespace

bool load_mft(_inode_collection& collection, std::shared_ptr<const uni::byte_source> file) {
    collection.mft_file = nullptr;
    collection.total_size = file->size();
    collection.incomplete = false;
    collection.omitted = {};
    std::array<std::uint8_t, probe_size> first{};
    const bool read = file->read_at(first, 0).bytes == probe_size;
    collection.record_size = read ? file_record_size(std::span<const std::uint8_t>(first)) : 0;
    if (collection.record_size == 0) return false;
    collection.mft_file = std::move(file);
    return true;
}

std::vector<std::uint8_t> read_record(const _inode_collection& collection, std::uint64_t number) {
    if (number >= collection.total_size / collection.record_size) return {};
    std::vector<std::uint8_t> bytes(collection.record_size);
    const std::uint64_t offset = number * collection.record_size;
    const uni::read_result got = collection.mft_file->read_at(bytes, offset);
    if (got.failed) collection.incomplete = true;
    if (got.bytes != bytes.size() || !is_file_record(std::span<const std::uint8_t>(bytes))) return {};
    repair_sectors(bytes);
    return bytes;
}

bool walk_mft_records(_inode_collection& collection, const mft_record_callback& callback,
                      const mft_progress& progress) {
    const auto as_far_as_memory_goes = [&collection](auto&& step) {
        try {
            step();
        } catch (const std::bad_alloc&) {
            collection.incomplete = true;  // what was stored stands
        }
    };
    if (collection.mft_file) {
        collection.inodes_by_number.clear();
        collection.odd_names.clear();
        const std::uint64_t claimed = collection.total_size / collection.record_size;
        uni::try_reserve(collection.records, std::min<std::uint64_t>(claimed, most_reserved));
        as_far_as_memory_goes([&] { mft_walk(collection, callback, progress).run(); });
    }
    as_far_as_memory_goes([&] { build_paths(collection); });
    return !collection.inodes_by_number.empty();
}

}  // namespace kest
