#include "platform/host_ui.h"

#include <atomic>

namespace {
class NonInteractiveUI : public IHostUI {
 public:
  void MessageBox(const CString&, int) override {}
  bool AskYesNo(const CString&, bool defaultYes) override { return defaultYes; }
  bool EditParameters(const CString&, std::vector<HostParam>&) override { return true; }
};

NonInteractiveUI& DefaultUI() {
  static NonInteractiveUI ui;
  return ui;
}
std::atomic<IHostUI*> g_ui{nullptr};
}  // namespace

void SetHostUI(IHostUI* ui) { g_ui.store(ui); }

IHostUI& HostUI() {
  IHostUI* ui = g_ui.load();
  return ui ? *ui : DefaultUI();
}

int AfxMessageBox(const CString& text, int icon) {
  HostUI().MessageBox(text, icon);
  return IDOK;
}

bool AfxAskYesNo(const CString& text, bool defaultYes) { return HostUI().AskYesNo(text, defaultYes); }
