#ifndef ROQ_BENCH_GVAR_PEER_SQLITE_H
#define ROQ_BENCH_GVAR_PEER_SQLITE_H

#include "gvar/peers.h"
#include <cstring>
#include <sqlite3.h>

namespace bench {

// A database file on /dev/shm with a write-ahead log and prepared statements.
class Sqlite {
public:
  Sqlite() {
    remove(kFile);
    require(sqlite3_open(kFile, &database_) == SQLITE_OK, "sqlite3_open");
    execute("PRAGMA journal_mode=WAL");
    execute("PRAGMA synchronous=OFF");
    execute("CREATE TABLE variable (id INTEGER PRIMARY KEY, value BLOB)");
    prepare("SELECT value FROM variable WHERE id = ?1", &select_);
    prepare("INSERT OR REPLACE INTO variable VALUES (?1, ?2)", &replace_);
    char value[kValueSize] = {};
    for (uint32_t number = 0; number < kVariables; ++number)
      set(number, value);
  }
  ~Sqlite() {
    sqlite3_finalize(select_);
    sqlite3_finalize(replace_);
    sqlite3_close(database_);
    remove(kFile);
  }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;

  void get(uint32_t number, char* out) {
    sqlite3_bind_int64(select_, 1, number);
    require(sqlite3_step(select_) == SQLITE_ROW, "sqlite3_step");
    memcpy(out, sqlite3_column_blob(select_, 0), kValueSize);
    sqlite3_reset(select_);
  }
  void set(uint32_t number, char* bytes) {
    sqlite3_bind_int64(replace_, 1, number);
    sqlite3_bind_blob(replace_, 2, bytes, kValueSize, nullptr);
    require(sqlite3_step(replace_) == SQLITE_DONE, "sqlite3_step");
    sqlite3_reset(replace_);
  }

private:
  static constexpr const char* kFile = "/dev/shm/roqutil-bench.sqlite";

  void execute(const char* statement) {
    require(sqlite3_exec(database_, statement, nullptr, nullptr, nullptr) == SQLITE_OK, statement);
  }
  void prepare(const char* statement, sqlite3_stmt** prepared) {
    require(sqlite3_prepare_v2(database_, statement, -1, prepared, nullptr) == SQLITE_OK, statement);
  }

  sqlite3* database_ = nullptr;
  sqlite3_stmt* select_ = nullptr;
  sqlite3_stmt* replace_ = nullptr;
};

} // namespace bench

#endif
