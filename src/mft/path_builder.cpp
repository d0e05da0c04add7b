#include <algorithm>

#include "format/number.h"
#include "mft/inode_collection.h"

namespace kest {

namespace {

using namespace path_rules;

// Directories that claim to lie inside one another a hundred thousand deep would take their paths' length squared.
// The paths of a sound volume fit into their own shares, but for few.
constexpr std::uint64_t path_bytes_of_a_record = 1024;
constexpr std::uint64_t path_bytes_in_common = std::uint64_t{64} << 20;

struct path_component {
    std::string_view text;  // of a record or of the root: the store's own
    std::uint64_t inode = 0;
    bool known = false;     // the text is a full path
    bool resolved = false;  // it led towards the root
};

void append_unknown(std::string& out, std::uint64_t inode) {
    out += "[unk_inode_0x";
    append_hex(out, inode, 8, false);
    out += ']';
}

// Kept: a path may have any number of folders here, as rows have always shown them. Events name 255 at most.
// Builds from the leaf up, then writes out from the root down; each directory met on the way gets its path too, so
// that all walks together visit each directory once.
class path_builder {
public:
    explicit path_builder(_inode_collection& collection)
        : m_store(collection),
          m_marks(collection.records.size()),
          m_room(path_bytes_of_a_record, path_bytes_in_common) {}

    void build(std::uint64_t number, std::uint32_t position) {
        inode_record& record = m_store.records[position];
        if (number == root_number) {
            record.path = uni::shared_text(std::string(root_text) + '/');
            record.is_directory = record.path_set = record.path_final = true;
            return;
        }
        if (record.path_set) return;
        m_components.clear();
        ++m_walk;
        push_name(number, position);
        write_paths(!record.parents.empty() && climb(record.first_parent().number()));
    }

private:
    void push_name(std::uint64_t number, std::uint32_t position) {
        m_marks[position] = m_walk;
        m_components.push_back({m_store.records[position].name, number, false, true});
    }

    // Lists the components up to the root or to a directory whose path is known; false if neither was reached.
    bool climb(std::uint64_t parent) {
        for (std::uint64_t previous = 0;;) {
            if (parent == root_number) {
                m_components.push_back({root_text, root_number, true, true});
                return true;
            }
            const std::uint32_t* position = m_store.inodes_by_number.find(parent);
            if (position == nullptr) {
                m_components.push_back({{}, parent, false, false});
                return false;
            }
            const inode_record& record = m_store.records[*position];
            if (record.path_set) {
                m_components.push_back({record.path, parent, true, record.path_final});
                return true;
            }
            if (m_marks[*position] == m_walk && m_components.back().inode != parent) return false;  // a loop
            push_name(parent, *position);
            parent = record.first_parent().number();
            if (parent == previous) return false;
            previous = parent;
        }
    }

    // A known path is the first component from the root. It is copied only if what follows finds room after it.
    void write_paths(bool complete) {
        std::string_view above;
        m_text.clear();
        for (auto component = m_components.rbegin(); component != m_components.rend(); ++component) {
            if (!component->resolved) complete = false;
            if (component->known) {
                above = component->text;
                continue;
            }
            m_room.begin_record();
            const std::size_t size = above.size() + m_text.size() + component->text.size() + 2;  // two separators
            if (size <= longest && m_room.covers(size)) {
                append(above);
            } else {
                m_text = unknown_path;
                m_store.omitted.paths = true;
                complete = false;
            }
            above = {};
            if (component->text.empty()) append_unknown(m_text, component->inode);
            append(component->text);
            settle(component->inode, complete);
        }
    }

    void append(std::string_view text) {
        m_text += text;
        if (!m_text.empty() && m_text.back() != '\\') m_text += '\\';
    }

    void settle(std::uint64_t number, bool complete) {
        const std::uint32_t* position = m_store.inodes_by_number.find(number);
        if (position == nullptr) return;
        inode_record& record = m_store.records[*position];
        if (record.path_set) return;
        record.path = uni::shared_text(m_text);
        record.path_final = complete;
        record.path_set = true;
        static_cast<void>(m_room.spend(m_text.size()));  // a mere name is always kept
    }

    _inode_collection& m_store;
    std::vector<path_component> m_components;
    std::vector<std::uint32_t> m_marks;  // by position: the last walk that listed the record
    std::uint32_t m_walk = 0;
    budget m_room;  // bytes of paths
    std::string m_text;
};

}  // namespace

void build_paths(_inode_collection& collection) {
    if (collection.inodes_by_number.empty()) return;
    path_builder builder(collection);
    collection.inodes_by_number.for_each(
        [&builder](std::uint64_t number, std::uint32_t position) { builder.build(number, position); });
}

}  // namespace kest
