#include "format/sid.h"

#include <algorithm>

#include "format/number.h"

namespace kest {

namespace {

struct named_sid {
    std::string_view sid;
    std::string_view name;
};
constexpr named_sid named_sids[] = {
    {"S-1-1-0", "Everyone"},
    {"S-1-3-0", "CREATOR OWNER"},
    {"S-1-5-7", "NT AUTHORITY\\ANONYMOUS LOGON"},
    {"S-1-5-11", "NT AUTHORITY\\Authenticated Users"},
    {"S-1-5-18", "NT AUTHORITY\\SYSTEM"},
    {"S-1-5-19", "NT AUTHORITY\\LOCAL SERVICE"},
    {"S-1-5-20", "NT AUTHORITY\\NETWORK SERVICE"},
    {"S-1-5-32-544", "BUILTIN\\Administrators"},
    {"S-1-5-32-545", "BUILTIN\\Users"},
    {"S-1-5-32-546", "BUILTIN\\Guests"},
    {"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", "NT SERVICE\\TrustedInstaller"},
};

constexpr std::uint32_t authority_begin = 2;  // big-endian, up to where the parts of 4 bytes begin
constexpr std::uint32_t parts_begin = 8;

}  // namespace

void append_sid(std::string& out, uni::byte_view sid) {
    std::uint64_t authority = 0;
    for (std::uint32_t at = authority_begin; at < parts_begin; ++at)
        authority = authority << 8 | sid.u8(at);
    out += "S-";
    append_decimal(out, sid.u8(0));
    out += '-';
    if (authority >> 32 != 0) {
        append_number(out, authority, true);
    } else {
        append_decimal(out, authority);
    }
    for (std::uint64_t at = parts_begin; sid.has(at, 4); at += 4) {
        out += '-';
        append_decimal(out, sid.u32(at));
    }
}

std::string_view well_known_name(std::string_view sid) {
    const named_sid* const found = std::ranges::find(named_sids, sid, &named_sid::sid);
    return found != std::end(named_sids) ? found->name : std::string_view{};
}

}  // namespace kest
