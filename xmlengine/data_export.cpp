// Writers of data files: the XML data file ("exchangedata"), CSV and fixed-width text, and the
// field value formatting the three share.
#include <strings.h>

#include <cctype>
#include <cstring>
#include <ctime>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/LocalFileFormatTarget.hpp>
#include <xercesc/util/XMLException.hpp>

#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/odbc.h"
#include "platform/stdio_file.h"
#include "xmlengine/data_file_stream.h"
#include "xmlengine/dom_support.h"
#include "xmlengine/tarvo_exchange_xml.h"

using tarvo::StrFormat;
using tarvo::xml::XStr;
using namespace xercesc;

namespace {
const char kDataEncoding[] = "iso8859-1";

CString FormatDate(const CDBTimestamp& t, const CString& format) {
  std::tm tm{};
  tm.tm_year = t.year - 1900;
  tm.tm_mon = t.month - 1;
  tm.tm_mday = t.day;
  tm.tm_hour = t.hour;
  tm.tm_min = t.minute;
  tm.tm_sec = t.second;
  char buffer[512];
  size_t n = std::strftime(buffer, sizeof buffer, format.c_str(), &tm);
  return CString(buffer, n);
}

// True when `format` is a printf format for one double ("%08.2f", "EUR %.2f", "%%"-escapes
// allowed); a driver's format of any other shape is not applied, so it cannot misread the value.
bool IsNumberFormat(const CString& format) {
  int conversions = 0;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    if (++i < format.size() && format[i] == '%') continue;
    while (i < format.size() && std::strchr("-+ #0", format[i])) ++i;
    while (i < format.size() && std::isdigit(static_cast<unsigned char>(format[i]))) ++i;
    if (i < format.size() && format[i] == '.') {
      ++i;
      while (i < format.size() && std::isdigit(static_cast<unsigned char>(format[i]))) ++i;
    }
    if (i < format.size() && format[i] == 'l') ++i;
    if (i >= format.size() || !std::strchr("eEfFgGaA", format[i])) return false;
    ++conversions;
  }
  return conversions == 1;
}

DOMImplementation* LsImplementation() { return DOMImplementationRegistry::getDOMImplementation(XStr("LS").c_str()); }
}  // namespace

bool CTarvoExchangeXML::NoCaseLess::operator()(const CString& a, const CString& b) const {
  return strcasecmp(a.c_str(), b.c_str()) < 0;
}

CString CTarvoExchangeXML::GeneratedFileName(const CString& name) const {
  return StrFormat("%03d_%s.xml", m_nFileCounter, name.c_str());
}

// ---------------------------------------------------------------------------------------------
CString CTarvoExchangeXML::FormatFieldValue(const CField& d, const CDBField& v) {
  CString text = v.AsString();
  if (!d.m_strConstValue.empty()) {
    text = d.m_strConstValue;
  } else if (!d.m_strFormat.empty()) {
    if (!v.IsNull() && tarvo::IsSqlDateType(v.GetSQLType()))
      text = FormatDate(v.AsDate(), d.m_strFormat);
    else if (v.GetSQLType() == kSqlNumeric && IsNumberFormat(d.m_strFormat))
      text = StrFormat(d.m_strFormat.c_str(), v.AsDouble());
  }
  if (d.m_nLength > 0) {
    size_t length = static_cast<size_t>(d.m_nLength);
    if (text.size() > length) text.resize(length);
    CString pad(length - text.size(), d.PadChar());
    if (d.m_nAlignment == CField::kLeft) text = pad + text;
    else if (d.m_nAlignment == CField::kRight) text += pad;
  }
  if (!d.m_bNullPadding && v.IsNull()) text = CString(static_cast<size_t>(std::max(d.m_nLength, 0)), ' ');
  return text;
}

std::vector<CTarvoExchangeXML::CColumnPlan> CTarvoExchangeXML::PlanColumns(CODBCRecordset& rs, bool xml) const {
  std::vector<CColumnPlan> plans(static_cast<size_t>(rs.GetFieldCount()));
  for (int i = 0; i < rs.GetFieldCount(); ++i) {
    CColumnPlan& plan = plans[static_cast<size_t>(i)];
    plan.type = GetColumnType(rs.Field(i).GetSQLType());
    // Only the XML writer gives dates and times a format of their own; timestamps are named
    // "datetime" and keep the database's text form.
    if (xml && plan.type == "date") plan.defaultFormat = "%Y-%m-%d";
    else if (xml && plan.type == "time") plan.defaultFormat = "%H:%M:%S";
    auto it = m_mapFields.find(rs.Field(i).GetName());
    if (it == m_mapFields.end()) continue;
    plan.hasField = true;
    plan.field = it->second;
    if (plan.field.m_strFormat.empty()) plan.field.m_strFormat = plan.defaultFormat;
  }
  return plans;
}

