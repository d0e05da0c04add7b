#include "report/provenance.h"

#include "format/json.h"
#include "portable/sha256.h"

namespace kest {

namespace {

constexpr std::size_t buffer_size = 1 << 20;  // bytes

// Holes are read as zeros: the sum is that of a copy without any.
void add_sum(input_provenance& input, const uni::byte_source& file) {
    if (!uni::sha256::available()) return;
    uni::sha256 sum;
    std::vector<std::uint8_t> buffer(buffer_size);
    for (std::uint64_t offset = 0;;) {
        const uni::read_result read = file.read_at(buffer, offset);
        input.unread = read.failed;
        if (read.failed) return;
        if (read.bytes == 0) {
            input.sha256 = sum.digest();
            return;
        }
        sum.add(std::span(buffer).first(read.bytes));
        offset += read.bytes;
    }
}

void add_input(provenance& out, std::string_view input, const input_source& source, bool with_sum) {
    if (!source.given()) return;
    input_provenance& added = out.inputs.emplace_back();
    added.input = input;
    added.path = source.path;
    const opened_source opened = open_source(source);
    added.unread = !opened.bytes;
    if (added.unread) return;
    added.size = opened.bytes->size();
    if (with_sum) add_sum(added, *opened.bytes);
}

}  // namespace

provenance gather_provenance(const logfile_options& options, const input_source& log) {
    provenance out{.program = "kest " KEST_VERSION, .command_line = options.command_line, .inputs = {}};
    add_input(out, "log", log, options.show_provenance);
    add_input(out, "mft", options.mft, options.show_provenance);
    add_input(out, "journal", options.journal, options.show_provenance);
    return out;
}

void write_provenance_object(const provenance& of_report, uni::fileio_output& report_sink) {
    json_writer object(report_sink);
    object.begin_line();
    object.begin_object("provenance");
    object.text("program", of_report.program);
    object.begin_array("command_line");
    for (const std::string& argument : of_report.command_line)
        object.text({}, argument);
    object.end_array();
    object.begin_array("inputs");
    for (const input_provenance& input : of_report.inputs) {
        object.begin_object({});
        object.text("input", input.input);
        object.text("path", input.path);
        object.number("size", input.size);
        object.text_if_any("sha256", input.sha256);
        object.end_object();
    }
    object.end_array();
    object.end_object();
    object.end_line();
}

std::string provenance_lacks(const logfile_options& options) {
    if (!options.show_provenance) return {};
    std::string lines;
    if (options.shape != output_shape::jsonl && options.report != report_kind::coverage && !options.writes_page) {
        lines += "-provenance: only with -jsonl, -coverage or -page\n";
    } else if (!uni::sha256::available()) {
        lines += "-provenance: without SHA-256, as libcrypto is not there\n";
    }
    return lines;
}

}  // namespace kest
