#include "driver/case_runs.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <span>
#include <utility>

#include "driver/image_runs.h"
#include "driver/run.h"
#include "driver/warnings.h"
#include "format/number.h"
#include "options/warning_line.h"
#include "portable/console.h"
#include "portable/ordered_output.h"
#include "portable/portable_thread.h"
#include "report/volume_fields.h"

namespace kest {

namespace {

// Each may be read by a process of its own, and these are started while there are no threads.
constexpr std::size_t most_images_open = 16;

void say_problem(const case_problem& problem, run_findings& findings) {
    uni::console_write(warning_line(with_reason("prob parsing file", problem.words), problem.path));
    findings.unreadable = true;
}

// Whether a piece that a text names lies in the text's folder or below. What lies elsewhere is evidence of its own.
bool is_below(const std::string& piece) {
    return !uni::is_separator(piece.front()) && piece.find("..") == piece.npos && piece.find(':') == piece.npos;
}

// A text can name any file. One that has no share in a volume, or only with a part, stays what it is by itself.
bool gives_volume(const disk_image& image, const described_piece& piece, const std::string& path) {
    uni::file file;
    const bool whole =
        !piece.is_flat || !file.open(path, uni::open_mode::read) || file.size() <= piece.end - piece.begin;
    return whole && std::ranges::any_of(image.volumes, [&piece](const volume_place& volume) {
               return volume.offset < piece.end &&
                      piece.begin - std::min(piece.begin, volume.offset) < volume.geometry.size;
           });
}

// A set for each volume of an image.
class image_search {
public:
    image_search(const logfile_options& options, const run_outputs& outputs, run_findings& findings)
        : m_options(options), m_outputs(outputs), m_findings(findings) {}

    // Pieces of a disk that a text describes may look like disks, so the texts come first. A piece that was
    // recognised as a log, an MFT or a journal stays one.
    std::vector<case_set> volumes_of(std::vector<case_set> found) {
        std::vector<std::vector<case_set>> volumes(found.size());
        for (const bool described : {true, false}) {
            for (std::size_t at = 0; at < found.size(); ++at) {
                const std::string& path = found[at].image;
                if (path.empty()) {
                    volumes[at] = {found[at]};
                } else if (described_pieces(path).empty() != described && !is_one_of(m_pieces, path)) {
                    open(found[at], volumes[at]);
                }
            }
        }
        std::vector<case_set> sets;
        for (std::vector<case_set>& some : volumes)
            std::ranges::move(some, std::back_inserter(sets));
        return sets;
    }

    // A file of an image that the run is writing to; empty: none.
    const std::string& written() const { return m_written; }

private:
    using file_set = std::set<std::pair<std::uint64_t, std::uint64_t>>;  // device and inode

    static void add(file_set& files, const std::string& path) {
        if (const auto file = uni::identify(path)) files.insert({file->device, file->inode});
    }
    static bool is_one_of(const file_set& files, const std::string& path) {
        const auto file = uni::identify(path);
        return file && files.contains({file->device, file->inode});
    }

    void add_pieces(const disk_image& image) {
        const std::string folder = image.path.substr(0, uni::last_name(image.path));
        if (image.pieces.empty()) {
            for (const std::string& path : image.files)
                add(image.volumes.empty() ? m_unused_pieces : m_pieces, path);
        }
        for (const described_piece& piece : image.pieces) {
            if (!is_below(piece.path)) continue;
            const std::string path = folder + piece.path;
            add(gives_volume(image, piece, path) ? m_pieces : m_unused_pieces, path);
        }
    }

    void open(const case_set& set, std::vector<case_set>& sets) {
        const disk_image image = open_image(set.image);
        for (const std::string& path : image.files)
            if (m_outputs.hold(path)) m_written = path;
        if (image.volumes.empty() && is_one_of(m_unused_pieces, set.image)) return;
        if (!image.bytes.source) return say_problem({set.image, image.error}, m_findings);
        add_pieces(image);
        // Many files begin like a disk. A container is an image whatever it holds, and may be damaged.
        if (image.volumes.empty() && image.process) return say_problem({set.image, "no NTFS volume"}, m_findings);
        if (image.volumes.empty()) say_hints(m_options, warning_line("no NTFS volume in", set.image));
        for (const volume_place& volume : image.volumes) {
            if (m_options.partition && volume.partition != m_options.partition) continue;
            case_set& added = sets.emplace_back(set);
            added.partition = volume.partition;
            if (volume.partition) append_decimal(added.name.append(1, ':'), *volume.partition);
        }
    }

