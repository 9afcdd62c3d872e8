#include "platform/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "platform/files.h"

extern char** environ;

namespace tarvo {

std::vector<CString> SplitCommandLine(const CString& commandLine) {
  std::vector<CString> args;
  CString current;
  bool inArg = false, quoted = false;
  size_t i = 0;
  while (i < commandLine.size()) {
    char c = commandLine[i];
    if (c == '\\') {
      size_t slashes = 0;
      while (i < commandLine.size() && commandLine[i] == '\\') ++slashes, ++i;
      if (i < commandLine.size() && commandLine[i] == '"') {
        // 2n backslashes + quote: n backslashes and a quote that groups; 2n+1: a literal quote.
        current.append(slashes / 2, '\\');
        if (slashes % 2) current += '"', ++i;
      } else {
        current.append(slashes, '\\');
      }
      inArg = true;
      continue;
    }
    if (c == '"') {
      quoted = !quoted;
      inArg = true;
    } else if ((c == ' ' || c == '\t') && !quoted) {
      if (inArg) args.push_back(current);
      current.clear();
      inArg = false;
    } else {
      current += c;
      inArg = true;
    }
    ++i;
  }
  if (inArg) args.push_back(current);
  return args;
}

CChildProcess::~CChildProcess() {
  if (readFd_ >= 0) ::close(readFd_);
  Wait();
}

bool CChildProcess::Start(const CString& commandLine) {
  std::vector<CString> args = SplitCommandLine(commandLine);
  if (args.empty() || args[0].empty()) {
    errno = ENOENT;
    return false;
  }
  // Driver files name programs with "\" as often as with "/".
  args[0] = NativePath(args[0]);
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return false;

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fds[1], STDERR_FILENO);

  std::vector<char*> argv;
  for (CString& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  // A group of its own, so that a stop reaches whatever the program starts in turn.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  int rc = ::posix_spawnp(&pid_, argv[0], &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  ::close(fds[1]);
  if (rc != 0) {
    ::close(fds[0]);
    pid_ = -1;
    errno = rc;
    return false;
  }
  readFd_ = fds[0];
  return true;
}

void CChildProcess::ReadOutput(const std::function<void(const char*, size_t)>& sink, size_t blockSize,
                               const std::function<bool()>& stopRequested) {
  if (readFd_ < 0) return;
  std::vector<char> buffer(blockSize);
  int stopSignal = 0;  // the last signal sent on a stop request
  auto sentAt = std::chrono::steady_clock::now();
  for (;;) {
    // A stop asks the child to end, and 2 s later makes it end.
    auto now = std::chrono::steady_clock::now();
    if (pid_ > 0 && stopSignal == 0 && stopRequested && stopRequested()) {
      ::kill(-pid_, stopSignal = SIGTERM);
      sentAt = now;
    } else if (pid_ > 0 && stopSignal == SIGTERM && now - sentAt > std::chrono::seconds(2)) {
      ::kill(-pid_, stopSignal = SIGKILL);
    }
    pollfd p{readFd_, POLLIN, 0};
    int ready = ::poll(&p, 1, 200);
    if (ready < 0 && errno != EINTR) break;
    if (ready <= 0) continue;
    ssize_t n = ::read(readFd_, buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    sink(buffer.data(), static_cast<size_t>(n));
  }
  ::close(readFd_);
  readFd_ = -1;
}

int CChildProcess::Wait() {
  if (pid_ < 0) return -1;
  int status = 0;
  pid_t done;
  do done = ::waitpid(pid_, &status, 0);
  while (done < 0 && errno == EINTR);
  pid_ = -1;
  return done > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace tarvo
