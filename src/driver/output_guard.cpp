#include "driver/output_guard.h"

#include <algorithm>

#include "driver/ascii_text.h"

namespace kest {

namespace {

constexpr std::string_view input_options[] = {"-log", "-mftfile", "-jrnlfile"};

bool names_input(std::string_view option) {
    return std::ranges::any_of(input_options, [option](std::string_view name) { return equal_folded(option, name); });
}

// As opening sees the path.
bool identify_trimmed(std::string_view path, uni::file_identity& out) {
    return uni::identify(std::string(uni::trimmed_path(path)), out);
}

}  // namespace

output_guard::output_guard(const argument_list& args) {
    for (std::size_t at = 1; at < args.size(); ++at) {
        uni::file_identity identity;
        if (names_input(args[at - 1]) && identify_trimmed(args[at], identity)) m_inputs.push_back(identity);
    }
}

bool output_guard::open(uni::file& file, std::string_view path, uni::open_mode mode) const {
    uni::file_identity identity;
    if (identify_trimmed(path, identity) && std::ranges::find(m_inputs, identity) != m_inputs.end()) return false;
    return file.open(path, mode);
}

}  // namespace kest
