#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "portable/byte_view.h"

namespace kest {

// What a restart page says of its log. Empty is what the page has no room for.
struct restart_facts {
    std::optional<std::uint32_t> system_page_size;  // bytes; likewise the next one
    std::optional<std::uint32_t> log_page_size;
    std::optional<std::uint16_t> major_version;
    std::optional<std::uint16_t> minor_version;
    std::optional<std::uint64_t> current_lsn;
    std::optional<bool> clean;                   // the volume was dismounted in order
    std::optional<std::uint32_t> sequence_bits;  // top bits of an LSN, which hold the number of the round
    std::optional<std::uint64_t> log_size;       // bytes
    // Of the first client in use.
    std::optional<std::uint64_t> oldest_lsn;  // the oldest record that the client still needs
    std::optional<std::string> client_name;   // UTF-8

    bool operator==(const restart_facts&) const = default;
};

// Reads a restart page whose sector ends are put back. Nothing without the signature.
std::optional<restart_facts> read_restart_page(uni::byte_view page);

}  // namespace kest
