#include "xmlengine/data_file_reader.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLString.hpp>

#include "platform/errors.h"

#include "xmlengine/dom_support.h"

using tarvo::xml::ToLocal;
using tarvo::xml::XStr;

namespace {
// Names and keys of the data file are read into buffers of this size; longer texts are cut.
constexpr size_t kMaxNameLength = 3071;

// Column flags in the packed content.
constexpr unsigned char kIsNull = 1, kOnlyInsert = 2;

// The packed content of a file: one byte stream of operations, numbers and texts, the column
// names and types stored once. Filled by the parser, read back by Deliver.
class Content {
 public:
  enum Op : char { kBeginTable, kEndTable, kBeginRecord, kColumn, kEndRecord, kExecute };
  void PutOp(Op op) { bytes_.push_back(op); }
  void PutNumber(size_t n);
  void PutText(std::string_view text);
  size_t Intern(const CString& text);  // index of `text` among the stored names and types
  bool Deliver(const CDataFileEvents& events) const;

 private:
  std::string bytes_;
  std::vector<CString> names_;
  std::unordered_map<CString, size_t> index_;
};

CString Attribute(const xercesc::Attributes& attributes, const char16_t* name) {
  return ToLocal(attributes.getValue(name));
}

bool Is(const XMLCh* name, const char16_t* expected) { return xercesc::XMLString::equals(name, expected); }

// Follows the element structure: the root's `table` and `execute` children, a table's `record`
// children, a record's `column` children, packing them into the content. Other elements are
// skipped with all they contain.
class Handler : public xercesc::DefaultHandler {
 public:
  explicit Handler(Content& content) : content_(content) {}

  void setDocumentLocator(const xercesc::Locator* const locator) override { locator_ = locator; }

  void startElement(const XMLCh*, const XMLCh*, const XMLCh* qname, const xercesc::Attributes& attrs) override {
    nesting_.Enter(locator_);
    ++depth_;
    if (skipFrom_ || depth_ == 1) return;
    if (depth_ == 2 && Is(qname, u"table")) {
      state_ = kTable;
      content_.PutOp(Content::kBeginTable);
      content_.PutText(Attribute(attrs, u"name").substr(0, kMaxNameLength));
      content_.PutText(Attribute(attrs, u"primarykey").substr(0, kMaxNameLength));
    } else if (depth_ == 2 && Is(qname, u"execute")) {
      state_ = kExecute;
      text_.clear();
    } else if (depth_ == 3 && state_ == kTable && Is(qname, u"record")) {
      content_.PutOp(Content::kBeginRecord);
      inRecord_ = true;
      column_ = 0;
    } else if (depth_ == 4 && inRecord_ && Is(qname, u"column")) {
      name_ = Intern(names_, attrs.getValue(u"name"));
      type_ = Intern(types_, attrs.getValue(u"type"));
      ++column_;
      flags_ = (Is(attrs.getValue(u"isnull"), u"yes") ? kIsNull : 0) |
               (Is(attrs.getValue(u"isonlyinsert"), u"yes") ? kOnlyInsert : 0);
      text_.clear();
      inColumn_ = true;
    } else {
      skipFrom_ = depth_;
    }
  }

  void endElement(const XMLCh*, const XMLCh*, const XMLCh*) override {
    nesting_.Leave();
    int depth = depth_--;
    if (skipFrom_) {
      if (depth == skipFrom_) skipFrom_ = 0;
      return;
    }
    if (depth == 4 && inColumn_) {
      content_.PutOp(Content::kColumn);
      content_.PutNumber(name_);
      content_.PutNumber(type_);
      content_.PutNumber(flags_);
      content_.PutText(text_);
      inColumn_ = false;
    } else if (depth == 3 && inRecord_) {
      content_.PutOp(Content::kEndRecord);
      inRecord_ = false;
    } else if (depth == 2 && state_ == kTable) {
      content_.PutOp(Content::kEndTable);
      state_ = kNone;
    } else if (depth == 2 && state_ == kExecute) {
      content_.PutOp(Content::kExecute);
      content_.PutText(text_);
      state_ = kNone;
    }
  }

  // A column's value is all its text, CDATA included; an execute statement takes plain text only.
  void characters(const XMLCh* chars, const XMLSize_t length) override {
    if (skipFrom_) return;
    if ((inColumn_ && depth_ == 4) || (state_ == kExecute && depth_ == 2 && !inCdata_))
      text_ += tarvo::Utf16ToCp1252(std::u16string_view(chars, length));
  }
  void startCDATA() override { inCdata_ = true; }
  void endCDATA() override { inCdata_ = false; }

 private:
  // The records of a table repeat the same column names and types in the same places: compare
  // with what the previous record had there before looking the text up.
  struct Seen {
    std::u16string text;
    size_t index = 0;
  };
  size_t Intern(std::vector<Seen>& seen, const XMLCh* text) {
    if (!text) text = u"";
    if (column_ < seen.size() && seen[column_].text == text) return seen[column_].index;
    if (column_ >= seen.size()) seen.resize(column_ + 1);
    seen[column_] = Seen{text, content_.Intern(ToLocal(text))};
    return seen[column_].index;
  }

