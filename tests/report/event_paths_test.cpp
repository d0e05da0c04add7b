// Events have the paths of their moment: the simulated volume's folders are renamed and moved at every level while
// files come and go below them, and whoever does it keeps what each path was.

#include "make/volume.h"
#include "support/made_run.h"

namespace kest::disk {
namespace {

using texts = std::vector<std::string>;

class moving_tree {
public:
    explicit moving_tree(unsigned steps) {
        for (unsigned step = 0; step < steps; ++step)
            do_something(std::to_string(step));
    }

    texts truth;  // event|path|old path|file record
    volume v{{.log_size = 4 << 20, .begin = ticks(2026, 3, 16, 8, 0, 0)}};

private:
    static constexpr u32 root = 5;
    struct node {
        u32 parent;
        std::string name;
        bool directory;
    };

    u32 below(std::size_t limit) {
        m_random = m_random * 6364136223846793005 + 1442695040888963407;
        return static_cast<u32>((m_random >> 33) % limit);
    }
    static std::u16string wide(const std::string& text) { return {text.begin(), text.end()}; }

    std::string path_of(u32 number) const {
        std::string path;
        for (; number != root; number = m_nodes.at(number).parent)
            path = "\\" + m_nodes.at(number).name + path;
        return "[root]" + path;
    }
    bool lies_in(u32 number, u32 folder) const {
        while (number != root && number != folder)
            number = m_nodes.at(number).parent;
        return number == folder;
    }
    bool is_empty(u32 folder) const {
        return std::ranges::none_of(m_nodes, [folder](const auto& n) { return n.second.parent == folder; });
    }
    u32 any_of(bool directories) {  // the root for none
        std::vector<u32> numbers;
        for (const auto& [number, n] : m_nodes) {
            if (n.directory == directories) numbers.push_back(number);
        }
        return numbers.empty() ? root : numbers[below(numbers.size())];
    }
    void tell(const char* event, u32 number, const std::string& old_path = {}) {
        truth.push_back(event + ("|" + path_of(number) + "|" + old_path + "|" + std::to_string(number)));
    }

    void do_something(const std::string& name) {
        const u32 choice = below(10);
        const u32 folder = any_of(true), file = any_of(choice == 8);  // folders are moved about most
        v.wait(1000);
        if (choice < 4 || file == root) {
            const bool directory = choice < 2;
            const std::string full = (directory ? "folder " : "file ") + name;
            const u32 made = directory ? v.create_directory(folder, wide(full), true) : v.create(folder, wide(full));
            m_nodes[made] = {folder, full, directory};
            tell("created", made);
        } else if (choice < 7) {
            rename(choice < 6 ? any_of(true) : file, choice == 4 ? folder : root, "named " + name);
        } else if (choice < 9 && (!m_nodes.at(file).directory || is_empty(file))) {
            tell("deleted", file);
            v.remove(file);
            m_nodes.erase(file);
        }
    }

    // Into `folder`, or in its own folder if that is the root or below what is renamed.
    void rename(u32 number, u32 folder, const std::string& name) {
        if (number == root) return;
        const std::string old_path = path_of(number);
        u32& parent = m_nodes.at(number).parent;
        const bool moves = folder != root && folder != parent && !lies_in(folder, number);
        if (moves) parent = folder;
        m_nodes.at(number).name = name;
        v.rename(number, parent, wide(name));
        tell(moves ? "moved" : "renamed", number, old_path);
    }

    std::map<u32, node> m_nodes;
    u64 m_random = 20260316;
};

// Of whole transactions; paths that do not come from where they should are marked.
texts paths_of_events(const bytes& log, const bytes& mft, const std::string& known) {
    const memory_file log_file(log), mft_file(mft);
    argument_list args = {"-quiet",  "-no_whitespace", "-events",
                          "-base10", "-columns",       "event,path,old_path,inode,known,cut,state",
                          "-log",    log_file.path()};
    if (!mft.empty()) args.insert(args.end(), {"-mftfile", mft_file.path()});
    std::istringstream report(run_captured(args).out);
    texts found;
    std::string line;
    for (int lines = 0; std::getline(report, line); ++lines) {
        std::istringstream cut(line);
        row_cells cells;
        for (std::string cell; std::getline(cut, cell, '|');)
            cells.push_back(cell);
        if (lines < 4 || cells.at(6) != "done" || cells[5] == "yes") continue;
        found.push_back(cells[0] + "|" + cells[1] + "|" + cells[2] + "|" + cells[3]);
        if (known.find(cells[4]) == std::string::npos) found.back() += " known by " + cells[4];
    }
    return found;
}

TEST(events, have_the_paths_of_their_moment) {
    moving_tree tree(900);
    bytes log = tree.v.log_image();
    EXPECT_EQ(paths_of_events(log, {}, "log"), tree.truth);
    EXPECT_EQ(paths_of_events(log, tree.v.mft_image(), "log"), tree.truth);

    // Of what is overwritten the MFT knows.
    std::fill_n(log.begin() + 16384, 100 * 4096, u8{0});
    const texts rest = paths_of_events(log, tree.v.mft_image(), "log mft");
    ASSERT_GT(rest.size(), tree.truth.size() / 4);
    ASSERT_LT(rest.size(), tree.truth.size());
    EXPECT_EQ(rest, texts(tree.truth.end() - static_cast<std::ptrdiff_t>(rest.size()), tree.truth.end()));
}

}  // namespace
}  // namespace kest::disk
