// Readers of data files: XML data files ("exchangedata") and fixed-width text laid out by the
// step's field definitions. Every row is looked up by its key and updated, or else inserted; no
// transaction covers an import, so the rows written before a failure or a stop stay written.
#include <cstdlib>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/XMLException.hpp>

#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/odbc.h"
#include "platform/stdio_file.h"
#include "xmlengine/dom_support.h"
#include "xmlengine/tarvo_exchange_xml.h"

using tarvo::StrFormat;
using tarvo::xml::ToLocal;
using tarvo::xml::XStr;
using xercesc::DOMNode;

namespace {
// Data file names and keys are read into buffers of this size; longer texts are cut.
constexpr size_t kMaxNameLength = 3071;

bool IsKeySeparator(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ','; }

// True when `word` stands in `text` delimited by the ends or by key separators.
bool ContainsWord(const CString& text, const CString& word) {
  if (word.empty()) return false;
  for (size_t p = text.find(word); p != CString::npos; p = text.find(word, p + 1)) {
    bool startOk = p == 0 || IsKeySeparator(text[p - 1]);
    size_t end = p + word.size();
    bool endOk = end == text.size() || IsKeySeparator(text[end]);
    if (startOk && endOk) return true;
  }
  return false;
}

// The text of an element: its text and CDATA children, in order.
CString ContentOf(xercesc::DOMElement* element) {
  CString text;
  for (DOMNode* n = element->getFirstChild(); n; n = n->getNextSibling()) {
    auto type = n->getNodeType();
    if (type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE) text += ToLocal(n->getNodeValue());
  }
  return text;
}

// A text value as the destination column takes it: numbers and dates converted when the text is
// one, anything else handed over as text for the database to judge.
CDBValue ValueForColumn(short sqlType, const CString& text) {
  if (!text.empty() && tarvo::IsSqlIntegerType(sqlType)) {
    char* end = nullptr;
    long long v = std::strtoll(text.c_str(), &end, 10);
    if (*end == '\0') return v;
  } else if (!text.empty() && tarvo::IsSqlRealType(sqlType)) {
    char* end = nullptr;
    double v = std::strtod(text.c_str(), &end);
    if (*end == '\0') return v;
  } else if (sqlType == kSqlTypeTimestamp || sqlType == kSqlTypeDate || sqlType == kSqlDateTime || sqlType == 11) {
    if (auto t = CDBTimestamp::Parse(text)) return *t;
  }
  return text;
}

template <class F>
bool ForEachChildElement(xercesc::DOMElement* parent, F&& f) {
  for (DOMNode* n = parent->getFirstChild(); n; n = n->getNextSibling())
    if (n->getNodeType() == DOMNode::ELEMENT_NODE && !f(static_cast<xercesc::DOMElement*>(n))) return false;
  return true;
}
}  // namespace

// ---------------------------------------------------------------------------------------------
CString CTarvoExchangeXML::BuildKeyCondition(const CRecord& record) {
  CString result;
  const CString& spec = record.m_strPrimaryKey;
  size_t start = 0;
  while (start <= spec.size()) {
    size_t bar = spec.find('|', start);
    CString alternative = tarvo::Trim(spec.substr(start, bar == CString::npos ? CString::npos : bar - start), " ");
    CString condition;
    for (const CColumn& column : record) {
      if (!ContainsWord(alternative, column.m_strName)) continue;
      // A NULL key column ends the alternative: what was built before it stays.
      if (column.m_bIsNull) break;
      if (!condition.empty()) condition += " AND ";
      if (!column.m_strType.empty() && column.m_strType != "string") {
        condition += StrFormat("( %s = %s )", column.m_strName.c_str(), column.m_strValue.c_str());
      } else {
        CString quoted = column.m_strValue;
        tarvo::ReplaceAll(quoted, "'", "''");
        condition += StrFormat("( %s = '%s' )", column.m_strName.c_str(), quoted.c_str());
      }
    }
    if (!condition.empty()) {
      if (!result.empty()) result += " OR ";
      result += " ( " + condition + " ) ";
    }
    if (bar == CString::npos) break;
    start = bar + 1;
  }
  return result;
}

