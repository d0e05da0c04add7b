#include "options/logfile_options.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>

#include "format/ascii_text.h"
#include "format/error_words.h"
#include "format/safe_text.h"
#include "logfile/volume_geometry.h"
#include "options/event_criteria.h"
#include "options/option_values.h"
#include "options/warning_line.h"
#include "portable/console.h"
#include "portable/unfinished_file.h"

namespace kest {

namespace {

constexpr std::string_view not_understood = "not understood";

// Where an option stands in the list of all.
enum class option_group { inputs, report, choice, shape, list, run, program, none };
constexpr std::string_view group_titles[] = {
    "Inputs",    "Report", "Choice of events", "Shape of the report",
    "Many logs", "Run",    "Program",          "Without effect, for the sake of other tools' command lines"};

// Options of which one run can have but one, and those that only mean something to a list.
enum class option_set { none, shape, base, separator, list, of_list, of_image, of_case, report, choice };
constexpr std::size_t set_count = 10;

struct option_parse {
    logfile_options& options;
    run_outputs& outputs;
    argument_list& args;
    const std::string cmdline;
    bool pair_datetime = false;
    std::string date_format = "yyyy-mm-dd";
    std::string time_format = "hh:mm:ss.xxx";
    std::string diags_path = {};  // also where it could not be opened: two outputs never are one file
    bool refused = false;         // the run cannot go on
    std::array<argument_list, set_count> given = {};  // of each set: its options, in the order of the rows

