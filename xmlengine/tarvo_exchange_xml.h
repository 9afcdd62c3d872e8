// CTarvoExchangeXML: the generic procedure of the types "xmlexport" and "xmlimport". It reads a
// driver file from the "exchange" folder under the application's root folder and carries out its
// elements in document order (parameter checks and dialog, working folder, table and query
// exports to XML, CSV and fixed-width data files, imports of data files, SQL statements, commands,
// archives, file deletion and HTTP transfers). The first step that fails ends the run.
//
// Ownership and threads as for every CTarvoImport: the host owns the object and destroys it with
// Delete; Run executes on one worker thread and throws nothing. The XML parser exists only during
// a run. `cd` changes the process's current folder; Run restores the folder it started in.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "framework/tarvo_import.h"

class CDBField;
class CODBCRecordset;
class DOMTreeErrorReporter;
namespace tarvo::xml {
class SafeDOMParser;
}

class CTarvoExchangeXML : public CTarvoImport {
 public:
  using DOMDocument = xercesc::DOMDocument;
  using DOMElement = xercesc::DOMElement;
  using CStringArray = std::vector<CString>;

  // One field definition of a `table` or `query` step (a `field` element).
  class CField {
   public:
    enum EAlignment { kNone = 0, kLeft = 1, kRight = 2 };
    int m_nAlignment = kNone;  // "padding": left, right, anything else
    CString m_strName;         // "name"; also the key of the definition
    int m_nLength = 0;         // "length": width in a fixed-width file
    CString m_strPadding;      // "strpadding": the fill character (first one counts)
    CString m_strConstValue;   // "constvalue", placeholders substituted
    bool m_bNullPadding = false;  // "nullpadding" = yes: a NULL is formatted like any value
    CString m_strFormat;       // "format": strftime codes for dates, printf codes for numerics
    int m_nStart = 0;          // "start": position in a fixed-width line, from 0

    // The fill character: the first of the padding text, a blank when it is empty.
    char PadChar() const { return m_strPadding.empty() ? ' ' : m_strPadding[0]; }
  };

  // One column value of an imported row.
  class CColumn {
   public:
    CString m_strName;
    CString m_strValue;
    CString m_strType;  // data file type name; empty for fixed-width rows
    bool m_bIsNull = false;
    bool m_bOnlyInsert = false;  // written when the row is inserted, never when it is updated
  };

  // One imported row and what writing it did.
  class CRecord : public std::vector<CColumn> {
   public:
    enum EOperation { kNone = 0, kInsert = 2, kUpdate = 3 };
    int m_nColumns = 0;
    CString m_strTable;
    CString m_strPrimaryKey;  // alternatives separated by "|", columns by blanks or commas
    CString m_strCondition;   // key condition built from the key definition
    CString m_strColumns;     // column list of the SELECT
    CString m_strError;       // last database error text
    int m_nOperation = kNone;
  };

  // Column names compare without regard to case (PostgreSQL reports them in lower case).
  struct NoCaseLess {
    bool operator()(const CString& a, const CString& b) const;
  };
  using FieldMap = std::map<CString, CField, NoCaseLess>;

  // Internal to the import steps: what an import learns once per destination table and column
  // list (the SQL types of its columns) and the statements it prepares once; emptied at the end
  // of each import step, so it never outlives the destination connection.
  struct CImportCache {
    // The statement prepared for `sql` on `db`, prepared at its first use; throws CDBException.
    CODBCStatement& Statement(CDatabase* db, const CString& sql);
    // One table and column list as the records bring them.
    struct CShape {
      std::vector<int> types;  // per record column; kUnknownColumn if the table lacks it
      // The write statement by operation and columns written ("I" or "U", then 1 or 0 per column).
      std::map<CString, CODBCStatement*> writes;
    };
    std::map<CString, CShape> shapes;  // by table and column list
    std::map<CString, std::unique_ptr<CODBCStatement>> statements;
  };
  static constexpr int kUnknownColumn = -32768;

  using Handler = bool (CTarvoExchangeXML::*)(DOMElement*);

