// Writes the seeds that fuzzing begins with: small pieces of evidence, each with something of its own in it.
//   make_seeds <corpus folder>

#include <filesystem>
#include <fstream>
#include <map>
#include <utility>

#include "logfile/scanner.h"
#include "support/hostile.h"
#include "support/usn_image.h"
#include "support/volume.h"

namespace {

using namespace kest::disk;

class corpus {
public:
    explicit corpus(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    void put(const std::string& target, const std::string& name, const bytes& seed) {
        std::filesystem::create_directories(m_folder / target);
        std::ofstream file(m_folder / target / name, std::ios::binary);
        for (const std::uint8_t byte : seed)
            file.put(static_cast<char>(byte));
        m_good = m_good && file.flush().good();
    }

    bool good() const { return m_good; }

private:
    std::filesystem::path m_folder;
    bool m_good = true;
};

// A volume on which everything happens once.
volume busy_volume() {
    constexpr std::uint32_t root = 5;
    volume v({.log_size = 128 * 1024, .first_usn = 0x10000, .begin = ticks(2026, 3, 16, 9, 0, 0)});
    const std::uint32_t folder = v.create_directory(root, u"folder", true);
    const std::uint32_t file = v.create(folder, u"file");
    v.resize(file, 100);
    v.resize(file, 10'000);
    v.overwrite(file);
    v.rename(file, root, u"renamed");
    v.link(file, folder, u"link");
    v.set_information(file, v.at(file).times, attribute_bits::read_only);
    v.add_stream(file, u"stream", bytes(20, 'x'));
    v.add_attribute(file, 0x40, bytes(64, 7), reasons::object_id);
    v.add_attribute(file, 0xC0, pack(u32{0xA000'0003}, u16{24}, at{10}, u16{8}, u16{8}, u16{8}, u"namename"),
                    reasons::reparse);
    v.secure(file);
    v.move_index_out(folder);
    v.spill_link(file, folder, u"outside");
    v.remove_on_hold(file);
    v.remove(file);
    v.checkpoint();
    return v;
}

// What the decoders' target asks for: the header fields that they read, then the payload.
bytes decoder_input(const kest::log_entry& entry) {
    bytes out;
    for (const auto& [offset, width] : {std::pair{48, 1}, {52, 2}, {54, 2}, {56, 2}, {60, 2}, {64, 2}, {66, 2}}) {
        for (int i = 0; i < width; ++i)
            out.push_back(entry.bytes.u8(static_cast<std::uint64_t>(offset + i)));
    }
    const uni::byte_view payload = entry.payload().slice(0, kest::payload_length(entry.bytes) - 40);
    out.insert(out.end(), payload.bytes().begin(), payload.bytes().end());
    return out;
}

// Two of each operation: the shortest and the longest.
void put_decoder_inputs(corpus& out, const bytes& log) {
    kest::log_store store;
    kest::scan_buffer(store, uni::byte_view(log));
    std::map<int, std::pair<bytes, bytes>> inputs;
    for (const kest::log_entry& entry : store.entries) {
        bytes input = decoder_input(entry);
        auto& [shortest, longest] = inputs[entry.redo_op];
        if (shortest.empty() || input.size() < shortest.size()) shortest = input;
        if (input.size() > longest.size()) longest = std::move(input);
    }
    for (const auto& [operation, pair] : inputs) {
        const std::string name = "operation_" + std::to_string(operation);
        out.put("decode", name + "_short", pair.first);
        out.put("decode", name + "_long", pair.second);
    }
}

void put_logs(corpus& out, const bytes& log) {
    out.put("log", "busy_pages", cut(log, 48 * 1024));
    out.put("log", "shared_tail", hostile::chains_that_share_a_tail(40));
    out.put("log", "own_predecessors", hostile::records_that_name_themselves(40));
    log_writer spanning(64 * 1024);
    const std::uint64_t head = spanning.add({.redo_op = 8, .redo = bytes(9000, 0x55)});
    spanning.add({.previous = head, .redo_op = 2, .redo = file_record{}.image()});
    out.put("log", "spanning_record", cut(spanning.image(tail_name(0x18, "$I30")), 32 * 1024));
    log_image stale;
    stale.restart().page({.last_lsn = 0x2100, .records = {{.lsn = 0x2008}, {.lsn = 0x2010, .previous = 0x2008}}});
    stale.page({.last_lsn = 0x1100, .records = {{.lsn = 0x1008}, {.lsn = 0x2018, .previous = 0x2010}}});
    out.put("log", "wrapped", stale.image());
}

void put_mfts(corpus& out, const bytes& mft) {
    out.put("mft", "busy", cut(bytes(mft.begin() + 34 * 1024, mft.end()), 16 * 1024));
    out.put("mft", "circle", hostile::mft_of_folders(8, 3, 4));
    out.put("mft", "lists", hostile::mft_of_lists(12));
    out.put("mft", "outer_lists", hostile::mft_of_outer_lists(8));
    out.put("mft", "claimed_indexes", hostile::mft_of_claims(6, 0xA0));
    out.put("mft", "large_records", mft_image({{.number = 0, .size = 4096}, {.number = 1, .size = 4096}}, 2));
}

void put_journals(corpus& out, const bytes& journal) {
    out.put("journal", "busy", cut(journal, 4096));
    journal_image versions;
    for (const u16 version : std::initializer_list<u16>{2, 3, 4, 2}) {
        versions.record({.version = version, .file = 0x0001'0000'0000'0028, .usn = versions.image.size() + 8});
    }
    versions.zeros_up_to(4096).record({.usn = 4096});
    out.put("journal", "versions", versions.image);
    out.put("journal", "odd_lengths",
            journal_image{}.record({.length = 64}).record({.name_length = 0xFFFF}).record({.name_offset = 3}).image);
}

// A log, its MFT and its journal in 64 KiB, with the bytes that tell at which 256ths the two begin.
void put_runs(corpus& out, const volume& v, const bytes& log) {
    const bytes mft(v.mft_image());
    bytes parts = cut(log, 40 * 1024);
    lay(parts, 40 * 1024, cut(mft, 2 * 1024));  // the first record tells the size of all
    lay(parts, 42 * 1024, cut(bytes(mft.begin() + 34 * 1024, mft.end()), 14 * 1024));
    parts.resize(56 * 1024);
    lay(parts, 56 * 1024, v.journal());
    parts.resize(64 * 1024);
    for (const u8 switches : std::initializer_list<u8>{0x00, 0x13, 0x2C, 0x42, 0x81}) {
        out.put("run", "switches_" + std::to_string(switches), pack(switches, u8{160}, u8{224}, parts));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    corpus out(argv[1]);
    volume v = busy_volume();
    const bytes log = v.log_image();
    put_logs(out, log);
    put_mfts(out, v.mft_image());
    put_journals(out, v.journal());
    put_decoder_inputs(out, log);
    put_runs(out, v, log);
    return out.good() ? 0 : 1;
}
