// A host window for tests: collects the posted log lines and the finished notification.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/window.h"

namespace tarvo::test {

struct PostedLine {
  std::string text;
  int status;
};

class RecordingWindow : public CWnd {
 public:
  // Takes every message queued so far (freeing the strings). Stops at the finished
  // notification, which sets Finished() and Result().
  void Drain();
  // Drains until the finished notification arrives or `timeout` passes; true if it arrived.
  bool WaitFinished(std::chrono::milliseconds timeout = std::chrono::seconds(60));
  // Drains until a line with exactly `text` arrives (true), the run finishes or `timeout` passes.
  bool WaitForLine(const std::string& text, std::chrono::milliseconds timeout = std::chrono::seconds(60));
  const std::vector<PostedLine>& Lines() const { return lines_; }
  std::vector<std::string> Texts() const;
  bool Finished() const { return finished_; }
  int Result() const { return result_; }
  int FinishedCount() const { return finished_count_; }
  bool HasLine(const std::string& text) const;

 private:
  void Take(const MSG& m);
  std::vector<PostedLine> lines_;
  bool finished_ = false;
  int finished_count_ = 0;
  int result_ = -99;
};

}  // namespace tarvo::test
