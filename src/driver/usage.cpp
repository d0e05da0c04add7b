#include "driver/usage.h"

#include <string>

#include "portable/console.h"

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

}  // namespace

const std::string_view banner = "kest - limited ver: " KEST_VERSION " - NTFS $LogFile analyser";

void write_usage() {
    std::string text(banner);
    text.append("\n\n").append(usage);
    uni::console_write(text);
}

}  // namespace kest
