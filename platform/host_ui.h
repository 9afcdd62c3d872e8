// Message boxes and Yes/No questions go through the host's user interface. The host installs its
// implementation once at start-up (the CLI asks on the terminal); without one, questions take
// their documented default answer and boxes are only recorded. Callable from any thread.
#pragma once

#include <memory>
#include <vector>

#include "platform/text.h"

enum EMessageIcon { MB_OK = 0, MB_ICONERROR = 0x10, MB_ICONQUESTION = 0x20, MB_ICONEXCLAMATION = 0x30,
                    MB_ICONINFORMATION = 0x40 };
enum EMessageAnswer { IDOK = 1, IDYES = 6, IDNO = 7 };

// One value of a parameter dialog, edited in place by the host.
struct HostParam {
  CString name;
  CString label;
  CString type;
  bool mandatory = false;
  CString* value = nullptr;
};

class IHostUI {
 public:
  virtual ~IHostUI() = default;
  // Shows `text` (Windows-1252) and waits for the user to close it.
  virtual void MessageBox(const CString& text, int icon) = 0;
  // Asks a Yes/No question; `defaultYes` is the answer to take when nobody can answer.
  virtual bool AskYesNo(const CString& text, bool defaultYes) = 0;
  // Lets the user edit the values of a parameter dialog titled `title`; false for cancel.
  // Without a user the values stay as given and the answer is OK.
  virtual bool EditParameters(const CString& title, std::vector<HostParam>& params) = 0;
};

// Installs the host's UI (nullptr: back to the non-interactive default). Not owned.
void SetHostUI(IHostUI* ui);
IHostUI& HostUI();

// Installs a UI for a scope (a screen, a recorder) and puts the one before back.
class ScopedHostUI {
 public:
  explicit ScopedHostUI(IHostUI& ui) : previous_(HostUI()) { SetHostUI(&ui); }
  ~ScopedHostUI() { SetHostUI(&previous_); }
  ScopedHostUI(const ScopedHostUI&) = delete;
  ScopedHostUI& operator=(const ScopedHostUI&) = delete;

 private:
  IHostUI& previous_;
};

// Shorthands in the style of the procedures.
int AfxMessageBox(const CString& text, int icon = MB_ICONEXCLAMATION);
bool AfxAskYesNo(const CString& text, bool defaultYes);