    const logfile_options& m_options;
    const run_outputs& m_outputs;
    run_findings& m_findings;
    file_set m_pieces;         // of an image that was opened: no images by themselves, whatever they begin with
    file_set m_unused_pieces;  // the same without a share in a volume: images only if they hold one by themselves
    std::string m_written;
};

// Of a set's files one that the run writes; empty: none.
std::string written_file(const run_outputs& outputs, const case_set& set) {
    std::vector<std::string> files{set.log};
    files.insert(files.end(), set.mfts.begin(), set.mfts.end());
    files.insert(files.end(), set.journals.begin(), set.journals.end());
    const auto held = std::ranges::find_if(files, [&outputs](const std::string& path) { return outputs.hold(path); });
    return held != files.end() ? *held : std::string();
}

// What was said of a set, under its name.
std::string words_of(const case_set& set, const uni::words_kept& kept) {
    return kept.words().empty() ? std::string() : warning_line("volume", set.name) + kept.words();
}

using image_map = std::map<std::string, disk_image>;

// Further reports take the events of one set after another.
class report_in_turn : public event_report {
public:
    report_in_turn(event_report& report, uni::ordered_output& order, std::size_t turn)
        : m_report(report), m_order(order), m_turn(turn) {}

    void begin_log(const log_source& source) override {
        m_order.wait_for(m_turn);
        m_report.begin_log(source);
    }
    void write(const event& shown) override { m_report.write(shown); }
    bool takes_clusters() const override { return m_report.takes_clusters(); }
    field_sink* row_sink() override { return m_report.row_sink(); }
    bool finish(std::string_view, const events_left_out&) override { return true; }

private:
    event_report& m_report;
    uni::ordered_output& m_order;
    const std::size_t m_turn;
};

logfile_options options_of(const logfile_options& options, const case_set& set) {
    logfile_options own = options;
    own.volume = set.name;
    own.show_progress = own.has_titles = false;
    own.reads_ahead = options.jobs < 2;
    own.log.path = set.log;
    own.have_log = own.log.given();
    own.image_path = set.image;
    own.partition = set.partition;
    return own;
}

void add(limits_hit& to, const limits_hit& more) {
    for (bool limits_hit::*const guard :
         {&limits_hit::paths, &limits_hit::extension_records, &limits_hit::index_runs, &limits_hit::parents,
          &limits_hit::attribute_lists, &limits_hit::contents, &limits_hit::changes, &limits_hit::files})
        to.*guard = to.*guard || more.*guard;
}

// The paths of the MFTs and journals that were reported with a log.
using path_set = std::set<std::string, std::less<>>;

void add_inputs(path_set& paths, const logfile_options& options) {
    paths.insert(options.mft.path);
    paths.insert(options.journal.path);
}

std::vector<case_set> left_over(const std::vector<case_set>& spares, const path_set& used) {
    std::vector<case_set> left;
    std::ranges::copy_if(spares, std::back_inserter(left),
                         [&used](const case_set& spare) { return !used.contains(spare.path()); });
    return left;
}

class case_worker {
public:
    // `before`: so many sets are done.
    case_worker(const case_run& run, std::span<const case_set> sets, path_set& used, std::size_t before = 0)
        : m_run(run), m_sets(sets), m_used(used), m_before(before), m_order(run.report_sink, sets.size()) {}

    bool run() {
        const bool one_by_one = m_run.options.jobs < 2 || m_run.outputs.diags.on();
        const std::size_t jobs = one_by_one ? 1 : m_run.options.jobs;
        while (m_next < m_sets.size() && m_order.good()) {
            open_images(jobs == 1 ? 1 : most_images_open);
            work(std::min(jobs, m_end - m_next));
            for (auto& [path, image] : m_images)
                if (image.bytes.source && !image_was_read(image)) m_run.findings.unreadable = true;
            m_images.clear();
        }
        if (m_failed) m_run.findings.unreadable = true;
        return m_reported;
    }

private:
    // Of the sets that come next; `m_end` is where there would be too many.
    void open_images(std::size_t most) {
        for (m_end = m_next; m_end < m_sets.size(); ++m_end) {
            const std::string& path = m_sets[m_end].image;
            if (path.empty() || m_images.contains(path)) continue;
            if (m_images.size() == most) return;
            m_images.emplace(path, open_image(path));
        }
    }

    void work(std::size_t jobs) {
        const auto take_sets = [this] {
            for (std::size_t turn = m_next++; turn < m_end && m_order.good(); turn = m_next++)
                report(turn);
        };
        if (jobs == 1) {
            take_sets();
        } else {
            std::vector<portable_thread> threads;
            for (std::size_t job = 0; job < jobs; ++job)
                threads.emplace_back(take_sets);
            for (portable_thread& thread : threads)
                thread.wait();
        }
        m_next = m_end;
    }

    // Others wait for its end, whatever happens.
    void report(std::size_t turn) {
        std::string words;
        try {
            words = report_and_say(turn);
        } catch (const std::bad_alloc&) {
            say_out_of_memory();
            m_failed = true;
        }
        m_order.end(turn, std::move(words));
        show_progress();
    }

    std::string report_and_say(std::size_t turn) {
        run_findings findings;
        const uni::words_kept kept;
        const set_outcome outcome = report_guarded(turn, findings);
        {
            const std::lock_guard lock(m_mutex);
            add(m_run.findings.omitted, findings.omitted);
            m_run.findings.left_out += findings.left_out;
        }
        if (findings.unreadable || outcome == set_outcome::failed) m_failed = true;
        if (outcome == set_outcome::reported) m_reported = true;
        return words_of(m_sets[turn], kept);
    }

