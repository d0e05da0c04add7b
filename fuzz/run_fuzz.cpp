// A whole run, out of one input: options, one a line, up to an empty line; the sizes of log and MFT in four bytes each;
// then log, MFT and journal. The run takes place in a folder of its own, and no option can name a place outside it.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <random>
#include <sys/stat.h>
#include <utility>

#include "driver/run.h"
#include "support/memory_file.h"

namespace {

using bytes = std::vector<std::uint8_t>;
using window = std::span<std::uint8_t>;

std::uint32_t u32_at(std::span<const std::uint8_t> image, std::size_t offset, std::size_t width = 4) {
    std::uint32_t value = 0;
    if (image.size() >= width && offset <= image.size() - width) std::memcpy(&value, &image[offset], width);
    return value;
}

struct run_input {
    std::vector<std::string> options = {};
    bytes parts[3] = {};  // log, MFT, journal

    explicit run_input(std::span<const std::uint8_t> input) {
        std::string option;
        std::size_t at = 0;
        for (; at < input.size(); ++at) {
            const char c = static_cast<char>(input[at]);
            if (c == '\n' && option.empty()) break;
            if (c == '\n') {
                options.push_back(std::exchange(option, {}));
            } else {
                option += c == '/' || c == '\\' || c == '\0' ? '_' : c;
            }
        }
        auto rest = input.subspan(std::min(input.size(), at + 9));
        for (const std::size_t which : {0u, 1u, 2u}) {
            const std::size_t stated = which == 2 ? rest.size() : u32_at(input, at + 1 + 4 * which);
            const auto taken = rest.first(std::min(stated, rest.size()));
            parts[which].assign(taken.begin(), taken.end());
            rest = rest.subspan(taken.size());
        }
    }

