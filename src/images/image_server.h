#pragma once

#include <cstdint>
#include <string>

#include "images/container.h"
#include "portable/child_process.h"

namespace kest {

// How the process that reads an image and the one that asks for its bytes speak, over a socket. A request is an offset
// and a length; a reply has a header, and then so many bytes: on the first one, which nobody asks for, the paths of the
// image's files, each with a zero byte after it, or words on why it cannot be opened.
namespace image_protocol {
inline constexpr std::size_t request_size = 12;    // offset, 8 bytes; length, 4 bytes
inline constexpr std::size_t header_size = 16;     // status, 4 bytes; length, 4 bytes; size of the image, 8 bytes
inline constexpr std::uint32_t failed = 0;         // status: after these bytes
inline constexpr std::uint32_t sound = 1;          // status
inline constexpr std::uint32_t damaged = 2;        // status: not all bytes are what they should be
inline constexpr std::uint32_t longest = 1 << 20;  // bytes, of what follows a header
}  // namespace image_protocol

// Opens an image and answers requests until the socket is closed.
void serve_image(const uni::process_link& link, const std::string& path, image_form form);

}  // namespace kest
