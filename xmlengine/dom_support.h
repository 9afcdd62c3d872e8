// What the driver engine needs around the XML library: text conversion at the library's edge
// (our Windows-1252 text against its UTF-16), and the error reporter the parser hands its errors
// to. Use from one thread at a time; the library must have been started (Xerces_StartPlatform).
#pragma once

#include <functional>
#include <string>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XMLException.hpp>

#include "platform/text.h"

namespace tarvo::xml {

// The library's text as Windows-1252 (characters without a Windows-1252 form become '?').
CString ToLocal(const XMLCh* text);
// Our text as the library's: XStr("name").c_str() for the duration of the full expression.
class XStr {
 public:
  explicit XStr(std::string_view text) : text_(Cp1252ToUtf16(text)) {}
  const XMLCh* c_str() const { return text_.c_str(); }

 private:
  std::u16string text_;
};
// The message of the library's exceptions.
CString MessageOf(const xercesc::XMLException& e);
CString MessageOf(const xercesc::DOMException& e);

}  // namespace tarvo::xml

// Receives the parser's warnings, errors and fatal errors. Each error is passed to `report` as
// "Errore nel file <file>, riga <n>, colonna <n>:\n   <message>" and, when verbose, shown in a
// message box. The parser counts the errors itself; Seen() tells whether any arrived.
class DOMTreeErrorReporter : public xercesc::ErrorHandler {
 public:
  DOMTreeErrorReporter(bool verbose, std::function<void(const CString&)> report)
      : verbose_(verbose), report_(std::move(report)) {}
  void warning(const xercesc::SAXParseException&) override {}
  void error(const xercesc::SAXParseException& e) override { Report(e); }
  void fatalError(const xercesc::SAXParseException& e) override { Report(e); }
  void resetErrors() override { seen_ = false; }
  bool Seen() const { return seen_; }

 private:
  void Report(const xercesc::SAXParseException& e);
  bool verbose_;
  std::function<void(const CString&)> report_;
  bool seen_ = false;
};
