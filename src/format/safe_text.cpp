#include "format/safe_text.h"

#include <cstdint>

#include "format/number.h"

namespace kest {

namespace {

constexpr char32_t line_separator = 0x2028;
constexpr char32_t paragraph_separator = 0x2029;

// The control character or line end that the text begins with, and its length; 0 if it is none.
struct special {
    char32_t code = 0;
    std::size_t length = 0;
};

special leading_special(std::string_view text) {
    const auto byte = [text](std::size_t at) {
        return at < text.size() ? static_cast<std::uint8_t>(text[at]) : std::uint8_t{0};
    };
    if (byte(0) < 0x20 || byte(0) == 0x7F) return {byte(0), 1};
    if (byte(0) == 0xC2 && byte(1) >= 0x80 && byte(1) < 0xA0) return {byte(1), 2};
    if (byte(0) == 0xE2 && byte(1) == 0x80 && (byte(2) == 0xA8 || byte(2) == 0xA9)) {
        return {byte(2) == 0xA8 ? line_separator : paragraph_separator, 3};
    }
    return {};
}

void append_word(std::string& out, char32_t code) {
    switch (code) {
        case '\n':
            out += "[LF]";
            return;
        case '\r':
            out += "[CR]";
            return;
        case '\t':
            out += "[TAB]";
            return;
        default:
            out += "[0x";
            append_hex(out, code, 2, true);
            out += ']';
    }
}

void append(std::string& out, std::string_view text, bool quoted) {
    for (std::size_t at = 0; at < text.size();) {
        const special found = leading_special(text.substr(at));
        if (found.length != 0) {
            append_word(out, found.code);
            at += found.length;
            continue;
        }
        if (quoted && (text[at] == '"' || text[at] == '\\')) out += '\\';
        out += text[at++];
    }
}

}  // namespace

void append_safe_text(std::string& out, std::string_view text) {
    append(out, text, false);
}

void append_quoted_text(std::string& out, std::string_view text) {
    append(out, text, true);
}

}  // namespace kest
