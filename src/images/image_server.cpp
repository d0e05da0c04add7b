#include "images/image_server.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <sys/socket.h>
#include <vector>

namespace kest {

namespace {

bool send_all(int socket, std::span<const char> bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
    return true;
}

bool reply(int socket, std::uint32_t status, std::uint64_t size, std::span<const char> bytes) {
    bytes = bytes.first(std::min<std::size_t>(bytes.size(), image_protocol::longest));
    const auto length = static_cast<std::uint32_t>(bytes.size());
    std::array<char, image_protocol::header_size> header{};
    std::memcpy(header.data(), &status, sizeof status);
    std::memcpy(header.data() + 4, &length, sizeof length);
    std::memcpy(header.data() + 8, &size, sizeof size);
    return send_all(socket, header) && send_all(socket, bytes);
}

std::string joined_paths(const container& image) {
    std::string paths;
    for (const std::string& path : image.files)
        paths.append(path).append(1, '\0');
    return paths;
}

}  // namespace

void serve_image(int socket, const std::string& path, image_form form) {
    std::string error;
    const auto image = form == image_form::ewf ? open_ewf(path, error) : open_other(path, form, error);
    if (!image) {
        reply(socket, image_protocol::failed, 0, error);
        return;
    }
    if (!reply(socket, image_protocol::sound, image->size, joined_paths(*image))) return;
    std::vector<char> buffer(image_protocol::longest);
    for (std::array<char, image_protocol::request_size> request{};
         ::recv(socket, request.data(), request.size(), MSG_WAITALL) == static_cast<ssize_t>(request.size());) {
        std::uint64_t offset = 0;
        std::uint32_t length = 0;
        std::memcpy(&offset, request.data(), sizeof offset);
        std::memcpy(&length, request.data() + 8, sizeof length);
        const auto wanted = std::span(buffer).first(std::min<std::size_t>(length, buffer.size()));
        const container::arrival got = image->read(offset, wanted);
        const std::uint32_t status = got.bytes != wanted.size() ? image_protocol::failed
                                     : got.sound                ? image_protocol::sound
                                                                : image_protocol::damaged;
        if (!reply(socket, status, 0, wanted.first(got.bytes))) return;
    }
}

}  // namespace kest
