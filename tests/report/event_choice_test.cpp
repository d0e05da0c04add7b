// Which events are shown, what they come to, and how they look on a terminal: of the bundled sample.

#include <map>
#include <random>

#include "format/ascii_text.h"
#include "options/option_values.h"
#include "portable/unicode.h"
#include "portable/wildcard.h"
#include "report/frequency_table.h"
#include "report/path_matcher.h"
#include "support/made_run.h"

namespace kest {
namespace {

using texts = std::vector<std::string>;

constexpr const char *log = KEST_SAMPLES "/LogFile", *mft = KEST_SAMPLES "/MFT", *journal = KEST_SAMPLES "/UsnJrnl_J";

disk::captured_run ran(argument_list args, const argument_list& more) {
    args.insert(args.end(), {"-log", log, "-mftfile", mft, "-jrnlfile", journal});
    args.insert(args.end(), more.begin(), more.end());
    return disk::run_captured(args);
}

texts lines_of(const std::string& text) {
    texts lines;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);)
        lines.push_back(line);
    return lines;
}

// Kind and last name of each, and what the run says of the others.
texts chosen(const argument_list& args) {
    const disk::captured_run run = ran(args, {"-quiet", "-events", "-csvgen", "-columns", "event,path"});
    EXPECT_EQ(run.status, 0) << run.err;
    texts lines = lines_of(run.out);
    lines.erase(lines.begin());
    for (std::string& line : lines)
        line = line.substr(0, line.find(',')) + ' ' + line.substr(line.rfind('\\') + 1);
    if (!args.empty()) {
        const std::string others = std::to_string(45 - lines.size());
        EXPECT_TRUE(run.err.starts_with("left out: " + others + " event")) << run.err;
    }
    return lines;
}

TEST(choice, is_of_all_that_may_be_meant) {
    const std::string deleted = "deleted customers.csv", written = "written customers.csv";
    const texts moves = {"moved holiday.jpg", "moved holiday (1).jpg"};
    const std::pair<argument_list, texts> rows[] = {
        // undone between 09:11:13.406 and 09:12:32.412
        {{"-path", "*.csv", "-since", "2026-03-16T09:12"}, {deleted, written, deleted}},
        {{"-path", "*.csv", "-since", "2026-03-16T10:12:33+0100"}, {}},
        {{"-path", "*.csv", "-since", "2026-03-16T09:12:32.4128114"}, {deleted, written, deleted}},
        {{"-path", "*.csv", "-since", "2026-03-16T09:12:32.4128115"}, {deleted}},
        {{"-path", "*.csv", "-since", "2026-03-16 09:11", "-until", "2026-03-16T09:11"}, {deleted}},
        {{"-path", "*.csv", "-event", "deleted", "-not_since", "2026-03-16T09:12"}, {deleted}},
        {{"-path", "*.csv", "-event", "deleted", "-not_until", "2026-03-16T09:11"}, {deleted, deleted}},
        {{"-until", "2026-03-15"}, {}},
        {{"-not_since", "2026-03-16", "-not_until", "2026-03-16"}, {}},
        // by either name of two, in either case, from the root on or from anywhere
        {{"-event", "moved", "-path", "PICTURES"}, moves},
        {{"-event", "moved", "-path", "/users/*/pictures/"}, moves},
        {{"-event", "moved", "-path", "\\pictures"}, {}},
        {{"-event", "moved", "-path", "c:\\Users\\anna\\Documents\\bundle.zip"}, {moves[0]}},
        {{"-event", "moved", "-path", "[ROOT]/users", "-not_path", "documents"}, moves},
        {{"-event", "moved", "-not_path", "documents", "-not_path", "*.jpg"}, {}},
        {{"-event", "renamed", "-path", "angebot MÜLL??.docx"}, {"renamed Angebot Müller.docx"}},
        {{"-event", "stream_added, stream_removed ", "-path", "setup_tool.exe", "-not_event", "STREAM_ADDED"},
         {"stream_removed setup_tool.exe:Zone.Identifier"}},
        {{"-path", "<unk_path>"}, {}},
        {{"-event", "deleted", "-inode", "0x2B-1,42"}, {"deleted export", "deleted setup_tool.exe"}},
        {{"-event", "deleted", "-inode", "43-2", "-inode", "42"}, {"deleted setup_tool.exe"}},
        {{"-event", "deleted", "-not_inode", "44-1", "-not_inode", "43-2", "-not_inode", "42"}, {"deleted export"}},
    };
    for (const auto& [args, events] : rows)
        EXPECT_EQ(chosen(args), events) << ::testing::PrintToString(args);
    EXPECT_EQ(chosen({}).size(), 45u);
}

TEST(choice, is_refused_where_it_says_nothing) {
    const std::pair<argument_list, std::string> rows[] = {
        {{"-events", "-since", "yesterday"}, "no time, aborting: yesterday\n"},
        {{"-events", "-since", "2026-03-02", "-until", "2026-03-01"}, "a time that ends before it begins, aborting\n"},
        {{"-events", "-path", ""}, "no path, aborting: \n"},
        {{"-events", "-path", "\xFF"}, "no path, aborting: [0xDCFF]\n"},
        {{"-events", "-event", ","}, "no event, aborting: ,\n"},
        {{"-events", "-not_event", "created,erased"}, "no such event: erased\nevents are: created, "},
        {{"-events", "-event", "file_created"}, "no such event: file_created\n"},
        {{"-events", "-inode", "1-0"}, "no file record, aborting: 1-0\n"},
        {{"-events", "-inode", "0x1000000000000"}, "no file record, aborting: 0x1000000000000\n"},
        {{"-extents", "-event", "created"}, "-event is for events only\n"},
        {{"-stats", "-inode", "1"}, "for events, -extents, -content, -summary and -coverage only: -inode 1\n"},
    };
    for (const auto& [args, words] : rows) {
        const disk::captured_run run = ran(args, {"-quiet"});
        EXPECT_TRUE(run.err.starts_with(words)) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.status, 0);
    }
}

