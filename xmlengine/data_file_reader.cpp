#include "xmlengine/data_file_reader.h"

#include <memory>

#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>

#include "xmlengine/dom_support.h"

using tarvo::xml::ToLocal;
using tarvo::xml::XStr;

namespace {
// Names and keys of the data file are read into buffers of this size; longer texts are cut.
constexpr size_t kMaxNameLength = 3071;

CString Attribute(const xercesc::Attributes& attributes, const char16_t* name) {
  return ToLocal(attributes.getValue(name));
}

// Follows the element structure: the root's `table` and `execute` children, a table's `record`
// children, a record's `column` children. Other elements are skipped with all they contain.
class Handler : public xercesc::DefaultHandler {
 public:
  explicit Handler(const CDataFileEvents& events) : events_(events) {}
  bool Stopped() const { return stopped_; }

  void startElement(const XMLCh*, const XMLCh*, const XMLCh* qname, const xercesc::Attributes& attrs) override {
    ++depth_;
    if (skipFrom_ || depth_ == 1) return;
    CString name = ToLocal(qname).substr(0, kMaxNameLength);
    if (depth_ == 2 && name == "table") {
      state_ = kTable;
      table_ = Attribute(attrs, u"name").substr(0, kMaxNameLength);
      key_ = Attribute(attrs, u"primarykey").substr(0, kMaxNameLength);
      records_ = 0;
      Stop(!events_.beginTable(table_, key_));
    } else if (depth_ == 2 && name == "execute") {
      state_ = kExecute;
      text_.clear();
    } else if (depth_ == 3 && state_ == kTable && name == "record") {
      record_ = CTarvoExchangeXML::CRecord();
      record_.m_strTable = table_;
      record_.m_strPrimaryKey = key_;
      inRecord_ = true;
    } else if (depth_ == 4 && inRecord_ && name == "column") {
      column_ = CTarvoExchangeXML::CColumn();
      column_.m_strName = Attribute(attrs, u"name");
      column_.m_strType = Attribute(attrs, u"type");
      column_.m_bIsNull = Attribute(attrs, u"isnull") == "yes";
      column_.m_bOnlyInsert = Attribute(attrs, u"isonlyinsert") == "yes";
      inColumn_ = true;
    } else {
      skipFrom_ = depth_;
    }
  }

  void endElement(const XMLCh*, const XMLCh*, const XMLCh*) override {
    int depth = depth_--;
    if (skipFrom_) {
      if (depth == skipFrom_) skipFrom_ = 0;
      return;
    }
    if (depth == 4 && inColumn_) {
      record_.push_back(std::move(column_));
      inColumn_ = false;
    } else if (depth == 3 && inRecord_) {
      inRecord_ = false;
      Stop(!events_.record(record_, ++records_));
    } else if (depth == 2 && state_ == kTable) {
      state_ = kNone;
      events_.endTable(table_, records_);
    } else if (depth == 2 && state_ == kExecute) {
      state_ = kNone;
      Stop(!events_.execute(text_));
    }
  }

  // A column's value is all its text, CDATA included; an execute statement takes plain text only.
  void characters(const XMLCh* chars, const XMLSize_t length) override {
    if (skipFrom_) return;
    if (inColumn_ && depth_ == 4) column_.m_strValue += tarvo::Utf16ToCp1252(std::u16string_view(chars, length));
    else if (state_ == kExecute && depth_ == 2 && !inCdata_)
      text_ += tarvo::Utf16ToCp1252(std::u16string_view(chars, length));
  }
  void startCDATA() override { inCdata_ = true; }
  void endCDATA() override { inCdata_ = false; }

 private:
  void Stop(bool stop) { stopped_ = stopped_ || stop; }
  enum { kNone, kTable, kExecute } state_ = kNone;
  const CDataFileEvents& events_;
  int depth_ = 0;
  int skipFrom_ = 0;  // depth of the element being skipped, 0 when none
  bool inRecord_ = false, inColumn_ = false, inCdata_ = false, stopped_ = false;
  CString table_, key_, text_;
  int records_ = 0;
  CTarvoExchangeXML::CRecord record_;
  CTarvoExchangeXML::CColumn column_;
};
}  // namespace

bool CDataFileReader::Read(const CString& path, xercesc::ErrorHandler* errors, const CDataFileEvents* events) {
  std::unique_ptr<xercesc::SAX2XMLReader> reader(xercesc::XMLReaderFactory::createXMLReader());
  // Data files use no namespaces; without namespace processing the reader is a third faster.
  reader->setFeature(xercesc::XMLUni::fgSAX2CoreNameSpaces, false);
  reader->setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
  reader->setFeature(xercesc::XMLUni::fgXercesSchema, false);
  reader->setFeature(xercesc::XMLUni::fgXercesSchemaFullChecking, false);
  reader->setErrorHandler(errors);
  std::unique_ptr<Handler> handler;
  if (events) {
    handler = std::make_unique<Handler>(*events);
    reader->setContentHandler(handler.get());
    reader->setLexicalHandler(handler.get());
  }
  xercesc::XMLPScanToken token;
  const XStr file(path);
  bool more = reader->parseFirst(file.c_str(), token);
  while (more && !(handler && handler->Stopped())) more = reader->parseNext(token);
  if (handler && handler->Stopped()) {
    reader->parseReset(token);
    return false;
  }
  return reader->getErrorCount() == 0;
}
