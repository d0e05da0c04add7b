#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "driver/run.h"
#include "portable/file.h"
#include "support/mft_image.h"
#include "support/scratch_folder.h"
#include "support/usn_image.h"

namespace kest::disk {

// One run of the program in this process, and what it said.
struct captured_run {
    int status;
    std::string out;
    std::string err;
};

// What says by its status how it ended, as a run does.
inline captured_run capture(const std::function<int()>& act, const std::string& input) {
    const scratch_folder folder;
    const std::string out = folder.put("out");
    const std::string err = folder.put("err");
    captured_run result{};
    {
        const redirected in_stream(uni::standard_input, input);
        const redirected out_stream(uni::standard_output, out);
        const redirected err_stream(uni::standard_error, err);
        result.status = act();
    }
    result.out = contents_of(out);
    result.err = contents_of(err);
    return result;
}

// `args` come after the program's name. The standard input is the file `input`, which does not wait if it is a pipe.
inline captured_run run_captured(argument_list args, const std::string& input = null_device) {
    args.insert(args.begin(), "kest");
    return capture([&args] { return run(std::move(args)); }, input);
}

// The files that a run over a list, or over a folder, wants to read.
inline argument_list tried(const captured_run& done) {
    static const std::regex said("trying to parse file: ([^\n]*)\n");
    argument_list files;
    for (std::sregex_iterator at(done.err.begin(), done.err.end(), said), end; at != end; ++at)
        files.push_back((*at)[1]);
    return files;
}

// Whether a run over a list reads a file; nothing, if the options are refused.
inline std::optional<bool> wanted(const std::string& file, argument_list options) {
    const scratch_folder folder;
    options.insert(options.begin(), "-pipe");
    const captured_run done = run_captured(options, folder.put("list", file + "\n"));
    return done.err.starts_with("kest") ? std::nullopt : std::optional(!tried(done).empty());
}

// The rows of a report after the header line, in cells. Line ends and separators in evidence are not what they were.
using row_cells = std::vector<std::string>;
enum cell {
    time_cell,
    ref_cell,
    action_cell,
    lsn_cell,
    level_cell,
    pattern_cell,
    operation_cell,
    lcn_cell,
    inode_cell,
    sequence_cell,
    parent_cell,
    parent_sequence_cell,
    path_cell,
    details_cell
};

// Runs over evidence from memory; what is empty is left out, a log excepted.
inline std::vector<row_cells> rows_of(const bytes& log, const bytes& mft = {}, const bytes& journal = {},
                                      const argument_list& more = {}) {
    const memory_file log_file(log), mft_file(mft), journal_file(journal);
    argument_list args = {"-quiet", "-no_whitespace", "-log", log_file.path()};
    if (!mft.empty()) args.insert(args.end(), {"-mftfile", mft_file.path()});
    if (!journal.empty()) args.insert(args.end(), {"-jrnlfile", journal_file.path()});
    args.insert(args.end(), more.begin(), more.end());
    const captured_run ran = run_captured(args);
    EXPECT_EQ(ran.status, 0) << ran.err;  // what expects no rows expects a run that succeeds
    std::istringstream report(ran.out);
    std::vector<row_cells> rows;
    std::string line;
    for (int lines = 0; std::getline(report, line); ++lines) {
        std::istringstream cut(line + "|");
        row_cells cells;
        for (std::string text; std::getline(cut, text, '|');)
            cells.push_back(text);
        if (lines >= 4) rows.push_back(cells);
        EXPECT_TRUE(lines < 3 || cells.size() == 14) << line;
    }
    return rows;
}

}  // namespace kest::disk
