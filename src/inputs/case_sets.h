#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kest {

// What belongs to one volume, as far as its place says.
struct case_set {
    std::string name;                             // what reports call it
    std::string log = {};                         // path; empty: none
    std::vector<std::string> mfts = {};           // that may belong to it: the likeliest first
    std::vector<std::string> journals = {};       // likewise
    std::string image = {};                       // in place of all these
    std::optional<std::uint32_t> partition = {};  // of the image
    std::string own_name = {};                    // of its file, if another set has its name, too
    std::size_t untried_mfts = 0;                 // that may belong to it, besides these
    std::size_t untried_journals = 0;

    // What it is in the order of a case.
    const std::string& path() const;
};

// What of a case cannot be a set, or not be looked at.
struct case_problem {
    std::string path;
    std::string words;
};

struct case_contents {
    std::vector<case_set> sets;  // in the order of their paths
    std::vector<case_set>
        spares;  // journals and MFTs that may belong to a log: sets if they turn out to belong to none
    std::vector<case_problem> problems;
    std::uint64_t unreadable_folders = 0;
};

// Looks for logs, MFTs, journals and images in these files and below these folders, by what they hold. The names of
// the three count where their bytes say nothing. Links to files are followed, links to folders are not, and no file
// counts twice.
//
// An MFT or a journal belongs to a log in the same folder, whose `$Extend` counts as the folder itself; to one of the
// same drive in a neighbouring folder; or to one below. Where a file was named and not its folder, the files beside it
// are looked at, too. What fits is found out by reading: here are only candidates, of each kind the eight whose places
// and names are nearest, and of these the largest first. Those whose path is more like that of another log come last.
case_contents find_case_sets(const std::vector<std::string>& paths);

}  // namespace kest
