// Readers of data files: XML data files ("exchangedata") and fixed-width text laid out by the
// step's field definitions. Every row is looked up by its key and updated, or else inserted; no
// transaction covers an import, so the rows written before a failure or a stop stay written.
#include <algorithm>
#include <cstdlib>

#include <xercesc/util/XMLException.hpp>

#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/odbc.h"
#include "platform/stdio_file.h"
#include "xmlengine/data_file_reader.h"
#include "xmlengine/dom_support.h"
#include "xmlengine/tarvo_exchange_xml.h"

using tarvo::StrFormat;

namespace {
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

// A number as SQL writes one: blanks, an optional sign, digits with an optional decimal point,
// an optional exponent, blanks. Nothing else may reach a statement unquoted.
bool IsSqlNumber(const CString& text) {
  size_t i = 0, n = text.size();
  auto digits = [&] {
    size_t start = i;
    while (i < n && text[i] >= '0' && text[i] <= '9') ++i;
    return i - start;
  };
  while (i < n && text[i] == ' ') ++i;
  if (i < n && (text[i] == '+' || text[i] == '-')) ++i;
  size_t count = digits();
  if (i < n && text[i] == '.') {
    ++i;
    count += digits();
  }
  if (count == 0) return false;
  if (i < n && (text[i] == 'e' || text[i] == 'E')) {
    ++i;
    if (i < n && (text[i] == '+' || text[i] == '-')) ++i;
    if (digits() == 0) return false;
  }
  while (i < n && text[i] == ' ') ++i;
  return i == n;
}

bool IsNumericType(const CString& type) {
  return type == "integer" || type == "number" || type == "float" || type == "double";
}

// True when a key value of a date or time type holds only what dates and times are written with.
bool IsDateText(const CString& text) { return text.find_first_not_of("0123456789-:./ T") == CString::npos; }

// Why a record cannot be written as it stands: a value that its type says is a number and is
// not one, or a date key with other characters (key values are written into the statement).
CString InvalidValue(const CTarvoExchangeXML::CRecord& record) {
  for (const auto& column : record) {
    if (column.m_bIsNull || column.m_strValue.empty()) continue;
    bool bad = IsNumericType(column.m_strType) ? !IsSqlNumber(column.m_strValue)
               : column.m_strType.empty() || column.m_strType == "string"
                   ? false
                   : ContainsWord(record.m_strPrimaryKey, column.m_strName) && !IsDateText(column.m_strValue);
    if (bad)
      return StrFormat("valore \"%s\" non valido per la colonna %s di tipo %s", column.m_strValue.c_str(),
                       column.m_strName.c_str(), column.m_strType.c_str());
  }
  return CString();
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

// Empties the import cache when an import step ends, on every path.
class ImportCacheScope {
 public:
  explicit ImportCacheScope(std::unique_ptr<CTarvoExchangeXML::CImportCache>& cache) : cache_(cache) { cache_.reset(); }
  ~ImportCacheScope() { cache_.reset(); }

 private:
  std::unique_ptr<CTarvoExchangeXML::CImportCache>& cache_;
};

// Walks the key definition: calls `alternative` with the columns of the record (in record order)
// that each "|"-separated alternative names, up to the first NULL one, which ends the alternative.
template <class Alternative>
void ForEachKeyAlternative(const CTarvoExchangeXML::CRecord& record, Alternative&& alternative) {
  const CString& spec = record.m_strPrimaryKey;
  std::vector<const CTarvoExchangeXML::CColumn*> columns;
  size_t start = 0;
  while (start <= spec.size()) {
    size_t bar = spec.find('|', start);
    CString names = tarvo::Trim(spec.substr(start, bar == CString::npos ? CString::npos : bar - start), " ");
    columns.clear();
    for (const auto& column : record) {
      if (!ContainsWord(names, column.m_strName)) continue;
      if (column.m_bIsNull) break;
      columns.push_back(&column);
    }
    alternative(columns);
    if (bar == CString::npos) break;
    start = bar + 1;
  }
}

// Joins the conditions of the alternatives as the key condition writes them.
void AppendAlternative(CString& result, const CString& condition) {
  if (condition.empty()) return;
  if (!result.empty()) result += " OR ";
  result += " ( " + condition + " ) ";
}
}  // namespace

// ---------------------------------------------------------------------------------------------
CString CTarvoExchangeXML::BuildKeyCondition(const CRecord& record) {
  CString result;
  ForEachKeyAlternative(record, [&](const std::vector<const CColumn*>& columns) {
    CString condition;
    for (const CColumn* column : columns) {
      if (!condition.empty()) condition += " AND ";
      if (!column->m_strType.empty() && column->m_strType != "string") {
        condition += StrFormat("( %s = %s )", column->m_strName.c_str(), column->m_strValue.c_str());
      } else {
        CString quoted = column->m_strValue;
        tarvo::ReplaceAll(quoted, "'", "''");
        condition += StrFormat("( %s = '%s' )", column->m_strName.c_str(), quoted.c_str());
      }
    }
    AppendAlternative(result, condition);
  });
  return result;
}

bool CTarvoExchangeXML::WriteRecord(CRecord& record) {
  record.m_nColumns = static_cast<int>(record.size());
  record.m_strError = InvalidValue(record);
  if (!record.m_strError.empty()) return false;
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
  if (!m_pImportCache) m_pImportCache = std::make_unique<CImportCache>();
  CImportCache& cache = *m_pImportCache;

  // The row to update is the first one the lookup returns, named by the database's row identity.
  const EDialect dialect = m_pInDatabase->GetDialect();
  const char* rowId = dialect == EDialect::kSQLite ? "rowid" : dialect == EDialect::kPostgreSQL ? "ctid" : nullptr;
  const bool keyed = !record.m_strCondition.empty();
  const CString where = keyed ? " WHERE " + record.m_strCondition : CString();
  const CString shapeKey = record.m_strTable + "\n" + record.m_strColumns;

  try {
    bool update = false;
    CString rowValue;
    auto shape = cache.shapes.find(shapeKey);
    if (shape == cache.shapes.end()) {
      // The first lookup of a column list selects the columns themselves and learns their types.
      CODBCRecordset rs(m_pInDatabase);
      rs.Open("SELECT " + record.m_strColumns + (keyed && rowId ? CString(", ") + rowId : CString()) + " FROM " +
              record.m_strTable + where);
      std::vector<int> types;
      for (const CColumn& column : record) {
        int index = rs.FindField(column.m_strName);
        types.push_back(index < 0 ? kUnknownColumn : rs.Field(index).GetSQLType());
      }
      update = keyed && !rs.IsEOF();
      if (update && rowId) rowValue = rs.Field(rs.GetFieldCount() - 1).AsString();
      shape = cache.shapes.emplace(shapeKey, CImportCache::CShape{std::move(types), {}}).first;
    } else if (keyed) {
      // Later lookups of the same shape reuse one prepared statement with the key values bound.
      CString condition;
      std::vector<CDBValue> keyValues;
      ForEachKeyAlternative(record, [&](const std::vector<const CColumn*>& columns) {
        CString alternative;
        for (const CColumn* column : columns) {
          if (!alternative.empty()) alternative += " AND ";
          alternative += "( " + column->m_strName + " = ? )";
          const int type = shape->second.types[static_cast<size_t>(column - record.data())];
          keyValues.push_back(ValueForColumn(static_cast<short>(type), column->m_strValue));
        }
        AppendAlternative(condition, alternative);
      });
      CODBCStatement& lookup = cache.Statement(
          m_pInDatabase, "SELECT " + CString(rowId ? rowId : "1") + " FROM " + record.m_strTable + " WHERE " + condition);
      std::optional<CString> found = lookup.QueryFirstValue(keyValues);
      update = found.has_value();
      if (update && rowId) rowValue = *found;
    }
    record.m_nOperation = update ? CRecord::kUpdate : CRecord::kInsert;

    // Which columns are written: those the table has, on update not those written only on insert.
    const std::vector<int>& types = shape->second.types;
    CString variant(1, update ? 'U' : 'I');
    std::vector<CDBValue> values;
    for (size_t i = 0; i < record.size(); ++i) {
      const CColumn& column = record[i];
      const bool written = types[i] != kUnknownColumn && !(update && column.m_bOnlyInsert);
      variant += written ? '1' : '0';
      if (written) {
        values.push_back(column.m_bIsNull ? CDBValue{} : ValueForColumn(static_cast<short>(types[i]), column.m_strValue));
      }
    }
    if (update && values.empty()) return true;
    if (update && dialect == EDialect::kSQLite) {
      values.emplace_back(std::in_place_type<long long>, std::strtoll(rowValue.c_str(), nullptr, 10));
    } else if (update && dialect == EDialect::kPostgreSQL) {
      values.emplace_back(std::in_place_type<CString>, rowValue);
    }

    // The statement text follows from the variant alone, except for an update that can only name
    // its row by the key condition's values.
    auto writeSql = [&] {
      CString names, markers;
      for (size_t i = 0; i < record.size(); ++i) {
        if (variant[i + 1] == '0') continue;
        if (!names.empty()) {
          names += ", ";
          markers += ", ";
        }
        names += update ? record[i].m_strName + " = ?" : record[i].m_strName;
        markers += "?";
      }
      if (!update) {
        return names.empty() ? "INSERT INTO " + record.m_strTable + " DEFAULT VALUES"
                             : "INSERT INTO " + record.m_strTable + " (" + names + ") VALUES (" + markers + ")";
      }
      CString sql = "UPDATE " + record.m_strTable + " SET " + names;
      if (dialect == EDialect::kSQLite) return sql + " WHERE rowid = ?";
      if (dialect == EDialect::kPostgreSQL) return sql + " WHERE ctid = CAST(? AS tid)";
      return sql + where;
    };
    if (update && !rowId) {
      cache.Statement(m_pInDatabase, writeSql()).Execute(values);
    } else {
      CODBCStatement*& write = shape->second.writes[variant];
      if (!write) write = &cache.Statement(m_pInDatabase, writeSql());
      write->Execute(values);
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
// The data file is read whole (CDataFileReader), packed far smaller than a document tree, before
// any row is written: a malformed file writes nothing.
bool CTarvoExchangeXML::Process_driverfile_ImportTableXML(const CString&, const CString&, const CString&,
                                                         const CString&, const CString&, CString filename) {
  if (!m_pErrorReporter) CreateDOMParser();
  ImportCacheScope cacheScope(m_pImportCache);
  const CString path = tarvo::NativePath(filename);
  CDataFileEvents events;
  events.beginTable = [this](const CString& name, const CString&) { return Process_importfile_BeginTable(name); };
  events.record = [this](CRecord& record, int number) { return Process_importfile_Record(record, number); };
  events.endTable = [this](const CString& name, int records) { Process_importfile_EndTable(name, records); };
  events.execute = [this](const CString& text) { return Process_importfile_ExecuteText(text); };
  events.stopRequested = [this] { return CtrlEventStop(); };
  bool ok = false;
  try {
    ok = CDataFileReader::Read(path, m_pErrorReporter.get(), events);
  } catch (const CDBException& e) {
    LogEx(("Errore nella base dati: " + e.m_strError + "\n").c_str(), -1, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(e.m_strError, MB_ICONEXCLAMATION);
  } catch (const xercesc::XMLException& e) {
    // The wording names the driver for data files too.
    CString message = tarvo::xml::MessageOf(e);
    LogEx(("Errore durante la lettura del driver\n   Dettagli: " + message + "\n").c_str(), -1, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(message, MB_ICONEXCLAMATION);
  }
  return ok;
}

CODBCStatement& CTarvoExchangeXML::CImportCache::Statement(CDatabase* db, const CString& sql) {
  std::unique_ptr<CODBCStatement>& statement = statements[sql];
  if (!statement) {
    auto prepared = std::make_unique<CODBCStatement>(db);
    prepared->PrepareRepeated(sql);
    statement = std::move(prepared);
  }
  return *statement;
}

bool CTarvoExchangeXML::OpenDestinationForImport() {
  if (!IsInDatabaseOpen() && !OpenInDatabase(false)) return false;
  if (m_pInDatabase->GetDialect() == EDialect::kSQLite) {
    // Every row is its own transaction: checkpoint the write-ahead log less often than after
    // every thousand pages. Committed rows stay safe: the log is written before each commit ends.
    try {
      m_pInDatabase->ExecuteSQL("PRAGMA wal_autocheckpoint = 20000");
    } catch (const CDBException&) {
      // A database not in WAL mode has no log to checkpoint.
    }
  }
  return true;
}

bool CTarvoExchangeXML::Process_importfile_BeginTable(const CString& name) {
  if (!OpenDestinationForImport()) return false;
  Log("- Avvio trasferimento tabella " + name, TMS_INFO);
  return true;
}

bool CTarvoExchangeXML::Process_importfile_Record(CRecord& record, int number) {
  if (CtrlEventStop()) return false;
  bool written = WriteRecord(record);
  return LogRecordOutcome(record, number, written, false);
}

void CTarvoExchangeXML::Process_importfile_EndTable(const CString& name, int records) {
  Log(StrFormat("-- Trasferiti %d records", records), TMS_INFO);
  Log("- Fine trasferimento tabella " + name, TMS_INFO);
}

bool CTarvoExchangeXML::Process_importfile_ExecuteText(const CString& text) {
  return Process_importfile_Execute(StatementText(text));
}

bool CTarvoExchangeXML::Process_importfile_Execute(const CString& sql) { return RunLocalStatement(sql, false); }

bool CTarvoExchangeXML::RunLocalStatement(const CString& sql, bool destination) {
  Log("- Avvio esecuzione locale query " + sql, TMS_INFO);
  bool ok = destination ? (IsInDatabaseOpen() || OpenInDatabase(false))
                        : (IsOutDatabaseOpen() || OpenOutDatabase(false));
  if (!ok) return false;
  auto fail = [this](long code, const CString& text) {
    LogEx((StrFormat("-- Errore durante l'esecuzione locale della query: %ld %s", code, text.c_str()) + "\n").c_str(),
          -1, TMS_ERROR);
    return false;
  };
  try {
    // An empty statement fails the same way in every database (some would run it as nothing).
    if (tarvo::Trim(sql).empty()) ok = fail(-1, "istruzione SQL vuota");
    else (destination ? m_pInDatabase : m_pOutDatabase)->ExecuteSQL(sql);
  } catch (const CDBException& e) {
    ok = fail(e.m_nRetCode, e.m_strError);
  }
  Log("- Fine esecuzione locale query " + sql, TMS_INFO);
  return ok;
}

// ---------------------------------------------------------------------------------------------
bool CTarvoExchangeXML::Process_driverfile_ImportTableTXT(const CString& table, const CString&, const CString&,
                                                         const CString&, const CString& primarykey,
                                                         CString filename) {
  Log("- Avvio trasferimento tabella " + table, TMS_INFO);
  ImportCacheScope cacheScope(m_pImportCache);
  if (!OpenDestinationForImport()) return false;
  auto fileError = [&](const tarvo::CFileException& e) {
    CString message = "ERRORE file " + filename + ": " + e.GetErrorMessage();
    Log(message, TMS_ERROR);
    if (m_bVerbose) AfxMessageBox(message, MB_ICONEXCLAMATION);
    return false;
  };
  CStdioFile file;
  try {
    file.Open(tarvo::NativePath(filename), CStdioFile::Mode::kRead);
  } catch (const tarvo::CFileException& e) {
    return fileError(e);
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
  } catch (const tarvo::CFileException& e) {
    return fileError(e);  // a read error, or a line longer than any record
  }
  file.Close();
  return true;
}