bool CTarvoExchangeXML::WriteRecord(CRecord& record) {
  record.m_nColumns = static_cast<int>(record.size());
  record.m_strCondition = BuildKeyCondition(record);
  record.m_strColumns.clear();
  for (const CColumn& column : record) {
    if (!record.m_strColumns.empty()) record.m_strColumns += ", ";
    record.m_strColumns += column.m_strName;
  }
  record.m_nOperation = CRecord::kInsert;
  record.m_strError.clear();
  for (const CColumn& column : record) {
    if (column.m_strName.empty()) {
      // Some databases accept an empty column in a SELECT list: refuse the row in every one.
      record.m_strError = "colonna senza nome nel record della tabella " + record.m_strTable;
      return false;
    }
  }

  // The row to update is the first one the lookup returns, named by the database's row identity.
  EDialect dialect = m_pInDatabase->GetDialect();
  const char* rowId = dialect == EDialect::kSQLite ? "rowid" : dialect == EDialect::kPostgreSQL ? "ctid" : nullptr;
  CString sql = "SELECT " + record.m_strColumns;
  if (rowId && !record.m_strCondition.empty()) sql += CString(", ") + rowId;
  sql += " FROM " + record.m_strTable;
  if (!record.m_strCondition.empty()) sql += " WHERE " + record.m_strCondition;

  try {
    CODBCRecordset rs(m_pInDatabase);
    rs.Open(sql);
    bool update = !record.m_strCondition.empty() && !rs.IsEOF();
    record.m_nOperation = update ? CRecord::kUpdate : CRecord::kInsert;
    CString target = record.m_strCondition;
    if (update && rowId) target = CString(rowId) + " = '" + rs.Field(rs.GetFieldCount() - 1).AsString() + "'";

    CString names, markers;
    std::vector<CDBValue> values;
    for (const CColumn& column : record) {
      if (update && column.m_bOnlyInsert) continue;
      int index = rs.FindField(column.m_strName);
      if (index < 0) continue;
      if (!names.empty()) {
        names += ", ";
        markers += ", ";
      }
      names += update ? column.m_strName + " = ?" : column.m_strName;
      markers += "?";
      values.push_back(column.m_bIsNull ? CDBValue{}
                                        : ValueForColumn(rs.Field(index).GetSQLType(), column.m_strValue));
    }
    rs.Close();
    if (update) {
      if (!values.empty()) m_pInDatabase->ExecuteSQL("UPDATE " + record.m_strTable + " SET " + names + " WHERE " + target, values);
    } else if (values.empty()) {
      m_pInDatabase->ExecuteSQL("INSERT INTO " + record.m_strTable + " DEFAULT VALUES");
    } else {
      m_pInDatabase->ExecuteSQL("INSERT INTO " + record.m_strTable + " (" + names + ") VALUES (" + markers + ")",
                                values);
    }
  } catch (const CDBException& e) {
    record.m_strError = e.m_strError;
    return false;
  }
  return true;
}

bool CTarvoExchangeXML::LogRecordOutcome(const CRecord& record, int number, bool written, bool errorWithLogEx) {
  CString line = StrFormat(tarvo::W("-- Trasferimento record n° %d").c_str(), number) + " [" +
                 (record.m_strCondition.empty() ? CString("nessuna") : record.m_strCondition) + "] " +
                 (record.m_nOperation == CRecord::kUpdate ? " (aggiornamento)" : " (inserimento)");
  Log(line, TMS_INFO);
  if (written) return true;
  Log(line + " (errore)", TMS_ERROR);
  Log("--- Errore durante il trasferimento dati:", TMS_ERROR);
  if (errorWithLogEx) LogEx(("--- " + record.m_strError + "\n").c_str(), -1, TMS_ERROR);
  else Log("--- " + record.m_strError, TMS_ERROR);
  if (!m_bVerbose) return true;
  return AfxAskYesNo(StrFormat("Errore durante il trasferimento dati:\n\n%s\n\nContinuare con i dati successivi?",
                               record.m_strError.c_str()),
                     true);
}

