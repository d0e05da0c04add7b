// An MFT from memory: every record into the store and its indexes, paths, and the owner of each cluster of an index.

#include "mft/mft_index.h"
#include "mft/mft_reader.h"
#include "support/memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const kest::disk::memory_file memory(std::span(data, size));
    kest::_inode_collection store;
    store.all_records = true;
    store.parse_mask = kest::parse_bits::index_allocation;
    kest::mft_index index;
    if (!kest::load_mft(store, memory.path())) return 0;
    kest::walk_mft_records(
        store,
        [&index](kest::inode_record& record, std::uint32_t position, std::uint64_t inode) {
            kest::index_mft_record(index, record, position, inode);
        },
        [](std::uint64_t, std::uint64_t) {});
    index.seal();
    for (const kest::owned_run& run : index.run_map) {
        kest::owner_by_cluster(index, run.lcn + run.clusters);
    }
    const std::vector<kest::inode_record> offered = store.records;
    for (const kest::inode_record& record : offered) {
        bool known = false;
        kest::merge_inode_record(store, record, known, true);
    }
    return 0;
}
