// Parameter dialogs on a host without windows. CTarvoParserDialog is the base of the procedures'
// filter dialogs: a model of controls (platform/controls.h) and events that knows nothing of
// drawing; the host's front (IDialogFront) shows it to a person, or the host works it without
// one. CDlgStandardParser is a list of named values that the host's user interface edits (the
// parameters a driver file declares). Dialog objects are used by one thread at a time.
#pragma once

#include <map>
#include <vector>

#include "platform/controls.h"
#include "platform/text.h"

class CWnd;
class CDatabase;

// Ids of the buttons every dialog has, and the notification of a combo box's new selection.
constexpr int IDC_OK = 1;
constexpr int IDC_CANCEL = 2;
constexpr int CBN_SELCHANGE = 1;
// Edges a control keeps its distance to when the dialog is resized.
enum EAnchor { ANCHOR_TOP = 1, ANCHOR_BOTTOM = 2, ANCHOR_LEFT = 4, ANCHOR_RIGHT = 8, ANCHOR_ALL = 15 };

// A dialog's layout: its controls in dialog units, in tab order.
struct CDialogItem {
  enum class Kind { kStatic, kComboBox, kListView, kButton };
  Kind kind;
  int id;
  CString text;
  int x, y, cx, cy;
  bool defaultButton = false;
};
struct CDialogTemplate {
  int id = 0;
  CString caption;
  int cx = 0, cy = 0;
  std::vector<CDialogItem> items;
};

// Values a window remembers per class between runs, in the host's settings file.
class CTarvoWindow {
 public:
  explicit CTarvoWindow(const char* className) : class_name_(className) {}
  virtual ~CTarvoWindow() = default;
  const CString& GetClassName() const { return class_name_; }
  // False when nothing is stored under `name` for this class.
  bool LoadRegistryValueForClass(const CString& name, CString& value) const;
  // Stores the value; a settings file that cannot be written is shown in a message box and gives
  // false (the value still holds for this process).
  bool StoreRegistryValueForClass(const CString& name, const CString& value) const;

 private:
  CString class_name_;
};

class CTarvoParserDialog : public CTarvoWindow {
 public:
  CTarvoParserDialog(CWnd* parent, CDatabase* database, const char* className = "CTarvoParserDialog")
      : CTarvoWindow(className), parent_(parent), database_(database) {}

  void SetParserFlag(long flag) { parser_flag_ = flag; }
  long GetParserFlag() const { return parser_flag_; }
  void SetReportTitle(const CString& title) { report_title_ = title; }
  const CString& GetReportTitle() const { return report_title_; }
  CDatabase* GetDatabase() const { return database_; }
  CWnd* GetParent() const { return parent_; }

  // Loads the dialog and lets the installed front show it; without a front the dialog is
  // confirmed as loaded. True for OK, false for cancel or a refused load.
  virtual bool DoModal();

  // --- what a front works with ---
  const CDialogTemplate& GetTemplate() const { return template_; }
  // The controls by id; null when the dialog has no such control.
  virtual CComboBox* GetComboBox(int id) { return nullptr; }
  virtual CTarvoListCtrl* GetListCtrl(int id) { return nullptr; }
  // A control's notification (CBN_SELCHANGE after the front changed a combo box's selection).
  virtual void OnCommand(int id, int notification) {}
  // Opening: OnEventPreLoad, OnEventLoad, OnEventPostLoad, stopping at the first that refuses.
  bool Load();
  // The OK button: true when the dialog may close, its parameters then stand in GetParams.
  bool Confirm() { return OnEventOK(); }
  // Parameters for the procedure's filter map, as the dialog passed them with AddParam.
  const CMapStringToString& GetParams() const { return params_; }
  // The control that should have the input focus (0: the front decides).
  int GetFocusId() const { return focus_id_; }
  // ANCHOR_* flags of a control (0: none given).
  int GetAnchor(int id) const;

 protected:
  virtual bool OnEventPreLoad() { return true; }
  virtual bool OnEventLoad() { return true; }
  virtual bool OnEventPostLoad() { return true; }
  virtual bool OnEventOK() { return true; }
  void AddParam(const CString& name, const CString& value) { params_[name] = value; }
  void AddAnchor(int id, int anchor) { anchors_[id] = anchor; }
  void GotoDlgCtrl(int id) { focus_id_ = id; }

  CDialogTemplate template_;
  CWnd* parent_;
  CDatabase* database_;
  long parser_flag_ = 0;
  CString report_title_;

 private:
  CMapStringToString params_;
  std::map<int, int> anchors_;
  int focus_id_ = 0;
};

// What shows a dialog to a person; the host installs one for interactive runs.
class IDialogFront {
 public:
  virtual ~IDialogFront() = default;
  // Lets the user work the loaded dialog until OK is accepted (true) or the dialog is cancelled.
  virtual bool RunModal(CTarvoParserDialog& dialog) = 0;
};
// Installs the front (nullptr: none). Not owned.
void SetDialogFront(IDialogFront* front);

class CDlgStandardParser {
 public:
  // One parameter declared by a driver: its type, name, label, whether a value is required, and
  // the value, which the dialog edits in place.
  struct CParam {
    CString type;
    CString name;
    CString label;
    bool mandatory = false;
    CString value;
  };
  using ParamMap = std::map<CString, CParam>;

  CDlgStandardParser(CWnd* parent, ParamMap& params) : parent_(parent), params_(params) {}
  void SetDescrizione(const CString& text) { descrizione_ = text; }
  const CString& GetDescrizione() const { return descrizione_; }
  // Lets the host's user interface edit the values; true for OK.
  bool DoModal();

 private:
  CWnd* parent_;
  ParamMap& params_;
  CString descrizione_;
};
