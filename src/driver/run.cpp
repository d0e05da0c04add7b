#include "driver/run.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <optional>
#include <utility>

#include "driver/banner.h"
#include "driver/case_runs.h"
#include "driver/image_runs.h"
#include "driver/log_runs.h"
#include "driver/warnings.h"
#include "format/safe_text.h"
#include "format/time.h"
#include "options/warning_line.h"
#include "outputs/output_guard.h"
#include "portable/console.h"
#include "portable/ending_signals.h"
#include "portable/file.h"
#include "report/content_fields.h"
#include "report/database_report.h"
#include "report/event_choice.h"
#include "report/field.h"
#include "report/page_report.h"
#include "report/provenance.h"

namespace kest {

namespace {

constexpr std::string_view standard_output = "standard output";

constexpr std::string_view help_options[] = {"-h", "-help", "/?", "--help"};

bool asks_for_help(const argument_list& args) {
    return args.size() == 1 ||
           std::ranges::any_of(help_options, [&args](std::string_view option) { return peek_flag(option, args, 0); });
}

// Answers a question about the program itself, on the standard output. Nothing if none is asked.
std::optional<bool> answer(const argument_list& args) {
    std::string text;
    if (peek_flag("--help-all", args, 1)) text = std::string(banner) + '\n' + option_list();
    if (peek_flag("--version", args, 1)) text = std::string(version).append(1, '\n');
    if (text.empty()) return std::nullopt;
    uni::file out;
    out.attach(uni::standard_output);
    const bool written = out.append(text);
    return out.close() && written;
}

void say_what_is_needed(const logfile_options& options, const std::string& header) {
    if (options.has_banner()) {
        uni::file out;
        out.attach(uni::standard_output);
        // The run has failed already.
        static_cast<void>(out.append(header + '\n'));
    }
    if (options.report == report_kind::volumes) {
        uni::console_write("Need to specify an image in your arguments [-image <file>]\n\n");
    } else if (options.extended && options.lists_logs()) {
        uni::console_write("a list takes logs only: -mftfile and -jrnlfile need a run for each log\n");
    } else if (options.have_log || options.lists_logs()) {
        write_usage();
    } else {
        uni::console_write("Need to specify a $LogFile in your arguments [-log <file>]\n\n");
    }
}

bool writes_input(const logfile_options& options, const run_outputs& outputs) {
    return outputs.hold(options.log.path) || outputs.hold(options.mft.path) || outputs.hold(options.journal.path);
}

std::string writing_failed(std::string_view target) {
    return std::string("prob writing results file: ").append(target) + '\n';
}

struct guard_word {
    bool limits_hit::*reached;
    std::string_view word;
};
constexpr guard_word guard_words[] = {
    {&limits_hit::paths, "paths"},
    {&limits_hit::extension_records, "extension records"},
    {&limits_hit::index_runs, "index runs"},
    {&limits_hit::parents, "parents"},
    {&limits_hit::attribute_lists, "attribute lists"},
    {&limits_hit::changes, "changes of file records"},
    {&limits_hit::files, "files"},
    {&limits_hit::contents, "contents"},
    {&limits_hit::clusters, "clusters"},
    {&limits_hit::extended_attributes, "extended attributes"},
};

std::string limit_words(const limits_hit& omitted) {
    std::string text;
    for (const guard_word& guard : guard_words) {
        if (omitted.*guard.reached) text.append(text.empty() ? "limits reached: " : ", ").append(guard.word);
    }
    return text;
}

// The report is not whole, and does not look so: that is said whatever the options are.
void say_limits(const limits_hit& omitted) {
    std::string text = limit_words(omitted);
    if (!text.empty()) uni::console_write(text += '\n');
}

// As limits are said.
void say_left_out(std::uint64_t events, std::string_view why) {
    std::string text = "left out: ";
    append_decimal(text, events);
    text.append(events == 1 ? " event " : " events ").append(why);
    uni::console_write(text += '\n');
}

void say_choice(const logfile_options& options, const events_left_out& left_out) {
    if (!options.system_events && options.derives_events()) say_left_out(left_out.of_system, "of the system");
    if (!options.selection.any() || !options.derives_events()) return;
    std::string choice = "by ";
    append_safe_text(choice, options.selection.text());
    say_left_out(left_out.not_chosen, choice);
}

bool open_results(const logfile_options& options, results_file& results) {
    if (results.open()) return true;
    const std::string shown = shown_text(results.path(), options.extended);
    uni::console_write("prob opening results file: " + shown + " for writing\n");
    return false;
}

// `flushed`: all of it has been written.
bool finish_results(const logfile_options& options, results_file& results, bool reported, bool flushed) {
    const bool finished = results.finish(reported && flushed);
    if (!flushed || !finished) {
        const std::string shown = shown_text(results.path(), options.extended);
        uni::console_write(writing_failed(shown.empty() ? standard_output : shown));
    }
    return flushed && finished;
}

// What is read where the options do not say it.
struct found_inputs {
    disk_image image;
    case_contents sets;
};

// What a run on an image or a case reads is known only when it has been looked into.
bool inputs_settled(logfile_options& options, const run_outputs& outputs, found_inputs& found, run_findings& findings) {
    if (options.lists_sets()) return find_sets(options, outputs, found.sets, findings);
    if (options.image_path.empty()) return true;
    if (!open_image_of_run(options, outputs, found.image)) return false;
    if (options.report == report_kind::volumes) return true;
    if (take_volume(options, found.image, findings.unreadable)) return true;
    static_cast<void>(image_was_read(found.image));  // the run has failed already
    return false;
}

bool report_volumes(const logfile_options& options, run_outputs& outputs, uni::fileio_output& report_sink,
                    const std::vector<event_report*>& further, const found_inputs& found, run_findings& findings) {
    const bool lists = options.report == report_kind::volumes;
    if (options.lists_sets()) {
        const case_run run{options, outputs, report_sink, further, findings};
        return lists ? list_case(run, found.sets) : report_case(run, found.sets);
    }
    if (lists) {
        volume_table table(options, report_sink);
        return list_volumes(options, found.image, table, findings.unreadable);
    }
    log_report report(options, outputs.diags, report_sink, further);
    const run_context run{options, outputs, report, findings};
    const bool reported = report_logs(run);
    findings.left_out = report.left_out();
    for (const std::string& path : report.unread_inputs())
        say_reading_failed(run, path);
    const std::string unwritten = report.unwritten_contents();
    findings.unwritten = !unwritten.empty();
    uni::console_write(unwritten);
    return reported;
}

// What shares a file with the words for the operator keeps its place among them, and sets have threads of their own.
uni::fileio_output::writing writing_of(const logfile_options& options, const uni::file& target) {
    uni::file words;
    words.attach(uni::standard_error);
    const bool in_place = options.lists_sets() || words.identity() == target.identity();
    return in_place ? uni::fileio_output::writing::in_place : uni::fileio_output::writing::on_thread;
}

bool run_with_output(const logfile_options& options, run_outputs& outputs, const std::string& header,
                     const found_inputs& found, run_findings& findings) {
    results_file& results = outputs.results;
    if (!open_results(options, results) || (options.writes_page && !open_results(options, outputs.page)) ||
        (options.writes_database && !open_results(options, outputs.database)))
        return false;
    uni::fileio_output report_sink(results.target(), writing_of(options, results.target()));
    std::optional<page_report> page;
    std::optional<database_report> database;
    std::vector<event_report*> further;
    if (options.writes_page) further.push_back(&page.emplace(options, outputs.page.target()));
    if (options.writes_database) further.push_back(&database.emplace(options, outputs.database));
    if (options.has_banner() && options.writes_report) report_sink.write(header);
    outputs.diags.begin_run();
    bool reported = false;
    try {
        reported = report_volumes(options, outputs, report_sink, further, found, findings);
    } catch (const std::bad_alloc&) {
        say_out_of_memory();
    }
    bool written = finish_results(options, results, reported, report_sink.flush());
    const std::string limits = limit_words(findings.omitted);
    if (page && !finish_results(options, outputs.page, reported, page->finish(limits, findings.left_out)))
        written = false;
    if (database &&
        !finish_results(options, outputs.database, reported, !reported || database->finish(limits, findings.left_out)))
        written = false;
    return written && reported && !findings.unreadable && !findings.unwritten;
}

// Says what may not be meant so; with `-strict` whatever the other options say, and false if there was anything.
bool warnings_settled(const logfile_options& options, const run_outputs& outputs, const argument_list& left) {
    const std::string lacking = provenance_lacks(options);
    if (!lacking.empty()) uni::console_write(lacking);
    if (options.strict && !lacking.empty()) return false;
    if (!options.strict && !says_hints(options)) return true;
    std::string warnings = warnings_of_outputs(outputs) + warnings_of_arguments(options, left);
    if (!options.strict) {
        say_hints(options, warnings);
        return true;
    }
    if (warnings.empty() && !options.value_refused) warnings = warnings_of_contents(options);
    if (warnings.empty() && !options.value_refused) warnings = misfits_of_inputs(options);
    if (!warnings.empty()) uni::console_write(warnings);
    return warnings.empty() && !options.value_refused;
}

// Reads the options. False if the run cannot begin, which has been said.
bool settle_options(logfile_options& options, run_outputs& outputs, argument_list& args, const std::string& header) {
    const bool taken = parse_options(options, outputs, args);
    const bool has_source =
        options.has_source() || !options.image_path.empty() || options.lists_sets();  // what an image holds comes later
    if (taken && has_source) return true;
    if (options.extended && !taken) return false;  // for a reason that has nothing to do with the inputs
    if (options.extended) say_hints(options, warnings_of_arguments(options, args));
    if (options.extended && !options.have_log && !options.have_mft && !options.have_jrnl) {
        for (const std::string& path : args)
            if (&path != &args.front() && !path.starts_with('-'))
                uni::console_write(warning_line("no such file or folder", path));
    }
    say_what_is_needed(options, header);
    return false;
}

// A report without a column, a page or a database that was asked for would not be the one that was meant.
bool forms_settled(const logfile_options& options) {
    const std::string words = words_on_columns(options) + words_on_page(options) + words_on_database(options) +
                              words_on_contents(options) + words_on_choice(options);
    if (!words.empty()) uni::console_write(words);
    return words.empty();
}

constexpr int seconds_precision = 6;  // significant digits

std::string elapsed_text(std::uint64_t start_ticks) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, cv::elapsed_seconds(start_ticks, cv::now()),
                                            std::chars_format::general, seconds_precision);
    return "->" + std::string(digits, end) + " secs";
}