// ---------------------------------------------------------------------------------------------
bool CTarvoExchangeXML::Process_driverfile_ImportTableXML(const CString&, const CString&, const CString&,
                                                         const CString&, const CString&, CString filename) {
  if (!m_pParser) CreateDOMParser();
  m_pParser->setValidationScheme(xercesc::XercesDOMParser::Val_Never);
  m_pParser->setDoNamespaces(true);
  m_pParser->setDoSchema(false);
  m_pParser->setValidationSchemaFullChecking(false);
  try {
    m_pParser->parse(XStr(tarvo::NativePath(filename)).c_str());
    if (m_pParser->getErrorCount() > 0) return false;
    std::unique_ptr<DOMDocument, void (*)(DOMDocument*)> document(m_pParser->adoptDocument(),
                                                                   [](DOMDocument* d) { d->release(); });
    if (!document) return false;
    return DOMElement_importfile_exchagedata(document->getDocumentElement());
  } catch (const CDBException& e) {
    LogEx(("Errore nella base dati: " + e.m_strError + "\n").c_str(), -1, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(e.m_strError, MB_ICONEXCLAMATION);
  } catch (const xercesc::XMLException& e) {
    CString message = tarvo::xml::MessageOf(e);
    LogEx(("Errore durante la lettura del driver\n   Dettagli: " + message + "\n").c_str(), -1, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(message, MB_ICONEXCLAMATION);
  } catch (const xercesc::DOMException& e) {
    CString message = tarvo::xml::MessageOf(e);
    LogEx(("Errore durante la lettura del driver\n   Dettagli: " + message + "\n").c_str(), -1, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(message, MB_ICONEXCLAMATION);
  }
  return false;
}

bool CTarvoExchangeXML::DOMElement_importfile_exchagedata(DOMElement* root) {
  if (!root) return true;
  return ForEachChildElement(root, [this](DOMElement* child) {
    CString name = ToLocal(child->getTagName()).substr(0, kMaxNameLength);
    if (name == "table") return DOMElement_importfile_table(child);
    if (name == "execute") return DOMElement_importfile_execute(child);
    return true;
  });
}

bool CTarvoExchangeXML::DOMElement_importfile_table(DOMElement* element) {
  CString name = GetAttributeValue(element, "name").substr(0, kMaxNameLength);
  CString primarykey = GetAttributeValue(element, "primarykey").substr(0, kMaxNameLength);
  return Process_importfile_ImportTableXML(element, name, primarykey);
}

bool CTarvoExchangeXML::Process_importfile_ImportTableXML(DOMElement* table, const CString& name,
                                                         const CString& primarykey) {
  if (!IsInDatabaseOpen() && !OpenInDatabase(false)) return false;
  Log("- Avvio trasferimento tabella " + name, TMS_INFO);
  const XStr recordTag("record"), columnTag("column");
  int number = 0;
  for (DOMNode* n = table->getFirstChild(); n; n = n->getNextSibling()) {
    if (n->getNodeType() != DOMNode::ELEMENT_NODE ||
        !xercesc::XMLString::equals(static_cast<DOMElement*>(n)->getTagName(), recordTag.c_str()))
      continue;
    ++number;
    if (CtrlEventStop()) return false;
    CRecord record;
    record.m_strTable = name;
    record.m_strPrimaryKey = primarykey;
    ForEachChildElement(static_cast<DOMElement*>(n), [&](DOMElement* c) {
      if (!xercesc::XMLString::equals(c->getTagName(), columnTag.c_str())) return true;
      CColumn column;
      column.m_strName = GetAttributeValue(c, "name");
      column.m_strType = GetAttributeValue(c, "type");
      column.m_strValue = ContentOf(c);
      column.m_bIsNull = GetAttributeValue(c, "isnull") == "yes";
      column.m_bOnlyInsert = GetAttributeValue(c, "isonlyinsert") == "yes";
      record.push_back(std::move(column));
      return true;
    });
    bool written = WriteRecord(record);
    if (!LogRecordOutcome(record, number, written, false)) return false;
  }
  Log(StrFormat("-- Trasferiti %d records", number), TMS_INFO);
  Log("- Fine trasferimento tabella " + name, TMS_INFO);
  return true;
}

bool CTarvoExchangeXML::DOMElement_importfile_execute(DOMElement* element) {
  CString sql = GetElementText(element);
  sql.erase(std::remove_if(sql.begin(), sql.end(), [](char c) { return c == '\r' || c == '\n'; }), sql.end());
  sql = tarvo::Trim(sql, " \t");
  CheckForFilterParams(sql);
  return Process_importfile_Execute(sql);
}

bool CTarvoExchangeXML::Process_importfile_Execute(const CString& sql) { return RunLocalStatement(sql, false); }

bool CTarvoExchangeXML::RunLocalStatement(const CString& sql, bool destination) {
  Log("- Avvio esecuzione locale query " + sql, TMS_INFO);
  bool ok = destination ? (IsInDatabaseOpen() || OpenInDatabase(false))
                        : (IsOutDatabaseOpen() || OpenOutDatabase(false));
  if (!ok) return false;
  try {
    (destination ? m_pInDatabase : m_pOutDatabase)->ExecuteSQL(sql);
  } catch (const CDBException& e) {
    LogEx((StrFormat("-- Errore durante l'esecuzione locale della query: %ld %s", e.m_nRetCode, e.m_strError.c_str()) +
           "\n")
              .c_str(),
          -1, TMS_ERROR);
    ok = false;
  }
  Log("- Fine esecuzione locale query " + sql, TMS_INFO);
  return ok;
}

// ---------------------------------------------------------------------------------------------
bool CTarvoExchangeXML::Process_driverfile_ImportTableTXT(const CString& table, const CString&, const CString&,
                                                         const CString&, const CString& primarykey,
                                                         CString filename) {
  Log("- Avvio trasferimento tabella " + table, TMS_INFO);
  if (!IsInDatabaseOpen() && !OpenInDatabase(false)) return false;
  CStdioFile file;
  try {
    file.Open(tarvo::NativePath(filename), CStdioFile::Mode::kRead);
  } catch (const tarvo::CFileException& e) {
    CString message = "ERRORE file " + filename + ": " + e.GetErrorMessage();
    Log(message, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(message, MB_ICONEXCLAMATION);
    return false;
  }
  try {
    CString line, last;
    int number = 0;
    while (file.ReadString(line)) {
      ++number;  // an empty line is skipped but keeps its number
      if (CtrlEventStop()) return false;
      if (line.empty()) continue;
      CRecord record;
      record.m_strTable = table;
      record.m_strPrimaryKey = primarykey;
      for (const auto& [name, field] : m_mapFields) {
        // A definition without a position repeats the last text taken, as every definition gives
        // a column.
        if (field.m_nStart >= 0 && field.m_nLength > 0) {
          size_t start = static_cast<size_t>(field.m_nStart);
          last = start < line.size() ? line.substr(start, static_cast<size_t>(field.m_nLength)) : CString();
          const CString pad(1, field.PadChar());
          if (field.m_nAlignment == CField::kLeft) last = tarvo::TrimLeft(last, pad);
          else if (field.m_nAlignment == CField::kRight) last = tarvo::TrimRight(last, pad);
        }
        CColumn column;
        column.m_strName = field.m_strName;
        column.m_strValue = last;
        record.push_back(std::move(column));
      }
      bool written = WriteRecord(record);
      if (!LogRecordOutcome(record, number, written, true)) return false;
    }
  } catch (const CDBException& e) {
    LogEx(("ERRORE database: " + e.m_strError + "\n").c_str(), -1, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(e.m_strError, MB_ICONEXCLAMATION);
    return false;
  }
  file.Close();
  return true;
}
