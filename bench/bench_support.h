// Helpers the benchmark programs share: wall time of a piece of work, and shell commands that
// must succeed (the program ends when one fails).
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace tarvo::bench {

inline double Seconds(const std::function<void()>& f) {
  auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

inline void Shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    std::exit(1);
  }
}

}  // namespace tarvo::bench
