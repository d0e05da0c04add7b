#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

#include "operations/operation_table.h"
#include "support/json_lines.h"
#include "support/made_entry.h"
#include "support/mft_image.h"
#include "support/scratch_folder.h"

namespace kest::disk {
namespace {

// What the program makes of a log record: its details, and what is remembered of the file.
struct decoding {
    std::string text, name;
    inode_ref file, parent;

    bool operator==(const decoding&) const = default;
};

decoding decoded(const bytes& image, details_writer& details) {
    entry_info info(details);
    decode_redo(make_log_entry(uni::byte_view(image)), info);
    return {std::string(details.text()), info.name, info.inode, info.parent};
}

decoding decoded(const bytes& image, bool base16, details_notation notation = details_notation::text) {
    const text_style style{.base16 = base16, .time_format = {}};
    static std::map<std::pair<bool, details_notation>, std::unique_ptr<details_writer>> used;  // as by a report
    auto& again = used[{base16, notation}];
    if (!again) again = make_details(notation, style, false);
    const auto fresh = make_details(notation, style, false);
    const auto nothing = make_details(details_notation::none, style, false);
    const decoding first = decoded(image, *fresh);
    EXPECT_EQ(decoded(image, *again).text, first.text);
    decoding silent = decoded(image, *nothing);
    EXPECT_EQ(silent.text, "");
    silent.text = first.text;
    EXPECT_TRUE(silent == first) << first.text;
    return first;
}

// The details, and after an arrow what is remembered of the file: number and sequence, the same of its parent, its
// name.
std::string text_of(const decoding& of) {
    std::string known;
    for (const inode_ref& ref : {of.file, of.parent})
        known += ' ' + std::to_string(ref.number()) + '/' + std::to_string(ref.sequence());
    known += of.name.empty() ? "" : ' ' + of.name;
    return known == " 0/0 0/0" ? of.text : of.text + " ->" + known;
}

// A case of decoders.table.
struct decoder_case {
    std::string name, shape, text, sizes;  // of the last, what is decoded
    record r = {};
    bool base16 = false;

    bool read(std::istream& table) {
        while (std::getline(table, name) && (name.empty() || name[0] == '#' || name[0] == '=')) {
        }
        std::string line, word;
        if (!std::getline(table, line) || !std::getline(table, text) || !std::getline(table, sizes)) return false;
        std::istringstream head(line.substr(0, line.find(':'))), notation(line.substr(line.find(':') + 1));
        unsigned base = 0;
        char comma = 0;
        head >> r.redo_op >> base >> r.target_attribute >> comma >> r.record_offset >> comma >> r.attribute_offset;
        base16 = base == 16;
        while (notation >> word) {
            const std::size_t star = word.find('*');
            const bytes one = {static_cast<u8>(std::stoul(word.substr(0, 2), nullptr, 16))};
            if (star != word.npos) append(r.redo, bytes(std::stoul(word.substr(star + 1)), one[0]));
            for (std::size_t at = 0; star == word.npos && at < word.size(); at += 2)
                append(r.redo, {static_cast<u8>(std::stoul(word.substr(at, 2), nullptr, 16))});
        }
        return true;
    }

    // Of the redo bytes as far as this size, with nothing after them.
    decoding decoded_at(std::size_t size, details_notation notation = details_notation::text) const {
        record cut = r;
        cut.redo.resize(size);
        cut.undo_offset = 40;
        return decoded(part(cut.image(), 0, 88 + size), base16, notation);
    }
    std::string object_at(std::size_t size) const { return '{' + decoded_at(size, details_notation::json).text + '}'; }

