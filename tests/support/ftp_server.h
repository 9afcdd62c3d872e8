// An FTP server on loopback for the transfer tests: pyftpdlib run by the system's Python
// (/usr/bin/python3) as a child process on a free port of 127.0.0.1, serving a temporary root
// folder with one user who may do everything. Stopped (SIGTERM) when destroyed.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "support/test_db.h"

namespace tarvo::test {

// How the server lists folders: MLSD with UTC times (pyftpdlib's default), or, for a server of
// the older kind, no MLSD and LIST in the wall-clock time of `timeZone` (MDTM stays UTC).
struct FtpServerOptions {
  bool mlsd = true;
  std::string timeZone;  // the server process's TZ, "" = inherited
};

class FtpServer {
 public:
  FtpServer(std::string user = "foto", std::string password = "segreta", FtpServerOptions options = {});
  ~FtpServer();
  // False (with the reason) when the server could not be started here.
  bool Running(std::string* why = nullptr) const;
  std::string Address() const;  // "127.0.0.1:<port>"
  int Port() const { return port_; }
  const std::string& Root() const { return root_.Path(); }
  std::string RootFile(const std::string& name) const { return root_.File(name); }

 private:
  TempDir root_;
  pid_t pid_ = -1;
  int port_ = 0;
  std::string error_;
};

}  // namespace tarvo::test
