// Child processes started from a command line, with their standard output and standard error
// joined on one pipe that the caller reads. No shell is involved: the command line is split into
// arguments the way Windows programs split theirs (blanks separate, double quotes group, \" is a
// quote), and the first argument names the program, searched in PATH when it has no folder.
// One object runs one child on one thread; destroying it closes the pipe and reaps the child.
#pragma once

#include <sys/types.h>

#include <functional>
#include <vector>

#include "platform/text.h"

namespace tarvo {

std::vector<CString> SplitCommandLine(const CString& commandLine);

class CChildProcess {
 public:
  CChildProcess() = default;
  ~CChildProcess();
  CChildProcess(const CChildProcess&) = delete;
  CChildProcess& operator=(const CChildProcess&) = delete;

  // Starts the program with no standard input, in the current folder and environment, in a
  // process group of its own. False
  // when the pipe cannot be made or the program cannot be started; errno then holds the cause.
  bool Start(const CString& commandLine);
  // Hands the child's output to `sink` in blocks of at most `blockSize` bytes, as it comes,
  // until the child closes its output. `stopRequested` (may be empty) is polled at least every
  // 200 ms: once it says true the child's process group (the child and what it started) gets
  // SIGTERM, and SIGKILL 2 s later.
  void ReadOutput(const std::function<void(const char* data, size_t length)>& sink, size_t blockSize = 511,
                  const std::function<bool()>& stopRequested = {});
  // Waits for the child to end; its exit code, or -1 when it was killed or never started.
  int Wait();

 private:
  pid_t pid_ = -1;
  int readFd_ = -1;
};

}  // namespace tarvo