  CTarvoExchangeXML();
  ~CTarvoExchangeXML() override;

  // 1 done, 0 a step failed or the driver could not be read, -1 no driver to run.
  int Run() override;

  // The handler of a driver element by its exact name; null for names the engine ignores.
  static Handler FindHandler(const CString& elementName);

  // Key condition of a row from its key definition (the record's primary key and columns).
  static CString BuildKeyCondition(const CRecord& record);
  // The text written for a value under a field definition (shared by the three writers).
  static CString FormatFieldValue(const CField& field, const CDBField& value);
  // "SELECT columns FROM table[ WHERE where][ ORDER BY orderby]".
  static CString ConstructSQLQuery(const CString& table, const CString& columns, const CString& where,
                                   const CString& orderby);
  // Type name of the data file for an ODBC SQL type.
  static CString GetColumnType(int sqlType);

  // Data files written so far by table, query and execute steps, in order (packed by `zipfile`),
  // and the counter that numbers generated file names; neither is reset between runs.
  const CStringArray& GetProducedFiles() const { return m_arrFiles; }
  int GetFileCounter() const { return m_nFileCounter; }

 protected:
  // The statement of an `execute` or `localexecute` element or of a data file's execute: its
  // text with line breaks removed (not replaced), trimmed, placeholders substituted.
  CString StatementText(const CString& elementText) const;

  // --- interpreter: driver file, dispatcher and the small steps ---
  void CreateDOMParser();
  void ReleaseDOMParser();
  // The parsed driver, owned by the caller, or null (the error reporter or a log line says why).
  DOMDocument* ReadDriver(CString path);
  bool ExecuteTransfer(DOMDocument* driver);
  CString GetAttributeValue(DOMElement* element, CString name);

  bool DOMElement_driverfile_exchagedriver(DOMElement* root);
  bool DOMElement_driverfile_checkparam(DOMElement* element);
  bool Process_driverfile_CheckParam(bool srcdsn, bool srcdsnusername, bool srcdsnpassword, bool destdsn,
                                     bool destdsnusername, bool destdsnpassword, bool srcfolder, bool destfolder,
                                     bool httpserver, bool httpurl, bool httpusername, bool httppassword,
                                     bool ftpserver, bool ftpusername, bool ftppassword, bool ftpfolder);
  bool DOMElement_driverfile_cd(DOMElement* element);
  bool DOMElement_driverfile_parser(DOMElement* element);
  bool DOMElement_driverfile_param(DOMElement* element);

  // --- table and query steps, field definitions ---
  bool DOMElement_driverfile_table(DOMElement* element);
  bool DOMElement_driverfile_query(DOMElement* element);
  bool DOMElement_driverfile_fields(DOMElement* element);
  bool DOMElement_driverfile_field(DOMElement* element);

  // --- writers of data files ---
  bool Process_driverfile_ExportQueryXML(const CString& sql, const CString& table, const CString& primarykey,
                                         CString& filename);
  bool Process_driverfile_ExportQueryCSV(const CString& sql, const CString& table, const CString& primarykey,
                                         CString& filename, bool append);
  bool Process_driverfile_ExportQueryTXT(const CString& sql, const CString& table, const CString& primarykey,
                                         CString& filename, bool append);
  DOMDocument* CreateDataDocument();
  bool WriteDataFile(CString filename, DOMDocument* document);

