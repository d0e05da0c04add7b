#include "mft/inode_collection.h"

#include <utility>

namespace kest {

namespace {

// Appends the record and enters it in the indexes by number.
std::uint32_t append_record(_inode_collection& collection, inode_record added) {
    const auto position = static_cast<std::uint32_t>(collection.records.size());
    const inode_record& record = collection.records.emplace_back(std::move(added));
    if (record.is_directory) index_directory(collection, record.inode, position);
    collection.inodes_all.add(record.inode, position);
    return position;
}

// A further record of a file that the store has.
std::uint64_t merge_into(_inode_collection& collection, std::uint32_t position, const inode_record& record,
                         bool& known) {
    inode_record& target = collection.records[position];
    known = true;
    if (record.name != target.name) {
        if (target.alt_name.empty()) {
            target.alt_name = record.name;
        } else if (record.name != target.alt_name) {
            return position | _inode_collection::name_conflict;
        }
    }
    if (record.parents.empty()) return position;
    const parent_news news = add_parent(target, record.first_parent());
    known = news != parent_news::added;
    if (news == parent_news::no_room) collection.parents_left_out = true;
    return position;
}

}  // namespace

void index_directory(_inode_collection& collection, std::uint64_t number, std::uint32_t position) {
    if (collection.inodes_by_number.add_unique(number, position)) return;
    if (collection.records[position].in_use) *collection.inodes_by_number.find(number) = position;
}

std::uint64_t add_inode_record(_inode_collection& collection, inode_record record, bool& known) {
    const std::uint64_t key = record.ref().by_number();
    if (const std::uint32_t* found = collection.inodes_by_ref.find(key)) {
        known = true;
        return *found;
    }
    known = false;
    const std::uint32_t position = append_record(collection, std::move(record));
    collection.inodes_by_ref.add(key, position);
    return position;
}

std::uint64_t merge_inode_record(_inode_collection& collection, const inode_record& record, bool& known, bool force) {
    known = false;
    if (!force && (record.flags & inode_flags::in_use) == 0) return _inode_collection::not_merged;
    if (record.sequence == 0) {  // the file cannot be told from others of its number
        const std::uint32_t* found = collection.inodes_all.find(record.inode);
        if (found == nullptr) return append_record(collection, record);
        known = true;
        return *found;
    }
    const std::uint64_t key = record.ref().by_number();
    if (const std::uint32_t* found = collection.inodes_by_ref.find(key)) {
        return merge_into(collection, *found, record, known);
    }
    const std::uint32_t position = append_record(collection, record);
    collection.inodes_by_ref.add(key, position);
    return position;
}

}  // namespace kest
