#include "inputs/case_sets.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include "format/ascii_text.h"
#include "format/error_words.h"
#include "inputs/input_kind.h"
#include "portable/file.h"
#include "portable/path_list.h"

namespace kest {

namespace {

constexpr std::size_t most_candidates = 8;  // of a kind, for one log

struct found_file {
    enum : std::uint8_t { below_folder, named, beside } place = below_folder;  // beside a file that was named
    std::string path;
    std::string name;    // what reports call it
    std::string home;    // its folder; that above, if it is `$Extend`
    std::string volume;  // what reports call its home
    std::string drive;   // the same for all folders that tools keep of one drive; empty: not known to be one's
    input_kind kind = input_kind::unknown;
    std::uint64_t size = 0;
    uni::file_identity identity;
    bool is_link = false;
    std::size_t best_likeness = 0;  // to a log beside it; of a file that was named also to one that was
    bool taken = false;             // a candidate of some log, or a set
    bool is_spare = false;          // a candidate of some log
};

using uni::folder_of;

std::string_view last_of(std::string_view path) {
    return path.substr(uni::last_name(path));
}

// Characters that file names cannot hold everywhere are kept as %3A.
std::string decoded(std::string_view name) {
    constexpr std::string_view digits = "0123456789abcdef";
    const std::string lower = lower_case(name);
    std::string text;
    for (std::size_t at = 0; at < lower.size(); ++at) {
        const std::size_t high = at + 2 < lower.size() ? digits.find(lower[at + 1]) : digits.npos;
        const std::size_t low = at + 2 < lower.size() ? digits.find(lower[at + 2]) : digits.npos;
        const bool coded = lower[at] == '%' && high != digits.npos && low != digits.npos;
        text += coded ? static_cast<char>(high * 16 + low) : lower[at];
        if (coded) at += 2;
    }
    return text;
}

std::string home_of(std::string_view path) {
    const std::string_view folder = folder_of(path);
    return std::string(decoded(last_of(folder)) == "$extend" ? folder_of(folder) : folder);
}

// Tools keep what they read by the system and what they read off the disk in two folders of one name: "auto/C%3A" and
// "ntfs/%5C%5C.%5CC%3A".
std::string drive_of(std::string_view home) {
    const std::string name = decoded(last_of(home));
    if (name.size() < 2 || name.back() != ':') return {};
    const std::string_view above = folder_of(folder_of(home));
    return std::string(above).append(1, '/').append(name.substr(name.size() - 2));
}

// What a damaged or an empty copy would be.
input_kind kind_by_name(std::string_view path) {
    struct name_row {
        std::string_view name;
        input_kind kind;
    };
    constexpr name_row names[] = {
        {"$logfile", input_kind::log},
        {"logfile", input_kind::log},
        {"$mft", input_kind::mft},
        {"mft", input_kind::mft},
        {"$j", input_kind::journal},
        {"$usnjrnl:$j", input_kind::journal},
        {"$usnjrnl_$j", input_kind::journal},
        {"usnjrnl_j", input_kind::journal},
    };
    const std::string name = decoded(last_of(path));
    const auto row = std::ranges::find(names, name, &name_row::name);
    return row == std::end(names) ? input_kind::unknown : row->kind;
}

// How many bytes of two paths are the same at their beginnings and ends. Sets in one folder differ by these, as
// "a_LogFile" and "b_LogFile" do. A "$" says what a file is, not whose.
std::size_t likeness(std::string_view one, std::string_view other) {
    const std::size_t name = std::min(uni::last_name(one), one.size());
    const auto begin = static_cast<std::size_t>(std::ranges::mismatch(one, other).in1 - one.begin());
    const auto end = static_cast<std::size_t>(
        std::mismatch(one.rbegin(), one.rend(), other.rbegin(), other.rend()).first - one.rbegin());
    return begin + end - (begin == name + 1 && one[name] == '$' ? 1 : 0);
}

// Finds files that are evidence, each once.
class file_search {
public:
    file_search(const std::vector<std::string>& paths, case_contents& found) : m_paths(paths), m_found(found) {}

    // In the order of their paths.
    std::vector<found_file> find() {
        for (const std::string& path : m_paths) {
            if (uni::is_regular_file(path)) {
                add(path, {});
            } else {
                walk(path);
            }
        }
        look_beside();
        drop_other_names();
        std::ranges::sort(m_files, {}, &found_file::path);
        return std::move(m_files);
    }

private:
    void walk(const std::string& folder) {
        cvportdir::folder_walk files;
        if (!files.start(folder, std::numeric_limits<std::uint32_t>::max(), {}))
            m_found.problems.push_back({folder, folder_error_words(files.open_error())});
        const std::string_view root = m_paths.size() == 1 ? std::string_view(folder) : std::string_view();
        for (std::string path; files.read_line(path);)
            add(path, root);
        m_found.unreadable_folders += files.unreadable();
    }

