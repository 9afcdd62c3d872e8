#include "xmlengine/dom_support.h"

#include <xercesc/dom/DOMException.hpp>

#include "platform/files.h"
#include "platform/host_ui.h"

namespace tarvo::xml {

CString ToLocal(const XMLCh* text) {
  if (!text) return CString();
  return Utf16ToCp1252(std::u16string_view(text));
}

CString MessageOf(const xercesc::XMLException& e) { return ToLocal(e.getMessage()); }

CString MessageOf(const xercesc::DOMException& e) {
  if (e.getMessage()) return ToLocal(e.getMessage());
  return StrFormat("DOMException %d", static_cast<int>(e.code));
}

}  // namespace tarvo::xml

void DOMTreeErrorReporter::Report(const xercesc::SAXParseException& e) {
  seen_ = true;
  CString file = tarvo::xml::ToLocal(e.getSystemId());
  if (file.rfind("file://", 0) == 0) file.erase(0, 7);
  CString text = tarvo::StrFormat("Errore nel file %s, riga %llu, colonna %llu:\n   %s", file.c_str(),
                                  static_cast<unsigned long long>(e.getLineNumber()),
                                  static_cast<unsigned long long>(e.getColumnNumber()),
                                  tarvo::xml::ToLocal(e.getMessage()).c_str());
  if (report_) report_(text);
  if (verbose_) AfxMessageBox(text, MB_ICONERROR);
}