    bytes image() const {
        std::string out;
        for (const std::string& option : options)
            out += option + '\n';
        out += '\n';
        for (const std::size_t which : {0u, 1u}) {
            const auto size = static_cast<std::uint32_t>(parts[which].size());
            out.append(reinterpret_cast<const char*>(&size), sizeof size);
        }
        for (const bytes& part : parts)
            out.append(part.begin(), part.end());
        return {out.begin(), out.end()};
    }
};

void enter_own_folder() {
    std::string folder = (std::filesystem::temp_directory_path() / "kest_XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr || chdir(folder.c_str()) != 0 || mkdir("own", 0700) != 0) std::abort();
    if (chdir("own") != 0 || clearenv() != 0 || setenv("NAME", "value", 1) != 0) std::abort();
    std::atexit([] { std::filesystem::remove_all(std::filesystem::current_path().parent_path()); });
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (dup2(nowhere, STDIN_FILENO) == -1 || dup2(nowhere, STDOUT_FILENO) == -1) std::abort();
}

// One a line.
constexpr std::string_view words =
    "-csv\n-no_whitespace\n-base10\n-no_guesses\n-showall_inodes\n-stats\n-xml\n-multiline\n-bodyfile\n-csvgen\n-"
    "csvl2t\n"
    "-pair_datetime\n-append\n-profile\n-base16\n-enumdir\n.\n-pipe\n-out\nfile\n-diags\n-l3\n-dateformat\nmm-dd-yy\n"
    "-timeformat\nhh:mm:ss.xxxxxx\n-cmd_start_time\n2026-03-16\n-cmd_stop_time\n2026-03-16 12:00:00\n-filter\n*f?le*\n"
    "-filter_sig\n52535452|0x0\n-filter_path\n%NAME%\n-alias\na|b\n-csv_separator\ntab\n-num_subdirs\n0x7\n-offset\n"
    "o17\n-help\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool entered = (enter_own_folder(), true);
    const run_input input({data, size});
    kest::argument_list args = {"kest", "-quiet"};
    args.insert(args.end(), input.options.begin(), input.options.end());
    const kest::disk::memory_file log(input.parts[0]), mft(input.parts[1]), journal(input.parts[2]);
    args.insert(args.end(), {"-log", log.path()});
    if (!input.parts[1].empty()) args.insert(args.end(), {"-mftfile", mft.path()});
    if (!input.parts[2].empty()) args.insert(args.end(), {"-jrnlfile", journal.path()});
    const int status = kest::run(args);
    if (status != 0 && status != -1) std::abort();
    for (const auto& entry : std::filesystem::directory_iterator("."))
        std::filesystem::remove_all(entry);
    return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

void mutate(window part) {
    const std::size_t left = LLVMFuzzerMutate(part.data(), part.size(), part.size());
    std::ranges::fill(part.subspan(left), std::uint8_t{0});
}

// Sector ends out of the array into their places, and back.
void swap_sector_ends(window image) {
    const std::size_t array = u32_at(image, 4, 2);
    for (std::size_t sector = 1; sector <= image.size() / 512 && array + 2 * sector + 2 <= image.size(); ++sector)
        std::swap_ranges(&image[512 * sector - 2], &image[512 * sector - 2] + 2, &image[array + 2 * sector]);
}

// One record of a log page or a file record, or a part of it, as it stands when the sectors are whole.
class mutator {
public:
    explicit mutator(unsigned seed) : m_random(seed) {}

    std::size_t below(std::size_t limit) { return m_random() % limit; }

    void options(std::vector<std::string>& all) {
        const auto place = all.begin() + static_cast<std::ptrdiff_t>(below(all.size() + 1));
        if (below(2) == 0 || place == all.end()) {
            const std::size_t begin = words.rfind('\n', below(words.size() - 1)) + 1;  // 0 from `npos`
            all.insert(place, std::string(words.substr(begin, words.find('\n', begin) - begin)));
        } else if (below(3) == 0) {
            mutate(window(reinterpret_cast<std::uint8_t*>(place->data()), place->size()));
        } else {
            all.erase(place);
        }
    }

    // The unit that holds some byte: a page of a log, a file record.
    void unit(bytes& image, std::size_t size, const std::function<void(window)>& change) {
        if (image.size() < size) return;
        const window one = window(image).subspan(below(image.size() / size) * size, size);
        swap_sector_ends(one);
        change(one);
        swap_sector_ends(one);
    }

    // Walks some lengths on, told by the word at `offset` and what comes on top, and changes what is there.
    void item(window image, std::size_t begin, std::size_t offset, std::size_t above, std::size_t head) {
        for (std::size_t steps = below(24); steps > 0; --steps) {
            const std::size_t length = (u32_at(image, begin + offset) + above + 7) & ~std::size_t{7};
            if (length < 8 || length >= image.size() || begin + length + head >= image.size()) break;
            begin += length;
        }
        if (begin + head >= image.size()) return;
        const std::size_t length = std::min<std::size_t>(u32_at(image, begin + offset) + above, image.size() - begin);
        const std::size_t from = below(2) == 0 || length <= head ? 0 : head;
        mutate(image.subspan(begin + from, std::max<std::size_t>(from == 0 ? head : length - from, 1)));
    }

private:
    std::minstd_rand m_random;
};

}  // namespace

// Knows what the parts of an input are: most changes fall into one record and leave what leads to it as it is.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned seed) {
    mutator random(seed);
    if (random.below(6) == 0) return LLVMFuzzerMutate(data, size, max_size);
    run_input input({data, size});
    auto& [log, mft, journal] = input.parts;
    const std::size_t file_record = u32_at(mft, 6, 2) == 9 ? 4096 : 1024;
    switch (random.below(6)) {
        case 0:
            random.options(input.options);
            break;
        case 1:
            random.unit(mft, file_record, [&](window record) { random.item(record, 0, 20, 0, 56); });
            break;
        case 2:
            random.unit(mft, file_record, [&](window r) { random.item(r, u32_at(r, 20, 2), 4, 0, 24); });
            break;
        case 3:
            random.item(journal, 0, 0, 0, 60);
            break;
        default:
            random.unit(log, 4096, [&](window page) { random.item(page, 64, 24, 48, 88); });
    }
    const bytes image = input.image();
    if (image.size() > max_size) return LLVMFuzzerMutate(data, size, max_size);
    std::ranges::copy(image, data);
    return image.size();
}
