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

// One line of `--help-all`; a row without text begins a group.
struct option_row {
    std::string_view option;
    std::string_view value;
    std::string_view text;
};

constexpr option_row options[] = {
    {"Inputs", {}, {}},
    {"-log", "<file>", "the copy of $LogFile"},
    {"-mftfile", "<file>", "the copy of the $MFT of the same volume"},
    {"-jrnlfile", "<file>", "the change journal of the same volume; with -events it does without a log"},
    {"-no_guesses", {}, "do not guess a file from a bare record number"},
    {"-cluster_size", "<number>|auto", "of the volume, for record numbers in rows; auto: what the log tells"},
    {"-offset", "<number>", "changes nothing: a log is read from its start"},
    {"Report", {}, {}},
    {"-out, -outfile", "<file>", "where the report goes; an existing file is replaced"},
    {"-append", {}, "changes nothing: the results file is replaced all the same"},
    {"-events", {}, "what happened to files, a row each, in place of the steps; with -jrnlfile by the journal, too"},
    {"-columns", "<names>", "these columns only, in this order, separated by commas; of rows and of events"},
    {"-undo", {}, "a column with what each record would put back"},
    {"-cut", {}, "also the transactions whose beginning is overwritten"},
    {"-showall_inodes", {}, "with -mftfile: also rows for the file records within the log's time"},
    {"-stats", {}, "how often each operation occurs, in place of the report"},
    {"-coverage", {}, "what the log covers, and whether the other inputs fit, in place of the report"},
    {"-csv", {}, "fields separated by a comma; of rows padded, of events as RFC 4180 says"},
    {"-csvgen", {}, "the report with commas and without padding"},
    {"-multiline", {}, "the report without any separator"},
    {"-jsonl", {}, "one JSON object a line, typed, with nothing ahead of the first"},
    {"-csvl2t, -bodyfile, -xml", {}, "no rows"},
    {"-no_whitespace", {}, "no padding"},
    {"-csv_separator", "<text>", "the separator of fields; tab for a tab"},
    {"-base10, -base16", {}, "numbers in decimal, or in hexadecimal"},
    {"-dateformat", "<format>", "yyyy-mm-dd, mm/dd/yyyy, ..."},
    {"-timeformat", "<format>", "hh:mm:ss.xxx: digits of fraction in the details"},
    {"-pair_datetime", {}, "changes the padding of -csv alone"},
    {"Many logs", {}, {}},
    {"-pipe", {}, "paths of logs from the standard input, one a line"},
    {"-enumdir", "<folder>", "every file in the folder"},
    {"-num_subdirs", "<number>", "levels of sub-folders that -enumdir enters"},
    {"-filter", "<patterns>", "only files whose name matches"},
    {"-filter_path", "<text>", "with -filter: or whose path begins so"},
    {"-filter_sig", "<hex>[|<offset>]", "or that hold these bytes"},
    {"-cmd_start_time", "<time>", "only files whose copy was touched then or later"},
    {"-cmd_stop_time", "<time>", "only files whose copy was touched then or earlier"},
    {"Operator", {}, {}},
    {"-quiet", {}, "no progress, no hints"},
    {"-strict",
     {},
     "what may not be meant so is an error: ignored arguments, invalid values, inputs of another kind, ..."},
    {"-provenance", {}, "with -jsonl or -coverage: version, command line, size and SHA-256 of each input"},
    {"-profile", {}, "how long the run took"},
    {"-diags", "<file>", "a diagnostic file"},
    {"-l2, -l3", {}, "with -diags: listings of what was combined"},
    {"-h, -help, --help, /?", {}, "a short usage text"},
    {"--help-all", {}, "this list"},
    {"--version", {}, "the version"},
    {"For the sake of other tools' command lines, of no effect", {}, {}},
    {"-alias, -aliaspath", "<pairs>", "must be pairs"},
    {"-hostname, -username, -signal", "<text>", "taken"},
    {"-cpu, -cpuinst, -threads", "<number>", "taken"},
    {"-fragment_files, -outdir, -zlibex", "<text>", "taken"},
    {"-separate_files, -split_pathfile", {}, "taken"},
    {"-gzip, -zlib, -verbose, -v", {}, "taken"},
    {"-sqlite, -sqlite_log", "<file>", "refused"},
};
constexpr std::size_t text_column = 42;  // bytes

}  // namespace

const std::string_view version = "kest " KEST_VERSION;
const std::string_view banner = "kest - limited ver: " KEST_VERSION " - NTFS $LogFile analyser";

std::string all_options() {
    std::string out(banner);
    out += '\n';
    for (const option_row& row : options) {
        if (row.text.empty()) {
            out.append(1, '\n').append(row.option).append(1, '\n');
            continue;
        }
        const std::size_t begin = out.size();
        out.append("  ").append(row.option);
        if (!row.value.empty()) out.append(" ").append(row.value);
        const std::size_t width = out.size() - begin;
        out.append(width < text_column ? text_column - width : 1, ' ').append(row.text);
        out.resize(out.find_last_not_of(' ') + 1);
        out += '\n';
    }
    return out;
}

void write_usage() {
    std::string text(banner);
    text.append("\n\n").append(usage);
    uni::console_write(text);
}

}  // namespace kest
