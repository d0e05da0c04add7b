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

    bool is_open() const;
    // `name` has no separator. False, with no file of that name left behind by this, if it could not be written whole.
    [[nodiscard]] bool add(const std::string& name, std::span<const std::uint8_t> bytes) const;

private:
    struct state;
    std::unique_ptr<state> m_state;
};

}  // namespace uni