    argument_list& given_of(option_set set) { return given[static_cast<std::size_t>(set)]; }
};

// Says that a value is not taken, and notes it.
void say_value_refused(logfile_options& options, std::string_view words) {
    uni::console_write(words);
    options.value_refused = true;
}

// Notes what may not be meant so.
void warn(logfile_options& options, std::string_view words, std::string_view shown) {
    if (options.extended) options.warnings += warning_line(words, shown);
}

void refuse(option_parse& parse, std::string_view words) {
    uni::console_write(words);
    parse.refused = true;
}

template <std::uint32_t level>
void set_level(option_parse& parse, const std::string&) {
    parse.outputs.diags.set_level(level);
}

// Why an output was not opened: by an `errno`, or else by the guard or another run.
std::string output_refusal(const logfile_options& options, int error) {
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
}

bool is_tab_word(std::string_view separator) {
    return equal_folded(separator, "tab") || equal_folded(separator, "\\t");
}

// What separates fields must not stand inside a value.
void set_separator(logfile_options& options, std::string_view separator) {
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
    if (parse.options.extended && !is_tab_word(value) && !separating_character(value)) {
        refuse(parse, warning_line("separator cannot be told from values, aborting", value));
    } else {
        set_separator(parse.options, value);
    }
}

template <output_shape shape>
void set_shape(option_parse& parse, const std::string&) {
    constexpr bool comma = shape == output_shape::csv || shape == output_shape::csvgen || shape == output_shape::csvl2t;
    parse.options.shape = shape;
    if (shape == output_shape::jsonl) return;
    set_separator(parse.options, comma ? "," : shape == output_shape::bodyfile ? "|" : "");
    if (shape == output_shape::csv) parse.options.no_whitespace = !parse.pair_datetime;
    if (shape == output_shape::csvgen) parse.options.no_whitespace = true;
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
    const std::size_t name = uni::last_name(one), other_name = uni::last_name(other);
    const auto folder = [](const std::string& path, std::size_t length) {
        return uni::identify(path.substr(0, length) + '.');
    };
    const auto shared = folder(one, name);
    return uni::is_same_name(one.substr(name), other.substr(other_name)) && shared &&
           shared == folder(other, other_name);
}

// Kept: "-append" stays in the list and changes nothing, as a report replaces the file that it would be appended to.
template <auto output, bool replaces = true>
void set_results_file(option_parse& parse, const std::string& value) {
    results_file& results = parse.outputs.*output;
    std::string path = expand_environment(value);
    std::ranges::replace(path, '\\', '/');
    const std::string name(uni::trimmed_path(path)), diags_name(uni::trimmed_path(parse.diags_path));
    const bool of_diagnostics =
        !diags_name.empty() && (is_one_file(name, diags_name) || is_one_file(uni::unfinished_path(name), diags_name));
    const guard_rules rules = {parse.args, parse.options.extended};
    if (!of_diagnostics && (replaces ? results.prove(path, rules) : results.prove_new(path, rules))) return;
    const std::string words = "prob opening file " + shown_text(path, parse.options.extended) + " for output, aborting";
    const int error = name.empty() ? ENOENT : results.open_error();
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
    if (!add_pattern_filters(parse.options.wanted.filters, value))
        warn(parse.options, not_understood, "-filter " + value);
}

void add_signature(option_parse& parse, const std::string& value) {
    if (!add_signature_filter(parse.options.wanted.filters, value))
        warn(parse.options, not_understood, "-filter_sig " + value);
}

void refuse_time(option_parse& parse, const std::string& value) {
    refuse(parse, parse.options.extended ? warning_line("invalid time, aborting", value) : std::string());
}

// A start opens the window's other end. What is no time is left unset.
void set_start_time(option_parse& parse, const std::string& value) {
    const time_value start = parse_time(value, {});
    if (!start.has_separator) return refuse_time(parse, value);
    parse.options.wanted.start = start.ticks;
    if (!start.ticks) say_value_refused(parse.options, "invalid start time, ignoring\n");
}

// A stop without time is the last second of its day, and counts only if it is not earlier than the start.
void set_stop_time(option_parse& parse, const std::string& value) {
    file_choice& wanted = parse.options.wanted;
    const time_value stop = parse_time(value, "23:59:59");
    if (!stop.has_separator) return refuse_time(parse, value);
    wanted.stop = stop.ticks && (!wanted.start || *stop.ticks >= *wanted.start) ? stop.ticks : std::nullopt;
    if (!wanted.stop) say_value_refused(parse.options, "invalid stop time, ignoring\n");
}

void set_filter_path(option_parse& parse, const std::string& value) {
    for (path_filter& filter : parse.options.wanted.filters)
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
        say_value_refused(parse.options,
                          "invalid " + shown_text(value, parse.options.extended) + ", using default format\n");
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

void set_pair_datetime(option_parse& parse, const std::string&) {
    parse.pair_datetime = true;
}

// Of several the first in the order of the rows counts.
template <report_kind kind>
void set_report(option_parse& parse, const std::string&) {
    logfile_options& options = parse.options;
    if (parse.given_of(option_set::report).empty()) options.report = kind;
    if (kind >= report_kind::summary && kind <= report_kind::contents)
        options.keeps_pages = options.stated_sizes = true;
}

// What some programs take for the standard output is no name for these.
template <auto output, bool replaces>
void set_further_file(option_parse& parse, std::string_view option, const std::string& value) {
    if (value == "-") return refuse(parse, std::string(option) + " needs a file\n");
    set_results_file<output, replaces>(parse, value);
}

void set_page(option_parse& parse, const std::string& value) {
    set_further_file<&run_outputs::page, true>(parse, "-page", value);
    set_report<report_kind::events>(parse, value);
}

// What there is in the database follows from the other options.
void set_database(option_parse& parse, const std::string& value) {
    set_further_file<&run_outputs::database, false>(parse, "-db", value);
}

void set_content_folder(option_parse& parse, const std::string& value) {
    parse.options.content_folder = expand_environment(value);
    if (parse.options.content_folder.empty()) return refuse(parse, "-content needs a folder\n");
    set_report<report_kind::contents>(parse, value);
}

void set_cluster_size(option_parse& parse, const std::string& value) {
    logfile_options& options = parse.options;
    options.auto_cluster_size = equal_folded(value, "auto");
    if (options.auto_cluster_size) {
        options.stated_sizes = true;
        return;
    }
    const auto size = parse_number(value);
    if (size && is_cluster_size(*size)) {
        options.cluster_size = static_cast<std::uint32_t>(*size);
    } else {
        say_value_refused(options, "invalid " + shown_text(value, true) + ", using default cluster size\n");
    }
}

void set_columns(option_parse& parse, const std::string& names) {
    for (std::size_t at = 0; at <= names.size();) {
        const std::size_t end = std::min(names.find(',', at), names.size());
        parse.options.columns.emplace_back(without_blanks(std::string_view(names).substr(at, end - at)));
        at = end + 1;
    }
}

// In a run on a list the input options are flags: they say what the listed files are.
template <auto has, auto source>
void set_input(option_parse& parse, const std::string& value) {
    parse.options.*has = true;
    (parse.options.*source).path = value;
}

void set_image(option_parse& parse, const std::string& path) {
    parse.options.image_path = path;
}

void set_case(option_parse& parse, const std::string& path) {
    parse.options.case_paths = {path};
}

void set_jobs(option_parse& parse, const std::string& value) {
    constexpr std::uint64_t most_jobs = 256;
    const auto number = parse_whole_number(value);
    if (number && *number > 0 && *number <= most_jobs) {
        parse.options.jobs = static_cast<std::uint32_t>(*number);
    } else {
        refuse(parse, warning_line("no number of jobs, aborting", value));
    }
}

void set_partition(option_parse& parse, const std::string& value) {
    const auto number = parse_whole_number(value);
    if (number && *number <= std::numeric_limits<std::uint32_t>::max()) {
        parse.options.partition = static_cast<std::uint32_t>(*number);
    } else {
        refuse(parse, warning_line("no partition number, aborting", value));
    }
}

using selection = event_selection;
using criteria = event_criteria;

// `bound` of the criteria becomes `end` of what the value names.
template <auto side, auto bound, auto end>
void set_time_bound(option_parse& parse, const std::string& value) {
    const auto time = parse_iso_time(value);
    if (!time) return refuse(parse, warning_line("no time, aborting", value));
    parse.options.selection.*side.*bound = *time.*end;
}

constexpr std::string_view no_pattern = "no path, aborting", no_word = "no event, aborting",
                           no_file = "no file record, aborting";
template <auto side, auto add, const std::string_view& words>
void add_criterion(option_parse& parse, const std::string& value) {
    if (!add(parse.options.selection.*side, value)) refuse(parse, warning_line(words, value));
}

template <auto option, bool value = true>
void set(option_parse& parse, const std::string&) {
    parse.options.*option = value;
}

using options_of = const option_parse&;
bool has_filters(options_of p) {
    return !p.options.wanted.filters.empty();
}
bool has_mft(options_of p) {
    return p.options.have_mft || !p.options.image_path.empty() || p.options.lists_sets();
}
bool has_diagnostics(options_of p) {
    return p.outputs.diags.on() && !p.outputs.diags.on(2);
}
bool has_no_list(options_of p) {
    return !p.options.lists_logs();
}

enum class takes {
    flag,     // no value
    value,    // one value
    values,   // one each time that it is given
    input,    // one value; none in a run on a list of logs
    nothing,  // looked for elsewhere, and left in the list
};

struct option_row {
    std::string_view name;
    option_group group;
    takes kind;
    std::string_view value;  // how the list of options names it
    std::string_view text;   // likewise what it does; rows with the same stand in one line
    void (*apply)(option_parse&, const std::string& value) = nullptr;  // null: of no effect
    option_set set = option_set::none;
    bool extends = false;                      // the first reports did not know it
    bool (*looked_for)(options_of) = nullptr;  // null: always
};

constexpr std::string_view taken = "taken", no_rows = "no rows",
                           timeline = "with -events: seventeen columns, or a body file, for timelines; no rows",
                           refused = "refused", pairs = "must be pairs",
                           results = "where the report goes; an existing file is replaced",
                           listings = "with -diags: listings of what was combined",
                           base = "numbers in decimal, or in hexadecimal",
                           not_between = "leave out what was then for certain: from the one to the other",
                           not_these = "leave out these", usage = "a short usage text";

using enum option_group;
using enum takes;
using o = logfile_options;
using r = report_kind;
using s = output_shape;
using set_of = option_set;

// In the order in which they are looked for.
constexpr option_row option_rows[] = {
    {"-h", program, nothing, "", usage},
    {"-help", program, nothing, "", usage},
    {"--help", program, nothing, "", usage},
    {"/?", program, nothing, "", usage},
    {"--help-all", program, nothing, "", "this list"},
    {"--version", program, nothing, "", "the version"},
    {"-pair_datetime", none, flag, "", "changes the padding of -csv only", set_pair_datetime},
    {"-diags", run, value, "<file>", "a diagnostic file", open_diagnostics},
    {"-l2", run, flag, "", listings, set_level<2>, set_of::none, false, has_diagnostics},
    {"-l3", run, flag, "", listings, set_level<3>, set_of::none, false, has_diagnostics},
    {"-csv", shape, flag, "", "fields separated by a comma; of rows padded, of events as RFC 4180 says",
     set_shape<s::csv>, set_of::shape},
    {"-csvgen", shape, flag, "", "the report with commas and without padding", set_shape<s::csvgen>, set_of::shape},
    {"-csvl2t", shape, flag, "", timeline, set_shape<s::csvl2t>, set_of::shape},
    {"-bodyfile", shape, flag, "", timeline, set_shape<s::bodyfile>, set_of::shape},
    {"-xml", none, flag, "", no_rows, set_shape<s::xml>, set_of::shape},
    {"-multiline", shape, flag, "", "the report without any separator", set_shape<s::multiline>, set_of::shape},
    {"-jsonl", shape, flag, "", "one JSON object a line, typed, with nothing before the first", set_shape<s::jsonl>,
     set_of::shape, true},
    {"-alias", none, value, "<pairs>", pairs, check_aliases},
    {"-aliaspath", none, value, "<pairs>", pairs, check_alias_paths},
    {"-gzip", none, flag, "", taken},
    {"-zlib", none, flag, "", taken},
    {"-threads", none, value, "<text>", taken},
    {"-zlibex", none, value, "<text>", taken},
    {"-sqlite_log", none, value, "<file>", refused, refuse_database},
    {"-sqlite", none, value, "<file>", refused, refuse_database},
    {"-signal", none, value, "<text>", taken},
    {"-hostname", none, value, "<text>", taken},
    {"-split_pathfile", none, flag, "", taken},
    {"-username", none, value, "<text>", taken},
    {"-cpuinst", none, value, "<text>", taken},
    {"-cpu", none, value, "<text>", taken},
    {"-fragment_files", none, value, "<text>", taken},
    {"-separate_files", none, flag, "", taken},
    {"-out", run, value, "<file>", results, set_results_file<&run_outputs::results>},
    {"-outfile", run, value, "<file>", results, set_results_file<&run_outputs::results>},
    {"-append", none, nothing, "", "a results file is replaced all the same"},
    {"-outdir", none, value, "<text>", taken},
    {"-enumdir", list, value, "<folder>", "every file in the folder", set_walked_folder, set_of::list},
    {"-num_subdirs", list, value, "<number>", "levels of sub-folders that -enumdir enters", set_walk_depth,
     set_of::of_list},
    {"-profile", run, flag, "", "how long the run took", set<&o::profile>},
    {"-pipe", list, flag, "", "paths of logs from the standard input, one a line", set<&o::pipe_mode>, set_of::list},
    {"-filter", list, values, "<patterns>", "only files whose name matches", add_patterns, set_of::of_list},
    {"-filter_path", list, value, "<text>", "with -filter: or whose path begins so", set_filter_path, set_of::of_list,
     false, has_filters},
    {"-filter_sig", list, values, "<hex>[|<offset>]", "or that hold these bytes", add_signature, set_of::of_list},
    {"-cmd_start_time", list, value, "<time>", "only files whose copy was touched then or later", set_start_time,
     set_of::of_list},
    {"-cmd_stop_time", list, value, "<time>", "only files whose copy was touched then or earlier", set_stop_time,
     set_of::of_list},
    {"-base10", shape, flag, "", base, set<&o::base16, false>, set_of::base},
    {"-base16", shape, flag, "", base, set<&o::base16>, set_of::base},
    {"-csv_separator", shape, value, "<text>", "the separator of fields; tab for a tab", set_chosen_separator,
     set_of::separator},
    {"-no_whitespace", shape, flag, "", "no padding", remove_whitespace},
    {"-dateformat", shape, value, "<format>", "yyyy-mm-dd, mm/dd/yyyy, ...", set_date_format},
    {"-timeformat", shape, value, "<format>", "hh:mm:ss.xxx: digits of fraction in the details", set_time_format},
    {"-verbose", none, flag, "", taken},
    {"-v", none, flag, "", taken},
    {"-quiet", run, flag, "", "no progress, no hints", set<&o::show_progress, false>},
    {"-strict", run, flag, "",
     "what may not be meant so is an error: ignored arguments, invalid values, inputs of another kind, ...",
     set<&o::strict>, set_of::none, true},
    {"-provenance", run, flag, "",
     "with -jsonl or -coverage or a -page: version, command line, size and SHA-256 of each input",
     set<&o::show_provenance>, set_of::none, true},
    {"-stats", report, flag, "", "how often each operation occurs, in place of the report", set_report<r::statistics>,
     set_of::report},
    {"-coverage", report, flag, "", "what the log covers, and whether the other inputs fit, in place of the report",
     set_report<r::coverage>, set_of::report, true},
    {"-events", report, flag, "",
     "what happened to files, a row each, in place of the steps; with -jrnlfile by the journal, too",
     set_report<r::events>, set_of::report, true},
    {"-summary", report, flag, "", "what the events come to, on one screen: times, counts, what is worth a look",
     set_report<r::summary>, set_of::report, true},
    {"-extents", report, flag, "", "where data lay: a line for each run of clusters that a file got or lost",
     set_report<r::extents>, set_of::report, true},
    {"-content", report, value, "<folder>",
     "what files held that lay in the MFT: each version to a file of its own; and a list", set_content_folder,
     set_of::report, true},
    {"-page", report, value, "<file>",
     "the events as a page for a browser, beside the report of -out or in place of it", set_page, set_of::none, true},
    {"-db", report, value, "<file>",
     "the events as a new SQLite database, beside the report of -out or in place of it; with -undo, -cut or "
     "-showall_inodes the rows",
     set_database, set_of::none, true},
    {"-no_guesses", report, flag, "", "do not guess a file from a bare record number", set<&o::guesses_allowed, false>},
    {"-list", report, flag, "", "the volumes of an image or a case, a row each, in place of the report",
     set_report<r::volumes>, set_of::report, true},
    {"-no_system", report, flag, "", "with -events: leave out what the system does by itself, and say how much",
     set<&o::system_events, false>, set_of::none, true},
    {"-since", choice, value, "<time>", "those that may have been then or later: 2026-03-16T09:00+01:00, 2026-03-16",
     set_time_bound<&selection::wanted, &criteria::since, &tick_span::first>, set_of::choice, true},
    {"-until", choice, value, "<time>", "those that may have been then or earlier; a day counts to its end",
     set_time_bound<&selection::wanted, &criteria::until, &tick_span::last>, set_of::choice, true},
    {"-path", choice, values, "<pattern>", "of a file, or of what lies below a folder; * and ?; several",
     add_criterion<&selection::wanted, add_path_pattern, no_pattern>, set_of::choice, true},
    {"-event", choice, values, "<words>", "of these kinds, separated by commas",
     add_criterion<&selection::wanted, add_event_words, no_word>, set_of::choice, true},
    {"-inode", choice, values, "<numbers>", "of these file records, as 42 or 42-1 with the sequence number",
     add_criterion<&selection::wanted, add_files, no_file>, set_of::choice, true},
    {"-not_since", choice, value, "<time>", not_between,
     set_time_bound<&selection::unwanted, &criteria::since, &tick_span::first>, set_of::choice, true},
    {"-not_until", choice, value, "<time>", not_between,
     set_time_bound<&selection::unwanted, &criteria::until, &tick_span::last>, set_of::choice, true},
    {"-not_path", choice, values, "<pattern>", not_these,
     add_criterion<&selection::unwanted, add_path_pattern, no_pattern>, set_of::choice, true},
    {"-not_event", choice, values, "<words>", not_these, add_criterion<&selection::unwanted, add_event_words, no_word>,
     set_of::choice, true},
    {"-not_inode", choice, values, "<numbers>", not_these, add_criterion<&selection::unwanted, add_files, no_file>,
     set_of::choice, true},
    {"-undo", report, flag, "", "a column with what each record would put back", set<&o::show_undo>, set_of::none,
     true},
    {"-cut", report, flag, "", "also the transactions whose beginning is overwritten", set<&o::keeps_pages>,
     set_of::none, true},
    {"-cluster_size", report, value, "<number>|auto",
     "of the volume, for record numbers in rows; auto: what the log states", set_cluster_size, set_of::none, true},
    {"-columns", report, value, "<names>",
     "these columns only, in this order, separated by commas; of rows and of events", set_columns, set_of::none, true},
    {"-log", inputs, input, "<file>", "the copy of $LogFile", set_input<&o::have_log, &o::log>},
    {"-offset", none, value, "<number>", "a log is read from its start", nullptr, set_of::none, false, has_no_list},
    {"-mftfile", inputs, input, "<file>", "the copy of the $MFT of the same volume", set_input<&o::have_mft, &o::mft>},
    {"-image", inputs, value, "<file>", "log, MFT and journal of an NTFS volume in this image of a disk or a volume",
     set_image, set_of::none, true},
    {"-partition", inputs, value, "<number>", "the volume in this partition of the image", set_partition,
     set_of::of_image, true},
    {"-case", inputs, value, "<folder>", "every log, MFT, journal and image below this folder, volume by volume",
     set_case, set_of::none, true},
    {"-jobs", run, value, "<number>", "with -case: so many volumes at the same time", set_jobs, set_of::of_case, true},
    {"-showall_inodes", inputs, flag, "", "with -mftfile: also rows for the file records within the log's time",
     set<&o::showall_inodes>, set_of::none, false, has_mft},
    {"-jrnlfile", inputs, input, "<file>", "the change journal of the same volume; with -events it does without a log",
     set_input<&o::have_jrnl, &o::journal>},
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
    if (row.kind == takes::nothing || (row.looked_for != nullptr && !row.looked_for(parse))) return false;
    const bool flag = row.kind == takes::flag || (row.kind == takes::input && parse.options.lists_logs());
    return flag ? take_flag(row.name, parse.args) : take_value(row.name, value, parse.args);
}

void apply_row(const option_row& row, option_parse& parse) {
    std::string value;
    while (take(row, parse, value)) {
        judge_value(parse, row, value);
        if (parse.refused) return;
        if (row.apply != nullptr) row.apply(parse, value);
        parse.given_of(row.set).emplace_back(row.name);
        if (row.set == option_set::choice)
            parse.options.selection.given.insert(parse.options.selection.given.end(), {std::string(row.name), value});
        if (row.kind != takes::values) return;
    }
}

void warn_of_several(option_parse& parse, const argument_list& given) {
    if (given.size() > 1) warn(parse.options, "exclude each other", joined(given, '\''));
}

void judge_selection(option_parse& parse) {
    for (const event_criteria* side : {&parse.options.selection.wanted, &parse.options.selection.unwanted}) {
        if (side->since && side->until && *side->since > *side->until)
            refuse(parse, "a time that ends before it begins, aborting\n");
    }
}

// An image brings its own log, MFT and journal, and so does a case.
void judge_image(option_parse& parse) {
    const logfile_options& options = parse.options;
    const bool image = !options.image_path.empty();
    const bool others = options.lists_logs() || options.log.given() || options.mft.given() || options.journal.given();
    if (image && others) refuse(parse, "-image stands in place of other inputs, aborting\n");
    if (options.lists_sets() && (image || others)) refuse(parse, "-case stands in place of other inputs, aborting\n");
}

void judge_combinations(option_parse& parse) {
    logfile_options& options = parse.options;
    for (const option_set set : {option_set::shape, option_set::base, option_set::list})
        warn_of_several(parse, parse.given_of(set));
    const argument_list& of_list = parse.given_of(option_set::of_list);
    if (!of_list.empty() && !options.lists_logs()) warn(options, "without a list of logs", joined(of_list, '\''));
    const argument_list& of_image = parse.given_of(option_set::of_image);
    if (!of_image.empty() && options.image_path.empty() && !options.lists_sets())
        warn(options, "without an image", joined(of_image, '\''));
    const argument_list& of_case = parse.given_of(option_set::of_case);
    if (!of_case.empty() && !options.lists_sets()) warn(options, "without a case", joined(of_case, '\''));
    // Of the reports that stand in place of rows one run has but one, and they leave no use to what is about rows.
    argument_list reports = parse.given_of(option_set::report);
    if (reports.empty() && options.writes_page) reports = {"-page"};
    if (!reports.empty() && options.show_undo) reports.emplace_back("-undo");
    if (!reports.empty() && options.showall_inodes) reports.emplace_back("-showall_inodes");
    warn_of_several(parse, reports);
    if (options.has_lines() && !shows_lines(options.shape) && !options.is_timeline()) {
        warn(options, "no rows in this form", parse.given_of(option_set::shape).back());
    }
    const argument_list& shapes = parse.given_of(option_set::shape);
    const bool is_one_text = options.report == report_kind::summary || options.report == report_kind::coverage;
    if (is_one_text && (options.shape == output_shape::csvl2t || options.shape == output_shape::bodyfile))
        warn(options, "without effect", shapes.back());
    const bool has_separator = !options.is_timeline() && options.shape != output_shape::jsonl;
    if (!has_separator && !parse.given_of(option_set::separator).empty())
        warn(options, "without effect beside " + shapes.back(), "-csv_separator");
}

bool writes_one_line_a_row(output_shape shape) {
    return shape == output_shape::csv || shape == output_shape::csvl2t || shape == output_shape::csvgen ||
           shape == output_shape::bodyfile;
}

// A database is of events unless something is asked for that only rows have.
void settle_database(option_parse& parse) {
    logfile_options& options = parse.options;
    options.writes_database = !parse.outputs.database.path().empty();
    if (!options.writes_database || !parse.given_of(option_set::report).empty()) return;
    const bool of_rows = options.show_undo || options.keeps_pages || options.showall_inodes;
    if (!of_rows) set_report<report_kind::events>(parse, {});
}

// Its readers know one form only.
void settle_timeline(logfile_options& options) {
    options.quotes = options.has_titles = options.shape == output_shape::csvl2t;
    options.separator = options.quotes ? "," : "|";
    options.no_whitespace = true;
    options.sep_char = '\0';
}

// Files and folders that no option names are what is asked about, where no input option is given.
bool names_paths(const argument_list& args) {
    argument_list left = args;
    for (const option_row& row : option_rows) {
        std::string value;
        const bool is_input = row.group == option_group::inputs && row.kind != takes::flag;
        if (is_input && row.set != option_set::of_image && peek_flag(row.name, left, 1)) return false;
        if (row.group == option_group::list && row.set == option_set::list && peek_flag(row.name, left, 1))
            return false;
        if (row.kind == takes::flag) take_flag(row.name, left);
        while ((row.kind == takes::value || row.kind == takes::values) && take_value(row.name, value, left) &&
               row.kind == takes::values) {
        }
    }
    return std::any_of(left.begin() + 1, left.end(), [](const std::string& path) { return uni::identify(path); });
}

// What is no file and begins like an option stays in the list, and is ignored.
void take_paths(option_parse& parse) {
    argument_list& args = parse.args;
    const auto is_path = [](const std::string& text) { return uni::identify(text) || !text.starts_with('-'); };
    const auto first = std::stable_partition(args.begin() + 1, args.end(), [&](auto& text) { return !is_path(text); });
    parse.options.case_paths.assign(first, args.end());
    args.erase(first, args.end());
    logfile_options& options = parse.options;
    const bool of_steps = options.show_undo || options.keeps_pages || options.showall_inodes;
    if (parse.given_of(option_set::report).empty() && options.report == report_kind::rows && !of_steps)
        set_report<report_kind::events>(parse, {});
}

// What follows from several options.
void settle(option_parse& parse, bool no_whitespace) {
    logfile_options& options = parse.options;
    settle_database(parse);
    options.marks_line_ends = writes_one_line_a_row(options.shape);
    options.time_format = cv::compile_format(parse.date_format, parse.time_format, parse.pair_datetime);
    if (options.shape == output_shape::csv && !no_whitespace) options.no_whitespace = false;
    if ((options.is_of_files() || options.report == report_kind::volumes) &&
        (options.shape == output_shape::csv || options.shape == output_shape::csvgen)) {
        // A table that any reader of such takes; what the rows of steps look like is kept.
        options.quotes = options.no_whitespace = true;
        options.sep_char = '\0';
    }
    if (options.is_timeline()) settle_timeline(options);
    options.every_record = options.extended;
    options.says_hints = options.show_progress;
    options.writes_page = !parse.outputs.page.path().empty();
    const bool has_further = options.writes_page || options.writes_database;
    options.writes_report =
        !has_further || options.report == report_kind::summary || !parse.outputs.results.path().empty();
    options.for_screen = options.report == report_kind::events && options.shape == output_shape::text &&
                         options.columns.empty() && parse.outputs.results.path().empty() && uni::output_is_terminal();
    options.counts_pages =
        options.report == report_kind::coverage || options.report == report_kind::summary || has_further;
    options.keeps_pages = options.keeps_pages || options.counts_pages;
    options.keeps_journal = options.report == report_kind::rows || options.report == report_kind::statistics;
    options.keeps_torn = options.keeps_journal;
    if (options.lists_logs() && !options.have_mft && !options.have_jrnl) options.have_log = true;
}

}  // namespace

bool is_extended(const argument_list& args) {
    return names_paths(args) || std::ranges::any_of(option_rows, [&args](const option_row& row) {
               return row.extends && peek_flag(row.name, args, 1);
           });
}

bool parse_options(logfile_options& options, run_outputs& outputs, argument_list& args) {
    options.extended = is_extended(args);
    options.names_paths = names_paths(args);
    const bool no_whitespace = peek_flag("-no_whitespace", args, 1);
    if (peek_flag("-provenance", args, 1) || peek_flag("-page", args, 1) || peek_flag("-db", args, 1))
        options.command_line = args;
    option_parse parse{.options = options, .outputs = outputs, .args = args, .cmdline = joined(args, '"')};
    for (const option_row& row : option_rows) {
        apply_row(row, parse);
        if (parse.refused) return false;
    }
    if (options.names_paths) take_paths(parse);
    settle(parse, no_whitespace);
    judge_combinations(parse);
    judge_selection(parse);
    judge_image(parse);
    return !parse.refused;
}

std::string option_list() {
    constexpr std::size_t text_column = 42;  // bytes
    std::string out;
    for (std::size_t group = 0; group < std::size(group_titles); ++group) {
        out.append(1, '\n').append(group_titles[group]).append(1, '\n');
        std::vector<std::string_view> shown;
        for (const option_row& first : option_rows) {
            if (static_cast<std::size_t>(first.group) != group || std::ranges::count(shown, first.name) != 0) continue;
            std::string line = " ";
            for (const option_row& row : option_rows) {
                if (row.group != first.group || row.text != first.text || row.value != first.value) continue;
                line.append(line.size() == 1 ? " " : ", ").append(row.name);
                shown.push_back(row.name);
            }
            if (!first.value.empty()) line.append(" ").append(first.value);
            line.append(line.size() < text_column ? text_column - line.size() : 1, ' ').append(first.text);
            out.append(line).append(1, '\n');
        }
    }
    return out;
}

}  // namespace kest
