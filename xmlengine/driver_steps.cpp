// The data steps of a driver: `table` and `query`, their field definitions, the SQL text of a
// table step and the type names of the data file.
#include <cstdlib>

#include <xercesc/dom/DOM.hpp>

#include "platform/odbc.h"
#include "xmlengine/dom_support.h"
#include "xmlengine/tarvo_exchange_xml.h"

using tarvo::xml::ToLocal;
using xercesc::DOMNode;

namespace {
// The child elements of `parent` named `name`, in document order.
template <class F>
bool ForEachChildElement(xercesc::DOMElement* parent, const char* name, F&& f) {
  for (DOMNode* n = parent->getFirstChild(); n; n = n->getNextSibling()) {
    if (n->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    auto* child = static_cast<xercesc::DOMElement*>(n);
    if (ToLocal(child->getTagName()) == name && !f(child)) return false;
  }
  return true;
}
}  // namespace

bool CTarvoExchangeXML::DOMElement_driverfile_table(DOMElement* e) {
  ++m_nFileCounter;
  CString action = GetAttributeValue(e, "action");
  CString format = GetAttributeValue(e, "format");
  CString name = GetAttributeValue(e, "name");
  CString columns = GetAttributeValue(e, "columns");
  CString orderby = GetAttributeValue(e, "orderby");
  CString where = GetAttributeValue(e, "where");
  CString primarykey = GetAttributeValue(e, "primarykey");
  CString filename = GetAttributeValue(e, "filename");
  bool append = GetAttributeValue(e, "fileappend") == "yes";
  CheckForFilterParams(filename);
  CheckForFilterParams(columns);
  CheckForFilterParams(where);
  CString sql = ConstructSQLQuery(name, columns, where, orderby);

  m_mapFields.clear();
  if (!ForEachChildElement(e, "fields", [this](DOMElement* f) { return DOMElement_driverfile_fields(f); }))
    return false;

  if (action == "export") {
    if (!ExportQuery(format, sql, name, primarykey, filename, append)) return false;
    m_arrFiles.push_back(filename);
    return true;
  }
  if (action == "import") {
    FindFile(filename);
    if (format == "xml") return Process_driverfile_ImportTableXML(name, columns, where, orderby, primarykey, filename);
    if (format == "txt") return Process_driverfile_ImportTableTXT(name, columns, where, orderby, primarykey, filename);
  }
  return true;
}

bool CTarvoExchangeXML::DOMElement_driverfile_query(DOMElement* e) {
  ++m_nFileCounter;
  CString action = GetAttributeValue(e, "action");
  CString format = GetAttributeValue(e, "format");
  CString table = GetAttributeValue(e, "tablename");
  CString primarykey = GetAttributeValue(e, "primarykey");
  CString filename = GetAttributeValue(e, "filename");
  bool append = GetAttributeValue(e, "fileappend") == "yes";

  m_mapFields.clear();
  CString sql;
  for (DOMNode* n = e->getFirstChild(); n; n = n->getNextSibling()) {
    if (n->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    auto* child = static_cast<DOMElement*>(n);
    CString name = ToLocal(child->getTagName());
    if (name == "sql") {
      sql += GetElementText(child);
      for (char& c : sql)
        if (c == '\r' || c == '\n') c = ' ';
      sql = tarvo::Trim(sql, " ");
    } else if (name == "fields") {
      if (!DOMElement_driverfile_fields(child)) return false;
    }
  }
  CheckForFilterParams(sql);
  CheckForFilterParams(filename);

  if (action == "export" && !ExportQuery(format, sql, table, primarykey, filename, append)) return false;
  // Unlike a table step, a query step records its file name whatever its action and format.
  m_arrFiles.push_back(filename);
  return true;
}

bool CTarvoExchangeXML::ExportQuery(const CString& format, const CString& sql, const CString& table,
                                    const CString& primarykey, CString& filename, bool append) {
  // A file named after the table stays in the output folder: no folders in the name.
  const bool writes = format == "xml" || format == "csv" || format == "txt";
  if (writes && filename.empty() && (table.find_first_of("/\\") != CString::npos || table.find("..") != CString::npos)) {
    Log(tarvo::W("- ERRORE: il nome di tabella \"") + table + tarvo::W("\" non può dare il nome al file dei dati."),
        TMS_ERROR);
    return false;
  }
  if (format == "xml") return Process_driverfile_ExportQueryXML(sql, table, primarykey, filename);
  if (format == "csv") return Process_driverfile_ExportQueryCSV(sql, table, primarykey, filename, append);
  if (format == "txt") return Process_driverfile_ExportQueryTXT(sql, table, primarykey, filename, append);
  return true;
}

bool CTarvoExchangeXML::DOMElement_driverfile_fields(DOMElement* e) {
  return ForEachChildElement(e, "field", [this](DOMElement* f) { return DOMElement_driverfile_field(f); });
}

bool CTarvoExchangeXML::DOMElement_driverfile_field(DOMElement* e) {
  CField field;
  field.m_strName = GetAttributeValue(e, "name");
  field.m_nLength = static_cast<int>(std::strtol(GetAttributeValue(e, "length").c_str(), nullptr, 10));
  CString padding = GetAttributeValue(e, "padding");
  field.m_nAlignment = padding == "left" ? CField::kLeft : padding == "right" ? CField::kRight : CField::kNone;
  field.m_strPadding = GetAttributeValue(e, "strpadding");
  field.m_strConstValue = GetAttributeValue(e, "constvalue");
  CheckForFilterParams(field.m_strConstValue);
  field.m_bNullPadding = GetAttributeValue(e, "nullpadding") == "yes";
  field.m_strFormat = GetAttributeValue(e, "format");
  field.m_nStart = static_cast<int>(std::strtol(GetAttributeValue(e, "start").c_str(), nullptr, 10));
  m_mapFields[field.m_strName] = field;
  return true;
}

CString CTarvoExchangeXML::ConstructSQLQuery(const CString& table, const CString& columns, const CString& where,
                                             const CString& orderby) {
  CString sql = "SELECT " + columns + " FROM " + table;
  if (!where.empty()) sql += " WHERE " + where;
  if (!orderby.empty()) sql += " ORDER BY " + orderby;
  return sql;
}

CString CTarvoExchangeXML::GetColumnType(int sqlType) {
  switch (sqlType) {
    case kSqlBit:
    case kSqlTinyInt:
    case kSqlBigInt:
    case kSqlInteger:
    case kSqlSmallInt:
      return "integer";
    case kSqlNumeric:
    case kSqlDecimal:
      return "number";
    case kSqlFloat:
      return "float";  // float is "float" and real is "double": readers of the files rely on it
    case kSqlReal:
    case kSqlDouble:
      return "double";
    case kSqlDateTime:
    case kSqlTypeDate:
      return "date";
    case 10:
    case kSqlTypeTime:
      return "time";
    case 11:
    case kSqlTypeTimestamp:
      return "datetime";
    default:
      return "string";
  }
}
