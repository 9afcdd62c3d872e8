// The driver reader: the driver parser with its limits and settings parses the input, its
// errors go through the error reporter, and the tree is walked as the interpreter walks it.
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>

#include "xml_platform.h"
#include "xmlengine/dom_support.h"

namespace {
size_t Walk(const xercesc::DOMNode* node) {
  size_t bytes = 0;
  for (const xercesc::DOMNode* n = node->getFirstChild(); n; n = n->getNextSibling()) {
    bytes += tarvo::xml::ToLocal(n->getNodeName()).size() + tarvo::xml::ToLocal(n->getNodeValue()).size();
    if (n->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) continue;
    auto* e = static_cast<const xercesc::DOMElement*>(n);
    for (const char* name : {"name", "filename", "action", "format", "where", "value"})
      bytes += tarvo::xml::ToLocal(e->getAttribute(tarvo::xml::XStr(name).c_str())).size();
    bytes += Walk(n);
  }
  return bytes;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StartXmlOnce();
  tarvo::xml::SafeDOMParser parser;
  parser.PrepareForDrivers();
  DOMTreeErrorReporter reporter(false, [](const CString& line) { (void)line.size(); });
  parser.setErrorHandler(&reporter);
  xercesc::MemBufInputSource input(data, size, "driver.xml", false);
  try {
    parser.parse(input);
    if (parser.getErrorCount() == 0 && parser.getDocument()) Walk(parser.getDocument());
  } catch (const xercesc::XMLException&) {
  } catch (const xercesc::DOMException&) {
  } catch (const xercesc::SAXParseException& e) {
    reporter.fatalError(e);
  }
  return 0;
}
