#include "report/event_choice.h"

#include <algorithm>
#include <limits>
#include <span>

#include "events/system_areas.h"
#include "options/warning_line.h"
#include "report/event_words.h"

namespace kest {

namespace {

constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();

// When the event was, both ends included.
struct tick_bounds {
    std::uint64_t earliest = 0;
    std::uint64_t latest = endless;
};
tick_bounds bounds_of(const event& shown) {
    if (shown.time != 0 && shown.clock != event_clock::not_before) return {shown.time, shown.time};
    return {shown.time, shown.not_after != 0 ? shown.not_after : endless};
}

bool has_time(const event_criteria& criteria) {
    return criteria.since || criteria.until;
}

bool may_lie_within(const tick_bounds& when, const event_criteria& criteria) {
    return when.latest >= criteria.since.value_or(0) && when.earliest <= criteria.until.value_or(endless);
}

bool lies_within(const tick_bounds& when, const event_criteria& criteria) {
    return when.earliest >= criteria.since.value_or(0) && when.latest <= criteria.until.value_or(endless);
}

// `unknown` is what a sequence number says that the event does not have.
bool is_any_of(const event& shown, const std::vector<wanted_file>& files, bool unknown) {
    if (is_of_volume(shown)) return false;
    return std::ranges::any_of(files, [&shown, unknown](const wanted_file& file) {
        if (file.number != shown.file.number()) return false;
        if (!file.sequence || *file.sequence == shown.file.sequence()) return true;
        return shown.file.sequence() == 0 && unknown;
    });
}

// A line for each word that no event has, and once which words there are.
std::string words_on_kinds(const event_selection& selection) {
    const std::vector<std::string_view> known = event_words();
    std::string text;
    for (const event_criteria* side : {&selection.wanted, &selection.unwanted}) {
        for (const std::string& word : side->words) {
            if (std::ranges::find(known, word) == known.end()) text += warning_line("no such event", word);
        }
    }
    if (text.empty()) return text;
    text += "events are:";
    for (const std::string_view word : known)
        text.append(word == known.front() ? " " : ", ").append(word);
    return text += '\n';
}

}  // namespace

event_choice::event_choice(const logfile_options& options)
    : m_options(options),
      m_wanted{path_matcher(options.selection.wanted.paths), path_matcher(options.selection.wanted.paths)},
      m_unwanted{path_matcher(options.selection.unwanted.paths), path_matcher(options.selection.unwanted.paths)} {}

bool event_choice::is_chosen(const event& shown) {
    const event_criteria &wanted = m_options.selection.wanted, &unwanted = m_options.selection.unwanted;
    const tick_bounds when = bounds_of(shown);
    if (!may_lie_within(when, wanted) || (has_time(unwanted) && lies_within(when, unwanted))) return false;
    if (!wanted.files.empty() && !is_any_of(shown, wanted.files, true)) return false;
    if (is_any_of(shown, unwanted.files, false)) return false;
    const bool has_word = shown.kind != event_kind::clusters_changed && shown.kind != event_kind::content_held;
    if (has_word && (!wanted.words.empty() || !unwanted.words.empty())) {
        m_word.clear();
        append_event_word(m_word, shown);
        const auto is_any_of_these = [this](const argument_list& words) {
            return std::ranges::find(words, m_word) != words.end();
        };
        if ((!wanted.words.empty() && !is_any_of_these(wanted.words)) || is_any_of_these(unwanted.words)) return false;
    }
    const bool is_wanted =
        wanted.paths.empty() || m_wanted.path.matches(shown.path) || m_wanted.old_path.matches(shown.old_path);
    const bool all_unwanted =
        m_unwanted.path.matches(shown.path) && (shown.old_path.empty() || m_unwanted.old_path.matches(shown.old_path));
    return is_wanted && !all_unwanted;
}

bool event_choice::takes(const event& shown, bool counted) {
    const bool of_system = !m_options.system_events && is_in_system_area(shown);
    if (!of_system && (!m_options.selection.any() || is_chosen(shown))) return true;
    if (counted) ++(of_system ? m_left_out.of_system : m_left_out.not_chosen);
    return false;
}

std::string words_on_choice(const logfile_options& options) {
    const event_selection& selection = options.selection;
    if (!selection.any()) return {};
    if (!options.derives_events() && options.report != report_kind::coverage) {
        return warning_line("for events, -extents, -content, -summary and -coverage only", selection.text());
    }
    const bool has_words = !selection.wanted.words.empty() || !selection.unwanted.words.empty();
    if (has_words && (options.report == report_kind::extents || options.report == report_kind::contents)) {
        return "-event is for events only\n";
    }
    return words_on_kinds(selection);
}

}  // namespace kest
