#include "report/association.h"

#include <gtest/gtest.h>

#include "support/log_image.h"

namespace kest {
namespace {

constexpr inode_ref root{5, 5};
constexpr inode_ref folder{40, 2};
constexpr inode_ref file{50, 3};

// A store with the root, one folder in it, one file in that.
class association_test : public testing::Test {
protected:
    association_test() {
        add({.inode = 5, .sequence = 5, .is_directory = true, .in_use = true, .is_base = true, .name = "."}, root);
        add({.inode = 40, .sequence = 2, .is_directory = true, .in_use = true, .is_base = true, .name = "docs"}, root);
        add({.inode = 50, .sequence = 3, .in_use = true, .is_base = true, .flags = 1, .name = "a.txt"}, folder);
        build_paths(m_options);
    }

    void add(inode_record record, inode_ref parent) {
        record.parents.insert(parent);
        bool known = false;
        add_inode_record(m_options, record, known);
    }

    entry_info associate(inode_ref inode, inode_ref parent, std::string name, disk::record record = {.lsn = 9}) {
        entry_info info;
        info.inode = inode;
        info.parent = parent;
        info.name = std::move(name);
        const disk::bytes image = record.image();
        association(m_options).associate_entry(make_log_entry(std::span(image), 0, false), info);
        return info;
    }

