// Parameter dialogs on a host without windows: a dialog is a list of named values that the
// host's user interface edits (on a terminal, or not at all in batch runs). CTarvoParserDialog
// is the base of the procedures' filter dialogs; CDlgStandardParser shows the parameters a driver
// file declares. Dialog objects are used by one thread at a time.
#pragma once

#include <map>
#include <vector>

#include "platform/text.h"

class CWnd;
class CDatabase;

class CTarvoParserDialog {
 public:
  CTarvoParserDialog(CWnd* parent, CDatabase* database) : parent_(parent), database_(database) {}
  virtual ~CTarvoParserDialog() = default;

  void SetParserFlag(long flag) { parser_flag_ = flag; }
  long GetParserFlag() const { return parser_flag_; }
  void SetReportTitle(const CString& title) { report_title_ = title; }
  const CString& GetReportTitle() const { return report_title_; }
  CDatabase* GetDatabase() const { return database_; }
  CWnd* GetParent() const { return parent_; }

  // Shows the dialog; true for OK, false for cancel.
  virtual bool DoModal() = 0;

 protected:
  CWnd* parent_;
  CDatabase* database_;
  long parser_flag_ = 0;
  CString report_title_;
};

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
