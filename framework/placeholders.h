// "@name" placeholders in the texts of a driver (SQL, file names, folders, arguments): each is
// replaced by the value of the filter parameter of that name. Pure functions, safe from any thread.
#pragma once

#include "platform/errors.h"
#include "platform/text.h"

// A placeholder whose substitution would never end: the value of `name` leads back to itself.
// Its message is the log line; it names the parameter only, never a part of its value (which
// may be a password).
class CEndlessPlaceholder : public tarvo::CException {
 public:
  explicit CEndlessPlaceholder(const CString& name)
      : tarvo::CException(tarvo::ErrorKind::kInput,
                          tarvo::StrFormat("- ERRORE: la sostituzione del parametro @%s non termina: il suo valore "
                                           "lo richiama senza fine.",
                                           name.c_str())) {}
};

namespace tarvo {

// Replaces each "@name" of `text` (name: letters, digits, '_') by the value of `params[name]`;
// an unknown name takes the value found last (empty at first), a lone "@" disappears. The scan
// goes on inside each value inserted, so a value may name further parameters. Throws
// CEndlessPlaceholder, leaving `text` half replaced, when a value names itself again, directly
// or through others, so that the substitution would never end.
void ExpandPlaceholders(CString& text, const CMapStringToString& params);

}  // namespace tarvo