  // --- readers of data files ---
  bool Process_driverfile_ImportTableXML(const CString& table, const CString& columns, const CString& where,
                                         const CString& orderby, const CString& primarykey, CString filename);
  bool Process_driverfile_ImportTableTXT(const CString& table, const CString& columns, const CString& where,
                                         const CString& orderby, const CString& primarykey, CString filename);
  // The events of an XML data file being read (CDataFileReader): a table begins (opens the
  // destination database), a record is written, a table ends (totals).
  bool Process_importfile_BeginTable(const CString& name);
  bool Process_importfile_Record(CRecord& record, int number);
  void Process_importfile_EndTable(const CString& name, int records);
  // An `execute` of a data file: line ends removed, trimmed, placeholders substituted, then run.
  bool Process_importfile_ExecuteText(const CString& text);
  bool Process_importfile_Execute(const CString& sql);
  // Runs one statement at once on the destination (`destination`) or the source database, between
  // the lines "- Avvio esecuzione locale query ..." and "- Fine esecuzione locale query ...".
  bool RunLocalStatement(const CString& sql, bool destination);
  // Opens the destination database if needed and sets it up for row-by-row writing.
  bool OpenDestinationForImport();
  // Looks the row up by its key, then updates or inserts it; false with m_strError on failure.
  bool WriteRecord(CRecord& record);
  // Logs the outcome of one written row; false when the user chose to stop the import.
  bool LogRecordOutcome(const CRecord& record, int number, bool written, bool errorWithLogEx);

  // --- local actions (driver_actions.cpp) ---
  bool DOMElement_driverfile_execute(DOMElement* element);
  bool Process_driverfile_Execute(const CString& sql, CString& filename);
  bool DOMElement_driverfile_localexecute(DOMElement* element);
  bool Process_driverfile_Localexecute(const CString& sql, const CString& target);
  bool DOMElement_driverfile_command(DOMElement* element);
  bool DOMElement_driverfile_delfile(DOMElement* element);
  bool DOMElement_driverfile_zipfile(DOMElement* element);
  bool Process_driverfile_ZipFileCompress(const CString& archive);
  bool Process_driverfile_ZipFileExtract(const CString& archive);
  bool MakeZipFile(const CString& archive);

  // --- remote actions (driver_actions.cpp) ---
  bool DOMElement_driverfile_httpupload(DOMElement* element);
  bool Process_driverfile_HttpUpload(const CString& server, const CString& url, const CString& username,
                                     const CString& password, const CString& filename);
  bool DOMElement_driverfile_httpdownload(DOMElement* element);
  bool Process_driverfile_HttpDownload(const CString& server, const CString& url, const CString& username,
                                       const CString& password, const CString& filename);
  bool DOMElement_driverfile_ftpupload(DOMElement* element);
  bool DOMElement_driverfile_ftpdownload(DOMElement* element);
  bool Process_driverfile_FtpDownload(const CString& server, const CString& folder, const CString& username,
                                      const CString& password, const CString& filename);
  bool Process_driverfile_FtpUpload(const CString& server, const CString& folder, const CString& username,
                                    const CString& password, const CString& filename);

  // The concatenated plain text children of an element (CDATA sections and comments skipped).
  static CString GetElementText(DOMElement* element);

  FieldMap m_mapFields;                 // field definitions of the current table or query step
  CStringArray m_arrFiles;              // data files written by table, query and execute
  CString m_strZipFile;                 // "filename" of the last zipfile element
  int m_nFileCounter = 0;               // numbers generated data-file names; never reset
  CString m_strStartDir;                // current folder when the run started
  std::unique_ptr<tarvo::xml::SafeDOMParser> m_pParser;  // the driver reader (dom_support.h)
  std::unique_ptr<DOMTreeErrorReporter> m_pErrorReporter;

  std::unique_ptr<CImportCache> m_pImportCache;

 private:
  // Runs the writer of `format` ("xml", "csv", "txt"); any other format writes nothing and succeeds.
  bool ExportQuery(const CString& format, const CString& sql, const CString& table, const CString& primarykey,
                   CString& filename, bool append);
  // The common loop of the CSV and fixed-width writers.
  bool ExportQueryText(const CString& sql, const CString& table, CString& filename, bool append, bool csv);
  // "%03d_%s.xml" of the data-file counter and `name`.
  CString GeneratedFileName(const CString& name) const;
  // How the writers turn one result column into text: its type name, the driver's definition if
  // any, and the XML writer's own date or time format.
  struct CColumnPlan {
    CString type;
    bool hasField = false;
    CField field;
    CString defaultFormat;
  };
  std::vector<CColumnPlan> PlanColumns(CODBCRecordset& rs, bool xml) const;
  static CString ColumnText(const CColumnPlan& plan, const CDBField& value);
};
