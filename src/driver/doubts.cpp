#include "driver/doubts.h"

#include <algorithm>

#include "driver/run_steps.h"
#include "format/number.h"
#include "format/safe_text.h"
#include "options/ascii_text.h"
#include "options/input_kind.h"
#include "portable/folder_walk.h"

namespace kest {

namespace {

// Arguments and paths can hold anything, and are to make no line of their own.
std::string line(std::string_view words, std::string_view shown) {
    std::string text(words);
    text += ": ";
    append_safe_text(text, shown);
    return text += '\n';
}

// Known, though it stays in the list of what is left.
bool is_known(const std::string& argument) {
    return equal_folded(argument, "-append");
}

std::string doubts_of_left(const argument_list& left) {
    argument_list ignored;
    std::remove_copy_if(left.begin() + 1, left.end(), std::back_inserter(ignored), is_known);
    return ignored.empty() ? std::string() : line("ignored", joined(ignored, '\''));
}

// `shown` is how the input is named. What cannot be opened is told by whoever needs it.
std::string doubts_of_kind(const std::string& path, input_kind expected, const std::string& shown) {
    uni::file file;
    if (path.empty() || !file.open(path, uni::open_mode::read)) return {};
    const input_kind kind = kind_of_file(file);
    if (kind == input_kind::unknown || kind == expected) return {};
    return line(std::string("looks like ").append(kind_words(kind)), shown);
}

std::string doubts_of_folders(const logfile_options& options) {
    cvportdir::folder_walk folders;
    if (!folders.start(options.enumdir_path, options.num_subdirs, {})) return {};
    for (std::string path; folders.read_line(path);) {
    }
    std::string text;
    if (folders.too_deep() != 0) text += line("folders too deep", format_number(folders.too_deep(), false));
    if (folders.unreadable() != 0) text += line("folders unreadable", format_number(folders.unreadable(), false));
    return text;
}

}  // namespace

std::string doubts_of_outputs(const run_outputs& outputs) {
    const std::string& passed_over = outputs.results.passed_over();
    return passed_over.empty() ? std::string() : line("ignored", "-out " + passed_over);
}

std::string doubts_of_arguments(const logfile_options& options, const argument_list& left) {
    std::string text = doubts_of_left(left);
    text += doubts_of_kind(options.log_path, input_kind::log, "-log " + options.log_path);
    text += doubts_of_kind(options.mft_path, input_kind::mft, "-mftfile " + options.mft_path);
    text += doubts_of_kind(options.jrnl_path, input_kind::journal, "-jrnlfile " + options.jrnl_path);
    return text;
}

std::string doubts_of_contents(const logfile_options& options) {
    if (options.enumdir_mode) return doubts_of_folders(options);
    log_store store;
    if (options.pipe_mode || !parse_log(store, options.log_path, options)) return {};
    return doubts_of_log(store, options.log_path, options);
}

std::string doubts_of_listed_file(const std::string& path) {
    return doubts_of_kind(path, input_kind::log, path);
}

std::string doubts_of_log(const log_store& store, const std::string& path, const logfile_options& options) {
    if (store.entries.empty()) return line("no record in", path);
    return words_on_clusters(store, options);
}

}  // namespace kest
