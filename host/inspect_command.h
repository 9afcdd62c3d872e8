// `tarvo-exchange inspect FILE [--layout NAME]`: a partner file record by record as named fields,
// with what does not fit its layout flagged (partners/layout_catalog.h does the work).
#pragma once

#include <string>

#include "host/console.h"

struct InspectOptions {
  std::string file;
  std::string layout;  // a catalogue name; empty: chosen by the file's name
};

// Exit codes: 0 nothing flagged, 1 something flagged, 2 the file cannot be read, 64 no such
// layout or none for the file's name (the catalogue is listed).
int InspectCommand(const InspectOptions& options, Console& console);
