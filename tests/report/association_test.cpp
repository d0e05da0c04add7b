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
    }

    void add(inode_record record, inode_ref parent) {
        record.parents.insert(parent);
        bool known = false;
        add_inode_record(m_options, record, known);
        build_paths(m_options);
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

    // The path, a guessed one behind "*", and the details behind it.
    std::string told(inode_ref inode, inode_ref parent, std::string name) {
        const entry_info info = associate(inode, parent, std::move(name));
        return (info.guessed ? "*" : "") + info.path + ' ' + std::string(info.details.text());
    }

    logfile_options m_options;
};

TEST_F(association_test, ranks_its_sources) {
    const std::string a =
        R"([root]\docs\a.txt mft=["inode":"0x32";"seq":"0x03";"name":"a.txt";"path":"[root]\docs\a.txt")";
    const std::string n = R"([root]\docs\n mft=["inode":"0x4D";"seq":"0x0)",
                      n_path = R"(";"name":"n";"path":"[root]\docs\n"])";
    const std::string docs =
        R"([root]\docs\ mft=["inode":"0x28";"seq":"0x02";"name":"docs";"path":"[root]\docs\";"parent":"0x05"])";
    const std::string mismatch = R"(<unk_path>\x mft=["inode":"0x32";"seq":"0x04";"mismatch":"parent differs";)"
                                 R"("name":"a.txt";"path":"[root]\docs\a.txt"])";
    const std::tuple<const char*, inode_ref, inode_ref, const char*, std::string> rows[] = {
        {"no parent fits", {50, 4}, {5, 5}, "x", mismatch},
        {"exact, no parent told", file, {}, "", a + R"(;"parent":"0x28"])"},
        {"exact, the store's parent", file, folder, "a.txt", a + "]"},
        {"exact, an earlier user of the parent's record", file, {40, 1}, "a.txt", "*" + a + "]"},
        {"exact, another name", file, folder, "b.txt", "*" + std::string(a).replace(12, 1, "b") + "]"},
        {"exact, a parent that is no folder", file, {50, 3}, "a.txt", " "},
        {"one lower", {50, 4}, {}, "", std::string(a).replace(a.find("03"), 2, "04") + R"(;"parent":"0x28"])"},
        {"from the log alone", {77, 1}, folder, "n", n + '1' + n_path},
        {"from the log, without sequence", {77, 0}, folder, "n", "*" + n + '0' + n_path},
        {"the parent's sequence is guessed", {77, 0}, {40, 0}, "n", "*" + n + '0' + n_path},
        {"the folder that has the number now", {40, 9}, {}, "", "*" + docs},
        {"nothing fits", {78, 9}, {}, "n", " "},
    };
    for (const auto& [what, inode, parent, name, expected] : rows)
        EXPECT_EQ(told(inode, parent, name), expected) << what;
    m_options.guesses_allowed = false;
    EXPECT_EQ(associate({77, 0}, {40, 0}, "n").path, "");
    EXPECT_EQ(associate({40, 9}, {}, "").path, "");
    EXPECT_EQ(associate({77, 0}, folder, "n").path, "[root]\\docs\\n");
}

TEST_F(association_test, tells_a_sequence_mismatch_from_a_parent_mismatch) {
    EXPECT_NE(told({50, 4}, {40, 7}, "x").find(R"("mismatch":"seq differs")"), std::string::npos);
}

TEST_F(association_test, learns_a_proved_name_once) {
    add({.inode = 41, .sequence = 1, .is_directory = true, .in_use = true, .is_base = true, .name = "new"}, root);
    const std::size_t known = m_options.records.size();
    for (int time = 0; time < 2; ++time)
        EXPECT_EQ(associate(file, {41, 1}, "moved.txt").path, "[root]\\new\\moved.txt");
    EXPECT_EQ(m_options.records.size(), known + 1);
    EXPECT_TRUE(associate(file, {40, 9}, "moved.txt").guessed);  // no folder of that sequence: told, not learnt
    EXPECT_EQ(m_options.records.size(), known + 1);
}

TEST_F(association_test, offers_the_parent_that_the_log_names) {
    add({.inode = 41, .sequence = 1, .is_directory = true, .in_use = true, .is_base = true, .name = "new"}, root);
    add({.inode = 42,
         .sequence = 1,
         .is_directory = true,
         .in_use = true,
         .is_base = true,
         .flags = 3,
         .parents = {inode_ref{5, 0}},
         .name = "d"},
        {40, 0});
    associate({42, 1}, {41, 1}, "d");  // from here on another record answers by reference than by number
    associate({42, 9}, {40, 0}, "");
    EXPECT_EQ(associate({42, 1}, {}, "").path, "[root]\\docs\\d");
}

TEST_F(association_test, shows_the_base_of_an_extension_record) {
    add({.inode = 60, .sequence = 1, .base_records = {50}}, folder);
    EXPECT_TRUE(
        told({60, 1}, {}, "").starts_with(R"([root]\docs\a.txt mft=["base":"0x32 extension- 0x3C";"inode":"0x32")"));
}

TEST_F(association_test, kept_the_lowest_run_never_answers_to_its_own_first_cluster) {
    inode_record directory = *m_options.find_directory(40);
    directory.index_runs = {{.lcn = 100, .clusters = 4}, {.lcn = 200, .clusters = 4}};
    index_mft_record(m_options.mft, directory, 1, 40);
    inode_record record = *m_options.find_exact(file);
    record.lsn = 8;
    index_mft_record(m_options.mft, record, 2, 50);
    m_options.mft.seal();
    const auto placed = [this](std::uint64_t lcn) { return associate({}, {}, "", {.lsn = 9, .lcn = lcn}); };
    EXPECT_EQ(placed(202).owner_path, "[root]\\docs\\");
    EXPECT_EQ(placed(202).details.text(), R"(mft=["inode":"0x28";"parent":"0x05";"path":"[root]\docs\"])");
    for (const std::uint64_t nobodys : {100u, 300u})
        EXPECT_EQ(placed(nobodys).details.text(), "");
    EXPECT_EQ(associate({}, {}, "", {.lsn = 8}).inode.number(), 50U);  // found by its LSN
}

}  // namespace
}  // namespace kest
