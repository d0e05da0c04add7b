// Writes the bundled sample: a log, an MFT and a journal of one small volume, which tell one story. On 16 March 2026
// somebody fetches a tool, exports customer data, packs it, hides it as a holiday picture and clears up behind it.
//   make_sample <folder>

#include <fstream>
#include <string>

#include "volume.h"

namespace {

using namespace kest::disk;

bool write_file(const std::string& path, const bytes& content) {
    const std::string_view whole(reinterpret_cast<const char*>(content.data()), content.size());
    return (std::ofstream(path, std::ios::binary) << whole).flush().good();
}

// A junction: tag, length, both names, which lie one behind the other.
bytes junction(std::u16string_view target, std::u16string_view shown) {
    const auto width = [](std::u16string_view name) { return static_cast<u16>(2 * name.size()); };
    const auto behind = static_cast<u16>(width(target) + 2);
    return pack(u32{0xA0000003}, static_cast<u16>(8 + behind + width(shown) + 2), at{10}, width(target), behind,
                width(shown), target, u16{0}, shown, u16{0});
}

constexpr u32 root = 5;

struct folders {
    u32 anna, documents, downloads;
};

// Before the log came round to its beginning again.
folders settle_in(volume& v) {
    const u32 users = v.create_directory(root, u"Users", true);
    const u32 anna = v.create_directory(users, u"anna");
    const folders at{anna, v.create_directory(anna, u"Documents", true), v.create_directory(anna, u"Downloads")};
    v.wait(40000);
    const u32 offer = v.create(at.documents, u"Angebot Müller.docx");
    v.resize(offer, 18221);
    v.wait(95000);
    v.resize(offer, 24964);
    v.set_information(offer, v.at(offer).times, attribute_bits::archive | attribute_bits::read_only);
    bytes ids(64);
    for (std::size_t i = 0; i < 16; ++i)
        ids[i] = static_cast<u8>(0x31 + 7 * i);
    v.add_attribute(offer, 0x40, ids, reasons::object_id);
    v.secure(offer);
    return at;
}

u32 fetch_tool(volume& v, const folders& at) {
    const u32 tool = v.create(at.downloads, u"setup_tool.exe.part");
    v.resize(tool, 65536);
    v.wait(1200);
    v.resize(tool, 371200);
    v.wait(300);
    v.rename(tool, at.downloads, u"setup_tool.exe");
    const std::string_view zone = "[ZoneTransfer]\r\nZoneId=3\r\n";
    v.add_stream(tool, u"Zone.Identifier", bytes(zone.begin(), zone.end()));
    v.wait(61000);
    v.move_index_out(at.downloads);
    const u64 old = ticks(2019, 7, 1, 12, 0, 0);  // made to look old
    v.set_information(tool, {old, old, old, old}, attribute_bits::archive | attribute_bits::system);
    return tool;
}

void carry_off(volume& v, const folders& at) {
    const u32 exported = v.create_directory(at.documents, u"export");
    const u32 customers = v.create(exported, u"customers.csv");
    v.resize(customers, 412);
    v.wait(2000);
    v.resize(customers, 150000);
    v.wait(2000);
    v.resize(customers, 480311);
    v.checkpoint();
    v.wait(150000);
    const u32 bundle = v.create(at.documents, u"bundle.zip");
    v.resize(bundle, 201733);
    v.wait(9000);
    v.rename(bundle, at.anna, u"holiday.jpg");
    v.set_information(bundle, v.at(bundle).times, attribute_bits::archive | attribute_bits::hidden);
    v.link(bundle, root, u"pagefile.bak");
    v.wait(75000);
    v.remove_on_hold(customers);
    v.wait(4000);
    v.remove(customers);
    v.remove(exported);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    volume v({.log_size = 64 * 1024,
              .log_first_page = 9 * 4096,
              .log_round = 5,
              .first_usn = 0x140000,
              .begin = ticks(2026, 3, 16, 8, 41, 5)});
    const folders at = settle_in(v);
    v.checkpoint();
    v.set_clock(ticks(2026, 3, 16, 9, 2, 11));
    const u32 tool = fetch_tool(v, at);
    v.wait(320000);
    carry_off(v, at);
    v.wait(60000);
    const u32 notes = v.create(at.documents, u"notes.txt");  // takes a record that was given back
    v.resize(notes, 96);
    v.overwrite(notes);
    v.spill_link(notes, at.anna, u"notes (linked).txt");
    v.add_attribute(v.create_directory(at.anna, u"backup"), 0xC0, junction(u"\\??\\D:\\backup", u"D:\\backup"),
                    reasons::reparse);
    v.wait(30000);
    v.remove(tool);
    v.checkpoint();

    bytes journal = v.journal();
    journal.resize((journal.size() + 4095) / 4096 * 4096);
    const std::string folder = argv[1];
    const bool whole = write_file(folder + "/LogFile", v.log_image()) && write_file(folder + "/MFT", v.mft_image());
    return whole && write_file(folder + "/UsnJrnl_J", journal) ? 0 : 1;
}
