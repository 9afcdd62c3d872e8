#include "host/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "framework/tarvo_import.h"

namespace {
constexpr const char* kRed = "1;31";
constexpr const char* kGreen = "32";
constexpr const char* kYellow = "33";
// The per-row detail line of the table transfers, as the procedures write it (Windows-1252).
const CString& ProgressPrefix() {
  static const CString prefix = tarvo::W("-- Trasferimento record n°");
  return prefix;
}
}  // namespace

Console::Streams Console::ProcessStreams() {
  Streams s;
  s.out_is_tty = ::isatty(STDOUT_FILENO) == 1;
  s.err_is_tty = ::isatty(STDERR_FILENO) == 1;
  s.in_is_tty = ::isatty(STDIN_FILENO) == 1;
  const char* no_colour = std::getenv("NO_COLOR");
  const char* term = std::getenv("TERM");
  s.colour = !(no_colour && *no_colour) && !(term && std::strcmp(term, "dumb") == 0);
  return s;
}

bool Console::IsProgressLine(const CString& text) { return text.starts_with(ProgressPrefix()); }

std::string Console::Paint(const char* code, const std::string& text, bool tty) const {
  if (!tty || !s_.colour) return text;
  return std::string("\x1b[") + code + "m" + text + "\x1b[0m";
}

int Console::TerminalWidth() const {
  winsize ws{};
  if (::ioctl(::fileno(s_.out), TIOCGWINSZ, &ws) == 0 && ws.ws_col > 0) return ws.ws_col;
  return 80;
}

void Console::EndProgressLocked() {
  if (!progress_open_) return;
  std::fputc('\n', s_.out);
  std::fflush(s_.out);
  progress_open_ = false;
}

void Console::Line(const CString& raw, int status) {
  std::lock_guard lock(mutex_);
  const CString text = tarvo::MaskSecrets(raw);
  if (listener_) listener_->OnLine(text, status);
  std::string line = tarvo::Cp1252ToUtf8(text);
  if (status == TMS_ERROR) {
    EndProgressLocked();
    std::fprintf(s_.err, "%s %s\n", Paint(kRed, "[errore]", s_.err_is_tty).c_str(), line.c_str());
    std::fflush(s_.err);
    return;
  }
  if (s_.out_is_tty && IsProgressLine(text)) {
    // Rewrite the progress line in place; cut it to the terminal so that it never wraps.
    std::string shown = tarvo::Cp1252ToUtf8(text.substr(0, static_cast<size_t>(TerminalWidth() - 1)));
    std::fprintf(s_.out, "\r%s\x1b[K", shown.c_str());
    std::fflush(s_.out);
    progress_open_ = true;
    return;
  }
  EndProgressLocked();
  if (status == TMS_INFO)
    std::fprintf(s_.out, "%s %s\n", Paint(kGreen, "[info]", s_.out_is_tty).c_str(), line.c_str());
  else
    std::fprintf(s_.out, "%s\n", line.c_str());
  std::fflush(s_.out);
}

void Console::Note(const std::string& utf8) {
  std::lock_guard lock(mutex_);
  EndProgressLocked();
  std::fprintf(s_.out, "%s %s\n", Paint(kYellow, "[tarvo-exchange]", s_.out_is_tty).c_str(),
               tarvo::MaskSecrets(utf8).c_str());
  std::fflush(s_.out);
}

void Console::Print(const std::string& utf8) {
  std::lock_guard lock(mutex_);
  EndProgressLocked();
  std::fprintf(s_.out, "%s\n", utf8.c_str());
  std::fflush(s_.out);
}

void Console::Error(const std::string& utf8) {
  std::lock_guard lock(mutex_);
  if (listener_) listener_->OnError(tarvo::MaskSecrets(utf8));
  EndProgressLocked();
  std::fprintf(s_.err, "%s %s\n", Paint(kRed, "tarvo-exchange: error:", s_.err_is_tty).c_str(),
               tarvo::MaskSecrets(utf8).c_str());
  std::fflush(s_.err);
}

std::optional<std::string> Console::Ask(const std::string& prompt) {
  std::lock_guard lock(mutex_);
  EndProgressLocked();
  std::fputs(prompt.c_str(), s_.out);
  std::fflush(s_.out);
  std::string answer;
  for (;;) {
    int c = std::fgetc(s_.in);
    if (c == EOF) {
      std::clearerr(s_.in);
      std::fputc('\n', s_.out);
      return std::nullopt;
    }
    if (c == '\n') break;
    answer += static_cast<char>(c);
  }
  if (!answer.empty() && answer.back() == '\r') answer.pop_back();
  return answer;
}
