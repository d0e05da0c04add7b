#include "driver/run_steps.h"

#include "portable/console.h"
#include "report/report.h"

namespace kest {

void write_report(logfile_options& options, uni::fileio_output& report_sink) {
    if (options.stats_requested) {
        report_stats(options, report_sink);
    } else {
        report_entries(options, report_sink);
    }
}

void say_parsing(const std::string& path) {
    uni::console_write("trying to parse file: " + path + '\n');
}

void say_parsing_failed(const std::string& path) {
    uni::console_write("prob parsing file: " + path + '\n');
}

}  // namespace kest
