// The fuzz input as a file, for readers that take a path: written afresh for each input into
// a per-process file under /dev/shm (or /tmp) and removed at exit.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

inline const std::string& FuzzFilePath() {
  static const std::string path = [] {
    const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string p = std::string(dir) + "/tarvo-fuzz-" + std::to_string(getpid());
    static std::string removed;
    removed = p;
    std::atexit([] { std::remove(removed.c_str()); });
    return p;
  }();
  return path;
}

inline const std::string& WriteFuzzFile(const uint8_t* data, size_t size) {
  const std::string& path = FuzzFilePath();
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) std::abort();
  if (size && std::fwrite(data, 1, size, f) != size) std::abort();
  std::fclose(f);
  return path;
}