    // Of the names of one file the first counts, before links to it and those that only lie beside another.
    void drop_other_names() {
        std::ranges::sort(m_files, {}, [](const found_file& file) {
            return std::tuple(file.place == found_file::beside, file.is_link, std::string_view(file.path));
        });
        std::set<std::pair<std::uint64_t, std::uint64_t>> known;
        std::erase_if(m_files, [&known](const found_file& file) {
            return !known.insert({file.identity.device, file.identity.inode}).second;
        });
    }

    // Of files that were named, where these lie.
    void look_beside() {
        std::set<std::string> homes;
        for (const found_file& file : m_files)
            if (file.place == found_file::named && file.kind != input_kind::image) homes.insert(file.home);
        m_beside = true;
        for (const std::string& home : homes) {
            for (const std::string_view below : {"", "/$Extend"}) {
                cvportdir::folder_walk files;
                if (!files.start(std::string(home).append(below), 0, {})) continue;
                for (std::string path; files.read_line(path);)
                    add(path, {});
            }
        }
    }

    // `root` is the only folder that was named, and above the file.
    void add(const std::string& path, std::string_view root) {
        uni::file file;
        if (!file.open(path, uni::open_mode::read)) {
            if (!m_beside) m_found.problems.push_back({path, error_words(file.open_error())});
            return;
        }
        const bool named = !m_beside && std::ranges::find(m_paths, path) != m_paths.end();
        const auto found = kind_of_stray_file(file);
        if (!found && !m_beside) m_found.problems.push_back({path, "device error"});
        input_kind kind = found.value_or(input_kind::unknown);
        if (kind == input_kind::unknown) kind = kind_by_name(path);
        if (kind == input_kind::unknown || kind == input_kind::compressed) {
            if (named && found) m_found.problems.push_back({path, "no log, MFT, journal or image"});
            return;
        }
        if (kind == input_kind::image && m_beside) return;
        found_file& added = m_files.emplace_back();
        added.path = path;
        added.home = home_of(path);
        added.drive = drive_of(added.home);
        added.name = below(path, root);
        added.volume = below(added.home, root);
        added.kind = kind;
        added.size = file.size();
        added.identity = file.identity();
        added.is_link = uni::kind_of_name(path) == uni::name_kind::other;
        added.place = m_beside ? found_file::beside : named ? found_file::named : found_file::below_folder;
    }

    static std::string below(const std::string& path, std::string_view root) {
        if (root.empty() || !path.starts_with(root)) return path;  // it may be verbatim
        const auto begin =
            std::find_if_not(path.begin() + static_cast<std::ptrdiff_t>(root.size()), path.end(), uni::is_separator);
        return begin == path.end() ? "." : std::string(begin, path.end());
    }

    const std::vector<std::string>& m_paths;
    case_contents& m_found;
    bool m_beside = false;
    std::vector<found_file> m_files;
};

// Makes sets of files by where these lie.
class set_maker {
public:
    set_maker(std::vector<found_file> files, case_contents& found) : m_files(std::move(files)), m_found(found) {
        for (found_file& file : m_files) {
            m_by_home[{file.kind, file.home}].push_back(&file);
            if (!file.drive.empty()) m_by_drive[{file.kind, file.drive}].push_back(&file);
            if (file.place == found_file::named) m_named[file.kind].push_back(&file);
        }
        for (auto* const groups : {&m_by_home, &m_by_drive})
            for (auto& [place, group] : *groups)
                std::ranges::stable_sort(group, std::ranges::greater{}, &found_file::size);
        for (found_file& file : m_files) {
            note_likeness(file, files_at(m_by_home, input_kind::log, file.home));
            if (file.place == found_file::named) note_likeness(file, m_named[input_kind::log]);
        }
    }

    void make() {
        for (found_file& file : m_files)
            if (file.kind == input_kind::log) add_log(file);
        for (found_file& file : m_files)
            if (file.kind == input_kind::journal && !file.taken) add_journal(file);
        for (found_file& file : m_files)
            if (file.kind == input_kind::mft && !file.taken)
                add({.name = file.volume, .mfts = {file.path}, .own_name = file.name}, {&file});
        for (found_file& file : m_files)
            if (file.kind == input_kind::image) add({.name = file.name, .image = file.path}, {&file});
        for (const found_file& file : m_files)
            if (file.is_spare) add_spare(file);
    }

private:
    using file_list = std::vector<found_file*>;
    using place_map = std::map<std::pair<input_kind, std::string>, file_list>;

    static void note_likeness(found_file& file, const file_list& logs) {
        for (const found_file* const log : logs)
            file.best_likeness = std::max(file.best_likeness, likeness(log->path, file.path));
    }

    static const file_list& files_at(const place_map& map, input_kind kind, const std::string& place) {
        static const file_list none;
        const auto found = map.find({kind, place});
        return found == map.end() ? none : found->second;
    }