// On the standard error stream with `profile`, and in the diagnostic file.
// Kept: no line end after the time in the diagnostic file.
void report_time(std::uint64_t start_ticks, bool profile, diagnostics& diags) {
    const std::string text = elapsed_text(start_ticks);
    if (profile) uni::console_write(text + '\n');
    diags.write(text);
}

// Kept: runs with the first options end well without them.
bool diagnostics_written(const logfile_options& options, const diagnostics& diags) {
    if (diags.is_whole() || !options.extended) return true;
    uni::console_write(writing_failed(shown_text(diags.path(), true)));
    return false;
}

bool run_guarded(argument_list args) {
    const bool extended = is_extended(args);
    const bool stdout_is_evidence = is_evidence(uni::standard_output, args, extended);
    if (is_evidence(uni::standard_error, args, extended)) {
        // Not a word may go there; it is said on the other stream if that is free.
        if (!stdout_is_evidence)
            static_cast<void>(uni::write_all(uni::standard_output, writing_failed("standard error")));
        return false;
    }
    if (asks_for_help(args)) {
        write_usage();
        return true;
    }
    if (stdout_is_evidence) {
        uni::console_write(writing_failed(standard_output));
        return false;
    }
    if (const auto answered = answer(args)) return *answered;
    const std::string header = run_header(args);
    run_outputs outputs;
    logfile_options options;
    if (!settle_options(options, outputs, args, header)) return false;
    found_inputs found;
    run_findings findings;
    if (!inputs_settled(options, outputs, found, findings)) return false;
    if (writes_input(options, outputs) || !forms_settled(options) || !warnings_settled(options, outputs, args))
        return false;
    const std::uint64_t start = cv::now();
    const bool done = run_with_output(options, outputs, header, found, findings) && image_was_read(found.image);
    if (options.show_progress) uni::clear_status();
    say_limits(findings.omitted);
    say_choice(options, findings.left_out);
    report_time(start, options.profile, outputs.diags);
    return diagnostics_written(options, outputs.diags) && done;
}

}  // namespace

void say_out_of_memory() {
    uni::console_write("out of memory\n");
}

int run(argument_list args) {
    uni::ignore_failed_writes();
    if (args.empty()) return run_failed;
    try {
        return run_guarded(std::move(args)) ? 0 : run_failed;
    } catch (const std::bad_alloc&) {
        say_out_of_memory();
        return run_failed;
    }
}

}  // namespace kest
