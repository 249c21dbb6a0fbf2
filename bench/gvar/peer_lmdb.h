#ifndef ROQ_BENCH_GVAR_PEER_LMDB_H
#define ROQ_BENCH_GVAR_PEER_LMDB_H

#include "gvar/peers.h"
#include <cstring>
#include <lmdb.h>
#include <sys/stat.h>

namespace bench {

// A memory-mapped tree on /dev/shm; nothing is synchronised to a disk.
class Lmdb {
public:
  Lmdb() {
    mkdir(kFolder, 0700);
    require(mdb_env_create(&environment_) == 0, "mdb_env_create");
    mdb_env_set_mapsize(environment_, 1 << 20);
    require(mdb_env_open(environment_, kFolder, MDB_NOSYNC, 0600) == 0, "mdb_env_open");
    MDB_txn* transaction;
    require(mdb_txn_begin(environment_, nullptr, 0, &transaction) == 0, "mdb_txn_begin");
    require(mdb_dbi_open(transaction, nullptr, MDB_INTEGERKEY, &table_) == 0, "mdb_dbi_open");
    require(mdb_txn_commit(transaction) == 0, "mdb_txn_commit");
    char value[kValueSize] = {};
    for (uint32_t number = 0; number < kVariables; ++number)
      set(number, value);
  }
  ~Lmdb() {
    mdb_env_close(environment_);
    remove("/dev/shm/roqutil-bench-lmdb/data.mdb");
    remove("/dev/shm/roqutil-bench-lmdb/lock.mdb");
    remove(kFolder);
  }
  Lmdb(const Lmdb&) = delete;
  Lmdb& operator=(const Lmdb&) = delete;

  void get(uint32_t number, char* out) {
    MDB_txn* transaction;
    require(mdb_txn_begin(environment_, nullptr, MDB_RDONLY, &transaction) == 0, "mdb_txn_begin");
    MDB_val key{sizeof number, &number};
    MDB_val value;
    require(mdb_get(transaction, table_, &key, &value) == 0, "mdb_get");
    memcpy(out, value.mv_data, kValueSize);
    mdb_txn_abort(transaction);
  }
  void set(uint32_t number, char* bytes) {
    MDB_txn* transaction;
    require(mdb_txn_begin(environment_, nullptr, 0, &transaction) == 0, "mdb_txn_begin");
    MDB_val key{sizeof number, &number};
    MDB_val value{kValueSize, bytes};
    require(mdb_put(transaction, table_, &key, &value, 0) == 0, "mdb_put");
    require(mdb_txn_commit(transaction) == 0, "mdb_txn_commit");
  }

private:
  static constexpr const char* kFolder = "/dev/shm/roqutil-bench-lmdb";
  MDB_env* environment_ = nullptr;
  MDB_dbi table_ = 0;
};

} // namespace bench

#endif
