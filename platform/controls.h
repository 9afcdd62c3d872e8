// The state of the controls a parameter dialog holds: a drop-down combo box and a report list
// with check boxes. They know nothing of drawing; the host's front shows them and feeds the
// user's actions back. Indexes out of range are refused (CB_ERR, false, empty text), never UB.
// One thread at a time.
#pragma once

#include <vector>

#include "platform/text.h"

constexpr int CB_ERR = -1;
constexpr unsigned LVS_EX_CHECKBOXES = 0x00000004;
enum EColumnFormat { LVCFMT_LEFT = 0, LVCFMT_RIGHT = 1, LVCFMT_CENTER = 2 };

// What every control has: enabled or not.
class CControl {
 public:
  void EnableWindow(bool enable = true) { enabled_ = enable; }
  bool IsWindowEnabled() const { return enabled_; }

 private:
  bool enabled_ = true;
};

class CComboBox : public CControl {
 public:
  void ResetContent();
  int AddString(const CString& text);  // index of the new entry
  int GetCount() const { return static_cast<int>(items_.size()); }
  CString GetLBText(int index) const;
  int GetCurSel() const { return selection_; }
  // Selects an entry; an index out of range clears the selection and gives CB_ERR.
  int SetCurSel(int index);

 private:
  std::vector<CString> items_;
  int selection_ = CB_ERR;
};

class CTarvoListCtrl : public CControl {
 public:
  struct Column {
    CString heading;
    int format = LVCFMT_LEFT;
    int width = 0;  // dialog pixels; the front scales them
  };

  void SetExtendedStyle(unsigned style) { style_ = style; }
  unsigned GetExtendedStyle() const { return style_; }
  bool HasCheckBoxes() const { return (style_ & LVS_EX_CHECKBOXES) != 0; }

  int InsertColumn(int index, const CString& heading, int format = LVCFMT_LEFT, int width = 100);
  int GetColumnCount() const { return static_cast<int>(columns_.size()); }
  const Column& GetColumn(int index) const { return columns_.at(static_cast<size_t>(index)); }

  bool DeleteAllItems();
  int GetItemCount() const { return static_cast<int>(rows_.size()); }
  // Inserts a row with `text` in its first column at `index` (clamped); gives its index.
  int InsertItem(int index, const CString& text);
  bool SetItemText(int item, int subItem, const CString& text);
  CString GetItemText(int item, int subItem) const;
  // Check marks exist only with LVS_EX_CHECKBOXES.
  bool SetCheck(int item, bool check = true);
  bool GetCheck(int item) const;
  // Orders the rows by the text of one column, ignoring case; rows of equal text keep their order.
  void SortItems(int column, bool ascending);

 private:
  struct Row {
    std::vector<CString> texts;
    bool checked = false;
  };
  bool Valid(int item) const { return item >= 0 && item < GetItemCount(); }
  unsigned style_ = 0;
  std::vector<Column> columns_;
  std::vector<Row> rows_;
};
