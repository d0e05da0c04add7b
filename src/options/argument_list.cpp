#include "options/argument_list.h"

#include "format/ascii_text.h"

namespace kest {

namespace {

// Place of the first entry from `first` on that is `name`; the list's size if there is none.
std::size_t find_name(std::string_view name, const argument_list& args, std::size_t first) {
    for (std::size_t at = first; at < args.size(); ++at) {
        if (equal_folded(args[at], name)) return at;
    }
    return args.size();
}

void take_out(argument_list& args, std::size_t at, std::size_t count) {
    const auto begin = args.begin() + static_cast<std::ptrdiff_t>(at);
    args.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
}

}  // namespace

bool peek_flag(std::string_view name, const argument_list& args, std::size_t first) {
    return find_name(name, args, first) != args.size();
}

bool peek_value(std::string_view name, std::string& value, const argument_list& args, std::size_t first) {
    const std::size_t at = find_name(name, args, first);
    if (at == args.size()) return false;
    if (at + 1 < args.size()) value = args[at + 1];
    return true;
}

bool take_flag(std::string_view name, argument_list& args) {
    const std::size_t at = find_name(name, args, 0);
    if (at == args.size()) return false;
    take_out(args, at, 1);
    return true;
}

bool take_value(std::string_view name, std::string& value, argument_list& args) {
    const std::size_t at = find_name(name, args, 0);
    if (at + 1 >= args.size()) return false;
    value = args[at + 1];
    take_out(args, at, 2);
    return true;
}

std::string joined(const argument_list& args, char quote) {
    std::string text;
    for (const std::string& argument : args) {
        const std::size_t quotes = argument.find(' ') == argument.npos ? 0 : 1;
        if (&argument != &args.front()) text += ' ';
        text.append(quotes, quote).append(argument).append(quotes, quote);
    }
    return text;
}

}  // namespace kest
