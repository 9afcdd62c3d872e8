// Runs a program as a child process for tests that drive an executable (tarvo-exchange): its
// standard output and error are captured separately, stdin gets a given text, and the test may
// send it signals while it runs. Not thread-safe; one object per child.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tarvo::test {

struct ProcessResult {
  int exit_code = -1;  // the exit status, or 128 + signal number when the child was killed
  std::string out;
  std::string err;
};

class Subprocess {
 public:
  // Starts `argv[0]` with `argv` in `cwd` (empty: the current folder); `env` adds or replaces
  // variables (an empty value removes one). Throws std::runtime_error if it cannot start.
  Subprocess(const std::vector<std::string>& argv, const std::string& input = {}, const std::string& cwd = {},
             const std::map<std::string, std::string>& env = {});
  ~Subprocess();  // kills a child still running
  Subprocess(const Subprocess&) = delete;
  Subprocess& operator=(const Subprocess&) = delete;

  // Collects output until `done(out, err)` holds or the child ends or `timeout` passes; true if
  // `done` held.
  bool WaitForOutput(const std::function<bool(const std::string& out, const std::string& err)>& done,
                     std::chrono::milliseconds timeout = std::chrono::seconds(60));
  void Signal(int signal);
  pid_t Pid() const { return pid_; }  // -1 once finished
  // Collects the rest of the output and the exit status; kills the child after `timeout`.
  ProcessResult Finish(std::chrono::milliseconds timeout = std::chrono::seconds(120));

 private:
  bool Pump(std::chrono::milliseconds wait);  // false once both pipes are closed
  pid_t pid_ = -1;
  int out_fd_ = -1;
  int err_fd_ = -1;
  ProcessResult result_;
};

// Starts, feeds and finishes in one call.
ProcessResult RunProcess(const std::vector<std::string>& argv, const std::string& input = {},
                         const std::string& cwd = {}, const std::map<std::string, std::string>& env = {});

}  // namespace tarvo::test
