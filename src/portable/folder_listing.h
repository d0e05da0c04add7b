#pragma once

#include <memory>
#include <string>

namespace uni {

enum class entry_kind {
    file,       // a regular one, or a link to one
    directory,  // no link to one
    other,
};

// What a path leads to, by links too. `errno` says why it is nothing that is known.
entry_kind kind_at(const std::string& path);

// The names in a folder, in the order in which the system lists them; without those of itself and of the one above.
class folder_listing {
public:
    explicit folder_listing(const std::string& path);
    ~folder_listing();
    folder_listing(const folder_listing&) = delete;
    folder_listing& operator=(const folder_listing&) = delete;

    struct entry {
        std::string name;
        std::string path;  // by which it is opened
        entry_kind kind = entry_kind::other;
    };
    // False at the end, and where it cannot be listed on.
    [[nodiscard]] bool next(entry& out);
    // The names are not all.
    bool failed() const { return m_failed; }

private:
    struct state;
    const std::string m_prefix;  // the path, with a separator at its end
    std::unique_ptr<state> m_state;
    bool m_failed = false;
};

}  // namespace uni
