// A whole run of log, MFT and journal, cut from one input: a byte of options, two bytes that say at which 256ths of
// the rest the MFT and the journal begin.

#include <algorithm>

#include "driver/run.h"
#include "support/memory_file.h"

namespace {

constexpr const char* switches[] = {"-csv", "-no_whitespace", "-base10", "-no_guesses", "-showall_inodes", "-stats"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) return 0;
    const std::span rest(data + 3, size - 3);
    const std::size_t first_cut = rest.size() * data[1] / 256;
    const std::size_t second_cut = std::max(first_cut, rest.size() * data[2] / 256);
    const kest::disk::memory_file log(rest.first(first_cut));
    const kest::disk::memory_file mft(rest.subspan(first_cut, second_cut - first_cut));
    const kest::disk::memory_file journal(rest.subspan(second_cut));
    kest::argument_list args = {"kest", "-quiet", "-out", "/dev/null", "-log", log.path()};
    if ((data[0] & 0x40) == 0) args.insert(args.end(), {"-mftfile", mft.path()});
    if ((data[0] & 0x80) == 0) args.insert(args.end(), {"-jrnlfile", journal.path()});
    for (std::size_t bit = 0; bit < std::size(switches); ++bit) {
        if ((data[0] >> bit & 1) != 0) args.emplace_back(switches[bit]);
    }
    kest::run(args);
    return 0;
}
