// The run summary: what `run --summary FILE` writes at the end of every run, also a failed,
// stopped or refused one, for a monitoring system that should not have to read Italian log
// lines. A JSON document (schema: contrib/run-summary.schema.json, described in README) written
// under a temporary name beside FILE and renamed onto it, so that a reader never sees half of it.
//
// RunSummary is filled by the run command on the host thread; its Tally is the console's
// listener while the procedure runs. Not thread-safe beyond that.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/console.h"
#include "platform/run_journal.h"

struct RunSummary {
  // Counts lines by status and keeps the error lines (UTF-8) as the console prints them.
  class Tally : public Console::Listener {
   public:
    void OnLine(const CString& text, int status) override;
    void OnError(const std::string& utf8) override;
    long plain = 0, info = 0, error = 0;
    std::vector<std::string> errors;
  };
  struct File {
    std::string path;
    long long size = 0;
    std::string md5;  // 32 lower-case hexadecimal digits
  };

  std::optional<long> number;
  std::string class_name, description;  // UTF-8
  std::string destination;              // passwords masked
  std::string lock;                     // where the run lock was, empty when none was taken
  std::chrono::system_clock::time_point started = std::chrono::system_clock::now(), ended = started;
  std::optional<int> result;  // the procedure's result, when it ran
  int exit_code = 0;
  std::string outcome;  // "done", "failed", "stopped", "not-started", "locked", "usage", "no-procedure"
  bool dry_run = false;
  std::string scratch_folder;  // where a dry run's files went; empty when none were written
  Tally lines;
  std::vector<File> files;
  std::map<CString, tarvo::CTableRowCounts> tables;

  // The document (see contrib/run-summary.schema.json).
  std::string ToJson() const;
  // Writes ToJson atomically to `path`. Throws tarvo::CFileException.
  void Write(const std::string& path) const;
};

// The regular files below some folders with size and modification time, to tell afterwards which
// a run wrote (FilesWritten). Empty folder names are passed over.
struct FolderSnapshot {
  struct Entry {
    long long size;
    long long modified_ns;
    bool operator==(const Entry&) const = default;
  };
  std::map<std::string, Entry> files;
  static FolderSnapshot Take(const std::vector<std::string>& folders);
};
// The files of `after` that are new or changed since `before`, with their MD5, by path.
std::vector<RunSummary::File> FilesWritten(const FolderSnapshot& before, const FolderSnapshot& after);