    logfile_options m_options;
};

TEST_F(association_test, ranks_its_sources) {
    struct row {
        const char* what;
        inode_ref inode, parent;
        std::string name, path;
        bool guessed;
        std::string details;
    };
    const row rows[] = {
        {"exact, no parent told",
         file,
         {},
         "",
         "[root]\\docs\\a.txt",
         false,
         R"(mft=["inode":"0x32";"seq":"0x03";"name":"a.txt";"path":"[root]\docs\a.txt";"parent":"0x28"])"},
        {"exact, the store's parent", file, folder, "a.txt", "[root]\\docs\\a.txt", false,
         R"(mft=["inode":"0x32";"seq":"0x03";"name":"a.txt";"path":"[root]\docs\a.txt"])"},
        {"exact, an earlier user of the parent's record",
         file,
         {40, 1},
         "a.txt",
         "[root]\\docs\\a.txt",
         true,
         R"(mft=["inode":"0x32";"seq":"0x03";"name":"a.txt";"path":"[root]\docs\a.txt"])"},
        {"exact, another name", file, folder, "b.txt", "[root]\\docs\\b.txt", true,
         R"(mft=["inode":"0x32";"seq":"0x03";"name":"a.txt";"path":"[root]\docs\a.txt"])"},
        {"exact, a parent that is no folder", file, {50, 3}, "a.txt", "", false, ""},
        {"one lower",
         {50, 4},
         {},
         "",
         "[root]\\docs\\a.txt",
         false,
         R"(mft=["inode":"0x32";"seq":"0x04";"name":"a.txt";"path":"[root]\docs\a.txt";"parent":"0x28"])"},
        {"from the log alone",
         {77, 1},
         folder,
         "n",
         "[root]\\docs\\n",
         false,
         R"(mft=["inode":"0x4D";"seq":"0x01";"name":"n";"path":"[root]\docs\n"])"},
        {"from the log, without sequence",
         {77, 0},
         folder,
         "n",
         "[root]\\docs\\n",
         true,
         R"(mft=["inode":"0x4D";"seq":"0x00";"name":"n";"path":"[root]\docs\n"])"},
        {"the parent's sequence is guessed",
         {77, 0},
         {40, 0},
         "n",
         "[root]\\docs\\n",
         true,
         R"(mft=["inode":"0x4D";"seq":"0x00";"name":"n";"path":"[root]\docs\n"])"},
        {"the folder that has the number now",
         {40, 9},
         {},
         "",
         "[root]\\docs\\",
         true,
         R"(mft=["inode":"0x28";"seq":"0x02";"name":"docs";"path":"[root]\docs\";"parent":"0x05"])"},
        {"nothing fits", {78, 9}, {}, "n", "", false, ""},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        const entry_info info = associate(t.inode, t.parent, t.name);
        EXPECT_EQ(info.path, t.path);
        EXPECT_EQ(info.guessed, t.guessed);
        EXPECT_EQ(info.details.text(), t.details);
    }
}

TEST_F(association_test, refuses_two_sources_without_guesses) {
    m_options.guesses_allowed = false;
    EXPECT_EQ(associate({77, 0}, {40, 0}, "n").path, "");
    EXPECT_EQ(associate({40, 9}, {}, "").path, "");
    EXPECT_EQ(associate({77, 0}, folder, "n").path, "[root]\\docs\\n");
}

TEST_F(association_test, learns_a_proved_name_once) {
    add({.inode = 41, .sequence = 1, .is_directory = true, .in_use = true, .is_base = true, .name = "new"}, root);
    build_paths(m_options);
    const std::size_t known = m_options.records.size();
    EXPECT_EQ(associate(file, {41, 1}, "moved.txt").path, "[root]\\new\\moved.txt");
    EXPECT_EQ(associate(file, {41, 1}, "moved.txt").path, "[root]\\new\\moved.txt");
    EXPECT_EQ(m_options.records.size(), known + 1);
    const entry_info other = associate(file, {40, 9}, "moved.txt");  // no folder of that sequence: told, not learnt
    EXPECT_TRUE(other.guessed);
    EXPECT_EQ(m_options.records.size(), known + 1);
}

TEST_F(association_test, reports_a_mismatch) {
    const entry_info info = associate({50, 4}, {5, 5}, "x");
    EXPECT_EQ(info.path, "<unk_path>\\x");
    EXPECT_EQ(
        info.details.text(),
        R"(mft=["inode":"0x32";"seq":"0x04";"mismatch":"parent differs";"name":"a.txt";"path":"[root]\docs\a.txt"])");
}

TEST_F(association_test, tells_a_sequence_mismatch_from_a_parent_mismatch) {
    EXPECT_NE(associate({50, 4}, {40, 7}, "x").details.text().find(R"("mismatch":"seq differs")"), std::string::npos);
}

TEST_F(association_test, shows_the_base_of_an_extension_record) {
    inode_record extension{.inode = 60, .sequence = 1, .base_records = {50}};
    add(extension, folder);
    const entry_info info = associate({60, 1}, {}, "");
    EXPECT_EQ(info.path, "[root]\\docs\\a.txt");
    EXPECT_TRUE(info.details.text().starts_with(R"(mft=["base":"0x32 extension- 0x3C";"inode":"0x32")"));
}

TEST_F(association_test, places_a_record_by_its_cluster) {
    inode_record directory = *m_options.find_directory(40);
    directory.index_runs = {{.lcn = 100, .clusters = 4}, {.lcn = 200, .clusters = 4}};
    index_mft_record(m_options.mft, directory, 1, 40);
    m_options.mft.seal();
    const auto placed = [this](std::uint64_t lcn) { return associate({}, {}, "", {.lsn = 9, .lcn = lcn}); };
    EXPECT_EQ(placed(202).owner_path, "[root]\\docs\\");
    EXPECT_EQ(placed(202).details.text(), R"(mft=["inode":"0x28";"parent":"0x05";"path":"[root]\docs\"])");
    EXPECT_EQ(placed(100).details.text(), "") << "kept: the lowest run never answers to its own first cluster";
    EXPECT_EQ(placed(300).details.text(), "");
}

TEST_F(association_test, finds_an_inode_by_lsn) {
    inode_record record = *m_options.find_exact(file);
    record.lsn = 9;
    index_mft_record(m_options.mft, record, 2, 50);
    m_options.mft.seal();
    EXPECT_EQ(associate({}, {}, "").inode.number(), 50U);
}

}  // namespace
}  // namespace kest
