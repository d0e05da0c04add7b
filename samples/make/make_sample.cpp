// Writes the bundled sample: a log, an MFT and a journal of one small volume, which tell one story. On 16 March 2026
// somebody fetches a tool, exports customer data, packs it, hides it as a holiday picture and covers the tracks.
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

// A junction: tag, length, both names, which lie one after the other.
bytes junction(std::u16string_view target, std::u16string_view shown) {
    const auto width = [](std::u16string_view name) { return static_cast<u16>(2 * name.size()); };
    const auto second = static_cast<u16>(width(target) + 2);
    return pack(u32{0xA0000003}, static_cast<u16>(8 + second + width(shown) + 2), at{10}, width(target), second,
                width(shown), target, u16{0}, shown, u16{0});
}

constexpr u32 root = 5;

struct folders {
    u32 anna, documents, downloads, pictures;
};

// Most of it is lost: the log comes round to its beginning again.
folders settle_in(volume& v) {
    const u32 users = v.create_directory(root, u"Users", true);
    const u32 anna = v.create_directory(users, u"anna");
    return {anna, v.create_directory(anna, u"Documents", true), v.create_directory(anna, u"Downloads"),
            v.create_directory(anna, u"Pictures")};
}

void write_offer(volume& v, const folders& at) {
    const u32 offer = v.create(at.documents, u"Angebot an Frau Mueller (Entwurf) - Kopie.docx");
    v.resize(offer, 18221);
    v.wait(95000);
    v.rename(offer, at.documents, u"Angebot Müller.docx");
    v.set_information(offer, attribute_bits::archive | attribute_bits::read_only);
    bytes ids(64);
    for (std::size_t i = 0; i < 16; ++i)
        ids[i] = static_cast<u8>(0x31 + 7 * i);
    v.add_attribute(offer, types::object_id, {}, ids, reasons::object_id);
}

u32 fetch_tool(volume& v, const folders& at) {
    const u32 tool = v.create(at.downloads, u"setup_tool.exe.part");
    v.resize(tool, 371200);
    v.wait(300);
    v.rename(tool, at.downloads, u"setup_tool.exe");
    const std::string_view zone = "[ZoneTransfer]\r\nZoneId=3\r\nHostUrl=about:internet\r\n";
    v.add_attribute(tool, types::data, u"Zone.Identifier", bytes(zone.begin(), zone.end()),
                    reasons::stream | reasons::stream_extended);
    v.wait(61000);
    v.move_index_out(at.downloads);
    v.drop_attribute(tool, reasons::stream | reasons::stream_truncated);  // so that nobody is warned
    return tool;
}

u32 carry_off(volume& v, const folders& at) {
    const u32 exported = v.create_directory(at.documents, u"export");
    v.secure(exported);
    const u32 customers = v.create(exported, u"customers.csv");
    v.resize(customers, 412);
    v.wait(2000);
    v.resize(customers, 480311);
    v.checkpoint();
    v.wait(150000);
    const u32 bundle = v.create(at.documents, u"bundle.zip");
    v.resize(bundle, 201733);
    v.wait(9000);
    v.rename(bundle, at.pictures, u"holiday.jpg");
    v.set_information(bundle, attribute_bits::archive | attribute_bits::hidden,
                      ticks(2019, 7, 14, 16, 20, 33));  // made to look old
    v.link(bundle, root, u"pagefile.bak");
    v.wait(75000);
    v.in_vain(ending::undone, [&] { v.remove(customers); });  // it is still open somewhere
    v.wait(4000);
    v.overwrite(customers);
    v.remove(customers);
    v.remove(exported);
    v.unlink(bundle);
    return bundle;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    volume v(
        {.log_size = 64 * 1024, .log_first_page = 9 * 4096, .log_round = 5, .begin = ticks(2026, 3, 16, 8, 41, 5)});
    // A transaction lies across the end of what is overwritten, and no record across the end of the log, where it could
    // not be put together: names and streams have the lengths for it.
    const folders at = settle_in(v);
    v.wait(40000);
    write_offer(v, at);
    v.checkpoint();
    v.set_clock(ticks(2026, 3, 16, 9, 2, 11));
    const u32 tool = fetch_tool(v, at);
    v.wait(320000);
    const u32 bundle = carry_off(v, at);
    v.wait(60000);
    const u32 notes = v.create(at.documents, u"notes.txt");  // takes a record that was given back
    v.resize(notes, 96);
    v.spill_link(notes, at.anna, u"notes (linked).txt");
    const u32 backup = v.create_directory(at.anna, u"backup");
    v.add_attribute(backup, types::reparse_point, {}, junction(u"\\??\\D:\\backup", u"D:\\backup"), reasons::reparse);
    v.wait(30000);
    v.overwrite(notes);
    v.overwrite(notes);  // no event: the journal said so already
    v.remove(tool);
    v.drop_attribute(backup, reasons::reparse);
    v.checkpoint();
    v.wait(5000);
    v.in_vain(ending::open, [&] { v.rename(bundle, at.documents, u"holiday (1).jpg"); });  // when the copy was taken

    bytes journal = v.journal();
    journal.resize((journal.size() + 4095) / 4096 * 4096);
    const std::string folder = argv[1];
    const bool whole = write_file(folder + "/LogFile", v.log_image()) && write_file(folder + "/MFT", v.mft_image());
    return whole && write_file(folder + "/UsnJrnl_J", journal) ? 0 : 1;
}
