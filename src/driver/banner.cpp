#include "driver/banner.h"

#include "format/time.h"
#include "portable/console.h"
#include "portable/host.h"

namespace kest {

namespace {

constexpr std::string_view usage =
    "Usage\n"
    "  kest -log <logfile> [-mftfile <mft> [-showall_inodes]] [other options]\n"
    "   -mftfile <file>        = [optional] use specified MFT for analysis\n"
    "   -showall_inodes        = [optional] used with -mftfile - show all inodes\n"
    " \n"
    " Basic options\n"
    "  -csv                    = output in CSV format\n"
    "\n"
    " Additional options\n"
    "  -base10                 = use base10 for file size instead of base16\n"
    "  -dateformat mm/dd/yyyy  = \"yyyy-mm-dd\" is the default\n"
    "  -csv_separator \"|\"      = use a pipe char for csv separator\n"
    "  -no_whitespace          = remove whitespace around csv delimiter\n"
    "  -quiet                  = dont show any progress\n"
    "\n";

// Kept: the stamp's date has a default of its own, and not that of the report's times.
constexpr std::string_view stamp_date_format = "mm/dd/yyyy";

void append_stamp(std::string& out, const argument_list& args) {
    std::string format;
    peek_value("-dateformat", format, args, 1);
    const cv::format_flags flags = cv::compile_format(format.empty() ? stamp_date_format : format, {}, true);
    out += "run time: ";
    cv::append_time(out, cv::now(), flags);
    out += " UTC";
}

void append_host(std::string& out) {
    out.append("host: ").append(uni::host_name().value_or("<unk>"));
}

// Between double quotes; an argument with a blank stands in single ones.
void append_command_line(std::string& out, const argument_list& args) {
    out += "\"cmdline: ";
    if (peek_flag("-pipe", args, 1)) out += "<filelist> ... | ";
    out += joined(args, '\'');
    out += '"';
}

}  // namespace

const std::string_view version = "kest " KEST_VERSION;
const std::string_view banner = "kest - limited ver: " KEST_VERSION " - NTFS $LogFile analyser";

void write_usage() {
    std::string text(banner);
    text.append("\n\n").append(usage);
    uni::console_write(text);
}

std::string run_header(const argument_list& args) {
    std::string header(banner);
    header += '\n';
    append_stamp(header, args);
    header += "; ";
    append_host(header);
    header += '\n';
    append_command_line(header, args);
    header += '\n';
    return header;
}

}  // namespace kest
