#include "host/inspect_command.h"

#include "host/run_command.h"
#include "partners/layout_catalog.h"
#include "platform/errors.h"
#include "platform/files.h"

using namespace tarvo::partner;

namespace {

void ListLayouts(Console& console) {
  console.Note("Layouts (inspect --layout NAME):");
  for (const CFileLayout* layout : LayoutCatalog()) {
    std::string names;
    for (const CString& p : layout->patterns) names += (names.empty() ? "" : " ") + p;
    console.Print(tarvo::StrFormat("  %-26s %-36s %s", layout->name.c_str(), names.c_str(), layout->description.c_str()));
  }
}

}  // namespace

int InspectCommand(const InspectOptions& options, Console& console) {
  std::vector<const CFileLayout*> candidates;
  if (!options.layout.empty()) {
    if (const CFileLayout* layout = FindLayout(options.layout)) candidates.push_back(layout);
    else console.Error("no layout \"" + options.layout + "\"");
  } else {
    candidates = LayoutsForFile(options.file);
    if (candidates.empty()) console.Error("no layout for the name of \"" + options.file + "\": choose one with --layout");
  }
  if (candidates.empty()) {
    ListLayouts(console);
    return kExitUsage;
  }
  CString bytes;
  try {
    bytes = tarvo::ReadFileBytes(options.file);
  } catch (const tarvo::CFileException& e) {
    console.Error(tarvo::Cp1252ToUtf8(e.GetErrorMessage()));
    return 2;
  }
  // Several layouts fit the name (Solvar's and Pellor's articoli.txt): the one that fits the
  // records best wins, the others are named.
  std::vector<CFileReport> reports;
  size_t best = 0;
  for (const CFileLayout* layout : candidates) {
    reports.push_back(InspectBytes(*layout, bytes));
    if (reports.back().Flagged() < reports[best].Flagged()) best = reports.size() - 1;
  }
  console.Print(options.file + ": layout " + reports[best].layout->name + " (" + reports[best].layout->description + ")");
  for (size_t i = 0; i < reports.size(); ++i)
    if (i != best)
      console.Print(tarvo::StrFormat("  also fits the name: %s (%d flagged)", reports[i].layout->name.c_str(), reports[i].Flagged()));
  for (const CString& line : FormatReport(reports[best])) console.Print(tarvo::Cp1252ToUtf8(line));
  return reports[best].Flagged() ? 1 : 0;
}
