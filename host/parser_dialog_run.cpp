#include "host/parser_dialog_run.h"

#include "host/dialog_screen.h"
#include "platform/host_ui.h"

namespace {
std::string Utf8(const CString& text) { return tarvo::Cp1252ToUtf8(text); }

// The dialog's first control of a kind, or 0.
int FirstControl(const CTarvoParserDialog& dialog, CDialogItem::Kind kind) {
  for (const CDialogItem& item : dialog.GetTemplate().items)
    if (item.kind == kind) return item.id;
  return 0;
}

// Collects the message boxes of an unattended OK, which become the refusal's text.
class RecordingUI : public IHostUI {
 public:
  explicit RecordingUI(IHostUI& next) : next_(next) {}
  void MessageBox(const CString& text, int) override { texts.push_back(text); }
  bool AskYesNo(const CString& text, bool defaultYes) override { return next_.AskYesNo(text, defaultYes); }
  bool EditParameters(const CString& title, std::vector<HostParam>& params) override {
    return next_.EditParameters(title, params);
  }
  std::vector<CString> texts;

 private:
  IHostUI& next_;
};


class FrontScope {
 public:
  explicit FrontScope(IDialogFront& front) { SetDialogFront(&front); }
  ~FrontScope() { SetDialogFront(nullptr); }
};

// Applies --choice and --category; the problem (UTF-8), or an empty text.
std::string ApplyCommandLine(CTarvoParserDialog& dialog, const RunOptions& o) {
  int combo_id = FirstControl(dialog, CDialogItem::Kind::kComboBox);
  int list_id = FirstControl(dialog, CDialogItem::Kind::kListView);
  CComboBox* combo = dialog.GetComboBox(combo_id);
  CTarvoListCtrl* list = dialog.GetListCtrl(list_id);
  std::optional<int> choice = o.choice;
  if (!choice && !o.categories.empty()) choice = 0;  // categories alone: picked by hand
  if (choice) {
    if (!combo || combo->SetCurSel(*choice) == CB_ERR)
      return tarvo::StrFormat("--choice %d: the dialog has choices 0 to %d", *choice, combo ? combo->GetCount() - 1 : -1);
    dialog.OnCommand(combo_id, CBN_SELCHANGE);
  }
  if (o.categories.empty()) return {};
  if (!list || !list->IsWindowEnabled())
    return tarvo::StrFormat("--category: the choice %d takes no categories", combo ? combo->GetCurSel() : -1);
  for (const std::string& code : o.categories) {
    CString wanted = tarvo::Utf8ToCp1252(code);
    int row = 0;
    while (row < list->GetItemCount() && list->GetItemText(row, 0) != wanted) ++row;
    if (row == list->GetItemCount()) return "--category: no category \"" + code + "\" in the dialog's list";
    list->SetCheck(row, true);
  }
  return {};
}

DialogOutcome RunUnattended(CTarvoParserDialog& dialog, const RunOptions& o, Console& console) {
  if (!dialog.Load()) return DialogOutcome::kCancelled;
  if (std::string problem = ApplyCommandLine(dialog, o); !problem.empty()) {
    console.Error(problem);
    return DialogOutcome::kRefused;
  }
  RecordingUI recording(HostUI());
  bool ok;
  {
    ScopedHostUI scope(recording);
    ok = dialog.Confirm();
  }
  if (!ok) {
    for (const CString& text : recording.texts) console.Error(Utf8(text));
    return DialogOutcome::kRefused;
  }
  for (const CString& text : recording.texts) console.Note("message: " + Utf8(text));
  CComboBox* combo = dialog.GetComboBox(FirstControl(dialog, CDialogItem::Kind::kComboBox));
  std::string shown = "dialog \"" + Utf8(dialog.GetTemplate().caption) + "\"";
  if (combo) shown += ": " + Utf8(combo->GetLBText(combo->GetCurSel()));
  console.Note(shown);
  for (const auto& [name, value] : dialog.GetParams()) console.Note("  " + Utf8(name) + " = " + Utf8(value));
  return DialogOutcome::kOK;
}
}  // namespace

DialogOutcome RunParserDialog(CTarvoParserDialog& dialog, const RunOptions& options, bool interactive,
                              Console& console) {
  if (!interactive || options.choice || !options.categories.empty()) return RunUnattended(dialog, options, console);
  DialogScreen screen;
  FrontScope scope(screen);
  bool ok = dialog.DoModal();
  return ok ? DialogOutcome::kOK : DialogOutcome::kCancelled;
}
