#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace uni {

// A folder that files are added to. What stands in it stays as it is, and no link in it is followed.
class new_files {
public:
    // Opens the folder, and makes it if there is none; a link is refused.
    explicit new_files(const std::string& path);
    ~new_files();
    new_files(const new_files&) = delete;
    new_files& operator=(const new_files&) = delete;

    // Why it is not open, as `errno` has it; 0 if it is.
    int error() const { return m_error; }
    // `name` has no separator. 0, or why it could not be written whole; then nothing of it is left.
    [[nodiscard]] int add(const std::string& name, std::span<const std::uint8_t> bytes) const;

private:
    struct state;
    std::unique_ptr<state> m_state;
    int m_error = 0;
};

}  // namespace uni
