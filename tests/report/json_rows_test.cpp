// The JSON lines of whole runs, beside the rows that the same runs have as text.

#include <map>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "support/json_lines.h"
#include "support/made_run.h"

namespace kest::disk {
namespace {

using cells = std::map<std::string, std::string>;

std::vector<std::string> split(const std::string& text, char separator) {
    std::istringstream stream(text);
    std::vector<std::string> pieces;
    for (std::string piece; std::getline(stream, piece, separator);)
        pieces.push_back(piece);
    return pieces;
}

std::string text_of(const rapidjson::Value& value) {
    if (value.IsString()) return {value.GetString(), value.GetStringLength()};
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return buffer.GetString();
}

// The cells of each line that hold something, as a row of text would have them; not the details.
std::vector<cells> of_json(const std::string& report, const std::string& log) {
    EXPECT_TRUE(is_json_lines(report));
    std::vector<cells> rows;
    for (const std::string& line : split(report, '\n')) {
        rapidjson::Document object;
        object.Parse(line.c_str());
        cells& row = rows.emplace_back();
        for (const auto& member : object.GetObject())
            row[member.name.GetString()] = text_of(member.value);
        EXPECT_EQ(row["log"], log);
        for (const char* number : {"lsn", "lcn", "inode", "seq", "parent", "parent_seq"})
            EXPECT_TRUE(!object.HasMember(number) || object[number].IsUint64()) << line;
        if (row.erase("guess") != 0) row["path"].insert(0, 1, '*');
        if (row.contains("time")) {
            EXPECT_EQ(row["time"].back(), 'Z');
            row["time"].replace(10, 1, " ").replace(26, 1, "000");
        }
        for (const char* key : {"log", "details", "undo"})
            row.erase(key);
    }
    return rows;
}

std::vector<cells> of_text(const std::string& report) {
    std::vector<std::string> lines = split(report, '\n');
    const std::vector<std::string> titles = split(lines[3], '\t');
    std::vector<cells> rows;
    for (const std::string& line : std::span(lines).subspan(4)) {
        const std::vector<std::string> texts = split(line, '\t');
        cells& row = rows.emplace_back();
        for (std::size_t at = 0; at < 13 && at < texts.size(); ++at)
            if (!texts[at].empty()) row[titles[at] == "path (*guess)" ? "path" : titles[at]] = texts[at];
        if (row.contains("time")) row["time"].replace(26, 1, "0");  // JSON has six digits
    }
    return rows;
}

TEST(json_lines, tell_what_the_rows_tell) {
    const std::string samples = KEST_SAMPLES, log = samples + "/LogFile";
    const argument_list inputs[] = {{"-log", log},
                                    {"-log", log, "-mftfile", samples + "/MFT", "-jrnlfile", samples + "/UsnJrnl_J"}};
    for (argument_list args : inputs) {
        args.insert(args.end(), {"-quiet", "-cut", "-undo", "-showall_inodes", "-base10"});
        argument_list as_text = args;
        as_text.insert(as_text.end(), {"-csv", "-csv_separator", "tab", "-no_whitespace"});
        args.insert(args.end(), {"-jsonl", "-dateformat", "dd/mm/yyyy", "-csv_separator", "|"});
        const std::vector<cells> rows = of_json(run_captured(args).out, log);
        EXPECT_EQ(rows, of_text(run_captured(as_text).out));
        EXPECT_GT(rows.size(), 280u);
    }
}

TEST(json_lines, are_valid_whatever_the_evidence_holds) {
    const std::u16string names[] = {u"\"\\\n\u0001\u2028|", {u'a', 0xD800}, {0xDC00, u'b'}, u"\U0001F600", u"[];="};
    std::vector<file_record> files = {{.number = 5, .flags = 3}};
    std::vector<record> records = {{.lsn = 10, .redo_op = 2}};
    for (const std::u16string& name : names) {
        const auto number = static_cast<u32>(40 + files.size());
        const name_image image{.name = name};
        files.push_back({.number = number,
                         .lsn = number,
                         .attributes = {image.attribute(), name_image{.parent = 9, .name = name}.attribute()}});
        records.push_back({.lsn = 10 + records.size(),
                           .previous = 9 + records.size(),
                           .redo_op = 0x13,
                           .redo = part(image.value(), 8)});
    }
    records.push_back({.lsn = 50, .redo_op = 28, .redo = pack(u32{0xFFFFFFFF}, at{12}, u8{0xFF}, at{40})});
    files.insert(files.begin(), {.number = 0});
    const scratch_folder folder;
    const auto put = [&folder](const char* name, const bytes& image) {
        return folder.put(name, std::string(image.begin(), image.end()));
    };
    const bool has_any_name = std::filesystem::path::preferred_separator == '/';
    const char* const name = has_any_name ? "log \"\\\xFF\n\xC3\xA4" : "log";
    const std::string log = put(name, log_of_pages(records));
    const argument_list args = {"-quiet", "-jsonl", "-log", log, "-mftfile", put("mft", mft_image(files, 60))};
    const auto out_of = [&args](argument_list more) {
        more.insert(more.end(), args.begin(), args.end());
        return run_captured(more).out;
    };
    for (const char* what : {"-events", "-coverage", "-stats"})
        EXPECT_TRUE(is_json_lines(out_of({what}))) << out_of({what});
    const std::string out = out_of({"-showall_inodes", "-undo"});
    EXPECT_TRUE(is_json_lines(out)) << out;
    for (const char* shown : {R"("name":"\"\\\n\u0001)", "\U0001F600",
                              R"("dirty":")"
                              "\xEF\xBF\xBD",
                              R"(\n)", "\"name\":\"a\xEF\xBF\xBD\"", R"("parent":[9,5],"path")",
                              has_any_name ? "log \\\"\\\\\xEF\xBF\xBD\\n\u00e4" : "log"})
        EXPECT_NE(out.find(shown), out.npos) << shown << '\n' << out;
}

}  // namespace
}  // namespace kest::disk
