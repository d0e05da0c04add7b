#include "portable/database.h"

#ifdef KEST_SQLITE

#include <array>
#include <bit>
#include <cstring>
#include <deque>
#include <mutex>
#include <new>
#include <sqlite3.h>
#include <utility>

#include "portable/file.h"
#include "portable/loaded_library.h"

namespace uni {

namespace {

constexpr int first_with_json_operators = 3'038'000;

struct sqlite_calls {
    decltype(&sqlite3_libversion_number) version = nullptr;
    decltype(&sqlite3_config) configure = nullptr;
    decltype(&sqlite3_vfs_find) vfs_find = nullptr;
    decltype(&sqlite3_vfs_register) vfs_register = nullptr;
    decltype(&sqlite3_open_v2) open = nullptr;
    decltype(&sqlite3_close) close = nullptr;
    decltype(&sqlite3_exec) execute = nullptr;
    decltype(&sqlite3_prepare_v2) prepare = nullptr;
    decltype(&sqlite3_bind_text64) bind_text = nullptr;
    decltype(&sqlite3_bind_int64) bind_number = nullptr;
    decltype(&sqlite3_bind_null) bind_none = nullptr;
    decltype(&sqlite3_step) step = nullptr;
    decltype(&sqlite3_reset) reset = nullptr;
    decltype(&sqlite3_clear_bindings) clear = nullptr;
    decltype(&sqlite3_finalize) finalize = nullptr;
    bool whole = false;
};

// How the library reaches files: as it does by itself and without locks, as the file is nobody else's. Only the files
// that it sorts in, maybe on several threads, have names of ours. It deletes each as soon as it is open, and keeps the
// pointer to the name.
constexpr const char* files_without_locks[] = {"unix-none", "win32-longpath-none", "win32-none"};
sqlite3_vfs* own_files = nullptr;
sqlite3_vfs files{};
std::string sorting_path;
std::deque<std::string> sorting_paths;
std::mutex sorting_paths_guard;

// What the library makes of a name may be looked for around it: four zeros stand before it, and two after it.
const char* next_sorting_path() {
    constexpr std::size_t zeros = 4;
    const std::lock_guard held(sorting_paths_guard);
    const std::string path = sorting_path + std::to_string(sorting_paths.size());
    if (kind_of_name(path) == name_kind::regular_file) remove_name(path);  // of a killed run
    const std::string& kept = sorting_paths.emplace_back(std::string(zeros, '\0') + path + '\0');
    return kept.c_str() + zeros;
}

int open_file(sqlite3_vfs*, sqlite3_filename path, sqlite3_file* opened, int flags, int* got) {
    return own_files->xOpen(own_files, path != nullptr ? path : next_sorting_path(), opened, flags, got);
}

bool register_files(const sqlite_calls& sqlite) {
    static_cast<void>(sqlite.configure(SQLITE_CONFIG_MEMSTATUS, 0));  // a count that takes a lock
    for (const char* const name : files_without_locks)
        if (own_files == nullptr) own_files = sqlite.vfs_find(name);
    if (own_files == nullptr) return false;
    files = *own_files;
    files.zName = "kest";
    files.xOpen = open_file;
    return sqlite.vfs_register(&files, 0) == SQLITE_OK;
}

sqlite_calls load(const char* name) {
    sqlite_calls sqlite;
    loaded_library library(name);
    library.find(sqlite.version, "sqlite3_libversion_number");
    library.find(sqlite.configure, "sqlite3_config");
    library.find(sqlite.vfs_find, "sqlite3_vfs_find");
    library.find(sqlite.vfs_register, "sqlite3_vfs_register");
    library.find(sqlite.open, "sqlite3_open_v2");
    library.find(sqlite.close, "sqlite3_close");
    library.find(sqlite.execute, "sqlite3_exec");
    library.find(sqlite.prepare, "sqlite3_prepare_v2");
    library.find(sqlite.bind_text, "sqlite3_bind_text64");
    library.find(sqlite.bind_number, "sqlite3_bind_int64");
    library.find(sqlite.bind_none, "sqlite3_bind_null");
    library.find(sqlite.step, "sqlite3_step");
    library.find(sqlite.reset, "sqlite3_reset");
    library.find(sqlite.clear, "sqlite3_clear_bindings");
    library.find(sqlite.finalize, "sqlite3_finalize");
    sqlite.whole = library.whole() && sqlite.version() >= first_with_json_operators && register_files(sqlite);
    return sqlite;
}

const sqlite_calls& sqlite() {
    static const sqlite_calls loaded = [] {
        sqlite_calls first_whole;
        for (const char* const name : {KEST_SQLITE})
            if (!first_whole.whole) first_whole = load(name);
        return first_whole;
    }();
    return loaded;
}

}  // namespace

bool database::built_in() {
    return true;
}

bool database::available() {
    return sqlite().whole;
}

const char* database::library() {
    return KEST_SQLITE_SOURCE;
}

// What is still to be done is of a file that goes.
database::~database() {
    m_orders.clear();
    m_writer.reset();
    static_cast<void>(close());
}

void database::check(int result) {
    if (result == SQLITE_NOMEM) throw std::bad_alloc();
    if (result != SQLITE_OK && result != SQLITE_ROW && result != SQLITE_DONE) m_good = false;
}

bool database::open(const std::string& path) {
    if (!available()) return m_good = false;
    sorting_path = path;
    sorting_paths.clear();
    check(sqlite().open(path.c_str(), &m_connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, files.zName));
    return m_good;
}

void database::execute(const std::string& sql) {
    settle();
    if (m_good) check(sqlite().execute(m_connection, sql.c_str(), nullptr, nullptr, nullptr));
}

bool database::close() {
    settle();
    if (m_connection != nullptr && sqlite().close(m_connection) != SQLITE_OK) m_good = false;
    m_connection = nullptr;
    return m_good;
}

void database::add(order what, int parameter, std::uint64_t value, std::string_view text) {
    const order_head head{what, parameter, value};
    m_orders.append(std::bit_cast<std::array<char, sizeof head>>(head).data(), sizeof head);
    m_orders += text;
}

void database::hand_over() {
    if (m_writer) m_writer->wait();
    m_running.swap(m_orders);
    m_orders.clear();
    m_used = nullptr;
    ++m_batch;
    m_writer.emplace([this] { run_orders(); });
}

// Until all that was added has run.
void database::settle() {
    if (!m_orders.empty()) hand_over();
    if (m_writer) m_writer->wait();
    m_writer.reset();
}

void database::run_orders() {
    const sqlite_calls& calls = sqlite();
    sqlite3_stmt* statement = nullptr;
    for (std::size_t at = 0; m_good && at < m_running.size();) {
        order_head head{};
        std::memcpy(&head, m_running.data() + at, sizeof head);
        at += sizeof head;
        switch (head.what) {
            case order::begin:
            case order::use:
                statement = std::bit_cast<sqlite3_stmt*>(head.value);
                if (head.what == order::begin) calls.clear(statement);
                break;
            case order::none:
                check(calls.bind_none(statement, head.parameter));
                break;
            case order::text:
                check(calls.bind_text(statement, head.parameter, m_running.data() + at, head.value, SQLITE_STATIC,
                                      SQLITE_UTF8));
                at += head.value;
                break;
            case order::number:
                check(calls.bind_number(statement, head.parameter, static_cast<std::int64_t>(head.value)));
                break;
            case order::run:
                check(calls.step(statement));
                calls.reset(statement);
                break;
        }
    }
}

statement::statement(database& of, const std::string& sql) : m_database(of) {
    of.settle();
    if (!of.good()) return;
    of.check(sqlite().prepare(of.m_connection, sql.c_str(), static_cast<int>(sql.size()), &m_statement, nullptr));
}

statement::~statement() {
    try {
        m_database.settle();
    } catch (const std::exception&) {
        m_database.m_good = false;
    }
    if (m_statement != nullptr) sqlite().finalize(m_statement);
}

statement::value& statement::value_of(int parameter) {
    const auto index = static_cast<std::size_t>(parameter);
    if (index >= m_values.size()) m_values.resize(index + 1);
    value& of = m_values[index];
    of.run = m_runs;
    return of;
}

void statement::use() {
    const bool begins = std::exchange(m_batch, m_database.m_batch) != m_database.m_batch;
    if (std::exchange(m_database.m_used, m_statement) == m_statement && !begins) return;
    m_database.add(begins ? database::order::begin : database::order::use, 0,
                   std::bit_cast<std::uintptr_t>(m_statement));
}

void statement::bind(int parameter, std::string_view text) {
    if (text.empty() || !m_database.good()) return;
    value& of = value_of(parameter);
    if (of.batch == m_database.m_batch && of.is_text && of.text == text) return;
    use();
    of.batch = m_database.m_batch;
    of.is_text = true;
    of.text = text;
    m_database.add(database::order::text, parameter, text.size(), text);
}

void statement::bind(int parameter, std::int64_t number) {
    if (!m_database.good()) return;
    value& of = value_of(parameter);
    if (of.batch == m_database.m_batch && !of.is_text && of.number == number) return;
    use();
    of.batch = m_database.m_batch;
    of.is_text = false;
    of.number = number;
    m_database.add(database::order::number, parameter, static_cast<std::uint64_t>(number));
}

void statement::run() {
    constexpr std::size_t enough = 1 << 20;  // bytes
    if (!m_database.good()) return;
    use();
    for (std::size_t index = 1; index < m_values.size(); ++index) {
        value& of = m_values[index];
        if (of.batch != m_database.m_batch || of.run == m_runs) continue;
        of.batch = 0;
        m_database.add(database::order::none, static_cast<int>(index), 0);
    }
    m_database.add(database::order::run, 0, 0);
    ++m_runs;
    if (m_database.m_orders.size() >= enough) m_database.hand_over();
}

}  // namespace uni

#else

namespace uni {

bool database::built_in() {
    return false;
}
bool database::available() {
    return false;
}
const char* database::library() {
    return "";
}
database::~database() = default;
void database::check(int) {}
bool database::open(const std::string&) {
    return false;
}
void database::execute(const std::string&) {}
bool database::close() {
    return m_connection == nullptr && m_good;
}
statement::statement(database& of, const std::string&) : m_database(of) {}
statement::~statement() = default;
void statement::bind(int, std::string_view) {}
void statement::bind(int, std::int64_t) {}
void statement::run() {
    static_cast<void>(m_database);
    static_cast<void>(m_statement);
}

}  // namespace uni

#endif