    set_outcome report_guarded(std::size_t turn, run_findings& findings) {
        try {
            return report_set_of(turn, findings);
        } catch (const std::bad_alloc&) {
            say_out_of_memory();
            return set_outcome::failed;
        }
    }

    set_outcome report_set_of(std::size_t turn, run_findings& findings) {
        const case_set& set = m_sets[turn];
        logfile_options options = options_of(m_run.options, set);
        if (!set.image.empty()) {
            const disk_image& image = m_images.at(set.image);
            if (!image.bytes.source || !take_volume(options, image, findings.unreadable)) return set_outcome::failed;
        }
        uni::fileio_output sink([this, turn](std::string_view text) { return m_order.write(turn, text); });
        std::vector<std::unique_ptr<report_in_turn>> in_turn;
        std::vector<event_report*> further;
        for (event_report* const report : m_run.further)
            further.push_back(in_turn.emplace_back(std::make_unique<report_in_turn>(*report, m_order, turn)).get());
        log_report report(options, m_run.outputs.diags, sink, further);
        const run_context context{options, m_run.outputs, report, findings};
        const set_outcome outcome = report_set(context, options, set);
        findings.left_out = report.left_out();
        if (outcome == set_outcome::reported) {
            const std::lock_guard lock(m_mutex);
            add_inputs(m_used, options);
        }
        for (const std::string& path : report.unread_inputs())
            say_reading_failed(context, path);
        sink.flush();
        return outcome;
    }

    void show_progress() {
        if (!m_run.options.show_progress) return;
        std::string text = "volumes done: ";
        append_decimal(text, m_before + m_order.ended());
        append_decimal(text += " of ", m_before + m_sets.size());
        uni::status_line(uni::status_width, text);
    }

    const case_run& m_run;
    const std::span<const case_set> m_sets;
    path_set& m_used;
    const std::size_t m_before;
    uni::ordered_output m_order;
    image_map m_images;
    std::atomic<std::size_t> m_next = 0;
    std::size_t m_end = 0;
    std::mutex m_mutex;  // guards the findings of the run, and what was used
    std::atomic<bool> m_reported = false;
    std::atomic<bool> m_failed = false;
};

}  // namespace

bool find_sets(const logfile_options& options, const run_outputs& outputs, case_contents& found,
               run_findings& findings) {
    found = find_case_sets(options.case_paths);
    for (const case_problem& problem : found.problems)
        say_problem(problem, findings);
    if (found.unreadable_folders != 0) {
        uni::console_write(warning_line("folders unreadable", format_number(found.unreadable_folders, false)));
        findings.unreadable = true;
    }
    image_search images(options, outputs, findings);
    found.sets = images.volumes_of(std::move(found.sets));
    std::string written = images.written();
    for (const case_set& set : found.sets)
        if (written.empty()) written = written_file(outputs, set);
    if (!written.empty()) {
        // Not a word may go there if it is the error stream.
        if (uni::identify(written) != uni::stored_file(uni::standard_error))
            uni::console_write(warning_line("being written by this run", written));
        return false;
    }
    if (found.sets.empty())
        uni::console_write(warning_line("no log, MFT, journal or image", joined(options.case_paths, '\'')));
    return !found.sets.empty() && !(options.strict && findings.unreadable);
}

bool report_case(const case_run& run, const case_contents& found) {
    log_report(run.options, run.outputs.diags, run.report_sink, {}).write_titles();
    path_set used;
    const bool reported = case_worker(run, found.sets, used).run();
    const std::vector<case_set> left = left_over(found.spares, used);
    return case_worker(run, left, used, found.sets.size()).run() || reported;
}

bool list_case(const case_run& run, const case_contents& found) {
    volume_table table(run.options, run.report_sink);
    bool any = false;
    path_set used;
    const auto list_set = [&](const case_set& set) {
        logfile_options options = options_of(run.options, set);
        if (!set.image.empty()) {
            any = list_volumes(options, open_image(set.image), table, run.findings.unreadable) || any;
            return;
        }
        log_report nothing(options, run.outputs.diags, run.report_sink, {});
        const run_context context{options, run.outputs, nothing, run.findings};
        const read_set read = read_inputs_of_set(context, options, set);
        uni::console_write(read.misfits);
        if (options.strict && !read.misfits.empty()) run.findings.unreadable = true;
        if (options.have_log && read.stores->log.entries.empty()) say_empty_log(context, *read.stores);
        any = true;
        add_inputs(used, options);
        table.write(describe_set(options, *read.stores));
    };
    const auto list = [&](const case_set& set) {
        std::string words;
        {
            const uni::words_kept kept;
            try {
                list_set(set);
            } catch (const std::bad_alloc&) {
                say_out_of_memory();
                run.findings.unreadable = true;
            }
            words = words_of(set, kept);
        }
        uni::console_write(words);
    };
    std::ranges::for_each(found.sets, list);
    std::ranges::for_each(left_over(found.spares, used), list);
    return any;
}

}  // namespace kest
