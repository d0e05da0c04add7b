#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "portable/byte_source.h"
#include "portable/worker_thread.h"

namespace uni {

// Descriptors of the standard streams.
inline constexpr int standard_input = 0;
inline constexpr int standard_output = 1;
inline constexpr int standard_error = 2;

// Whether somebody may be reading along.
bool is_terminal(int descriptor);

// Writes all of `bytes` where `descriptor` stands: short and interrupted writes are continued, and a descriptor that
// cannot take more just now is waited for. False if not all could be written.
[[nodiscard]] bool write_all(int descriptor, std::string_view bytes);

// Reads what has arrived, and waits for something if nothing has. The bytes read, 0 at the end, -1 for a failure.
std::int64_t read_some(int descriptor, std::span<char> buffer);

class fileio_output;

// What identifies a file, whatever its name.
struct file_identity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const file_identity&) const = default;
};

// Directories, FIFOs and sockets are refused in each.
enum class open_mode {
    read,        // keeps the access time where the system allows that
    create,      // created if there is none; kept as it is
    create_new,  // must not exist
};

// A file read at explicit byte offsets and written at its end. Closed when it goes.
class file final : public byte_source {
public:
    file() = default;
    ~file() override;

    // Trailing "/" and "\" are cut from the path. False for an empty path and for what cannot be opened.
    [[nodiscard]] bool open(std::string_view path, open_mode mode);
    // Opens what is open under a descriptor of a standard stream once more, to read it.
    [[nodiscard]] bool open_again(int descriptor);
    // Takes over a standard stream, to write to it where it stands; it is not closed with the object.
    void attach(int descriptor);
    bool is_open() const { return m_fd != -1; }
    // Why the last `open` failed, as `errno` has it: EISDIR for a folder, ESPIPE for a FIFO or a socket. 0 if it did
    // not.
    int open_error() const { return m_open_error; }
    // False if the system reports only now that what was written did not arrive.
    bool close();
    // Asks the same of a file that stays open.
    [[nodiscard]] bool settle() const;

    // What is open, whatever its name means now. Nothing for what is not open.
    file_identity identity() const;
    bool is_regular() const;

    // Empties the file. One that has no length, such as a terminal, stays as it is. False for a regular one that cannot
    // be emptied.
    [[nodiscard]] bool truncate();
    // Keeps other runs from a regular file until it is closed. False if another has it; where locks are unknown nobody
    // has.
    [[nodiscard]] bool lock() const;

    std::uint64_t size() const override { return m_size; }
    std::uint64_t measure_size();
    // Only large ones are read so.
    void allow_reading_ahead() { m_may_read_ahead = true; }
    bool reads_ahead() const override { return m_may_read_ahead && m_size >= worth_reading_ahead; }

    read_result read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const override;
    std::uint64_t next_data(std::uint64_t offset) const override;
    std::uint64_t next_hole(std::uint64_t offset) const override;

    // Writes all of `bytes` at the end, or where an attached descriptor stands. False if not all could be written.
    [[nodiscard]] bool append(std::string_view bytes);

private:
    static constexpr std::uint64_t worth_reading_ahead = std::uint64_t{16} << 20;  // bytes

    static bool close_descriptor(int descriptor);
    // The bytes that arrived, 0 at the end, -1 for a failure.
    static std::int64_t read_piece(int descriptor, std::span<std::uint8_t> buffer, std::uint64_t offset);

    int m_fd = -1;
    std::uint64_t m_size = 0;
    bool m_attached = false;
    bool m_may_read_ahead = false;
    bool m_of_process = false;  // lies in /proc
    int m_open_error = 0;
};

// Trailing "/" and "\" cut, as opening does.
std::string_view trimmed_path(std::string_view path);
// What separates the names in a path here.
bool is_separator(char character);
// Whether two names in one folder are one.
bool is_same_name(std::string_view one, std::string_view other);
// Where the last name of a path begins, in bytes.
std::size_t last_name(std::string_view path);
// The folder that a path leads to its file by; "." for a bare name.
std::string_view folder_of(std::string_view path);

// Nothing if there is no such file. The path is trimmed.
std::optional<file_identity> identify(std::string_view path);
// Whether the path names a regular file, itself or by way of links.
bool is_regular_file(const std::string& path);
// What stands under a name itself, wherever it may lead.
enum class name_kind { nothing, regular_file, other };
name_kind kind_of_name(const std::string& path);
// Bytes that a file takes on its volume, without its holes; 0 if there is no such file.
std::uint64_t stored_bytes(const std::string& path);
// Ticks of 100 ns since 1601.
struct file_dates {
    std::uint64_t modified;
    std::uint64_t accessed;
    std::uint64_t changed;
};
// Nothing if there is no such file. The path is trimmed.
std::optional<file_dates> dates_of(std::string_view path);
// Takes a name away; or gives a file another one, whatever stands there. False if that cannot be.
bool remove_name(const std::string& path);
[[nodiscard]] bool replace_name(const std::string& from, const std::string& to);
// The same, but false if something stands there.
[[nodiscard]] bool name_new(const std::string& from, const std::string& to);
// What is open under a descriptor, if that keeps what is written to it: a regular file or a block device.
std::optional<file_identity> stored_file(int descriptor);

// Text on its way to a file: collected in a large put area, and handed to the file when that is full.
class fileio_output {
public:
    static constexpr std::size_t put_area = 262'144;  // bytes
    static constexpr std::size_t large_put_area = 4 * put_area;
    static constexpr std::uint64_t large_report = 64 * put_area;  // from here on put areas are large ones

    using taker = std::function<bool(std::string_view)>;  // false: no more is wanted
    // Who writes a full put area: whoever filled it, or a thread, while the next one fills.
    enum class writing : std::uint8_t { in_place, on_thread };

    explicit fileio_output(file& target, writing how = writing::in_place);
    explicit fileio_output(taker target, writing how = writing::in_place);  // takes what a file would
    fileio_output();                                                        // keeps what is written, of a few lines
    ~fileio_output();
    fileio_output(const fileio_output&) = delete;
    fileio_output& operator=(const fileio_output&) = delete;

    void write(std::string_view text);

    // Room for text of at most `most` bytes, to be put there in place; `advance` then says how many it became.
    char* room(std::size_t most) {
        if (most > m_pending.size - m_used) make_room(most);
        return m_pending.bytes.get() + m_used;
    }
    void advance(std::size_t written) { m_used += written; }

    // False if this or an earlier write failed: then the text is not whole. Nothing more is written after that.
    // Afterwards no thread is at work.
    bool flush();
    bool good() const { return m_good; }  // as far as it is known
    std::string_view pending() const { return {m_pending.bytes.get(), m_used}; }

private:
    struct area {
        std::unique_ptr<char[]> bytes;
        std::size_t size = 0;
    };

    static constexpr std::size_t area_margin = 16'384;  // so that a whole block is full before the area is

    static area make_area(std::size_t size);
    bool pass_on(std::string_view text);
    void make_room(std::size_t most);
    std::size_t block_size() const { return m_passed_on < large_report ? put_area : large_put_area; }
    bool hand_over();
    void await_thread();

    const taker m_target;  // none: all is kept
    const writing m_writing = writing::in_place;
    area m_pending = make_area(put_area + area_margin);
    std::size_t m_used = 0;  // of `m_pending`
    bool m_good = true;
    area m_handed_over;  // what the thread writes
    std::size_t m_handed_size = 0;
    bool m_taken = true;            // by the target
    std::uint64_t m_passed_on = 0;  // bytes, to the target or to the thread
    std::optional<kest::worker_thread> m_thread;
};

}  // namespace uni
