#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "portable/portable_thread.h"

struct sqlite3;
struct sqlite3_stmt;

namespace uni {

// A new SQLite database in a file that is there and empty. The library is loaded where a run asks for it. Statements
// are gathered, and run on a thread of their own while the next are: their failure may show later. After the first one
// nothing more is done. Memory that runs out is thrown as `std::bad_alloc`. A process has one at a time.
class database {
public:
    // Whether the program was built with the library, and whether that can be loaded and knows all that is asked of it.
    static bool built_in();
    static bool available();
    // The library, as its system calls what is to be installed.
    static const char* library();

    database() = default;
    database(const database&) = delete;
    database& operator=(const database&) = delete;
    ~database();

    // What is sorted and does not fit into memory goes to files beside it that are deleted as soon as they are open.
    [[nodiscard]] bool open(const std::string& path);
    void execute(const std::string& sql);
    // All statements have gone. False if not all arrived.
    [[nodiscard]] bool close();
    bool good() const { return m_good; }

private:
    friend class statement;
    // What a statement is to do: to be the one at hand, first without any value, to take a value or none, or to run.
    // The bytes of a text follow.
    enum class order : std::uint32_t { begin, use, text, number, none, run };
    struct order_head {
        order what;
        int parameter;
        std::uint64_t value;  // the statement, bytes of the text, or the number
    };

    void check(int result);
    void add(order what, int parameter, std::uint64_t value, std::string_view text = {});
    void hand_over();
    void settle();
    void run_orders();

    sqlite3* m_connection = nullptr;
    std::atomic<bool> m_good = true;
    std::string m_orders;
    std::uint64_t m_batch = 1;       // of orders that run together
    sqlite3_stmt* m_used = nullptr;  // by the last of these
    std::string m_running;           // orders that the thread has
    std::optional<kest::portable_thread> m_writer;
};

// A statement with parameters, counted from 1, to be run as often as one likes.
class statement {
public:
    statement(database& of, const std::string& sql);
    statement(const statement&) = delete;
    statement& operator=(const statement&) = delete;
    ~statement();

    // Copied. One without a character is NULL.
    void bind(int parameter, std::string_view text);
    void bind(int parameter, std::int64_t number);
    // Runs it. Afterwards no parameter is bound, which is NULL.
    void run();

private:
    // What a parameter has for the library, which is only given what changes.
    struct value {
        std::uint64_t batch = 0;  // in which it was given; what an earlier one gave is gone
        std::uint64_t run = 0;    // the last that wants it
        bool is_text = false;
        std::int64_t number = 0;
        std::string text = {};
    };

    value& value_of(int parameter);
    void use();

    database& m_database;
    sqlite3_stmt* m_statement = nullptr;
    std::vector<value> m_values;
    std::uint64_t m_batch = 0;
    std::uint64_t m_runs = 0;
};

}  // namespace uni
