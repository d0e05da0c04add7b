#include "logfile/restart_page.h"

#include "logfile/page.h"
#include "portable/unicode.h"

namespace kest {

namespace {

// Offsets in bytes from the page's start.
namespace header_layout {
constexpr uni::field<std::uint32_t> system_page_size{16};
constexpr uni::field<std::uint32_t> log_page_size{20};
constexpr uni::field<std::uint16_t> area_offset{24};
constexpr uni::field<std::uint16_t> minor_version{26};
constexpr uni::field<std::uint16_t> major_version{28};
constexpr std::uint32_t end = 30;  // what follows is the update sequence array
}  // namespace header_layout

// The restart area. Offsets in bytes from its start.
namespace area_layout {
constexpr uni::field<std::uint64_t> current_lsn{0};
constexpr uni::field<std::uint16_t> clients{8};
constexpr uni::field<std::uint16_t> first_in_use{12};  // number of a client record; 0xFFFF: none
constexpr uni::field<std::uint16_t> flags{14};
constexpr std::uint16_t clean_flag = 2;
constexpr uni::field<std::uint32_t> sequence_bits{16};
constexpr uni::field<std::uint16_t> length{20};
constexpr uni::field<std::uint16_t> clients_offset{22};
constexpr uni::field<std::uint64_t> log_size{24};
}  // namespace area_layout

// One client record. Offsets in bytes from its start.
namespace client_layout {
constexpr uni::field<std::uint64_t> oldest_lsn{0};
constexpr uni::field<std::uint32_t> name_length{28};  // bytes
constexpr std::uint32_t name = 32;                    // UTF-16
constexpr std::uint32_t size = 160;
}  // namespace client_layout

template <class integer>
std::optional<integer> stated(uni::byte_view bytes, uni::field<integer> f) {
    if (!bytes.has(f.offset, sizeof(integer))) return std::nullopt;
    return bytes.get(f);
}

void read_client(restart_facts& facts, uni::byte_view client) {
    facts.oldest_lsn = stated(client, client_layout::oldest_lsn);
    const auto length = stated(client, client_layout::name_length);
    if (!length || !client.has(client_layout::name, *length)) return;
    facts.client_name = uni::utf16_text(client.slice(client_layout::name, *length));
}

void read_area(restart_facts& facts, uni::byte_view area) {
    using namespace area_layout;
    facts.current_lsn = stated(area, current_lsn);
    if (const auto bits = stated(area, flags)) facts.clean = (*bits & clean_flag) != 0;
    facts.sequence_bits = stated(area, sequence_bits);
    facts.log_size = stated(area, log_size);
    const auto number = stated(area, first_in_use);
    const auto offset = stated(area, clients_offset);
    if (!number || !offset || *number >= area.get(clients)) return;
    read_client(facts, area.slice(*offset + std::uint64_t{client_layout::size} * *number, client_layout::size));
}

}  // namespace

std::optional<restart_facts> read_restart_page(uni::byte_view page) {
    if (!has_restart_signature(page)) return std::nullopt;
    restart_facts facts;
    facts.system_page_size = stated(page, header_layout::system_page_size);
    facts.log_page_size = stated(page, header_layout::log_page_size);
    facts.major_version = stated(page, header_layout::major_version);
    facts.minor_version = stated(page, header_layout::minor_version);
    const std::uint16_t offset = page.get(header_layout::area_offset);
    if (offset < header_layout::end) return facts;  // it would begin within the header
    const uni::byte_view area = page.from(offset);
    read_area(facts, area.slice(0, area.get(area_layout::length)));
    return facts;
}

}  // namespace kest
