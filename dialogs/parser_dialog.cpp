#include "dialogs/parser_dialog.h"

#include "platform/host_ui.h"

bool CDlgStandardParser::DoModal() {
  std::vector<HostParam> list;
  for (auto& [name, p] : params_) list.push_back(HostParam{p.name, p.label, p.type, p.mandatory, &p.value});
  return HostUI().EditParameters(descrizione_, list);
}
