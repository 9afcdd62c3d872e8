// "@name" placeholders of driver texts, replaced by the filter parameters' values.
#include "framework/placeholders.h"

#include <string_view>
#include <vector>

namespace tarvo {
namespace {
// The characters of a placeholder's name.
constexpr std::string_view kIdentifierAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWYXZabcdefghijklmnopqrstuvwyxz0123456789_";
}  // namespace

// Each "@name" is replaced by its parameter's value (an unknown name by the last value found),
// and the scan goes on inside the value just inserted, so a value may name further parameters.
// A value that comes back inside its own substitution would do so forever: the values being
// substituted are kept with the end of their place in the text, and meeting one of them again
// inside itself ends the substitution with CEndlessPlaceholder. Limits on the substitutions and
// the size of the text are a second guard, far beyond any driver's texts.
void ExpandPlaceholders(CString& text, const CMapStringToString& params) {
  struct Open {
    CString value;  // the parameter value occupying text up to `end`
    CString name;
    size_t end;
  };
  constexpr size_t kMaxText = 1u << 20;
  constexpr int kMaxSubstitutions = 10000;
  int substitutions = 0;
  std::vector<Open> open;
  CString lastValue;
  size_t p = text.find('@');
  while (p != CString::npos) {
    while (!open.empty() && p >= open.back().end) open.pop_back();
    text.insert(p, 1, '#');
    for (Open& o : open) ++o.end;
    // text now holds "#@" at p; the name follows the "@".
    size_t nameStart = p + 2;
    size_t nameEnd = text.find_first_not_of(kIdentifierAlphabet, nameStart);
    if (nameEnd == CString::npos) nameEnd = text.size();
    CString name = text.substr(nameStart, nameEnd - nameStart);
    auto it = params.find(name);
    if (it != params.end()) lastValue = it->second;
    for (const Open& o : open)
      if (o.value == lastValue) throw CEndlessPlaceholder(o.name);
    const CString token = "#@" + name;
    size_t here = p;  // where this placeholder's own "#@" is while the text changes around it
    for (size_t at = text.find(token); at != CString::npos; at = text.find(token, at + lastValue.size())) {
      text.replace(at, token.size(), lastValue);
      for (Open& o : open) {
        if (o.end <= at) continue;
        // A value may end inside a token that began in it: its place then ends with the new value.
        o.end = o.end >= at + token.size() ? o.end - token.size() + lastValue.size() : at + lastValue.size();
      }
      if (at == here) {
        if (!lastValue.empty()) open.push_back({lastValue, name, at + lastValue.size()});
      } else if (at < here) {
        here = here + lastValue.size() - token.size();
      }
    }
    if (text.size() > kMaxText || ++substitutions > kMaxSubstitutions)
      throw CEndlessPlaceholder(open.empty() ? name : open.front().name);
    p = text.find('@', p + 1);
  }
}

}  // namespace tarvo
