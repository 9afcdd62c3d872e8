#include "platform/controls.h"

#include <algorithm>
#include <cctype>

void CComboBox::ResetContent() {
  items_.clear();
  selection_ = CB_ERR;
}

int CComboBox::AddString(const CString& text) {
  items_.push_back(text);
  return GetCount() - 1;
}

CString CComboBox::GetLBText(int index) const {
  return index >= 0 && index < GetCount() ? items_[static_cast<size_t>(index)] : CString();
}

int CComboBox::SetCurSel(int index) {
  selection_ = index >= 0 && index < GetCount() ? index : CB_ERR;
  return selection_;
}

int CTarvoListCtrl::InsertColumn(int index, const CString& heading, int format, int width) {
  index = std::clamp(index, 0, GetColumnCount());
  columns_.insert(columns_.begin() + index, Column{heading, format, width});
  return index;
}

bool CTarvoListCtrl::DeleteAllItems() {
  rows_.clear();
  return true;
}

int CTarvoListCtrl::InsertItem(int index, const CString& text) {
  index = std::clamp(index, 0, GetItemCount());
  rows_.insert(rows_.begin() + index, Row{{text}, false});
  return index;
}

bool CTarvoListCtrl::SetItemText(int item, int subItem, const CString& text) {
  if (!Valid(item) || subItem < 0) return false;
  std::vector<CString>& texts = rows_[static_cast<size_t>(item)].texts;
  if (texts.size() <= static_cast<size_t>(subItem)) texts.resize(static_cast<size_t>(subItem) + 1);
  texts[static_cast<size_t>(subItem)] = text;
  return true;
}

CString CTarvoListCtrl::GetItemText(int item, int subItem) const {
  if (!Valid(item) || subItem < 0) return {};
  const std::vector<CString>& texts = rows_[static_cast<size_t>(item)].texts;
  return static_cast<size_t>(subItem) < texts.size() ? texts[static_cast<size_t>(subItem)] : CString();
}

bool CTarvoListCtrl::SetCheck(int item, bool check) {
  if (!Valid(item) || !HasCheckBoxes()) return false;
  rows_[static_cast<size_t>(item)].checked = check;
  return true;
}

bool CTarvoListCtrl::GetCheck(int item) const { return Valid(item) && HasCheckBoxes() && rows_[static_cast<size_t>(item)].checked; }

void CTarvoListCtrl::SortItems(int column, bool ascending) {
  auto key = [column](const Row& r) {
    CString text = static_cast<size_t>(column) < r.texts.size() ? r.texts[static_cast<size_t>(column)] : CString();
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  std::stable_sort(rows_.begin(), rows_.end(),
                   [&](const Row& a, const Row& b) { return ascending ? key(a) < key(b) : key(b) < key(a); });
}
