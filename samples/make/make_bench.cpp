// Writes the inputs of scripts/bench, each on its own:
//   make_bench log <MiB> <file>       a busy volume's log, full to its last page
//   make_bench dense <MiB> <file>     a log of files that come and stay, each with a file record and a journal record
//   make_bench mft <MiB> <file>       file records of a large tree
//   make_bench journal <MiB> <file>   journal records without a gap
//   make_bench sparse <MiB> <file>    the same after a hole, 64 GiB in all

#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "volume.h"

namespace {

using namespace kest::disk;

void write(std::ofstream& out, const bytes& part) {
    out.write(reinterpret_cast<const char*>(part.data()), static_cast<std::streamsize>(part.size()));
}

// Numbers that look random and are the same in each run.
u64 below(u64 limit) {
    static u64 state = 20260316;
    state += 0x9E3779B97F4A7C15;
    u64 z = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return (z ^ (z >> 31)) % limit;
}

std::u16string wide(std::string_view text) {
    return {text.begin(), text.end()};
}

std::u16string name_of(u64 number) {
    static constexpr std::string_view stems[] = {"report", "IMG_",    "invoice-2026-", "cache", "~tmp",
                                                 "a",      "meeting", "thumbnail_",    "log",   "Microphone test "};
    static constexpr std::string_view tails[] = {".docx", ".jpg", ".tmp", ".dat", ".log", ".xml", "", ".json"};
    return wide(std::string(stems[number % 10]) + std::to_string(number * 2654435761 % 1000003) +
                std::string(tails[number % 8]));
}

// Files come, grow, change their names and go, as on a machine that is worked at; or they only come, as on one that is
// copied to.
void write_log(std::ofstream& out, u64 mebibytes, bool only_comes) {
    volume v({.log_size = static_cast<u32>(mebibytes << 20), .begin = ticks(2026, 3, 16, 8, 0, 0)});
    std::vector<u32> folders, files;
    for (int i = 0; i < 60; ++i) {
        const u32 parent = folders.empty() ? 5 : folders[below(folders.size())];
        folders.push_back(v.create_directory(parent, wide("folder " + std::to_string(i)), true));
    }
    for (u64 step = 0; v.log_round() == 1; ++step) {
        v.wait(below(2000));
        const u64 choice = only_comes || files.size() < 200 ? 0 : below(100);
        if (choice < 20) {
            files.push_back(v.create(folders[below(folders.size())], name_of(step)));
            continue;
        }
        const std::size_t at = below(files.size());
        const u32 file = files[at];
        if (choice < 45) {
            v.resize(file, below(3) == 0 ? below(500) : below(1 << 20));
        } else if (choice < 70) {
            v.overwrite(file);
        } else if (choice < 78) {
            v.rename(file, folders[below(folders.size())], name_of(step));
        } else if (choice < 83) {
            v.set_information(file, attribute_bits::archive);
        } else if (choice < 99) {
            v.remove(file);
            files[at] = files.back();
            files.pop_back();
        } else {
            v.checkpoint();
        }
    }
    write(out, v.log_image());
}

// Every sixteenth record is a directory; each directory holds some six others.
void write_mft(std::ofstream& out, u64 mebibytes) {
    const u64 begin = ticks(2026, 1, 7, 9, 0, 0);
    write(out, part(volume({.begin = begin}).mft_image(), 0, 32 * 1024));
    for (u32 number = 32; number < mebibytes << 10; ++number) {
        const bool directory = number % 16 == 0;
        const u64 time = begin + number * u64{23456789};
        volume_file f{.number = number,
                      .sequence = static_cast<u16>(1 + number % 9),
                      .in_use = directory || number % 11 != 0,
                      .directory = directory,
                      .large_index = number % 32 == 0,
                      .times = {time, time + 9000000, time + 9000000, time + 70000000},
                      .attributes = directory ? attribute_bits::directory : attribute_bits::archive,
                      .size = directory ? 0 : number * u64{7919} % 300000,
                      .lsn = 0x100000 + number * u64{31},
                      .usn = 0x4000000 + number * u64{96}};
        if (f.size > 600) f.runs = {{10000 + number * u64{40}, (f.size + 4095) / 4096}};
        const u64 above = (directory ? number / 16 / 6 : number / 16) * 16;
        const u64 parent = above < 32 ? u64{5} << 48 | 5 : (1 + above % 9) << 48 | above;
        f.names = {{.parent = parent, .name = name_of(number), .copy = f.copy(), .id = 2}};
        write(out, f.image());
    }
}

void write_journal(std::ofstream& out, u64 mebibytes, u64 hole) {
    const u64 time = ticks(2026, 2, 1, 6, 0, 0);
    out.seekp(static_cast<std::streamoff>(hole));
    bytes page;
    for (u64 offset = 0, number = 0; offset < mebibytes << 20; offset += 4096) {
        for (page.clear();; ++number) {
            const u64 file = 100 + number * 7 % 200000;
            const bytes image = usn_image{.file = file | u64{3} << 48,
                                          .parent = file / 16 * 16 | u64{1} << 48,
                                          .usn = hole + offset + page.size(),
                                          .time = time + number * 41234,
                                          .reason = number % 3 == 0 ? 0x100u : 0x80000102u,
                                          .source = 0,
                                          .security_id = 0,
                                          .name = name_of(file)}
                                    .image();
            if (page.size() + image.size() > 4096) break;
            append(page, image);
        }
        page.resize(4096);
        write(out, page);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    const std::string_view kind = argv[1];
    const u64 mebibytes = std::strtoull(argv[2], nullptr, 10);
    std::ofstream out(argv[3], std::ios::binary);
    if (kind == "log" || kind == "dense") write_log(out, mebibytes, kind == "dense");
    if (kind == "mft") write_mft(out, mebibytes);
    if (kind == "journal") write_journal(out, mebibytes, 0);
    if (kind == "sparse") write_journal(out, mebibytes, (u64{64} << 30) - (mebibytes << 20));
    return out.tellp() > 0 && out.flush() ? 0 : 1;
}
