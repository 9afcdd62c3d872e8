// The placeholder expansion. Input: "name=value" lines, an empty line, then the text. Every
// expansion must end, either with a result or with the endless-placeholder error.
#include <string_view>

#include "framework/placeholders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  CMapStringToString params;
  size_t pos = 0;
  while (pos < input.size()) {
    size_t end = input.find('\n', pos);
    if (end == std::string_view::npos) end = input.size();
    std::string_view line = input.substr(pos, end - pos);
    pos = end + 1;
    if (line.empty()) break;
    size_t eq = line.find('=');
    params[CString(line.substr(0, eq))] = eq == std::string_view::npos ? CString() : CString(line.substr(eq + 1));
  }
  CString text(pos < input.size() ? input.substr(pos) : std::string_view());
  try {
    tarvo::ExpandPlaceholders(text, params);
  } catch (const CEndlessPlaceholder&) {
  }
  return 0;
}