TEST(choice, is_named_where_a_report_says_what_it_is) {
    const std::string words = "-path 'a b'";
    EXPECT_NE(ran({"-path", "a b"}, {"-coverage", "-no_whitespace"}).out.find("\nevents_chosen_by: " + words + '\n'),
              std::string::npos);
    EXPECT_NE(ran({"-path", "a b"}, {"-summary"}).out.find("chosen by " + words + "; 45 others left out."),
              std::string::npos);
}

TEST(parse_iso_time, takes_what_is_named_to_its_end) {
    constexpr std::uint64_t day = 134'180'928'000'000'000, second = 10'000'000;  // 2026-03-16
    const auto span = [](std::uint64_t first, std::uint64_t ticks) { return std::pair(first, first + ticks - 1); };
    const std::pair<const char*, std::pair<std::uint64_t, std::uint64_t>> rows[] = {
        {"2026-03-16", span(day, 86400 * second)},
        {"2026-03-16T01:00", span(day + 3600 * second, 60 * second)},
        {"2026-03-16 00:00:01z", span(day + second, second)},
        {"2026-03-16t00:00:00.25", span(day + second / 4, second / 100)},
        {"2026-03-16T00:00:00.123456789Z", span(day + 1'234'567, 1)},
        {"2026-03-16T01:30-02", span(day + 12600 * second, 60 * second)},
        {"2026-03-16T05:45+05:45", span(day, 60 * second)},
        {"1601-01-01", span(0, 86400 * second)},
    };
    for (const auto& [text, expected] : rows) {
        const auto time = parse_iso_time(text);
        ASSERT_TRUE(time) << text;
        EXPECT_EQ(std::pair(time->first, time->last), expected) << text;
    }
    for (const char* const text :
         {"", "2026", "2026-3-16", "2026-02-30", "2026-03-16T", "2026-03-16T1:00", "2026-03-16T24:00", "2026-03-16Z",
          "2026-03-16T00:00:00.", "2026-03-16T00:00:00.1234567890", "2026-03-16T00:00+24", "2026-03-16T00:00+1",
          "2026-03-16T00:00+00:00:00", "1601-01-01T00:00+01:00", "2026/03/16", "2026-03-16T00:00:00 UTC"})
        EXPECT_FALSE(parse_iso_time(text)) << text;
}

TEST(fold_case, is_of_letters_with_one_partner) {
    EXPECT_EQ(uni::folded_text("AZ[`ÀÞ×ŒŸŽΌΣςЀӀӁЯЁՖẞＺ\xFF"), U"az[`àþ×œÿžόσσѐӏӂяёֆẞｚ\uFFFD");
    EXPECT_EQ(uni::folded_text("ȚȘǍƁǄǅǆȀƐȺɃϾͲἌἍὙῼᾼΆꙀꙁꚚⱾꞍıµ"),
              U"țșǎɓǆǆǆȁɛⱥƀͼͳἄἅὑῳᾳάꙁꙁꚛȿɥıµ");
}

// The same as one pattern after another, for the path, what lies below and streams; folders come back in any order.
TEST(path_matcher, agrees_with_one_pattern_at_a_time) {
    std::mt19937 chance(7);
    const auto any_text = [&chance](std::string_view characters, std::size_t most) {
        std::string text(chance() % most, ' ');
        std::ranges::generate(text, [&] { return characters[chance() % characters.size()]; });
        return text;
    };
    std::size_t matching = 0;
    for (int turn = 0; turn < 300; ++turn) {
        texts patterns(chance() % 40);
        std::vector<std::u32string> folded;
        for (std::string& pattern : patterns)
            folded.push_back(uni::folded_text(pattern = any_text("abab\\:*?", 12)));
        path_matcher matcher(folded);
        for (int more = 0; more < 40; ++more) {
            const std::string path = any_text("abABab\\\\:?", 24), lower = lower_case(path);
            const bool expected = !path.empty() && std::ranges::any_of(patterns, [&lower](const std::string& pattern) {
                return uni::matches_pattern(lower, pattern) || uni::matches_pattern(lower, pattern + "\\*") ||
                       uni::matches_pattern(lower, pattern + ":*");
            });
            EXPECT_EQ(matcher.matches(path), expected) << path << ' ' << ::testing::PrintToString(patterns);
            matching += expected;
        }
    }
    EXPECT_GT(matching, 1000u);
    EXPECT_LT(matching, 11000u);
}

TEST(frequency_table, names_the_most_frequent) {
    std::mt19937 chance(7);
    std::map<std::uint64_t, std::uint64_t> counts;
    frequency_table table(5);
    for (int turn = 0; turn < 20'000; ++turn) {
        const std::uint64_t key = chance() % (1 + chance() % 300);
        ++counts[key];
        table.add(key, std::to_string(key));
    }
    std::vector<std::uint64_t> expected;
    for (const auto& [key, count] : counts)
        expected.push_back(count);
    std::ranges::sort(expected, std::greater{});
    EXPECT_EQ(table.distinct(), counts.size());
    ASSERT_EQ(table.most_frequent().size(), 5u);
    for (std::size_t at = 0; const auto& entry : table.most_frequent()) {
        EXPECT_EQ(entry.count, expected[at++]);
        EXPECT_EQ(entry.count, counts[entry.key]);
        EXPECT_EQ(entry.name, std::to_string(entry.key));
    }
}

}  // namespace
}  // namespace kest