  enum { kNone, kTable, kExecute } state_ = kNone;
  Content& content_;
  const xercesc::Locator* locator_ = nullptr;
  tarvo::xml::NestingGuard nesting_;
  std::vector<Seen> names_, types_;
  size_t column_ = 0;  // columns of the current record so far
  int depth_ = 0;
  int skipFrom_ = 0;  // depth of the element being skipped, 0 when none
  bool inRecord_ = false, inColumn_ = false, inCdata_ = false;
  CString text_;
  size_t name_ = 0, type_ = 0;
  unsigned char flags_ = 0;
};

// Reads the packed content back in the order it was written.
class Cursor {
 public:
  explicit Cursor(const std::string& bytes) : p_(bytes.data()), end_(bytes.data() + bytes.size()) {}
  bool AtEnd() const { return p_ == end_; }
  Content::Op Op() { return static_cast<Content::Op>(*p_++); }
  size_t Number() {
    size_t n = 0;
    for (int shift = 0;; shift += 7) {
      unsigned char b = static_cast<unsigned char>(*p_++);
      n |= static_cast<size_t>(b & 0x7f) << shift;
      if (!(b & 0x80)) return n;
    }
  }
  CString Text() {
    size_t n = Number();
    CString text(p_, n);
    p_ += n;
    return text;
  }

 private:
  const char* p_;
  const char* end_;
};
void Content::PutNumber(size_t n) {
  while (n >= 0x80) {
    bytes_.push_back(static_cast<char>((n & 0x7f) | 0x80));
    n >>= 7;
  }
  bytes_.push_back(static_cast<char>(n));
}

void Content::PutText(std::string_view text) {
  PutNumber(text.size());
  bytes_.append(text);
}

size_t Content::Intern(const CString& text) {
  auto [it, added] = index_.emplace(text, names_.size());
  if (added) names_.push_back(text);
  return it->second;
}

bool Content::Deliver(const CDataFileEvents& events) const {
  Cursor in(bytes_);
  CString table, key;
  int records = 0;
  CTarvoExchangeXML::CRecord record;
  while (!in.AtEnd()) {
    switch (in.Op()) {
      case kBeginTable:
        table = in.Text();
        key = in.Text();
        records = 0;
        if (!events.beginTable(table, key)) return false;
        break;
      case kBeginRecord:
        record = CTarvoExchangeXML::CRecord();
        record.m_strTable = table;
        record.m_strPrimaryKey = key;
        break;
      case kColumn: {
        CTarvoExchangeXML::CColumn column;
        column.m_strName = names_[in.Number()];
        column.m_strType = names_[in.Number()];
        size_t flags = in.Number();
        column.m_bIsNull = flags & kIsNull;
        column.m_bOnlyInsert = flags & kOnlyInsert;
        column.m_strValue = in.Text();
        record.push_back(std::move(column));
        break;
      }
      case kEndRecord:
        if (!events.record(record, ++records)) return false;
        break;
      case kEndTable:
        events.endTable(table, records);
        break;
      case kExecute:
        if (!events.execute(in.Text())) return false;
        break;
    }
  }
  return true;
}

}  // namespace

bool CDataFileReader::Read(const CString& path, xercesc::ErrorHandler* errors, const CDataFileEvents& events) {
  std::unique_ptr<xercesc::SAX2XMLReader> reader(xercesc::XMLReaderFactory::createXMLReader());
  // Data files use no namespaces; without namespace processing the reader is a third faster.
  reader->setFeature(xercesc::XMLUni::fgSAX2CoreNameSpaces, false);
  reader->setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
  reader->setFeature(xercesc::XMLUni::fgXercesSchema, false);
  reader->setFeature(xercesc::XMLUni::fgXercesSchemaFullChecking, false);
  // Nothing is validated: the scanner that only checks well-formedness is the fastest one.
  reader->setProperty(xercesc::XMLUni::fgXercesScannerName, const_cast<XMLCh*>(xercesc::XMLUni::fgWFXMLScanner));
  tarvo::xml::Harden(*reader);
  reader->setErrorHandler(errors);
  Content content;
  Handler handler(content);
  reader->setContentHandler(&handler);
  reader->setLexicalHandler(&handler);
  // A file that cannot be opened throws here, as it does for the driver file.
  xercesc::XMLPScanToken token;
  const XStr file(path);
  try {
    bool more = reader->parseFirst(file.c_str(), token);
    for (unsigned n = 1; more; ++n) {
      if (n % 4096 == 0 && events.stopRequested && events.stopRequested()) return false;
      more = reader->parseNext(token);
    }
  } catch (const xercesc::SAXParseException& e) {
    if (errors) errors->fatalError(e);  // nested too deep
    return false;
  } catch (const xercesc::OutOfMemoryException&) {
    throw tarvo::CException(tarvo::ErrorKind::kEnvironment, "memoria esaurita durante la lettura del file " + path);
  }
  if (reader->getErrorCount() != 0) return false;
  reader.reset();
  return content.Deliver(events);
}
