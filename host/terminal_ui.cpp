#include "host/terminal_ui.h"

#include <functional>
#include <future>
#include <optional>

namespace {
// One call handed from a worker thread to the host thread.
struct UiRequest {
  std::function<void()> work;
  std::promise<void> done;
};

std::string Utf8(const CString& text) { return tarvo::Cp1252ToUtf8(text); }

std::optional<bool> ParseYesNo(std::string answer) {
  answer = tarvo::ToLower(tarvo::Trim(answer));
  if (answer == "s" || answer == "si" || answer == "sì" || answer == "y" || answer == "yes") return true;
  if (answer == "n" || answer == "no") return false;
  return std::nullopt;
}
}  // namespace

TerminalUI::TerminalUI(Console& console, bool batch)
    : console_(console), batch_(batch), host_thread_(std::this_thread::get_id()) {}

void TerminalUI::Attach(CWnd* window) { window_ = window; }

void TerminalUI::Serve(const MSG& message) {
  auto* request = reinterpret_cast<UiRequest*>(message.wParam);
  try {
    request->work();
    request->done.set_value();
  } catch (...) {
    request->done.set_exception(std::current_exception());
  }
}

template <class F>
auto TerminalUI::OnHostThread(F work) -> decltype(work()) {
  if (std::this_thread::get_id() == host_thread_ || !window_) return work();
  using R = decltype(work());
  std::optional<R> result;
  UiRequest request{[&] { result = work(); }, {}};
  std::future<void> done = request.done.get_future();
  if (!CWnd::PostMessage(window_, WM_HOST_UI, reinterpret_cast<WPARAM>(&request), 0)) return work();
  done.get();
  return *result;
}

void TerminalUI::MessageBox(const CString& text, int icon) {
  OnHostThread([&] {
    DoMessageBox(text, icon);
    return true;
  });
}

bool TerminalUI::AskYesNo(const CString& text, bool defaultYes) {
  return OnHostThread([&] { return DoAskYesNo(text, defaultYes); });
}

bool TerminalUI::EditParameters(const CString& title, std::vector<HostParam>& params) {
  return OnHostThread([&] { return DoEditParameters(title, params); });
}

const char* TerminalUI::DefaultReason() const { return batch_ ? "batch mode" : "no terminal"; }

void TerminalUI::DoMessageBox(const CString& text, int icon) {
  std::string shown = "message: " + Utf8(text);
  if (icon == MB_ICONERROR || icon == MB_ICONEXCLAMATION)
    console_.Error(shown);
  else
    console_.Note(shown);
}

bool TerminalUI::DoAskYesNo(const CString& text, bool defaultYes) {
  const char* name = defaultYes ? "yes" : "no";
  if (!CanAsk()) {
    console_.Note("question: " + Utf8(text) + " -> " + name + " (default answer, " + DefaultReason() + ")");
    return defaultYes;
  }
  std::string prompt = "question: " + Utf8(text) + (defaultYes ? " [S/n] " : " [s/N] ");
  for (;;) {
    std::optional<std::string> answer = console_.Ask(prompt);
    if (!answer || tarvo::Trim(*answer).empty()) {
      console_.Note(std::string("answer: ") + name + " (default)");
      return defaultYes;
    }
    if (std::optional<bool> yes = ParseYesNo(*answer)) return *yes;
  }
}

bool TerminalUI::DoEditParameters(const CString& title, std::vector<HostParam>& params) {
  if (!CanAsk()) {
    console_.Note("parameters: " + Utf8(title) + " (values kept, " + DefaultReason() + ")");
    for (const HostParam& p : params)
      console_.Note("  " + Utf8(p.name) + " = " + Utf8(p.value ? *p.value : CString()));
    return true;
  }
  console_.Note("parameters: " + Utf8(title) + " (Enter keeps the value, end of input cancels)");
  for (HostParam& p : params) {
    if (!p.value) continue;
    const CString& label = p.label.empty() ? p.name : p.label;
    for (;;) {
      std::string prompt = "  " + Utf8(label) + (p.mandatory ? " *" : "") + " [" + Utf8(*p.value) + "]: ";
      std::optional<std::string> answer = console_.Ask(prompt);
      if (!answer) return false;
      if (!answer->empty()) *p.value = tarvo::Utf8ToCp1252(*answer);
      if (!p.mandatory || !tarvo::Trim(*p.value).empty()) break;
      console_.Error(Utf8(label) + " is required");
    }
  }
  return true;
}
