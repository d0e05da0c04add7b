#include "outputs/output_guard.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

#include "format/ascii_text.h"
#include "inputs/input_kind.h"

namespace kest {

namespace {

constexpr std::string_view input_options[] = {"-log", "-mftfile", "-jrnlfile", "-image", "-case"};
constexpr std::string_view output_options[] = {"-diags", "-out", "-outfile", "-page", "-db"};

bool is_one_of(std::string_view argument, std::span<const std::string_view> options) {
    return std::ranges::any_of(options, [argument](std::string_view name) { return equal_folded(argument, name); });
}

// Reports hold names out of the evidence, which may look like anything farther on.
constexpr std::string_view report_beginnings[] = {"kest ", "{\"", "<!doct"};

// The arguments do not name the logs of a list.
bool begins_like_evidence(const uni::file& file, bool any_evidence) {
    std::array<std::uint8_t, 6> bytes{};
    if (!file.is_regular() || file.read_at(bytes, 0).bytes != bytes.size()) return false;
    const input_kind kind = kind_of_head(std::span<const std::uint8_t>(bytes));
    if (kind == input_kind::log || kind == input_kind::mft) return true;
    const std::string head(bytes.begin(), bytes.end());
    const auto begins = [&head](std::string_view words) { return head.starts_with(words); };
    return any_evidence && std::ranges::none_of(report_beginnings, begins) && may_be_evidence(file);
}

bool begins_like_evidence(const std::string& path, bool any_evidence) {
    uni::file file;
    return file.open(path, uni::open_mode::read) && begins_like_evidence(file, any_evidence);
}

auto first_input_option(std::span<const std::string> args) {
    return std::ranges::find_if(args, [](const std::string& argument) { return is_one_of(argument, input_options); });
}

// Options are taken out of the list, so that what stands farther after an input option can become its value: every
// entry there counts.
bool may_be_input(const uni::file_identity& file, std::span<const std::string> left) {
    return std::any_of(first_input_option(left), left.end(),
                       [&file](const std::string& argument) { return uni::identify(argument) == file; });
}

}  // namespace

bool is_evidence(int descriptor, std::span<const std::string> args, bool any_evidence) {
    const auto file = uni::stored_file(descriptor);
    if (!file) return false;
    // Before the options are read: what stands after an output option is most likely its value, and may be this very
    // stream.
    const auto first = first_input_option(args);
    for (auto at = first; at != args.end(); ++at) {
        if (at != first && !is_one_of(*std::prev(at), output_options) && uni::identify(*at) == file) return true;
    }
    uni::file again;  // a stream need not be readable
    return again.open_again(descriptor) && begins_like_evidence(again, any_evidence);
}

bool output_file::close() {
    if (!created.empty() && uni::identify(created) == file.identity()) uni::remove_name(created);
    created.clear();
    return file.close();
}

bool open_output(output_file& output, const std::string& path, const guard_rules& rules) {
    const auto existing = uni::identify(path);
    if (existing && may_be_input(*existing, rules.left)) return false;
    const std::string name(uni::trimmed_path(path));
    if (uni::is_regular_file(name) && begins_like_evidence(name, rules.any_evidence)) return false;
    uni::file& file = output.file;
    if (!existing && file.open(name, uni::open_mode::create_new)) output.created = name;
    if (!file.is_open() && !file.open(name, uni::open_mode::create)) return false;
    // The name may have come to mean another file meanwhile.
    if (may_be_input(file.identity(), rules.left) || begins_like_evidence(file, rules.any_evidence)) output.close();
    return file.is_open();
}

}  // namespace kest
