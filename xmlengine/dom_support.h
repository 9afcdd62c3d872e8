// What the driver engine needs around the XML library: text conversion at the library's edge
// (our Windows-1252 text against its UTF-16), and the error reporter the parser hands its errors
// to. Use from one thread at a time; the library must have been started (Xerces_StartPlatform).
#pragma once

#include <functional>
#include <string>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
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

// Limits of every file this system parses. Files come from outside: an external entity, an
// external DTD or a schema location is never fetched (each reads as empty), entity references
// expand at most kMaxEntityExpansions times in a document, and elements nest at most
// kMaxNesting deep.
constexpr XMLSize_t kMaxEntityExpansions = 10000;
constexpr int kMaxNesting = 1000;

// Applies the limits above to a SAX2 reader (the nesting limit is the content handler's, with
// a NestingGuard).
void Harden(xercesc::SAX2XMLReader& reader);

// Counts the open elements of a parse; Enter throws a SAXParseException at the element that
// goes deeper than kMaxNesting, located by `where` when the parser gave a locator.
class NestingGuard {
 public:
  void Enter(const xercesc::Locator* where);
  void Leave() { --depth_; }
  void Reset() { depth_ = 0; }

 private:
  int depth_ = 0;
};

// A document parser with the limits above. A document nested too deep ends the parse with a
// SAXParseException (the parser's error handler has not seen it yet).
class SafeDOMParser : public xercesc::XercesDOMParser {
 public:
  SafeDOMParser();
  // The settings of the driver reader: namespaces, and validation against a grammar only
  // when the file names one (which then is read as empty: no grammar ever arrives).
  void PrepareForDrivers();
  void startElement(const xercesc::XMLElementDecl& decl, const unsigned int uriId, const XMLCh* const prefix,
                    const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, const XMLSize_t count,
                    const bool isEmpty, const bool isRoot) override;
  void endElement(const xercesc::XMLElementDecl& decl, const unsigned int uriId, const bool isRoot,
                  const XMLCh* const prefix) override;
  void startDocument() override;

 private:
  NestingGuard nesting_;
};

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

namespace tarvo::xml {

// Runs `read` (a parse and the walk of its document) and gives its result. What the library
// throws meanwhile makes it false: a document nested too deep goes to `reporter` like the
// parser's own errors; an XML, DOM or out-of-memory exception is handed to `failed` as the text
// that follows "Dettagli: " in the line the caller logs.
bool ReadGuarded(const std::function<bool()>& read, xercesc::ErrorHandler& reporter,
                 const std::function<void(const CString& details)>& failed);

}  // namespace tarvo::xml
