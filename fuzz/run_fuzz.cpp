// A whole run, out of one input: options, one a line, up to an empty line; the sizes of log and MFT in four bytes each;
// then log, MFT and journal; what is empty is left out. With -image, which has no value here, the MFT is an image, and
// the other two are left out. The run takes place in a folder of its own, and no option can
// name a place outside it.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <utility>

#include "driver/run.h"
#include "options/logfile_options.h"
#include "portable/file.h"
#include "support/json_lines.h"
#include "support/system.h"

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
    static const std::string folder = kest::disk::make_folder();
    std::filesystem::create_directory(folder + "/own");
    std::filesystem::current_path(folder + "/own");
    kest::disk::clear_variables();
    kest::disk::set_variable("NAME", "value");
    std::atexit([] {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder);
    });
    static const kest::disk::redirected no_input(uni::standard_input, kest::disk::null_device),
        no_output(uni::standard_output, kest::disk::null_device);
}

// Values of options, one a line.
constexpr std::string_view values =
    ".\nfile\nmm-dd-yy\nhh:mm:ss.xxxxxx\n2026-03-16\n2026-03-16 12:00:00\n*f?le*\n52535452|0x0\n%NAME%\na|b\n"
    "tab\n,\n0x7\no17\n4096\nauto\ntime,event,path\nmessage,lsn\ncreated,deleted\n40-1\n";

// Every option that the program lists, and values.
std::vector<std::string> known_words() {
    std::vector<std::string> all;
    const std::string listed = kest::option_list();
    for (std::size_t at = 0; (at = listed.find('-', at)) != listed.npos;) {
        const std::size_t end = listed.find_first_of(" ,\n", at);
        const bool begins = listed.compare(at - 2, 2, "  ") == 0 || listed.compare(at - 2, 2, ", ") == 0;
        if (begins && end - at > 1) all.push_back(listed.substr(at, end - at));
        at = end;
    }
    for (std::size_t at = 0; at < values.size(); at = values.find('\n', at) + 1)
        all.emplace_back(values.substr(at, values.find('\n', at) - at));
    return all;
}