    // Copies of the first records of an MFT are smaller than it, so of one place the largest comes first.
    file_list near(const found_file& of, input_kind kind) const {
        file_list out;
        for (found_file* const file : files_at(m_by_home, kind, of.home))
            if (file->place != found_file::beside) out.push_back(file);
        for (found_file* const file : files_at(m_by_drive, kind, of.drive))
            if (file->home != of.home && files_at(m_by_home, input_kind::log, file->home).empty()) out.push_back(file);
        return out;
    }

    // Those of the log's own home stay before those of its drive.
    static void sort_by_likeness(file_list& files, const found_file& log) {
        std::ranges::stable_sort(files, std::ranges::greater{}, [&log](const found_file* file) {
            return std::pair(file->home == log.home, likeness(log.path, file->path));
        });
    }

    file_list candidates(const found_file& log, input_kind kind) const {
        file_list out = near(log, kind);
        sort_by_likeness(out, log);
        const auto append = [&out, &log](file_list more) {
            sort_by_likeness(more, log);
            out.insert(out.end(), more.begin(), more.end());
        };
        for (std::string_view at = log.home, above = folder_of(at); above != at && at != "."; above = folder_of(at)) {
            at = above;
            append(files_at(m_by_home, kind, std::string(at)));
        }
        if (const auto named = m_named.find(kind); named != m_named.end()) append(named->second);
        append(files_at(m_by_home, kind, log.home));
        file_list once;
        for (found_file* const file : out)
            if (std::ranges::find(once, file) == once.end()) once.push_back(file);
        std::stable_partition(once.begin(), once.end(), [&log](const found_file* file) {
            return file->best_likeness <= likeness(log.path, file->path);
        });
        return once;
    }

    static std::vector<std::string> paths_of(const file_list& files) {
        std::vector<std::string> paths;
        for (const found_file* const file : files)
            paths.push_back(file->path);
        return paths;
    }

    // Each that is tried may have to be read. Those left over are counted.
    static std::size_t limit(file_list& files) {
        const std::size_t untried = files.size() - std::min(files.size(), most_candidates);
        files.resize(files.size() - untried);
        return untried;
    }

    void add_log(found_file& log) {
        file_list files = candidates(log, input_kind::mft), journals = candidates(log, input_kind::journal);
        const std::size_t untried_mfts = limit(files), untried_journals = limit(journals);
        case_set made = {.name = log.volume,
                         .log = log.path,
                         .mfts = paths_of(files),
                         .journals = paths_of(journals),
                         .own_name = log.name,
                         .untried_mfts = untried_mfts,
                         .untried_journals = untried_journals};
        files.insert(files.end(), journals.begin(), journals.end());
        for (found_file* const file : files)
            file->is_spare = file->place != found_file::beside;
        files.push_back(&log);
        add(std::move(made), files);
    }

    void add_spare(const found_file& file) {
        case_set& spare = m_found.spares.emplace_back();
        spare.name = file.name;
        (file.kind == input_kind::mft ? spare.mfts : spare.journals) = {file.path};
    }

    // Nothing but its place says which MFT belongs to it.
    void add_journal(found_file& journal) {
        file_list mfts = near(journal, input_kind::mft);
        mfts.resize(std::min<std::size_t>(mfts.size(), 1));
        case_set made = {
            .name = journal.volume, .mfts = paths_of(mfts), .journals = {journal.path}, .own_name = journal.name};
        mfts.push_back(&journal);
        add(std::move(made), mfts);
    }

    // What only lies beside the files that were named makes no set.
    void add(case_set made, const file_list& files) {
        for (found_file* const file : files)
            file->taken = true;
        const auto is_asked = [](const found_file* file) { return file->place != found_file::beside; };
        if (std::ranges::any_of(files, is_asked)) m_found.sets.push_back(std::move(made));
    }

    std::vector<found_file> m_files;
    case_contents& m_found;
    place_map m_by_home;
    place_map m_by_drive;
    std::map<input_kind, file_list> m_named;
};

// Sets of one folder are called by their files.
void settle_names(std::vector<case_set>& sets) {
    std::map<std::string, std::size_t> uses;
    for (const case_set& set : sets)
        ++uses[set.name];
    for (case_set& set : sets) {
        if (uses[set.name] < 2 || !set.image.empty()) continue;
        set.name = set.own_name;
    }
}

}  // namespace

const std::string& case_set::path() const {
    if (!image.empty()) return image;
    if (!log.empty()) return log;
    return journals.empty() ? mfts.front() : journals.front();
}

case_contents find_case_sets(const std::vector<std::string>& paths) {
    case_contents found;
    set_maker(file_search(paths, found).find(), found).make();
    settle_names(found.sets);
    std::ranges::stable_sort(found.sets, {}, &case_set::path);
    std::ranges::sort(found.problems, {}, &case_problem::path);
    return found;
}

}  // namespace kest
