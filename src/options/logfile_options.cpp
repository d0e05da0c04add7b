#include "options/logfile_options.h"

#include <algorithm>

#include "format/safe_text.h"
#include "logfile/mft_place.h"
#include "options/ascii_text.h"
#include "options/parse_number.h"

namespace kest {

namespace {

// Options that the first reports did not know. What is said of a run with any of them may grow.
constexpr std::string_view extended_options[] = {"-events",       "-coverage",   "-jsonl",  "-undo",   "-cut",
                                                 "-cluster_size", "-provenance", "-strict", "-columns"};

bool is_extended(const argument_list& args) {
    return std::ranges::any_of(extended_options, [&args](std::string_view name) { return peek_flag(name, args, 1); });
}

void expect_mft(logfile_options& options, argument_list& args) {
    options.have_mft = true;
    options.showall_inodes = take_flag("-showall_inodes", args);
}

// In a multi-file run the input options are flags: they tell what the listed files are.
void take_list_options(logfile_options& options, argument_list& args) {
    options.have_log = take_flag("-log", args);
    if (take_flag("-mftfile", args)) expect_mft(options, args);
    options.have_jrnl = take_flag("-jrnlfile", args);
    if (!options.have_mft && !options.have_jrnl) options.have_log = true;
}

void take_file_options(logfile_options& options, argument_list& args) {
    options.have_log = take_value("-log", options.log_path, args);
    // Kept: an offset is taken and has no effect, since a log is read from its start. Command lines made for a family
    // of tools hold one.
    std::string offset;
    take_value("-offset", offset, args);
    if (take_value("-mftfile", options.mft_path, args)) expect_mft(options, args);
    options.have_jrnl = take_value("-jrnlfile", options.jrnl_path, args);
}

void take_cluster_size(logfile_options& options, argument_list& args) {
    std::string value;
    if (!take_value("-cluster_size", value, args)) return;
    options.told_cluster_size = equal_folded(value, "auto");
    if (options.told_cluster_size) return;
    const auto size = parse_number(value);
    if (size && is_cluster_size(*size)) {
        options.cluster_size = static_cast<std::uint32_t>(*size);
    } else {
        say_value_refused(options, "invalid " + value + ", using default cluster size\n");
    }
}

void take_columns(logfile_options& options, argument_list& args) {
    std::string names;
    if (!take_value("-columns", names, args)) return;
    for (std::size_t at = 0; at <= names.size();) {
        const std::size_t end = std::min(names.find(',', at), names.size());
        options.columns.push_back(names.substr(at, end - at));
        at = end + 1;
    }
}

// Events are a table that any reader of such takes; what the rows of steps look like is kept.
void settle_table(logfile_options& options) {
    if (!options.tells_events()) return;
    if (options.shape != output_shape::csv && options.shape != output_shape::csvgen) return;
    options.quotes = options.no_whitespace = true;
    options.sep_char = '\0';
}

struct shape_name {
    output_shape shape;
    std::string_view name;
};
constexpr shape_name shapes_without_rows[] = {
    {output_shape::xml, "-xml"}, {output_shape::csvl2t, "-csvl2t"}, {output_shape::bodyfile, "-bodyfile"}};

// Of the reports that stand in place of rows one run has but one, and they leave no use to what is about rows.
void judge_report(logfile_options& options, bool coverage) {
    argument_list given;
    const auto add_if = [&given](bool is_given, const char* name) {
        if (is_given) given.emplace_back(name);
    };
    add_if(options.stats_requested, "-stats");
    add_if(coverage, "-coverage");
    add_if(options.show_events, "-events");
    if (given.empty()) return;
    add_if(options.show_undo, "-undo");
    add_if(options.showall_inodes, "-showall_inodes");
    if (given.size() > 1) warn(options, "exclude each other", joined(given, '\''));
}

void judge_shape(logfile_options& options) {
    if (options.stats_requested || options.show_coverage) return;
    for (const shape_name& row : shapes_without_rows)
        if (row.shape == options.shape) warn(options, "no rows in this form", row.name);
}

}  // namespace

bool parse_options(logfile_options& options, run_outputs& outputs, argument_list& args) {
    const bool no_whitespace = peek_flag("-no_whitespace", args, 1);
    options.extended = is_extended(args);
    options.show_provenance = peek_flag("-provenance", args, 1);
    if (options.show_provenance) options.command_line = args;
    if (!parse_common_options(options, outputs, args)) return false;
    if (options.shape == output_shape::csv && !no_whitespace) options.no_whitespace = false;
    options.strict = take_flag("-strict", args);
    options.show_provenance = take_flag("-provenance", args);
    options.stats_requested = take_flag("-stats", args);
    const bool coverage = take_flag("-coverage", args);
    options.show_coverage = coverage && !options.stats_requested;
    options.guesses_allowed = !take_flag("-no_guesses", args);
    options.show_undo = take_flag("-undo", args);
    options.show_events = take_flag("-events", args);
    options.show_cut = take_flag("-cut", args) || options.show_events;
    take_cluster_size(options, args);
    take_columns(options, args);
    settle_table(options);
    if (options.lists_logs()) {
        take_list_options(options, args);
    } else {
        take_file_options(options, args);
    }
    judge_report(options, coverage);
    judge_shape(options);
    return true;
}

}  // namespace kest
