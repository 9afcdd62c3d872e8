// The host's IHostUI on a terminal. Message boxes are printed. Yes/No questions and parameter
// dialogs are asked on the terminal when stdin is one and the run is not in batch mode;
// otherwise the default answer is taken (the values stay as given) and the output says so.
//
// Procedures call the UI from their worker thread. While a run is attached (Attach), such calls
// are handed to the host thread through the run's window (message WM_HOST_UI) and wait for it,
// so that a question appears after the lines posted before it; Serve answers them there.
// Calls made on the host thread itself are answered at once.
#pragma once

#include <thread>

#include "host/console.h"
#include "platform/host_ui.h"
#include "platform/window.h"

constexpr UINT WM_HOST_UI = WM_USER + 100;

class TerminalUI : public IHostUI {
 public:
  // `batch`: never ask, take the defaults. The console is not owned.
  TerminalUI(Console& console, bool batch);

  // Routes worker-thread calls through `window` (null: detach). Call on the host thread.
  void Attach(CWnd* window);
  // Answers one WM_HOST_UI message taken from the attached window.
  static void Serve(const MSG& message);

  void MessageBox(const CString& text, int icon) override;
  bool AskYesNo(const CString& text, bool defaultYes) override;
  bool EditParameters(const CString& title, std::vector<HostParam>& params) override;

 private:
  bool CanAsk() const { return !batch_ && console_.Interactive(); }
  // Runs `work` on the host thread (directly, or through the attached window) and waits.
  template <class F>
  auto OnHostThread(F work) -> decltype(work());
  void DoMessageBox(const CString& text, int icon);
  bool DoAskYesNo(const CString& text, bool defaultYes);
  bool DoEditParameters(const CString& title, std::vector<HostParam>& params);
  const char* DefaultReason() const;

  Console& console_;
  bool batch_;
  std::thread::id host_thread_;
  CWnd* window_ = nullptr;
};