std::string text_of(const char* path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A seed is short, and no file below a page is taken for an MFT or a journal.
bytes filled(bytes image) {
    image.resize(std::max<std::size_t>(image.size(), 4096));
    return image;
}

// Of options that ask for JSON lines those that do not take them elsewhere; nothing of others.
kest::argument_list json_options(const kest::argument_list& options) {
    if (std::ranges::count(options, "-jsonl") == 0) return {};
    kest::argument_list kept = {"-out", "lines"};
    for (const char* flag : {"-jsonl", "-events", "-coverage", "-undo", "-cut", "-showall_inodes", "-no_guesses",
                             "-base10", "-stats", "-strict", "-list", "-summary"}) {
        if (std::ranges::count(options, flag) != 0) kept.emplace_back(flag);
    }
    const auto columns = std::ranges::find(options, "-columns");
    if (options.end() - columns > 1) kept.insert(kept.end(), columns, columns + 2);
    return kept;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool entered = (enter_own_folder(), true);
    const run_input input({data, size});
    kest::argument_list args = {"kest", "-quiet"};
    const kest::argument_list as_json = json_options(input.options);
    const kest::argument_list& options = as_json.empty() ? input.options : as_json;
    std::ranges::remove_copy(options, std::back_inserter(args), "-image");
    const bool has_image = std::ranges::count(input.options, "-image") != 0;
    const kest::disk::memory_file log(input.parts[0]), mft(filled(input.parts[1])), journal(filled(input.parts[2]));
    if (!has_image && !input.parts[0].empty()) args.insert(args.end(), {"-log", log.path()});
    if (!input.parts[1].empty()) args.insert(args.end(), {has_image ? "-image" : "-mftfile", mft.path()});
    if (!has_image && !input.parts[2].empty()) args.insert(args.end(), {"-jrnlfile", journal.path()});
    const int status = kest::run(args);
    if (status != 0 && status != -1) std::abort();
    if (!as_json.empty() && !kest::disk::is_json_lines(text_of("lines"))) std::abort();
    for (const auto& entry : std::filesystem::directory_iterator("."))
        std::filesystem::remove_all(entry);
    return 0;
}

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

std::span<const bytes> parts_at_hand;

// Often by a number that stands elsewhere: references and sequence numbers are what ties log, MFT and journal together.
void mutate(window part, std::minstd_rand& random) {
    const bytes& other = parts_at_hand[random() % parts_at_hand.size()];
    if (random() % 3 == 0 && part.size() >= 8 && other.size() >= 8) {
        std::copy_n(&other[random() % (other.size() / 8) * 8], 8, &part[random() % (part.size() / 8) * 8]);
        return;
    }
    const std::size_t left = LLVMFuzzerMutate(part.data(), part.size(), part.size());
    std::ranges::fill(part.subspan(left), std::uint8_t{0});
}

// Sector ends out of the array into their places, and back.
void swap_sector_ends(window image) {
    const std::size_t array = u32_at(image, 4, 2);
    for (std::size_t sector = 1; sector <= image.size() / 512 && array + 2 * sector + 2 <= image.size(); ++sector)
        std::swap_ranges(&image[512 * sector - 2], &image[512 * sector - 2] + 2, &image[array + 2 * sector]);
}

void change_options(std::vector<std::string>& all, std::minstd_rand& random) {
    const auto place = all.begin() + static_cast<std::ptrdiff_t>(random() % (all.size() + 1));
    if (place == all.end() || random() % 2 == 0) {
        static const std::vector<std::string> words = known_words();
        all.insert(place, words[random() % words.size()]);
    } else if (random() % 3 == 0) {
        mutate(window(reinterpret_cast<std::uint8_t*>(place->data()), place->size()), random);
    } else {
        all.erase(place);
    }
}

// Items one after another: where the first begins, where each holds its length, what comes on top of that, and the
// size of its head.
struct layout {
    std::size_t first, length, above, head;
};

// Walks some items on, and changes the head of one or what it holds.
void change_item(window image, const layout& items, std::minstd_rand& random) {
    std::size_t at = items.first, length = 0;
    for (std::size_t steps = random() % 24;; --steps) {
        length = (u32_at(image, at + items.length) + items.above + 7) & ~std::size_t{7};
        if (steps == 0 || length < 8 || length >= image.size() || at + length + items.head >= image.size()) break;
        at += length;
    }
    if (at + items.head >= image.size()) return;
    const bool inside = random() % 2 == 0 && length > items.head;
    const window head = image.subspan(at, items.head), held = image.subspan(at + items.head);
    mutate(inside ? held.first(std::min(held.size(), length - items.head)) : head, random);
}

// The same in a page or file record of this size, while its sectors are whole.
void change_unit(bytes& image, std::size_t size, const std::function<layout(window)>& items, std::minstd_rand& random) {
    if (image.size() < size) return;
    const auto some = [&] { return window(image).subspan(random() % (image.size() / size) * size, size); };
    const window unit = some();
    if (random() % 8 == 0) std::ranges::copy(bytes(unit.begin(), unit.end()), some().begin());
    swap_sector_ends(unit);
    change_item(unit, items(unit), random);
    swap_sector_ends(unit);
}

}  // namespace

// Knows what the parts of an input are: most changes fall into one record and leave what leads to it as it is.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    if (random() % 6 == 0) return LLVMFuzzerMutate(data, size, max_size);
    run_input input({data, size});
    auto& [log, mft, journal] = input.parts;
    parts_at_hand = input.parts;
    const std::size_t record_size = u32_at(mft, 6, 2) == 9 ? 4096 : 1024;
    const std::size_t kind = random() % 6;
    if (kind == 0) change_options(input.options, random);
    if (kind == 1) change_item(journal, {0, 0, 0, 60}, random);
    if (kind == 2)
        change_unit(
            mft, record_size,
            [](window) {
                return layout{0, 20, 0, 56};
            },
            random);
    if (kind == 3)
        change_unit(
            mft, record_size,
            [](window r) {
                return layout{u32_at(r, 20, 2), 4, 0, 24};
            },
            random);
    if (kind >= 4)
        change_unit(
            log, 4096,
            [](window) {
                return layout{64, 24, 48, 88};
            },
            random);
    const bytes image = input.image();
    if (image.size() > max_size) return LLVMFuzzerMutate(data, size, max_size);
    std::ranges::copy(image, data);
    return image.size();
}
