#include "xmlengine/dom_support.h"

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/EntityResolver.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLUni.hpp>

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

bool ReadGuarded(const std::function<bool()>& read, xercesc::ErrorHandler& reporter,
                 const std::function<void(const CString& details)>& failed) {
  try {
    return read();
  } catch (const xercesc::XMLException& e) {
    failed(MessageOf(e));
  } catch (const xercesc::DOMException& e) {
    failed(MessageOf(e));
  } catch (const xercesc::SAXParseException& e) {
    reporter.fatalError(e);  // nested too deep: reported like the parser's own errors
  } catch (const xercesc::OutOfMemoryException&) {
    failed("memoria esaurita");
  }
  return false;
}

namespace {
// Answers every request for an external entity, DTD or schema with an empty text.
class EmptyResolver : public xercesc::EntityResolver, public xercesc::XMLEntityResolver {
 public:
  xercesc::InputSource* resolveEntity(const XMLCh* const, const XMLCh* const) override { return Empty(); }
  xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier*) override { return Empty(); }

 private:
  static xercesc::InputSource* Empty() {
    static const XMLByte nothing[1] = {0};
    return new xercesc::MemBufInputSource(nothing, 0, "", false);
  }
};

// Shared by every parser: neither object changes once made.
EmptyResolver& Resolver() {
  static EmptyResolver resolver;
  return resolver;
}
xercesc::SecurityManager& Security() {
  static xercesc::SecurityManager* manager = [] {
    auto* m = new xercesc::SecurityManager;  // outlives every parser: never freed
    m->setEntityExpansionLimit(kMaxEntityExpansions);
    return m;
  }();
  return *manager;
}
}  // namespace

void Harden(xercesc::SAX2XMLReader& reader) {
  reader.setEntityResolver(&Resolver());
  reader.setFeature(xercesc::XMLUni::fgXercesLoadExternalDTD, false);
  reader.setFeature(xercesc::XMLUni::fgXercesLoadSchema, false);
  reader.setFeature(xercesc::XMLUni::fgXercesDisableDefaultEntityResolution, true);
}

void NestingGuard::Enter(const xercesc::Locator* where) {
  if (++depth_ <= kMaxNesting) return;
  const XStr message(StrFormat("elementi annidati oltre %d livelli", kMaxNesting));
  if (where) throw xercesc::SAXParseException(message.c_str(), *where);
  throw xercesc::SAXParseException(message.c_str(), u"", u"", 0, 0);
}

SafeDOMParser::SafeDOMParser() {
  setXMLEntityResolver(&Resolver());
  setLoadExternalDTD(false);
  setLoadSchema(false);
  setDisableDefaultEntityResolution(true);
  setSecurityManager(&Security());
}

void SafeDOMParser::PrepareForDrivers() {
  setValidationScheme(Val_Auto);
  setDoNamespaces(true);
  setDoSchema(true);
  setValidationSchemaFullChecking(true);
}

void SafeDOMParser::startDocument() {
  nesting_.Reset();
  XercesDOMParser::startDocument();
}

void SafeDOMParser::startElement(const xercesc::XMLElementDecl& decl, const unsigned int uriId,
                                 const XMLCh* const prefix, const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                                 const XMLSize_t count, const bool isEmpty, const bool isRoot) {
  nesting_.Enter(getScanner()->getLocator());
  XercesDOMParser::startElement(decl, uriId, prefix, attributes, count, isEmpty, isRoot);
}

void SafeDOMParser::endElement(const xercesc::XMLElementDecl& decl, const unsigned int uriId, const bool isRoot,
                               const XMLCh* const prefix) {
  nesting_.Leave();
  XercesDOMParser::endElement(decl, uriId, isRoot, prefix);
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
