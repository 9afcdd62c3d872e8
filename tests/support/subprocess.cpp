#include "support/subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

extern char** environ;

namespace tarvo::test {

namespace {
void ClosePipe(int& fd) {
  if (fd >= 0) ::close(fd);
  fd = -1;
}

std::vector<std::string> Environment(const std::map<std::string, std::string>& changes) {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    std::string item(*e);
    std::string name = item.substr(0, item.find('='));
    if (!changes.count(name)) env.push_back(item);
  }
  for (const auto& [name, value] : changes)
    if (!value.empty()) env.push_back(name + "=" + value);
  return env;
}

std::vector<char*> CStrings(std::vector<std::string>& texts) {
  std::vector<char*> out;
  for (std::string& t : texts) out.push_back(t.data());
  out.push_back(nullptr);
  return out;
}
}  // namespace

Subprocess::Subprocess(const std::vector<std::string>& argv, const std::string& input, const std::string& cwd,
                       const std::map<std::string, std::string>& env) {
  int in[2], out[2], err[2];
  if (::pipe2(in, O_CLOEXEC) || ::pipe2(out, O_CLOEXEC) || ::pipe2(err, O_CLOEXEC))
    throw std::runtime_error("pipe failed");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_adddup2(&actions, err[1], 2);
  if (!cwd.empty()) posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
  // The child starts with the default handling of the stop signals.
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t defaults, empty;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGINT);
  sigaddset(&defaults, SIGTERM);
  sigemptyset(&empty);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  posix_spawnattr_setsigmask(&attr, &empty);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);

  std::vector<std::string> args = argv;
  std::vector<std::string> envs = Environment(env);
  std::vector<char*> cargs = CStrings(args), cenv = CStrings(envs);
  int rc = posix_spawn(&pid_, cargs[0], &actions, &attr, cargs.data(), cenv.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  if (rc != 0) {
    ::close(in[1]);
    ::close(out[0]);
    ::close(err[0]);
    throw std::runtime_error("cannot start " + argv[0] + ": " + std::strerror(rc));
  }
  // Small inputs fit in the pipe; the child reads them when it asks.
  if (!input.empty() && ::write(in[1], input.data(), input.size()) < 0) {
    // The child may have ended already; its output tells.
  }
  ::close(in[1]);
  out_fd_ = out[0];
  err_fd_ = err[0];
}

Subprocess::~Subprocess() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  ClosePipe(out_fd_);
  ClosePipe(err_fd_);
}

bool Subprocess::Pump(std::chrono::milliseconds wait) {
  if (out_fd_ < 0 && err_fd_ < 0) return false;
  pollfd fds[2] = {{out_fd_, POLLIN, 0}, {err_fd_, POLLIN, 0}};
  if (::poll(fds, 2, static_cast<int>(wait.count())) <= 0) return true;
  int* fd_of[2] = {&out_fd_, &err_fd_};
  std::string* text_of[2] = {&result_.out, &result_.err};
  for (int i = 0; i < 2; ++i) {
    if (*fd_of[i] < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
    char buf[4096];
    ssize_t n = ::read(*fd_of[i], buf, sizeof buf);
    if (n > 0)
      text_of[i]->append(buf, static_cast<size_t>(n));
    else
      ClosePipe(*fd_of[i]);
  }
  return true;
}

bool Subprocess::WaitForOutput(const std::function<bool(const std::string&, const std::string&)>& done,
                               std::chrono::milliseconds timeout) {
  auto until = std::chrono::steady_clock::now() + timeout;
  while (!done(result_.out, result_.err)) {
    if (std::chrono::steady_clock::now() > until || !Pump(std::chrono::milliseconds(50))) return false;
  }
  return true;
}

void Subprocess::Signal(int signal) {
  if (pid_ > 0) ::kill(pid_, signal);
}

ProcessResult Subprocess::Finish(std::chrono::milliseconds timeout) {
  auto until = std::chrono::steady_clock::now() + timeout;
  while (Pump(std::chrono::milliseconds(50))) {
    if (std::chrono::steady_clock::now() > until) {
      ::kill(pid_, SIGKILL);
      break;
    }
  }
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
  result_.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result_;
}

ProcessResult RunProcess(const std::vector<std::string>& argv, const std::string& input, const std::string& cwd,
                         const std::map<std::string, std::string>& env) {
  return Subprocess(argv, input, cwd, env).Finish();
}

}  // namespace tarvo::test
