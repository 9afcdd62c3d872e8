// The terminal side of a run: prints the procedure's lines (Windows-1252) as UTF-8 with their
// status, errors on stderr and marked, colour only on a terminal. On a terminal the per-row
// detail lines ("-- Trasferimento record n° ...") rewrite one progress line in place. Also
// prints the host's own notes and reads answers from stdin. Thread-safe: every call is
// serialised by one lock.
#pragma once

#include <cstdio>
#include <mutex>
#include <optional>
#include <string>

#include "platform/text.h"

class Console {
 public:
  // Sees every line and host error as it is printed (masked), under the console's lock: the run
  // summary's tally. Not owned.
  class Listener {
   public:
    virtual ~Listener() = default;
    virtual void OnLine(const CString& text, int status) = 0;  // Windows-1252
    virtual void OnError(const std::string& utf8) = 0;
  };
  struct Streams {
    std::FILE* out = stdout;
    std::FILE* err = stderr;
    std::FILE* in = stdin;
    bool out_is_tty = false;
    bool err_is_tty = false;
    bool in_is_tty = false;
    bool colour = false;  // escape codes on the terminal streams
  };
  // The process's streams, with terminal detection (NO_COLOR or TERM=dumb turn colour off).
  static Streams ProcessStreams();

  explicit Console(const Streams& streams) : s_(streams) {}
  // Installs `listener` (null: none) until the next call.
  void SetListener(Listener* listener) {
    std::lock_guard lock(mutex_);
    listener_ = listener;
  }

  // One posted line; `status` is the procedure's EThreadMessageStatus.
  void Line(const CString& text, int status);
  // The host's own words (UTF-8): a note on stdout, an error on stderr.
  void Note(const std::string& utf8);
  void Error(const std::string& utf8);
  // A line of a command's own output (UTF-8) on stdout, as it stands.
  void Print(const std::string& utf8);
  // Shows `prompt` (UTF-8) and reads one answer line; nullopt at end of input or on an error.
  std::optional<std::string> Ask(const std::string& prompt);

  bool Interactive() const { return s_.in_is_tty; }
  bool OutIsTerminal() const { return s_.out_is_tty; }

  // True for the per-row detail lines that a terminal shows as one progress line.
  static bool IsProgressLine(const CString& text);

 private:
  void EndProgressLocked();
  std::string Paint(const char* code, const std::string& text, bool tty) const;
  int TerminalWidth() const;

  std::mutex mutex_;
  Streams s_;
  bool progress_open_ = false;
  Listener* listener_ = nullptr;
};
