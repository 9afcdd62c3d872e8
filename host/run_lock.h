// The run lock: two runs of the same procedure against the same destination never overlap. On a
// PostgreSQL destination it is the server's advisory lock, keyed by the procedure and the
// destination's schema, held by a connection of its own; on a SQLite file (named by its path or
// by a connection string) it is a lock (flock) on the file "<database>.<procedure>.lock" beside
// the file the path resolves to; on any other destination a lock file of
// that name under the system's temporary folder. Both vanish with the process that holds them,
// also one killed with SIGKILL: there is no stale lock to clean up. The lock file itself stays
// behind; it is the lock on it that counts, and it tells who holds it.
//
// One object per run, used from the host thread; the lock is released when it is destroyed.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/odbc.h"

class RunLock {
 public:
  // `destination`: the destination's configuration (a SQLite file, or an ODBC connection string
  // with its password); `procedure`: the procedure's number as text, or its class name.
  RunLock(std::string destination, std::string procedure);
  ~RunLock();
  RunLock(const RunLock&) = delete;
  RunLock& operator=(const RunLock&) = delete;

  enum class Outcome { kAcquired, kHeld, kStopped };
  // Takes the lock, trying again until `wait` has passed (zero: a single try). `stopped` is asked
  // between tries; when it says true the wait ends with kStopped. kHeld leaves the holder in
  // Holder(). Throws CDBException when the PostgreSQL server cannot be reached, and
  // tarvo::CFileException when the lock file cannot be opened.
  Outcome Acquire(std::chrono::milliseconds wait, const std::function<bool()>& stopped);
  // The run holding the lock as it describes itself ("pid 4711 on host db1, user tarvo, since
  // 2026-11-23 02:00:01"), after Acquire returned kHeld; empty when it could not be told.
  const std::string& Holder() const { return holder_; }
  // Where the lock is, for messages and the summary ("lock file /srv/company.db.1002.lock",
  // "PostgreSQL advisory lock 1413567062/1002").
  const std::string& Where() const { return where_; }

 private:
  void Open();  // the lock file or the server connection
  bool TryFile();
  bool TryServer();
  std::string FileHolder() const;
  std::string ServerHolder() const;
  std::string HolderPrefix() const;

  std::string destination_, procedure_;
  std::string where_, holder_;
  std::string path_;  // the lock file, when not on the server
  int fd_ = -1;
  std::unique_ptr<CDatabase> server_;  // the connection holding the advisory lock
  long long key1_ = 0, key2_ = 0;
};
