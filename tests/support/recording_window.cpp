#include "support/recording_window.h"

#include <algorithm>

namespace tarvo::test {

void RecordingWindow::Take(const MSG& m) {
  if (m.message != WM_EXCHANGE_LOG) return;
  if (m.lParam == 2) {
    finished_ = true;
    ++finished_count_;
    result_ = static_cast<int>(m.wParam);
    return;
  }
  auto* s = reinterpret_cast<CString*>(m.wParam);
  lines_.push_back(PostedLine{*s, static_cast<int>(m.lParam)});
  delete s;
}

void RecordingWindow::Drain() {
  while (auto m = GetMessage(std::chrono::milliseconds(0))) Take(*m);
}

bool RecordingWindow::WaitFinished(std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!finished_) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    if (auto m = GetMessage(left)) Take(*m);
  }
  Drain();
  return true;
}

bool RecordingWindow::WaitForLine(const std::string& text, std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (size_t seen = 0;; ) {
    for (; seen < lines_.size(); ++seen)
      if (lines_[seen].text == text) return true;
    if (finished_) return false;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    if (auto m = GetMessage(left)) Take(*m);
  }
}

std::vector<std::string> RecordingWindow::Texts() const {
  std::vector<std::string> out;
  for (const auto& l : lines_) out.push_back(l.text);
  return out;
}

bool RecordingWindow::HasLine(const std::string& text) const {
  return std::any_of(lines_.begin(), lines_.end(), [&](const PostedLine& l) { return l.text == text; });
}

}  // namespace tarvo::test
