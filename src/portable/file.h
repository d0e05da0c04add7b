#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace uni {

class fileio_output;

// What tells one file from another, whatever its name.
struct file_identity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const file_identity&) const = default;
};

// Directories, FIFOs and sockets are refused in each.
enum class open_mode {
    read,
    update,           // must exist; kept as it is
    create_truncate,  // created, or emptied
};

// A file read at explicit byte offsets and written at its end. Closed when it goes.
class file {
public:
    file() = default;
    ~file();
    file(const file&) = delete;
    file& operator=(const file&) = delete;

    // Trailing "/" and "\" are cut from the path. False for an empty path and for what cannot be opened.
    [[nodiscard]] bool open(std::string_view path, open_mode mode);
    // Takes over an open descriptor, to write to it; it is not closed with the object.
    void attach(int descriptor);
    bool is_open() const { return m_fd != -1; }
    // False if the system tells only now that what was written did not arrive.
    bool close();

    // Bytes, as last measured.
    std::uint64_t size() const { return m_size; }
    std::uint64_t measure_size();

    // Reads at most `buffer.size()` bytes; fewer only at the file's end or a failure on the way. The result is the
    // bytes read, or -1 where nothing could be read: not open, or `offset` not below the size.
    std::int64_t read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const;

    // The first offset from `offset` on at which the file holds data and not a hole; the file's size if none.
    // `offset` itself where the file system does not tell.
    std::uint64_t next_data(std::uint64_t offset) const;

    // Writes all of `bytes` at the end, or where an attached descriptor stands. False if not all could be written.
    [[nodiscard]] bool append(std::string_view bytes);

private:
    int m_fd = -1;
    std::uint64_t m_size = 0;
    bool m_attached = false;
    bool m_of_process = false;  // lies in /proc
};

// Trailing "/" and "\" cut, as opening does.
std::string_view trimmed_path(std::string_view path);

// False if there is no such file.
[[nodiscard]] bool identify(const std::string& path, file_identity& out);

// Text on its way to a file: collected in a large put area, and handed to the file when that is full.
class fileio_output {
public:
    static constexpr std::size_t put_area = 262'144;  // bytes

    explicit fileio_output(file& target);
    ~fileio_output() { flush(); }
    fileio_output(const fileio_output&) = delete;
    fileio_output& operator=(const fileio_output&) = delete;

    void write(std::string_view text);

    // Room for text of at most `most` bytes, to be put there in place; `advance` then says how many it became.
    char* room(std::size_t most) {
        if (most > m_size - m_used) make_room(most);
        return m_pending.get() + m_used;
    }
    void advance(std::size_t written) { m_used += written; }

    // False if this or an earlier write failed: then the text is not whole. Nothing more is written after that.
    bool flush();
    bool good() const { return m_good; }

private:
    void make_room(std::size_t most);

    file& m_target;
    std::unique_ptr<char[]> m_pending;
    std::size_t m_size = put_area;  // bytes of `m_pending`
    std::size_t m_used = 0;
    bool m_good = true;
};

}  // namespace uni
