#include "driver/run.h"

#include <algorithm>
#include <csignal>
#include <new>
#include <optional>
#include <unistd.h>

#include "driver/multi_run.h"
#include "driver/option_parser.h"
#include "driver/output_guard.h"
#include "driver/run_header.h"
#include "driver/run_timer.h"
#include "driver/single_run.h"
#include "driver/usage.h"
#include "driver/worker_run.h"
#include "portable/console.h"

namespace kest {

namespace {

constexpr int succeeded = 0;
constexpr int failed = -1;

constexpr std::string_view standard_output = "standard output";

constexpr std::string_view help_options[] = {"-h", "-help", "/?", "--help"};

bool asks_for_help(const argument_list& args) {
    return args.size() == 1 ||
           std::ranges::any_of(help_options, [&args](std::string_view option) { return peek_flag(option, args, 0); });
}

void tell_what_is_needed(const logfile_options& options, const std::string& header) {
    uni::file out;
    out.attach(STDOUT_FILENO);
    // The run has failed already.
    static_cast<void>(out.append(header + '\n'));
    if (options.have_log || options.pipe_mode || options.enumdir_mode) {
        write_usage();
    } else {
        uni::console_write("Need to specify a $LogFile in your arguments [-log <file>]\n\n");
    }
}

void say_writing_failed(std::string_view target) {
    uni::console_write(std::string("prob writing results file: ").append(target) + '\n');
}

bool parse_and_report(logfile_options& options, uni::fileio_output& report_sink) {
    if (options.pipe_mode || options.enumdir_mode) return multi_run(options, report_sink);
    if (options.have_mft || options.have_jrnl) return worker_run(options, report_sink);
    return single_run(options, report_sink);
}

bool run_with_output(logfile_options& options, const std::string& header) {
    uni::file results;
    if (options.out_path.empty()) {
        results.attach(STDOUT_FILENO);
    } else if (!results.open(options.out_path, uni::open_mode::create_truncate)) {
        uni::console_write("prob opening results file: " + options.out_path + " for writing\n");
        return false;
    }
    uni::fileio_output report_sink(results);
    report_sink.write(header);
    bool reported = false;
    try {
        reported = parse_and_report(options, report_sink);
    } catch (const std::bad_alloc&) {
        uni::console_write("out of memory\n");
    }
    const bool flushed = report_sink.flush();
    const bool closed = results.close();
    if (flushed && closed) return reported;
    say_writing_failed(options.out_path.empty() ? standard_output : options.out_path);
    return false;
}

}  // namespace

int run(argument_list args) {
    // A report that nobody reads to its end, or that grows beyond a limit, is a failed write like any other.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    if (args.empty()) return failed;
    if (asks_for_help(args)) {
        write_usage();
        return succeeded;
    }
    if (begins_like_evidence("/dev/stdout")) {  // a shell's ">>"
        say_writing_failed(standard_output);
        return failed;
    }
    const std::string header = run_header(args);
    std::optional<run_timer> timer;  // ends behind the options
    logfile_options options;
    if (!parse_options(options, args) || !options.have_log) {
        tell_what_is_needed(options, header);
        return failed;
    }
    timer.emplace(options);
    return run_with_output(options, header) ? succeeded : failed;
}

}  // namespace kest