CString CTarvoExchangeXML::ColumnText(const CColumnPlan& plan, const CDBField& v) {
  if (plan.hasField) return FormatFieldValue(plan.field, v);
  if (v.IsNull()) return CString();
  if (!plan.defaultFormat.empty()) return FormatDate(v.AsDate(), plan.defaultFormat);
  return v.AsString();
}

// ---------------------------------------------------------------------------------------------
CTarvoExchangeXML::DOMDocument* CTarvoExchangeXML::CreateDataDocument() {
  try {
    DOMDocument* document = LsImplementation()->createDocument(nullptr, XStr("exchangedata").c_str(), nullptr);
    return document;
  } catch (const XMLException& e) {
    Log("Errore durante la creazione del documento dati:\n   Dettagli: " + tarvo::xml::MessageOf(e), TMS_ERROR);
  } catch (const DOMException& e) {
    Log("Errore durante la creazione del documento dati:\n   Dettagli: " + tarvo::xml::MessageOf(e), TMS_ERROR);
  }
  return nullptr;
}

bool CTarvoExchangeXML::WriteDataFile(CString filename, DOMDocument* document) {
  DOMImplementation* impl = LsImplementation();
  DOMLSSerializer* writer = nullptr;
  DOMLSOutput* output = nullptr;
  std::unique_ptr<LocalFileFormatTarget> target;
  bool ok = false;
  try {
    writer = impl->createLSSerializer();
    writer->setNewLine(XStr("\r\n").c_str());
    DOMConfiguration* config = writer->getDomConfig();
    for (const XMLCh* feature : {XMLUni::fgDOMWRTSplitCdataSections, XMLUni::fgDOMWRTDiscardDefaultContent,
                                 XMLUni::fgDOMWRTCanonicalForm, XMLUni::fgDOMWRTFormatPrettyPrint})
      if (config->canSetParameter(feature, true)) config->setParameter(feature, true);
    target = std::make_unique<LocalFileFormatTarget>(XStr(tarvo::NativePath(filename)).c_str());
    output = impl->createLSOutput();
    output->setByteStream(target.get());
    output->setEncoding(XStr(kDataEncoding).c_str());
    Log("- Creazione file dei dati " + filename + " in corso", TMS_INFO);
    if (!writer->write(document, output)) throw tarvo::CFileException(filename, "scrittura non riuscita");
    target->flush();
    Log("- Creazione file dei dati terminata con successo", TMS_INFO);
    ok = true;
  } catch (const XMLException& e) {
    Log("An error occured during parsing\n   Message: " + tarvo::xml::MessageOf(e), TMS_ERROR);
  } catch (const DOMException& e) {
    // The serializer refuses characters that XML does not allow.
    Log("An error occured during parsing\n   Message: " + tarvo::xml::MessageOf(e), TMS_ERROR);
  } catch (const tarvo::CException& e) {
    Log("An error occured during parsing\n   Message: " + e.GetErrorMessage(), TMS_ERROR);
  }
  if (output) output->release();
  target.reset();
  if (writer) writer->release();
  return ok;
}

