#include "support/children.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <vector>

namespace tarvo::test {

bool RunInChildren(int count, const std::function<void(int child)>& body) {
  std::vector<pid_t> children;
  bool ok = true;
  for (int child = 0; child < count; ++child) {
    pid_t pid = fork();
    if (pid < 0) {
      ok = false;
      break;
    }
    if (pid == 0) {
      int status = 0;
      try {
        body(child);
      } catch (const std::exception& e) {
        std::fprintf(stderr, "child %d: %s\n", child, e.what());
        status = 1;
      } catch (...) {
        status = 1;
      }
      _exit(status);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    waitpid(pid, &status, 0);
    ok = ok && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }
  return ok;
}

}  // namespace tarvo::test
