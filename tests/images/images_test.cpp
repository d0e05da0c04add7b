#include <chrono>
#include <csignal>

#include "images/disk_image.h"
#include "images/image_process.h"
#include "support/made_run.h"
#include "support/volume_image.h"

namespace kest::disk {
namespace {

bytes bytes_of(const std::string& path) {
    const std::string text = contents_of(path);
    return {text.begin(), text.end()};
}

volume_image sample_volume() {
    return {.log = bytes_of(KEST_SAMPLES "/LogFile"), .journal = bytes_of(KEST_SAMPLES "/UsnJrnl_J")};
}

// With a partition that begins at 63.
bytes disk_of(const std::vector<partition_image>& partitions, const bytes& volume) {
    return pack(partition_table(partitions), at{63 * 512}, volume);
}

bytes gpt_disk(u64 sector, const bytes& volume) {
    const bytes entry = pack(u64{1}, u64{2}, u64{0}, u64{0}, u64{40}, 40 + volume.size() / sector - 1);
    const bytes header = pack(u64{0x5452415020494645}, at{72}, u64{2}, u32{4}, u32{128});
    return pack(at{sector}, header, at{2 * sector + 2 * 128}, entry, at{40 * sector}, volume);
}

// What no image is needed for: the places of the records.
const argument_list events = {"-quiet", "-events", "-jsonl", "-columns",
                              "time,event,state,path,old_path,inode,seq,lsn,offset,details"};

captured_run run_on(const argument_list& inputs) {
    argument_list args = events;
    args.insert(args.end(), inputs.begin(), inputs.end());
    return run_captured(args);
}

const std::string& expected_events() {
    static const std::string text = [] {
        const memory_file mft(sample_volume().mft());
        return run_on({"-log", KEST_SAMPLES "/LogFile", "-mftfile", mft.path(), "-jrnlfile", KEST_SAMPLES "/UsnJrnl_J"})
            .out;
    }();
    return text;
}

struct image_case {
    const char* what;
    bytes image;
    std::string said = {};  // part of it; empty: nothing
    bool same_events = true;
    argument_list more = {};
};

void check(const std::vector<image_case>& cases) {
    for (const image_case& t : cases) {
        SCOPED_TRACE(t.what);
        const memory_file image(t.image);
        argument_list args = {"-image", image.path()};
        args.insert(args.end(), t.more.begin(), t.more.end());
        const captured_run ran = run_on(args);
        EXPECT_EQ(ran.status, t.said.empty() ? 0 : -1);
        EXPECT_EQ(ran.err.empty(), t.said.empty()) << ran.err;
        EXPECT_NE(ran.err.find(t.said), std::string::npos) << ran.err;
        EXPECT_EQ(ran.out == expected_events(), t.same_events);
    }
}

bytes without(bytes image, std::size_t offset, std::size_t length) {
    lay(image, offset, bytes(length));
    return image;
}

TEST(image, is_read_wherever_its_volume_lies) {
    const volume_image sample = sample_volume();
    const bytes volume = sample.image();
    ASSERT_GT(std::ranges::count(expected_events(), '\n'), 20);
    bytes logical = disk_of({{.first = 63, .sectors = 5}}, volume);
    lay(logical, 0, partition_table({{.first = 8, .sectors = 9999, .type = 15}}));
    lay(logical, 8 * 512, partition_table({{.first = 2, .sectors = 2}, {.first = 8, .sectors = 100, .type = 5}}));
    lay(logical, 16 * 512, partition_table({{.first = 47, .sectors = 2401}, {.first = 0, .sectors = 9, .type = 5}}));
    bytes copied_table = gpt_disk(512, volume);
    copied_table.resize(copied_table.size() + 512);
    lay(copied_table, copied_table.size() - 512, part(copied_table, 512, 1024));
    const auto second = static_cast<u32>(63 + 302 * 8);
    check({
        {"a volume by itself", volume},
        {"a disk with an MBR", disk_of({{.first = 63, .sectors = 2401}}, volume)},
        {"logical partitions, in a circle", logical},
        {"a GPT", gpt_disk(512, volume)},
        {"a GPT of large sectors", gpt_disk(4096, volume), "", true, {"-partition", "3"}},
        {"the copy of a GPT", without(copied_table, 512, 512)},
        {"partitions over one another, outside, of the same place, and foreign",
         disk_of({{63, 2401}, {0xFFFF'0000, 0xFFFF'FFFF}, {63, 0xFFFF'FFFF}, {64, 99}}, volume)},
        {"the second of two volumes",
         pack(disk_of({{63, 2401}, {second, 2401}}, without(volume, 100 * cluster, 65536)), at{second * 512}, volume),
         "",
         true,
         {"-partition", "2"}},
        {"two volumes, and none chosen", pack(disk_of({{63, 2401}, {second, 2401}}, volume), at{second * 512}, volume),
         "several volumes: -partition 1, 2", false},
        {"no such partition", disk_of({{63, 2401}}, volume), "there are 1", false, {"-partition", "4"}},
        {"no volume", bytes(70'000), "no NTFS volume", false},
    });
}

TEST(image, tells_what_is_damaged_and_reports_on_the_rest) {
    const volume_image sample = sample_volume();
    const bytes volume = sample.image();
    const auto with = [&](auto&& change) {
        volume_image changed = sample;
        change(changed);
        return changed.image();
    };
    // The MFT's second piece is in a record of its first one, and says once more where that is.
    const bytes list = pack(u32{0x80}, u16{32}, u8{0}, u8{26}, u64{0}, u64{0}, u64{0}, u32{0x80}, u16{32}, u8{0},
                            u8{26}, u64{1}, u64{0x0001'0000'0000'0003}, u64{0});
    volume_image pieces = sample;
    pieces.mft_attributes = {resident(0x20, list), data_in({{1, 4}}, 32 * 1024)};
    pieces.more = {{.number = 3,
                    .base = 0x0001'0000'0000'0000,
                    .attributes = {resident(0x20, list), data_in({{7, 5}}, 0, {.first_vcn = 1})}}};
    check({
        {"an MFT in pieces", pieces.image()},
        {"no boot sector", without(volume, 0, 512), "its copy at the end was read"},
        {"no boot sector of a partition", without(disk_of({{63, 2401}}, volume), 63 * 512, 512), "boot sector damaged"},
        {"record 0", without(volume, 4 * cluster, 512), "file record 0 damaged, its copy was read"},
        {"the log's record", without(volume, 4 * cluster + 2048, 512), "file record 2 damaged"},
        {"records 0 and 2, and their copies", without(without(volume, 4 * cluster, 2560), 2 * cluster, 4096),
         "no $LogFile found", false},
        {"no folder of the journal, and the journal's record names its parent",
         [&] {
             volume_image named = sample;
             named.journal_attributes.insert(named.journal_attributes.begin(),
                                             name_image{.parent = 11, .name = u"$UsnJrnl"}.attribute());
             return without(named.image(), 4 * cluster + 11 * 1024, 512);
         }(),
         ""},
        {"a volume of 2^63 bytes and more", with([](volume_image& v) { v.claimed_sectors = ~u64{0}; }),
         "reaches beyond the image"},
        {"an image that ends early", part(volume, 0, 250 * cluster), "reaches beyond the image"},
        {"runs that leave the volume", with([](volume_image& v) {
             v.mft_attributes = {data_in({{8, 4}, {u64{1} << 50, 299}, {8, ~u64{0} - 3}}, u64{1} << 62)};
         }),
         "bytes of $MFT lie nowhere in the image"},
        {"a log that is not there", with([](volume_image& v) {
             v.log_runs = {{16, 4'000'000}};
         }),
         "65536 bytes of $LogFile lie nowhere", false},
        {"the same clusters forty times", with([](volume_image& v) {
             v.journal_attributes = {data_in(std::vector<cluster_run>(40, {200, 1}), 8'000 * 4096, {.name = u"$J"})};
         }),
         "bytes of $UsnJrnl:$J lie nowhere", false},
    });
}

TEST(image, steps_over_the_hole_of_a_journal) {
    volume_image sample = sample_volume();
    const u64 hole = u64{1} << 45;
    sample.journal_attributes = {data_in({{hole / cluster}, {2, 200}}, hole + sample.journal.size(), {.name = u"$J"})};
    const memory_file image(sample.image());
    const captured_run ran = run_captured({"-quiet", "-image", image.path(), "-coverage", "-jsonl"});
    const std::string all = run_captured({"-quiet", "-log", KEST_SAMPLES "/LogFile", "-jrnlfile",
                                          KEST_SAMPLES "/UsnJrnl_J", "-coverage", "-jsonl"})
                                .out;
    const auto records = [](const std::string& text) { return text.substr(text.find("\"journal_records\":"), 24); };
    EXPECT_EQ(records(ran.out), records(all));
    EXPECT_EQ(ran.status, 0) << ran.err;
}

// Whatever is damaged: no crash, and an end.
TEST(image, may_be_damaged_anywhere) {
    const bytes volume = disk_of({{63, 2401}}, sample_volume().image());
    std::uint64_t chance = 4;
    const auto next = [&chance](std::size_t below) {
        chance = chance * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::size_t>(chance >> 33) % below;
    };
    for (int turn = 0; turn < 300; ++turn) {
        bytes damaged = volume;
        const std::size_t begin = 63 * 512 + (turn % 3 == 0 ? 0 : 4 * cluster);
        for (int change = 0; change < 20; ++change) {
            const std::size_t number[] = {0, 2, 11, 24};
            const std::size_t offset = turn % 3 == 0 ? next(96) : number[next(4)] * 1024 + next(300);
            damaged[begin + offset] = static_cast<u8>(next(256));
        }
        const memory_file file(damaged);
        const disk_image image = open_image(file.path());
        for (const volume_place& place : image.volumes) {
            const volume_streams streams = open_streams(image.bytes, place);
            bytes room(1 << 16);
            for (const auto& stream : {streams.log, streams.mft, streams.journal}) {
                if (!stream) continue;
                EXPECT_LE(stream->data_bytes(), damaged.size());
                for (u64 at = stream->next_data(0); at < stream->size(); at = stream->next_data(at + room.size()))
                    EXPECT_NE(stream->read_at(room, at).bytes, 0u);
            }
        }
    }
}

TEST(image, is_evidence) {
    const scratch_folder folder;
    const bytes volume = sample_volume().image();
    const std::string text(volume.begin(), volume.end());
    const std::string path = folder.put("disk.001", text.substr(0, 500'000));
    folder.put("disk.002", text.substr(500'000));
    for (const std::string name : {"disk.001", "disk.002"}) {
        const captured_run ran = run_on({"-image", path, "-out", folder.at(name)});
        EXPECT_EQ(ran.status, -1);
    }
    EXPECT_EQ(contents_of(path) + contents_of(folder.at("disk.002")), text);
    EXPECT_EQ(run_on({"-image", path}).out == expected_events(), has_library(image_form::split));
}

}  // namespace
}  // namespace kest::disk
