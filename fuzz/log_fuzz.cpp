// A log from memory, through scan, chains, inode store and both reports.

#include "logfile/scanner.h"
#include "report/report.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static uni::file nowhere;
    if (!nowhere.is_open() && !nowhere.open("/dev/null", uni::open_mode::update)) return 0;
    kest::logfile_options options;
    options.time_format = cv::compile_format("yyyy-mm-dd", "hh:mm:ss.xxx", true);
    kest::scan_buffer(options.log, std::span(data, size));
    for (const kest::inode_record& record : options.log.log_inode_records) {
        bool known = false;
        kest::add_inode_record(options, record, known);
    }
    kest::build_paths(options);
    uni::fileio_output report_sink(nowhere);
    kest::report_entries(options, report_sink);
    kest::report_stats(options, report_sink);
    return 0;
}
