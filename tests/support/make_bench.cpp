// Writes the inputs of scripts/bench, each on its own:
//   make_bench log <MiB> <file>       a busy volume's log, full to its last page
//   make_bench mft <MiB> <file>       file records of a large tree
//   make_bench journal <MiB> <file>   journal records without a gap
//   make_bench sparse <MiB> <file>    the same behind a hole, 64 GiB in all

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>

#include "support/volume.h"

namespace {

using namespace kest::disk;

struct closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using output = std::unique_ptr<std::FILE, closer>;

bool write(const output& out, const bytes& part) {
    return std::fwrite(part.data(), 1, part.size(), out.get()) == part.size();
}

// Numbers that look random and are the same in each run.
class number_source {
public:
    std::uint64_t below(std::uint64_t limit) {
        m_state += 0x9E3779B97F4A7C15;
        std::uint64_t z = (m_state ^ (m_state >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return (z ^ (z >> 31)) % limit;
    }

private:
    std::uint64_t m_state = 20260316;
};

std::u16string wide(std::string_view text) {
    return {text.begin(), text.end()};
}

std::u16string name_of(std::uint64_t number) {
    static constexpr std::string_view stems[] = {"report", "IMG_",    "invoice-2026-", "cache", "~tmp",
                                                 "a",      "meeting", "thumbnail_",    "log",   "Microphone test "};
    static constexpr std::string_view tails[] = {".docx", ".jpg", ".tmp", ".dat", ".log", ".xml", "", ".json"};
    return wide(std::string(stems[number % 10]) + std::to_string(number * 2654435761 % 1000003) +
                std::string(tails[number % 8]));
}

// Files come, grow, change their names and go, as on a machine that is worked at.
bool write_log(const output& out, std::uint64_t mebibytes) {
    volume v({.log_size = static_cast<std::uint32_t>(mebibytes << 20), .begin = ticks(2026, 3, 16, 8, 0, 0)});
    number_source random;
    std::vector<std::uint32_t> folders, files;
    for (int i = 0; i < 60; ++i) {
        const std::uint32_t parent = folders.empty() ? 5 : folders[random.below(folders.size())];
        folders.push_back(v.create_directory(parent, wide("folder " + std::to_string(i)), true));
    }
    for (std::uint64_t step = 0; v.log_round() == 1; ++step) {
        v.wait(random.below(2000));
        const std::uint64_t choice = files.size() < 200 ? 0 : random.below(100);
        if (choice < 20) {
            files.push_back(v.create(folders[random.below(folders.size())], name_of(step)));
            continue;
        }
        const std::size_t at = random.below(files.size());
        const std::uint32_t file = files[at];
        if (choice < 45) {
            v.resize(file, random.below(3) == 0 ? random.below(500) : random.below(1 << 20));
        } else if (choice < 70) {
            v.overwrite(file);
        } else if (choice < 78) {
            v.rename(file, folders[random.below(folders.size())], name_of(step));
        } else if (choice < 83) {
            v.set_information(file, v.at(file).times, attribute_bits::archive);
        } else if (choice < 99) {
            v.remove(file);
            files[at] = files.back();
            files.pop_back();
        } else {
            v.checkpoint();
        }
    }
    return write(out, v.log_image());
}

// Every sixteenth record is a directory; each directory holds some six others.
std::uint64_t parent_of(std::uint32_t number) {
    if (number % 16 != 0) return number / 16 * 16 < 32 ? 5 : number / 16 * 16;
    const std::uint32_t above = number / 16 / 6 * 16;
    return above < 32 ? 5 : above;
}

bool write_mft(const output& out, std::uint64_t mebibytes) {
    const bytes system = volume({.begin = ticks(2026, 1, 7, 9, 0, 0)}).mft_image();
    bool good = write(out, bytes(system.begin(), system.begin() + 32 * 1024));
    const auto count = static_cast<std::uint32_t>(mebibytes << 10);
    const std::uint64_t begin = ticks(2026, 1, 7, 9, 0, 0);
    for (std::uint32_t number = 32; number < count && good; ++number) {
        const bool directory = number % 16 == 0;
        const std::uint64_t time = begin + number * std::uint64_t{23456789};
        const std::uint64_t parent = parent_of(number);
        volume_file f{.number = number,
                      .sequence = static_cast<std::uint16_t>(1 + number % 9),
                      .in_use = directory || number % 11 != 0,
                      .directory = directory,
                      .large_index = directory && number % 32 == 0,
                      .names = {{parent | std::uint64_t{parent == 5 ? 5 : 1 + parent % 9} << 48, name_of(number)}},
                      .times = {time, time + 9000000, time + 9000000, time + 70000000},
                      .name_times = {time, time, time, time},
                      .attributes = directory ? attribute_bits::directory : attribute_bits::archive,
                      .size = number * std::uint64_t{7919} % 300000,
                      .lsn = 0x100000 + number * std::uint64_t{31},
                      .usn = 0x4000000 + number * std::uint64_t{96}};
        if (!directory && f.size > 600) f.runs = {{10000 + number * std::uint64_t{40}, (f.size + 4095) / 4096}};
        if (directory) f.size = 0;
        good = write(out, file_record_image(f));
    }
    return good;
}

bool write_journal(const output& out, std::uint64_t mebibytes, std::uint64_t hole) {
    const std::uint64_t end = mebibytes << 20;
    const std::uint64_t time = ticks(2026, 2, 1, 6, 0, 0);
    if (hole != 0 && (ftruncate(fileno(out.get()), static_cast<off_t>(hole + end)) != 0 ||
                      fseeko(out.get(), static_cast<off_t>(hole), SEEK_SET) != 0)) {
        return false;
    }
    bytes page;
    bool good = true;
    for (std::uint64_t offset = 0, number = 0; offset < end && good; offset += 4096) {
        for (page.clear();; ++number) {
            const std::uint64_t file = 100 + number * 7 % 200000;
            const std::u16string name = name_of(file);
            const bytes image = journal_record{.file = file | std::uint64_t{3} << 48,
                                               .parent = file / 16 * 16 | std::uint64_t{1} << 48,
                                               .usn = hole + offset + page.size(),
                                               .time = time + number * 41234,
                                               .reason = number % 3 == 0 ? 0x100u : 0x80000102u,
                                               .attributes = attribute_bits::archive,
                                               .name = name}
                                    .image();
            if (page.size() + image.size() > 4096) break;
            lay(page, page.size(), image);
        }
        page.resize(4096);
        good = write(out, page);
    }
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const std::string_view kind = argv[1];
    const std::uint64_t mebibytes = std::strtoull(argv[2], nullptr, 10);
    output out(std::fopen(argv[3], "wb"));
    if (out == nullptr || mebibytes == 0) return 1;
    bool good = false;
    if (kind == "log") good = write_log(out, mebibytes);
    if (kind == "mft") good = write_mft(out, mebibytes);
    if (kind == "journal") good = write_journal(out, mebibytes, 0);
    if (kind == "sparse") good = write_journal(out, mebibytes, (std::uint64_t{64} << 30) - (mebibytes << 20));
    return good && std::fflush(out.get()) == 0 ? 0 : 1;
}
