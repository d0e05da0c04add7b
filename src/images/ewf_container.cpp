#include "images/container.h"

#ifdef KEST_LIBEWF

#include <algorithm>
#include <libewf.h>

#include "portable/loaded_library.h"

namespace kest {

namespace {

struct ewf_calls {
    decltype(&libewf_glob) glob = nullptr;
    decltype(&libewf_handle_initialize) create = nullptr;
    decltype(&libewf_handle_set_read_zero_chunk_on_error) zero_damaged = nullptr;
    decltype(&libewf_handle_open) open = nullptr;
    decltype(&libewf_handle_get_media_size) media_size = nullptr;
    decltype(&libewf_handle_get_bytes_per_sector) sector_size = nullptr;
    decltype(&libewf_handle_read_random) read = nullptr;
    decltype(&libewf_handle_get_number_of_checksum_errors) checksum_errors = nullptr;
    decltype(&libewf_handle_get_checksum_error) checksum_error = nullptr;
    decltype(&libewf_handle_get_number_of_acquiry_errors) acquiry_errors = nullptr;
    decltype(&libewf_handle_get_acquiry_error) acquiry_error = nullptr;
    bool whole = false;
};

ewf_calls load() {
    ewf_calls ewf;
    uni::loaded_library library(KEST_LIBEWF);
    library.find(ewf.glob, "libewf_glob");
    library.find(ewf.create, "libewf_handle_initialize");
    library.find(ewf.zero_damaged, "libewf_handle_set_read_zero_chunk_on_error");
    library.find(ewf.open, "libewf_handle_open");
    library.find(ewf.media_size, "libewf_handle_get_media_size");
    library.find(ewf.sector_size, "libewf_handle_get_bytes_per_sector");
    library.find(ewf.read, "libewf_handle_read_random");
    library.find(ewf.checksum_errors, "libewf_handle_get_number_of_checksum_errors");
    library.find(ewf.checksum_error, "libewf_handle_get_checksum_error");
    library.find(ewf.acquiry_errors, "libewf_handle_get_number_of_acquiry_errors");
    library.find(ewf.acquiry_error, "libewf_handle_get_acquiry_error");
    ewf.whole = library.whole();
    return ewf;
}

// What the library gives for sectors that failed when the disk was read, or whose checksum is wrong now, are zeros,
// and it says nothing: so it is asked.
class ewf_container : public container {
public:
    bool open(const std::string& path) {
        char** names = nullptr;
        int count = 0;
        if (!m_ewf.whole || m_ewf.glob(path.c_str(), path.size(), LIBEWF_FORMAT_UNKNOWN, &names, &count, nullptr) != 1)
            return false;
        for (int index = 0; index < count; ++index)
            files.emplace_back(names[index]);
        size64_t bytes = 0;
        const bool opened = m_ewf.create(&m_handle, nullptr) == 1 &&
                            m_ewf.open(m_handle, names, count, LIBEWF_OPEN_READ, nullptr) == 1 &&
                            m_ewf.media_size(m_handle, &bytes, nullptr) == 1 &&
                            m_ewf.sector_size(m_handle, &m_sector, nullptr) == 1 &&
                            m_ewf.zero_damaged(m_handle, 0, nullptr) == 1;
        size = bytes;
        m_acquiry.errors = m_ewf.acquiry_errors;
        m_acquiry.error = m_ewf.acquiry_error;
        m_checksum.errors = m_ewf.checksum_errors;
        m_checksum.error = m_ewf.checksum_error;
        return opened && m_sector != 0;
    }

    bool loaded() const { return m_ewf.whole; }

    arrival read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        const ssize_t got = m_ewf.read(m_handle, buffer.data(), buffer.size(), static_cast<off64_t>(offset), nullptr);
        const auto bytes = static_cast<std::size_t>(std::clamp<ssize_t>(got, 0, static_cast<ssize_t>(buffer.size())));
        update(m_acquiry);
        update(m_checksum);
        return {bytes, !m_acquiry.meets(offset, bytes) && !m_checksum.meets(offset, bytes)};
    }

private:
    // Ranges of sectors, as far as they are known; those of wrong checksums come with the reads.
    struct error_list {
        int (*errors)(libewf_handle_t*, std::uint32_t*, libewf_error_t**) = nullptr;
        int (*error)(libewf_handle_t*, std::uint32_t, std::uint64_t*, std::uint64_t*, libewf_error_t**) = nullptr;
        std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges = {};  // begin and end, bytes

        bool meets(std::uint64_t offset, std::size_t length) const {
            return std::ranges::any_of(
                ranges, [&](const auto& range) { return range.first < offset + length && offset < range.second; });
        }
    };

    // The library keeps the list in order, and joins what touches.
    void update(error_list& list) {
        std::uint32_t count = 0;
        if (list.errors(m_handle, &count, nullptr) != 1 || (&list == &m_acquiry && count == list.ranges.size())) return;
        list.ranges.clear();
        for (std::uint32_t index = 0; index < std::min(count, most_errors); ++index) {
            std::uint64_t first = 0, sectors = 0;
            if (list.error(m_handle, index, &first, &sectors, nullptr) != 1) continue;
            const std::uint64_t begin = std::min(first, size / m_sector) * m_sector;
            list.ranges.emplace_back(begin, begin + std::min(sectors, (size - begin) / m_sector + 1) * m_sector);
        }
        if (count > most_errors) list.ranges.emplace_back(0, size);
    }

    static constexpr std::uint32_t most_errors = 4096;  // beyond, nothing is known to be sound

    const ewf_calls m_ewf = load();
    libewf_handle_t* m_handle = nullptr;
    std::uint32_t m_sector = 0;  // bytes
    error_list m_acquiry;
    error_list m_checksum;
};

}  // namespace

std::unique_ptr<container> open_ewf(const std::string& path, std::string& error) {
    auto image = std::make_unique<ewf_container>();
    if (image->open(path)) return image;
    error = image->loaded() ? "libewf does not understand it" : KEST_LIBEWF " is not there";
    return nullptr;
}

}  // namespace kest

#else

namespace kest {

std::unique_ptr<container> open_ewf(const std::string&, std::string&) {
    return nullptr;
}

}  // namespace kest

#endif
