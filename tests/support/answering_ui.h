// A host UI for tests: every question gets the same answer; questions and message boxes are kept.
#pragma once

#include <vector>

#include "platform/host_ui.h"

namespace tarvo::test {

class AnsweringUI : public IHostUI {
 public:
  explicit AnsweringUI(bool answer) : answer_(answer) {}
  void MessageBox(const CString& text, int) override { boxes.push_back(text); }
  bool AskYesNo(const CString& text, bool) override {
    questions.push_back(text);
    return answer_;
  }
  bool EditParameters(const CString&, std::vector<HostParam>&) override { return true; }

  std::vector<CString> questions;
  std::vector<CString> boxes;

 private:
  bool answer_;
};

}  // namespace tarvo::test
