#include "options/warning_line.h"

#include "format/safe_text.h"

namespace kest {

std::string warning_line(std::string_view words, std::string_view shown) {
    std::string text(words);
    text += ": ";
    append_safe_text(text, shown);
    return text += '\n';
}

std::string shown_text(std::string text, bool safe) {
    if (!safe) return text;
    std::string shown;
    append_safe_text(shown, text);
    return shown;
}

std::string with_reason(std::string words, std::string_view reason) {
    if (!reason.empty()) words.append(" (").append(reason).append(1, ')');
    return words;
}

}  // namespace kest
