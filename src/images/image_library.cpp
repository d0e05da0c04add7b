#include "images/image_library.h"

#ifdef KEST_LIBTSK

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <dlfcn.h>
#include <limits>
#include <span>
#include <string_view>
#include <sys/socket.h>
#include <tsk/libtsk.h>
#include <vector>

namespace kest {

namespace {

// Loaded where it is needed only: with all that it rests on it is larger than the program.
struct library {
    decltype(&tsk_img_open_utf8_sing) open = nullptr;
    decltype(&tsk_img_read) read = nullptr;

    bool whole() const { return open && read; }
};

library load() {
    library loaded;
    void* const handle = ::dlopen(KEST_LIBTSK, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return loaded;
    const auto find = [handle]<class function>(function& call, const char* name) {
        call = std::bit_cast<function>(::dlsym(handle, name));
    };
    find(loaded.open, "tsk_img_open_utf8_sing");
    find(loaded.read, "tsk_img_read");
    return loaded;
}

bool send_all(int socket, std::span<const char> bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
    return true;
}

bool reply(int socket, bool good, std::uint64_t size, std::span<const char> bytes) {
    bytes = bytes.first(std::min<std::size_t>(bytes.size(), image_protocol::longest));
    const std::uint32_t status = good ? image_protocol::good : 0;
    const auto length = static_cast<std::uint32_t>(bytes.size());
    std::array<char, image_protocol::header_size> header{};
    std::memcpy(header.data(), &status, sizeof status);
    std::memcpy(header.data() + 4, &length, sizeof length);
    std::memcpy(header.data() + 8, &size, sizeof size);
    return send_all(socket, header) && send_all(socket, bytes);
}

std::string paths_of(const TSK_IMG_INFO& image) {
    std::string paths;
    for (int index = 0; image.images != nullptr && index < image.num_img; ++index)
        paths.append(image.images[index]).append(1, '\0');
    return paths;
}

}  // namespace

bool has_image_library() {
    return true;
}

void serve_image(int socket, const std::string& path, image_form form) {
    const library tsk = load();
    if (!tsk.whole()) {
        reply(socket, false, 0, std::string_view("its library is not there: " KEST_LIBTSK));
        return;
    }
    constexpr unsigned usual_sectors = 0;
    const bool split = form == image_form::split;
    TSK_IMG_INFO* const image = tsk.open(path.c_str(), split ? TSK_IMG_TYPE_RAW : TSK_IMG_TYPE_DETECT, usual_sectors);
    if (image == nullptr || (!split && image->itype == TSK_IMG_TYPE_RAW)) {  // what it does not understand is raw to it
        reply(socket, false, 0, std::string_view("its library does not understand it"));
        return;
    }
    if (!reply(socket, true, static_cast<std::uint64_t>(std::max<TSK_OFF_T>(image->size, 0)), paths_of(*image))) return;
    std::vector<char> buffer(image_protocol::longest);
    for (std::array<char, image_protocol::request_size> request{};
         ::recv(socket, request.data(), request.size(), MSG_WAITALL) == static_cast<ssize_t>(request.size());) {
        std::uint64_t offset = 0;
        std::uint32_t length = 0;
        std::memcpy(&offset, request.data(), sizeof offset);
        std::memcpy(&length, request.data() + 8, sizeof length);
        const std::size_t wanted = std::min<std::size_t>(length, buffer.size());
        const ssize_t got = tsk.read(image, static_cast<TSK_OFF_T>(offset), buffer.data(), wanted);
        const auto arrived = static_cast<std::size_t>(std::clamp<ssize_t>(got, 0, static_cast<ssize_t>(wanted)));
        if (!reply(socket, arrived == wanted, 0, std::span(buffer).first(arrived))) return;
    }
}

}  // namespace kest

#else

namespace kest {

bool has_image_library() {
    return false;
}

void serve_image(int, const std::string&, image_form) {}

}  // namespace kest

#endif
