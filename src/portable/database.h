#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace uni {

// A new SQLite database in a file that is there and empty. The library is loaded where a run asks for it. After the
// first failure nothing more is done. Memory that runs out is thrown as `std::bad_alloc`. A process has one at a time.
class database {
public:
    // Whether the program was built with the library, and whether that can be loaded and knows all that is asked of it.
    static bool built_in();
    static bool available();

    database() = default;
    database(const database&) = delete;
    database& operator=(const database&) = delete;
    ~database() { static_cast<void>(close()); }

    // What is sorted and does not fit into memory goes to files beside it that are deleted as soon as they are open.
    [[nodiscard]] bool open(const std::string& path);
    void execute(const std::string& sql);
    // All statements have gone. False if not all arrived.
    [[nodiscard]] bool close();
    bool good() const { return m_good; }

private:
    friend class statement;
    void check(int result);

    sqlite3* m_connection = nullptr;
    bool m_good = true;
};

// A statement with parameters, counted from 1, to be run as often as one likes.
class statement {
public:
    statement(database& of, const std::string& sql);
    statement(const statement&) = delete;
    statement& operator=(const statement&) = delete;
    ~statement();

    // Not copied: it stands until the statement has run.
    void bind(int parameter, std::string_view text);
    void bind(int parameter, std::int64_t number);
    // Runs it. Afterwards no parameter is bound, which is NULL.
    void run();

private:
    database& m_database;
    sqlite3_stmt* m_statement = nullptr;
};

}  // namespace uni
