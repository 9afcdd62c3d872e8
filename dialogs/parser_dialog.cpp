#include "dialogs/parser_dialog.h"

#include "platform/errors.h"
#include "platform/host_ui.h"
#include "platform/settings.h"

namespace {
IDialogFront* g_front = nullptr;
}

void SetDialogFront(IDialogFront* front) { g_front = front; }

bool CTarvoWindow::LoadRegistryValueForClass(const CString& name, CString& value) const {
  return CRegistryAdministrator::GetClassValue(class_name_, name, value);
}

bool CTarvoWindow::StoreRegistryValueForClass(const CString& name, const CString& value) const {
  try {
    CRegistryAdministrator::SetClassValue(class_name_, name, value);
    return true;
  } catch (const tarvo::CFileException& e) {
    AfxMessageBox(e.what(), MB_ICONEXCLAMATION);
    return false;
  }
}

bool CTarvoParserDialog::Load() { return OnEventPreLoad() && OnEventLoad() && OnEventPostLoad(); }

bool CTarvoParserDialog::DoModal() {
  if (!Load()) return false;
  return g_front ? g_front->RunModal(*this) : Confirm();
}

int CTarvoParserDialog::GetAnchor(int id) const {
  auto it = anchors_.find(id);
  return it == anchors_.end() ? 0 : it->second;
}

bool CDlgStandardParser::DoModal() {
  std::vector<HostParam> list;
  for (auto& [name, p] : params_) list.push_back(HostParam{p.name, p.label, p.type, p.mandatory, &p.value});
  return HostUI().EditParameters(descrizione_, list);
}
