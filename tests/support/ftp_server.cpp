#include "support/ftp_server.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

extern char** environ;

namespace tarvo::test {

namespace {
const char* kServerScript = R"(
import logging, sys
from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer
logging.disable(logging.CRITICAL)
user, password, root, mlsd = sys.argv[1:5]
authorizer = DummyAuthorizer()
authorizer.add_user(user, password, root, perm="elradfmwMT")
class Handler(FTPHandler):
    authorizer = authorizer
    auth_failed_timeout = 0  # a refused login answers at once instead of after 3 s
if mlsd == "0":
    # An older server: LIST in its own wall-clock time, MDTM in UTC, no MLSD.
    class Handler(Handler):
        use_gmt_times = False
        proto_cmds = {k: v for k, v in FTPHandler.proto_cmds.items() if k != "MLSD"}
        def ftp_MDTM(self, path):
            self.use_gmt_times = True
            try:
                return FTPHandler.ftp_MDTM(self, path)
            finally:
                self.use_gmt_times = False
server = FTPServer(("127.0.0.1", 0), Handler)
print(server.socket.getsockname()[1], flush=True)
server.serve_forever()
)";
}  // namespace

FtpServer::FtpServer(std::string user, std::string password, FtpServerOptions options) {
  int fds[2];
  if (::pipe(fds) != 0) {
    error_ = "pipe failed";
    return;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, fds[0]);
  std::vector<std::string> args = {"/usr/bin/python3", "-c", kServerScript, user, password, root_.Path(),
                                   options.mlsd ? "1" : "0"};
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e)
    if (options.timeZone.empty() || std::string(*e).rfind("TZ=", 0) != 0) env.push_back(*e);
  if (!options.timeZone.empty()) env.push_back("TZ=" + options.timeZone);
  std::vector<char*> envp;
  for (auto& e : env) envp.push_back(e.data());
  envp.push_back(nullptr);
  int rc = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(fds[1]);
  if (rc != 0) {
    pid_ = -1;
    ::close(fds[0]);
    error_ = "cannot start /usr/bin/python3";
    return;
  }
  // The server prints its port once it listens.
  std::string line;
  char c;
  while (::read(fds[0], &c, 1) == 1 && c != '\n') line += c;
  ::close(fds[0]);
  port_ = std::atoi(line.c_str());
  if (port_ <= 0) error_ = "pyftpdlib did not start (is python3-pyftpdlib installed?)";
}

FtpServer::~FtpServer() {
  if (pid_ > 0) {
    ::kill(pid_, SIGTERM);
    int status;
    ::waitpid(pid_, &status, 0);
  }
}

bool FtpServer::Running(std::string* why) const {
  if (why) *why = error_;
  return port_ > 0;
}

std::string FtpServer::Address() const { return "127.0.0.1:" + std::to_string(port_); }

}  // namespace tarvo::test
