#include "driver/warnings.h"

#include <algorithm>

#include "driver/log_runs.h"
#include "format/ascii_text.h"
#include "format/number.h"
#include "inputs/input_kind.h"
#include "logfile/volume_geometry.h"
#include "options/warning_line.h"
#include "portable/console.h"

namespace kest {

namespace {

// Known, though it stays in the list of what is left.
bool is_known(const std::string& argument) {
    return equal_folded(argument, "-append");
}

std::string warnings_of_left(const argument_list& left) {
    argument_list ignored;
    std::remove_copy_if(left.begin() + 1, left.end(), std::back_inserter(ignored), is_known);
    return ignored.empty() ? std::string() : warning_line("ignored", joined(ignored, '\''));
}

// `shown` is how the input is named. What cannot be opened is reported by whoever needs it.
std::string warnings_of_kind(const input_source& source, input_kind expected, const std::string& shown) {
    const auto bytes = open_source(source).bytes;
    if (!bytes) return {};
    const input_kind kind = kind_of_file(*bytes);
    if (kind == input_kind::unknown || kind == expected) return {};
    return warning_line(std::string("looks like ").append(kind_words(kind)), shown);
}

bool is_short_log(const input_source& log) {
    const auto bytes = open_source(log).bytes;
    return bytes && bytes->size() < log_page_size;
}

std::string warnings_of_walk(const logfile_options& options) {
    cvportdir::folder_walk folders;
    if (!folders.start(options.enumdir_path, options.num_subdirs, {})) return {};
    for (std::string path; folders.read_line(path);) {
    }
    return warnings_of_folders(folders);
}

// A journal is looked into as far as its first record.
std::string warnings_of_first_record(const input_source& journal) {
    const auto bytes = open_source(journal).bytes;
    if (!bytes) return {};
    journal_cursor cursor(*bytes, journal_resync::at_records);
    cursor.next();
    return cursor.reading().records == 0 ? warnings_of_journal(cursor.reading(), journal.path) : std::string();
}

std::string words_on_clusters(std::uint32_t stated, std::uint32_t used, std::string_view words,
                              std::string_view advice) {
    std::string text = "clusters of ";
    append_decimal(text, stated);
    text.append(" bytes, ").append(words);
    append_decimal(text, used);
    return text.append(advice).append(1, '\n');
}

// Rows have always reckoned with clusters of one size. On a volume of another one they name wrong files.
std::string warnings_of_clusters(const log_store& store, const logfile_options& options) {
    const bool reckons = options.report == report_kind::rows && shows_lines(options.shape);
    if (options.auto_cluster_size || (!options.cluster_size && !reckons)) return {};
    const std::uint32_t used = options.cluster_size.value_or(usual_cluster_size);
    const std::uint32_t stated = find_voted_sizes(store).cluster.value_or(used);
    if (stated == used) return {};
    return options.cluster_size ? words_on_clusters(stated, used, "-cluster_size says ", {})
                                : words_on_clusters(stated, used, "rows reckon with ", ": -cluster_size auto");
}

}  // namespace

bool says_hints(const logfile_options& options) {
    return !options.strict && options.says_hints && (options.extended || uni::console_is_terminal());
}

void say_hints(const logfile_options& options, const std::string& warnings) {
    if (!warnings.empty() && says_hints(options)) uni::console_write(warnings);
}

std::string warnings_of_arguments(const logfile_options& options, const argument_list& left) {
    std::string text = options.warnings + warnings_of_left(left);
    const std::string log = options.log.shown("-log");
    const std::string kind = warnings_of_kind(options.log, input_kind::log, log);
    text += kind;
    if (options.extended && kind.empty() && is_short_log(options.log)) text += warning_line("too short", log);
    text += warnings_of_kind(options.mft, input_kind::mft, options.mft.shown("-mftfile"));
    text += warnings_of_kind(options.journal, input_kind::journal, options.journal.shown("-jrnlfile"));
    return text;
}

std::string warnings_of_contents(const logfile_options& options) {
    if (options.enumdir_mode) return warnings_of_walk(options);
    std::string text = warnings_of_first_record(options.journal);
    log_store store;
    if (options.pipe_mode || !parse_log(store, options.log, options)) return text;
    return warnings_of_log(store, options.log.path, options) + text;
}

std::string warnings_of_journal(const journal_reading& reading, const std::string& path) {
    if (reading.incomplete && reading.records == 0) return {};  // which is said in other words
    if (reading.records == 0) return warning_line("no record in", path);
    if (reading.unread_bytes == 0) return {};
    return warning_line(format_number(reading.unread_bytes, false) + " bytes hold no record that can be read", path);
}

std::string warnings_of_outputs(const run_outputs& outputs) {
    const std::string& passed_over = outputs.results.passed_over();
    return passed_over.empty() ? std::string() : warning_line("ignored", "-out " + passed_over);
}

std::string warnings_of_listed_file(const std::string& path) {
    return warnings_of_kind({path}, input_kind::log, path);
}

std::string warnings_of_log(const log_store& store, const std::string& path, const logfile_options& options) {
    if (options.extended && store.entries.empty()) return warning_line("no record in", path);
    return warnings_of_clusters(store, options);
}

std::string warnings_of_folders(const cvportdir::folder_walk& folders) {
    std::string text;
    if (folders.too_deep() != 0) text += warning_line("folders too deep", format_number(folders.too_deep(), false));
    if (folders.unreadable() != 0)
        text += warning_line("folders unreadable", format_number(folders.unreadable(), false));
    return text;
}

}  // namespace kest