    // Decodes the redo bytes cut at every size, and tells from which size on each key is there, the second of a name as
    // `key'`. The sanitizers see whatever is read after the cut.
    std::string first_shown() const {
        std::string shown = "at";
        std::map<std::string, std::size_t> seen;
        for (std::size_t size = 0; size <= r.redo.size(); ++size) {
            std::map<std::string, std::size_t> keys;
            const std::string first = decoded_at(size).text;
            for (std::size_t end = 0; (end = first.find("\":\"", end)) != first.npos; ++end) {
                const std::size_t begin = first.rfind('"', end - 1) + 1;
                std::string key(first.substr(begin, end - begin));
                const std::size_t count = ++keys[key];
                if (count <= seen[key]) continue;
                seen[key] = count;
                shown += ' ' + key.append(count - 1, '\'') + ' ' + std::to_string(size);
            }
        }
        return shown;
    }
};

TEST(decoders, make_of_bytes_what_the_table_says) {
    std::ifstream table(disk::utf8_path(KEST_DECODERS));
    std::size_t count = 0;
    for (decoder_case t; t.read(table); t = {}, ++count) {
        EXPECT_EQ(text_of(t.decoded_at(t.r.redo.size())), t.text) << t.name;
        EXPECT_EQ(t.first_shown(), t.sizes) << t.name;
        for (std::size_t size = 0; size <= t.r.redo.size(); ++size)
            EXPECT_TRUE(is_json_lines(t.object_at(size) + '\n')) << t.name << ", " << size;
    }
    EXPECT_GT(count, 100u);
}

// Groups stand side by side, and what may come again is an array, in the order in which it came.
TEST(details, as_json) {
    const attribute_head seven{.id = 7};
    const auto one = [&seven](u32 type, u8 value) { return resident(type, {value}, seven); };
    const auto listed = [](u32 type, u64 vcn) {
        return pack(type, u16{32}, u8{0}, u8{26}, vcn, u64{0x2000000000030}, u16{3}, at{32});
    };
    const auto head = [](u32 length) {
        return R"({"flags":"0x00","id":7,"value_length":)" + std::to_string(length) + R"(,"indexed_flags":0})";
    };
    const bytes record = pack(at{8}, u64{0x1234}, u16{5}, u16{2}, u16{56}, u16{1}, at{44}, u32{0x2A}, at{56});
    const std::tuple<u16, bytes, std::string> rows[] = {
        {26, {0xAB, 0x0F}, R"("commit":true,"commit_data":{"data":"AB-0F"})"},
        {27, {1}, R"("forget":true)"},
        {29, {1}, ""},
        {2, pack(record, one(0x80, 1), one(0xB0, 2), one(0x80, 3)),
         R"("file_record":{"lsn":4660,"inode":42,"seq":5,"hard_links":2,"flags":"in_use ;plain_file"},)"
         R"("resident_header":[)" +
             head(1) + ',' + head(1) + ',' + head(1) +
             R"(],"$data":[{"data":"01"},{"data":"03"}],"$bitmap":[{"data":"02"}])"},
        {5, resident(0x20, pack(listed(0x30, 0), listed(0x80, 7), listed(0x80, 8)), seven),
         "\"resident_header\":[" + head(96) +
             R"(],"$filename":[{"lowest_vcn":0,"inode":48,"seq":2,"id":3}],)"
             R"("$data":[{"lowest_vcn":7,"inode":48,"seq":2,"id":3},{"lowest_vcn":8,"inode":48,"seq":2,"id":3}])"},
        {5, resident(0x70, {0, 0, 0, 0, 0, 0, 0, 0, 3, '"', 1, 0}, seven),
         "\"resident_header\":[" + head(12) +
             R"(],"$VOLUME_INFORMATION":[{"major_version":"\u0003","minor_version":"\"","flags":"dirty"}])"},
        {19, bytes(24), R"("$FILE_NAME":[{"created":"0","modified":"0","mft_changed":"0"}])"},
        {11, pack(u64{1}, ~u64{0}, u64{3}),
         R"("new_sizes":{"allocated_size":1,"real_size":null,"initialized_size":3})"},
    };
    for (const auto& [operation, redo, expected] : rows) {
        decoder_case t;
        t.r = {.redo_op = operation, .redo = redo};
        t.base16 = true;
        EXPECT_EQ(t.object_at(redo.size()), '{' + expected + '}');
    }
}

// Of eight bytes of payload.
TEST(data_windows, end_with_the_payload) {
    using window = std::tuple<bool, u32, u32, u32>;  // whether there is one; where it begins, length, extent
    const window none{};
    struct row {
        const char* what;
        u16 redo_offset, redo_length, undo_offset, undo_length;
        std::string shown;  // of the redo bytes
        window undo;
    };
    const row rows[] = {
        {"widened to the undo bytes", 40, 1, 43, 5, R"(prepare_data=["data":"01-02-03"])", {true, 3, 5, 5}},
        {"undo bytes ahead", 42, 1, 40, 1, R"(prepare_data=["data":"03"])", {true, 0, 1, 8}},
        {"cut at the payload's end", 46, 9, 47, 9, R"(prepare_data=["data":"07-08"])", {true, 7, 9, 1}},
        {"after the payload", 48, 9, 48, 1, "", {true, 8, 1, 0}},
        {"within the client header", 39, 9, 39, 9, R"(no_payload=["expected_size":"9";"actual_size":"0"])", none},
        {"no length", 40, 0, 48, 0, "", none},
    };
    for (const row& t : rows) {
        record r{.redo_op = 25,
                 .undo_op = 1,
                 .redo_offset = t.redo_offset,
                 .redo_length = t.redo_length,
                 .undo_offset = t.undo_offset,
                 .undo_length = t.undo_length};
        r.redo = {1, 2, 3, 4, 5, 6, 7, 8};
        const auto undo_of = [&r] {
            const bytes image = r.image();
            const data_window found = undo_data(make_log_entry(uni::byte_view(image)));
            return window(found.length != 0, found.begin, found.length, found.extent);
        };
        EXPECT_EQ(decoded(r.image(), false).text, t.shown) << t.what;
        EXPECT_EQ(undo_of(), t.undo) << t.what;
        r.undo_op = 0;
        EXPECT_EQ(undo_of(), none) << t.what;
    }
}

}  // namespace
}  // namespace kest::disk
