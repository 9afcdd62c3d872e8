// CFolderDigests: the MD5 fingerprints (CTarvoImport::DigestFile) of a list of files, computed
// ahead on a few worker threads in list order while one consumer takes them in the same order,
// so reading the files overlaps with what the consumer does meanwhile (the transfers).
//
// The workers start in the constructor and stop between files when the stop event is set; the
// destructor stops them and waits for them. Get is for one consumer thread at a time.
#pragma once

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "platform/text.h"

class CEvent;

class CFolderDigests {
 public:
  // `stop` (owned by the caller, may be null) is polled before each file.
  CFolderDigests(std::vector<CString> paths, const CEvent* stop);
  ~CFolderDigests();
  CFolderDigests(const CFolderDigests&) = delete;
  CFolderDigests& operator=(const CFolderDigests&) = delete;

  // The fingerprint of file `index`, waiting for it; nullopt when the stop event ended the
  // workers before it. Rethrows what DigestFile threw for that file (tarvo::CFileException).
  std::optional<CString> Get(size_t index);

 private:
  void Work();

  const std::vector<CString> paths_;
  const CEvent* const stop_;
  std::atomic<size_t> next_{0};
  std::atomic<bool> cancelled_{false};
  std::mutex lock_;  // guards what follows
  std::condition_variable ready_;
  std::vector<CString> digests_;
  std::vector<std::exception_ptr> errors_;
  std::vector<bool> done_;
  bool stopped_ = false;
  std::vector<std::thread> workers_;
};
