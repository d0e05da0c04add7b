#include "options/cmd_params.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "format/error_words.h"
#include "format/safe_text.h"
#include "options/ascii_text.h"
#include "options/environment.h"
#include "options/parse_number.h"
#include "options/path_filter.h"
#include "options/time_bounds.h"
#include "options/warning_line.h"
#include "portable/console.h"
#include "portable/unfinished_file.h"

namespace kest {

namespace {

// Options of which one run can have but one, and those that only mean something to a list.
enum class option_group { none, shape, base, list, of_list };
constexpr std::size_t group_count = 5;

constexpr std::string_view not_understood = "not understood";

struct option_parse {
    cmd_params& options;
    run_outputs& outputs;
    argument_list& args;
    const std::string cmdline;
    bool pair_datetime = false;
    std::string date_format = "yyyy-mm-dd";
    std::string time_format = "hh:mm:ss.xxx";
    std::string diags_path = {};  // also where it could not be opened: two outputs never are one file
    bool refused = false;         // the run cannot go on
    std::array<argument_list, group_count> given = {};  // of each group: its options, in the order of the rows
};

void refuse(option_parse& parse, std::string_view words) {
    uni::console_write(words);
    parse.refused = true;
}

// Why an output was not opened: by an `errno`, or else by the guard or another run.
std::string output_refusal(const cmd_params& options, int error) {
    if (!options.extended) return {};
    return error != 0 ? folder_error_words(error) : "evidence, or in use";
}

void open_diagnostics(option_parse& parse, const std::string& path) {
    diagnostics& diags = parse.outputs.diags;
    parse.diags_path = path;
    if (!diags.open(path, {parse.args, parse.options.extended})) {
        warn(parse.options, with_reason("not opened", output_refusal(parse.options, diags.open_error())),
             "-diags " + path);
        return;
    }
    diags.trace(parse.cmdline);
    if (take_flag("-l2", parse.args)) {
        diags.set_level(2);
    } else if (take_flag("-l3", parse.args)) {
        diags.set_level(3);
    }
}

bool is_tab_word(std::string_view separator) {
    return equal_folded(separator, "tab") || equal_folded(separator, "\\t");
}

// What separates fields must not stand inside a value.
void set_separator(cmd_params& options, std::string_view separator) {
    options.separator = separator;
    options.sep_char = options.sep_subst = '\0';
    if (separator.find('|') != separator.npos) {
        options.sep_char = '|';
        options.sep_subst = ';';
    } else if (separator.find(',') != separator.npos) {
        options.sep_char = ',';
        options.sep_subst = ' ';
    } else if (is_tab_word(separator)) {
        options.separator.assign(1, '\t');
    }
}

// Kept: runs with the first options take whatever separator they are given.
void set_chosen_separator(option_parse& parse, const std::string& value) {
    if (parse.options.extended && !is_tab_word(value) && !telling_character(value)) {
        refuse(parse, warning_line("separator cannot be told from values, aborting", value));
    } else {
        set_separator(parse.options, value);
    }
}

void set_shape(cmd_params& options, output_shape shape, std::string_view separator) {
    options.shape = shape;
    set_separator(options, separator);
}

void set_csv(option_parse& parse, const std::string&) {
    set_shape(parse.options, output_shape::csv, ",");
    parse.options.no_whitespace = !parse.pair_datetime;
}

void set_csvgen(option_parse& parse, const std::string&) {
    set_shape(parse.options, output_shape::csvgen, ",");
    parse.options.no_whitespace = true;
}

void set_csvl2t(option_parse& parse, const std::string&) {
    set_shape(parse.options, output_shape::csvl2t, ",");
}

void set_bodyfile(option_parse& parse, const std::string&) {
    set_shape(parse.options, output_shape::bodyfile, "|");
}

void set_xml(option_parse& parse, const std::string&) {
    set_shape(parse.options, output_shape::xml, {});
}

void set_multiline(option_parse& parse, const std::string&) {
    set_shape(parse.options, output_shape::multiline, {});
}

void set_jsonl(option_parse& parse, const std::string&) {
    parse.options.shape = output_shape::jsonl;
    parse.options.as_json = true;
}

// A list of pairs, "a|b|c|d".
void check_pairs(option_parse& parse, std::string_view list, std::ptrdiff_t pieces_if_empty) {
    const std::ptrdiff_t pieces = list.empty() ? pieces_if_empty : std::ranges::count(list, '|') + 1;
    if (pieces % 2 != 0) refuse(parse, "imbalanced alias to true pathfiles, aborting\n");
}

void check_aliases(option_parse& parse, const std::string& value) {
    check_pairs(parse, expand_environment(value), 0);
}

// Kept: an empty value is one path here, and so lacks its other half.
void check_alias_paths(option_parse& parse, const std::string& value) {
    check_pairs(parse, expand_environment(value), 1);
}

void refuse_database(option_parse& parse, const std::string&) {
    refuse(parse, "This option is not offered in this build\n");
}

// Says whether two outputs would be one file, be it there or not. Devices can be shared.
bool is_one_file(const std::string& one, const std::string& other) {
    if (uni::identify(one)) return uni::is_regular_file(one) && uni::identify(one) == uni::identify(other);
    const auto name_at = [](const std::string& path) { return path.rfind('/') + 1; };  // no folder: npos + 1 is 0
    const auto folder = [&](const std::string& path) { return uni::identify(path.substr(0, name_at(path)) + '.'); };
    return one.substr(name_at(one)) == other.substr(name_at(other)) && folder(one) && folder(one) == folder(other);
}

// Kept: "-append" stays in the list and changes nothing, as a report replaces the file that it would be appended to.
void set_results_file(option_parse& parse, const std::string& value) {
    std::string path = expand_environment(value);
    std::ranges::replace(path, '\\', '/');
    const std::string name(uni::trimmed_path(path)), diags_name(uni::trimmed_path(parse.diags_path));
    const bool of_diagnostics =
        !diags_name.empty() && (is_one_file(name, diags_name) || is_one_file(uni::unfinished_path(name), diags_name));
    if (!of_diagnostics && parse.outputs.results.prove(path, {parse.args, parse.options.extended})) return;
    const std::string words = "prob opening file " + path + " for output, aborting";
    const int error = name.empty() ? ENOENT : parse.outputs.results.open_error();
    refuse(parse, with_reason(words, output_refusal(parse.options, error)) + '\n');
}

void set_walked_folder(option_parse& parse, const std::string& value) {
    parse.options.enumdir_path = expand_environment(value);
    parse.options.enumdir_mode = true;
}

void set_walk_depth(option_parse& parse, const std::string& value) {
    if (const auto depth = parse_number(value)) {
        parse.options.num_subdirs = static_cast<std::uint32_t>(*depth);
    } else {
        warn(parse.options, not_understood, "-num_subdirs " + value);
    }
}

void add_patterns(option_parse& parse, const std::string& value) {
    if (!add_pattern_filters(parse.options.filters, value)) warn(parse.options, not_understood, "-filter " + value);
}

void add_signature(option_parse& parse, const std::string& value) {
    if (!add_signature_filter(parse.options.filters, value))
        warn(parse.options, not_understood, "-filter_sig " + value);
}

template <bool set(cmd_params&, std::string_view)>
void set_time_bound(option_parse& parse, const std::string& value) {
    if (set(parse.options, value)) return;
    refuse(parse, parse.options.extended ? warning_line("invalid time, aborting", value) : std::string());
}

void set_filter_path(option_parse& parse, const std::string& value) {
    for (path_filter& filter : parse.options.filters)
        filter.path = lower_case(value);
}

void remove_whitespace(option_parse& parse, const std::string&) {
    parse.options.no_whitespace = true;
    std::erase(parse.options.separator, ' ');
}

void set_format(option_parse& parse, std::string& format, const std::string& value, bool accepted) {
    if (accepted) {
        format = lower_case(value);
    } else {
        say_value_refused(parse.options, "invalid " + value + ", using default format\n");
    }
}

// Kept: a format is judged by its length here, not by its parts.
void set_date_format(option_parse& parse, const std::string& value) {
    set_format(parse, parse.date_format, value, value.size() == 8 || value.size() == 10);
}

void set_time_format(option_parse& parse, const std::string& value) {
    const bool length_fits = value.size() == 8 || (value.size() >= 12 && value.size() <= 18);
    set_format(parse, parse.time_format, value, length_fits && value.find(':') != value.npos);
}

enum class takes {
    flag,               // no value
    value,              // one value
    values,             // one each time that it is given
    value_for_filters,  // one value, if there are filters by then
};

struct option_row {
    std::string_view name;
    takes kind;
    void (*apply)(option_parse&, const std::string& value);  // null: taken out of the list, and of no effect
    option_group group = option_group::none;
};

// In the order in which they are looked for.
constexpr option_row option_rows[] = {
    {"-pair_datetime", takes::flag, [](option_parse& p, const std::string&) { p.pair_datetime = true; }},
    {"-diags", takes::value, open_diagnostics},
    {"-csv", takes::flag, set_csv, option_group::shape},
    {"-csvgen", takes::flag, set_csvgen, option_group::shape},
    {"-csvl2t", takes::flag, set_csvl2t, option_group::shape},
    {"-bodyfile", takes::flag, set_bodyfile, option_group::shape},
    {"-xml", takes::flag, set_xml, option_group::shape},
    {"-multiline", takes::flag, set_multiline, option_group::shape},
    {"-jsonl", takes::flag, set_jsonl, option_group::shape},
    {"-alias", takes::value, check_aliases},
    {"-aliaspath", takes::value, check_alias_paths},
    {"-gzip", takes::flag, nullptr},
    {"-zlib", takes::flag, nullptr},
    {"-threads", takes::value, nullptr},
    {"-zlibex", takes::value, nullptr},
    {"-sqlite_log", takes::value, refuse_database},
    {"-sqlite", takes::value, refuse_database},
    {"-signal", takes::value, nullptr},
    {"-hostname", takes::value, nullptr},
    {"-split_pathfile", takes::flag, nullptr},
    {"-username", takes::value, nullptr},
    {"-cpuinst", takes::value, nullptr},
    {"-cpu", takes::value, nullptr},
    {"-fragment_files", takes::value, nullptr},
    {"-separate_files", takes::flag, nullptr},
    {"-out", takes::value, set_results_file},
    {"-outfile", takes::value, set_results_file},
    {"-outdir", takes::value, nullptr},
    {"-enumdir", takes::value, set_walked_folder, option_group::list},
    {"-num_subdirs", takes::value, set_walk_depth, option_group::of_list},
    {"-profile", takes::flag, [](option_parse& p, const std::string&) { p.options.profile = true; }},
    {"-pipe", takes::flag, [](option_parse& p, const std::string&) { p.options.pipe_mode = true; }, option_group::list},
    {"-filter", takes::values, add_patterns, option_group::of_list},
    {"-filter_path", takes::value_for_filters, set_filter_path, option_group::of_list},
    {"-filter_sig", takes::values, add_signature, option_group::of_list},
    {"-cmd_start_time", takes::value, set_time_bound<set_start_bound>, option_group::of_list},
    {"-cmd_stop_time", takes::value, set_time_bound<set_stop_bound>, option_group::of_list},
    {"-base10", takes::flag, [](option_parse& p, const std::string&) { p.options.base16 = false; }, option_group::base},
    {"-base16", takes::flag, [](option_parse& p, const std::string&) { p.options.base16 = true; }, option_group::base},
    {"-csv_separator", takes::value, set_chosen_separator},
    {"-no_whitespace", takes::flag, remove_whitespace},
    {"-dateformat", takes::value, set_date_format},
    {"-timeformat", takes::value, set_time_format},
    {"-verbose", takes::flag, nullptr},
    {"-v", takes::flag, nullptr},
    {"-quiet", takes::flag, [](option_parse& p, const std::string&) { p.options.show_progress = false; }},
};

// An option whose value was forgotten takes the next one for it.
void judge_value(option_parse& parse, const option_row& row, const std::string& value) {
    if (value.size() <= 2 || value.front() != '-' || value[1] < 'A') return;  // "-5" is no option
    const std::string shown = std::string(row.name) + ' ' + value;
    if (equal_folded(value, "-strict")) {
        refuse(parse, warning_line("taken as a value, aborting", shown));
    } else {
        warn(parse.options, "taken as a value", shown);
    }
}

bool take(const option_row& row, const option_parse& parse, std::string& value) {
    if (row.kind == takes::flag) return take_flag(row.name, parse.args);
    if (row.kind == takes::value_for_filters && parse.options.filters.empty()) return false;
    return take_value(row.name, value, parse.args);
}

void apply_row(const option_row& row, option_parse& parse) {
    std::string value;
    while (take(row, parse, value)) {
        judge_value(parse, row, value);
        if (parse.refused) return;
        if (row.apply != nullptr) row.apply(parse, value);
        parse.given[static_cast<std::size_t>(row.group)].emplace_back(row.name);
        if (row.kind != takes::values) return;
    }
}

void judge_combinations(option_parse& parse) {
    const auto given = [&parse](option_group group) { return parse.given[static_cast<std::size_t>(group)]; };
    for (const option_group group : {option_group::shape, option_group::base, option_group::list}) {
        if (given(group).size() > 1) warn(parse.options, "exclude each other", joined(given(group), '\''));
    }
    const argument_list of_list = given(option_group::of_list);
    if (!of_list.empty() && !parse.options.lists_logs()) {
        warn(parse.options, "without a list of logs", joined(of_list, '\''));
    }
}

bool writes_one_line_a_row(output_shape shape) {
    return shape == output_shape::csv || shape == output_shape::csvl2t || shape == output_shape::csvgen ||
           shape == output_shape::bodyfile;
}

}  // namespace

void say_value_refused(cmd_params& options, std::string_view words) {
    uni::console_write(words);
    options.value_refused = true;
}

void warn(cmd_params& options, std::string_view words, std::string_view shown) {
    if (options.extended) options.warnings += warning_line(words, shown);
}

bool parse_common_options(cmd_params& options, run_outputs& outputs, argument_list& args) {
    option_parse parse{.options = options, .outputs = outputs, .args = args, .cmdline = joined(args, '"')};
    for (const option_row& row : option_rows) {
        apply_row(row, parse);
        if (parse.refused) return false;
    }
    judge_combinations(parse);
    options.marks_line_ends = writes_one_line_a_row(options.shape);
    options.time_format = cv::compile_format(parse.date_format, parse.time_format, parse.pair_datetime);
    return true;
}

}  // namespace kest
