#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "portable/byte_view.h"
#include "portable/new_files.h"

namespace kest {

// The folder of `-content`: a file for each piece of evidence that is put there. Nothing that stands there is touched,
// and no link is followed. It is made if there is none, with the first file.
class content_folder {
public:
    static constexpr std::uint64_t most_bytes = std::uint64_t{256} << 20;  // in total
    static constexpr std::uint32_t most_files = 65536;

    explicit content_folder(std::string path);

    // `name` is none of the evidence's. False if the file is left out, or could not be written. If the folder cannot
    // be opened, all later ones are left out, too.
    bool put(const std::string& name, uni::byte_view bytes);

    bool limit_hit() const { return m_limit_hit; }
    const std::string& failed() const { return m_failed; }  // path of the first that could not be written; empty: none
    int error() const { return m_error; }                   // why that was: a value of `errno`
    std::uint32_t failures() const { return m_failures; }   // how many could not be written

private:
    void note_failure(const std::string& path, int error);

    const std::string m_path;
    std::optional<uni::new_files> m_folder;
    std::uint64_t m_bytes = 0;
    std::uint32_t m_files = 0;
    bool m_limit_hit = false;
    bool m_shut = false;  // it cannot be opened
    std::string m_failed;
    int m_error = 0;
    std::uint32_t m_failures = 0;
};

}  // namespace kest
