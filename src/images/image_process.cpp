#include "images/image_process.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "format/number.h"
#include "images/image_server.h"
#include "portable/byte_view.h"
#include "portable/file.h"

namespace kest {

namespace {

constexpr std::chrono::milliseconds patience_to_open{300'000};  // the tables of many files may have to be read

// For the library. Tables of a large container take some of it.
constexpr std::uint64_t memory_to_start = std::uint64_t{1} << 32;
constexpr std::uint64_t file_bytes_for_a_byte = 16;

}  // namespace

struct image_process::reply {
    std::uint32_t status = image_protocol::failed;
    std::uint64_t size = 0;
    std::size_t bytes = 0;  // that arrived after the header
};

image_process::opened image_process::open(const std::string& path, image_form form) {
    if (!has_library(form)) return {nullptr, std::string("built without ").append(library_of(form))};
    const std::shared_ptr<image_process> image(new image_process);
    if (!image->start(path, form)) return {nullptr, "no process for its library"};
    std::vector<std::uint8_t> payload(image_protocol::longest);
    const reply first = image->ask(0, 0, payload, patience_to_open);
    if (!image->m_failure.empty()) return {nullptr, image->m_failure};
    std::string text(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(first.bytes));
    if (first.status != image_protocol::sound) return {nullptr, text};
    image->m_size = first.size;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\0', at), text.size());
        image->m_files.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return {image, {}};
}

bool image_process::start(const std::string& path, image_form form) {
    uni::file file;
    if (!file.open(path, uni::open_mode::read)) return false;
    const std::uint64_t memory = memory_to_start + file.size() / file_bytes_for_a_byte;
    return m_process.start(memory, [&](const uni::process_link& link) { serve_image(link, path, form); });
}

// Without a length it waits for the reply that comes by itself.
image_process::reply image_process::ask(std::uint64_t offset, std::uint32_t length, std::span<std::uint8_t> payload,
                                        std::chrono::milliseconds patience) const {
    const std::lock_guard lock(m_asking);
    reply answer;
    if (!m_failure.empty()) return answer;
    std::array<std::uint8_t, image_protocol::request_size> request{};
    std::memcpy(request.data(), &offset, sizeof offset);
    std::memcpy(request.data() + 8, &length, sizeof length);
    if (length != 0 && !m_process.link().send(request)) {
        give_up(arrival::ended);
        return answer;
    }
    std::array<std::uint8_t, image_protocol::header_size> header{};
    arrival arrived = m_process.link().receive(header, patience);
    const uni::byte_view view = std::span<const std::uint8_t>(header);
    const std::uint32_t bytes = view.u32(4);
    if (arrived == arrival::whole && bytes > payload.size()) arrived = arrival::ended;
    if (arrived == arrival::whole) arrived = m_process.link().receive(payload.first(bytes), patience);
    if (arrived != arrival::whole) {
        give_up(arrived);
        return answer;
    }
    return {view.u32(0), view.u64(8), bytes};
}

void image_process::give_up(arrival arrived) const {
    m_failure =
        arrived == arrival::late ? "the library that reads it does not answer" : "the library that reads it ended";
    // One that hangs may not end before the device answers.
    const auto signal = m_process.end(arrived == arrival::late);
    if (signal) append_decimal(m_failure += ": signal ", static_cast<std::uint64_t>(*signal));
}

uni::read_result image_process::read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const {
    uni::read_result result;
    if (offset >= m_size) return result;
    buffer = buffer.first(static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), m_size - offset)));
    for (bool goes_on = true; goes_on && result.bytes < buffer.size();) {
        const auto wanted =
            static_cast<std::uint32_t>(std::min<std::size_t>(buffer.size() - result.bytes, image_protocol::longest));
        const reply got = ask(offset + result.bytes, wanted, buffer.subspan(result.bytes, wanted), m_patience);
        result.bytes += got.bytes;
        goes_on = got.bytes == wanted;
        result.failed = result.failed || !goes_on || got.status == image_protocol::damaged;
    }
    return result;
}

std::string image_process::failure() const {
    const std::lock_guard lock(m_asking);
    return m_failure;
}

}  // namespace kest