// The data file is streamed record by record (CDataFileStream) rather than built as a document:
// the bytes and the log lines are those of the document written by WriteDataFile, without holding
// the whole result in memory.
bool CTarvoExchangeXML::Process_driverfile_ExportQueryXML(const CString& sql, const CString& table,
                                                         const CString& primarykey, CString& filename) {
  if (filename.empty()) filename = GeneratedFileName(table);
  if (!IsOutDatabaseOpen() && !OpenOutDatabase(false)) return false;

  const CString path = tarvo::NativePath(filename);
  CDataFileStream stream(path);
  int rows = 0;
  CString writeError;
  try {
    Log("- Avvio trasferimento tabella " + table, TMS_INFO);
    CODBCRecordset rs(m_pOutDatabase);
    rs.Open(sql);
    stream.BeginTable(tarvo::ToUpper(table), tarvo::ToUpper(primarykey));
    // Names, types and definitions are the same on every row: look them up once.
    const std::vector<CColumnPlan> plans = PlanColumns(rs, true);
    std::vector<CString> names;
    for (int i = 0; i < rs.GetFieldCount(); ++i) names.push_back(stream.EscapeAttribute(tarvo::ToUpper(rs.Field(i).GetName())));
    const CString rowLine = tarvo::W("-- Trasferimento record n° %d");
    while (!rs.IsEOF()) {
      if (CtrlEventStop()) return false;
      ++rows;
      Log(StrFormat(rowLine.c_str(), rows), TMS_INFO);
      stream.BeginRecord(rows);
      for (int i = 0; i < rs.GetFieldCount(); ++i) {
        const CDBField& field = rs.Field(i);
        const auto column = static_cast<size_t>(i);
        stream.Column(names[column], plans[column].type, field.IsNull(), ColumnText(plans[column], field));
      }
      stream.EndRecord();
      rs.MoveNext();
    }
    rs.Close();
  } catch (const CDBException& e) {
    LogEx((e.m_strError + "\n").c_str(), -1, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(e.m_strError, MB_ICONEXCLAMATION);
    return false;
  } catch (const tarvo::CFileException& e) {
    // A write error while streaming is reported where the document would have been written.
    writeError = e.GetErrorMessage();
  }

  bool written = false;
  const CString failure = "An error occured during parsing\n   Message: ";
  if (!stream.IsOpen()) {
    Log(failure + stream.OpenError(), TMS_ERROR);
  } else {
    Log("- Creazione file dei dati " + filename + " in corso", TMS_INFO);
    if (!writeError.empty()) {
      Log(failure + writeError, TMS_ERROR);
    } else if (!stream.IsValid()) {
      Log(failure + "invalid or illegal XML character", TMS_ERROR);
    } else {
      try {
        stream.Commit();
        Log("- Creazione file dei dati terminata con successo", TMS_INFO);
        written = true;
      } catch (const tarvo::CFileException& e) {
        Log(failure + e.GetErrorMessage(), TMS_ERROR);
      }
    }
  }
  Log(StrFormat("-- Trasferiti %d records", rows), TMS_INFO);
  Log("- Fine trasferimento tabella " + table, TMS_INFO);
  return written;
}

// ---------------------------------------------------------------------------------------------
bool CTarvoExchangeXML::Process_driverfile_ExportQueryCSV(const CString& sql, const CString& table,
                                                         const CString&, CString& filename, bool append) {
  return ExportQueryText(sql, table, filename, append, true);
}

bool CTarvoExchangeXML::Process_driverfile_ExportQueryTXT(const CString& sql, const CString& table,
                                                         const CString&, CString& filename, bool append) {
  return ExportQueryText(sql, table, filename, append, false);
}

bool CTarvoExchangeXML::ExportQueryText(const CString& sql, const CString& table, CString& filename, bool append,
                                        bool csv) {
  if (filename.empty()) filename = GeneratedFileName(table);
  CStdioFile file;
  try {
    file.Open(tarvo::NativePath(filename), append ? CStdioFile::Mode::kAppend : CStdioFile::Mode::kWrite);
  } catch (const tarvo::CFileException& e) {
    // A fixed-width file that cannot be written is always shown; a CSV file fails silently.
    if (!csv) AfxMessageBox(e.GetErrorMessage(), MB_ICONERROR);
    return false;
  }
  if (!IsOutDatabaseOpen() && !OpenOutDatabase(false)) return false;

  try {
    Log("- Avvio trasferimento tabella " + table, TMS_INFO);
    CODBCRecordset rs(m_pOutDatabase);
    rs.Open(sql);
    int rows = 0;
    CString line;
    const std::vector<CColumnPlan> plans = PlanColumns(rs, false);
    while (!rs.IsEOF()) {
      if (CtrlEventStop()) return false;
      line.clear();
      for (int i = 0; i < rs.GetFieldCount(); ++i) {
        if (csv && i > 0) line += ',';
        line += ColumnText(plans[static_cast<size_t>(i)], rs.Field(i));
      }
      line += '\n';
      file.WriteString(tarvo::TextModeLineEnds(line));  // line feeds inside values too
      ++rows;
      rs.MoveNext();
    }
    rs.Close();
    Log(StrFormat("-- Trasferiti %d records", rows), TMS_INFO);
    Log("- Fine trasferimento tabella " + table, TMS_INFO);
  } catch (const CDBException& e) {
    LogEx((e.m_strError + "\n").c_str(), -1, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(e.m_strError, MB_ICONEXCLAMATION);
    return false;
  } catch (const tarvo::CFileException& e) {
    if (csv) throw;
    CString message = e.GetErrorMessage().substr(0, 1024);
    Log(message, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(message, MB_ICONERROR);
    return false;
  }
  file.Close();
  return true;
}
