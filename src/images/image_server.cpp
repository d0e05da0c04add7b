#include "images/image_server.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace kest {

namespace {

bool reply(const uni::process_link& link, std::uint32_t status, std::uint64_t size,
           std::span<const std::uint8_t> bytes) {
    bytes = bytes.first(std::min<std::size_t>(bytes.size(), image_protocol::longest));
    const auto length = static_cast<std::uint32_t>(bytes.size());
    std::array<std::uint8_t, image_protocol::header_size> header{};
    std::memcpy(header.data(), &status, sizeof status);
    std::memcpy(header.data() + 4, &length, sizeof length);
    std::memcpy(header.data() + 8, &size, sizeof size);
    return link.send(header) && link.send(bytes);
}

std::vector<std::uint8_t> bytes_of(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string joined_paths(const container& image) {
    std::string paths;
    for (const std::string& path : image.files)
        paths.append(path).append(1, '\0');
    return paths;
}

}  // namespace

void serve_image(const uni::process_link& link, const std::string& path, image_form form) {
    std::string error;
    const auto image = form == image_form::ewf ? open_ewf(path, error) : open_other(path, form, error);
    if (!image) {
        reply(link, image_protocol::failed, 0, bytes_of(error));
        return;
    }
    if (!reply(link, image_protocol::sound, image->size, bytes_of(joined_paths(*image)))) return;
    std::vector<std::uint8_t> buffer(image_protocol::longest);
    for (std::array<std::uint8_t, image_protocol::request_size> request{};
         link.receive(request) == uni::process_link::arrival::whole;) {
        std::uint64_t offset = 0;
        std::uint32_t length = 0;
        std::memcpy(&offset, request.data(), sizeof offset);
        std::memcpy(&length, request.data() + 8, sizeof length);
        const auto wanted = std::span(buffer).first(std::min<std::size_t>(length, buffer.size()));
        const container::arrival answer = image->read(offset, wanted);
        const std::uint32_t status = answer.bytes != wanted.size() ? image_protocol::failed
                                     : answer.sound                ? image_protocol::sound
                                                                   : image_protocol::damaged;
        if (!reply(link, status, 0, wanted.first(answer.bytes))) return;
    }
}

}  // namespace kest
