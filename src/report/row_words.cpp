#include "report/row_words.h"

#include "format/number.h"
#include "journal/usn_record.h"
#include "operations/operation_table.h"

namespace kest {

namespace {

constexpr std::string_view head_level = "root";
constexpr std::string_view cut_level = "cut";
constexpr std::string_view cut_pattern = "..-";  // before the operations that are left
constexpr std::string_view member_level = "..sub-op";
constexpr std::string_view journal_mark = "<- usnjrnl";

void append_operation(std::string& out, std::uint16_t redo_op) {
    append_hex(out, redo_op, 2, false);
}

const std::string& known_path(const file_match& match) {
    return match.path.empty() ? match.owner_path : match.path;
}

}  // namespace

std::string_view level_word(const step& shown, const transaction& of) {
    if (!shown.head) return member_level;
    return of.cut ? cut_level : head_level;
}

std::string_view ref_word(const step& shown, const transaction& of) {
    return of.fact.reason != 0 && shown.brought_journal ? journal_mark : std::string_view{};
}

std::string_view action_words::of(const step& shown, const transaction& whole) {
    return whole.fact.reason == 0 ? event_word(shown.entry.redo_op) : of(whole.fact.reason);
}

std::string_view action_words::of(std::uint32_t reason) {
    if (reason != m_reason) {
        m_text.clear();
        append_reason_text(m_text, reason, false);
        m_reason = reason;
    }
    return m_text;
}

void append_pattern(std::string& out, const step& shown, const transaction& of) {
    if (!shown.head) {
        out += "-- 0x";
        append_operation(out, shown.entry.redo_op);
        return;
    }
    if (of.cut) out += cut_pattern;
    append_operation(out, shown.entry.redo_op);
    for (const std::uint16_t operation : of.operations.subspan(1)) {
        out += '-';
        append_operation(out, operation);
    }
}

void append_path(std::string& out, const file_match& match) {
    const std::string& path = known_path(match);
    if (!path.empty()) {
        out += path;
    } else if (!match.name.empty()) {
        out.append(unknown_path).append(match.name);
    }
}

bool path_is_guess(const file_match& match) {
    return match.guessed && !known_path(match).empty();
}

}  // namespace kest
