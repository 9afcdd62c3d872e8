// CTarvoImport: the base of every exchange procedure. It holds what the host hands over before a
// run (databases, folders, connection settings, filters, window, stop event, log file), opens and
// closes the two databases, and is the only channel for progress: log lines posted to the host
// window and written to the log file, then one finished notification.
//
// Ownership: the procedure owns its two CDatabase objects (also those given with the setters) and
// closes and deletes them when destroyed; the window, the stop event and the log file stay the
// host's. Threads: the host configures the object, then Run executes on one worker thread; the
// host may set the stop event and destroy its window meanwhile. Nothing is thrown to the host.
#pragma once

#include "dialogs/parser_dialog.h"
#include "framework/placeholders.h"
#include "platform/event.h"
#include "platform/odbc.h"
#include "platform/stdio_file.h"
#include "platform/text.h"
#include "platform/window.h"

// Status carried with each posted line.
enum EThreadMessageStatus : int {
  TMS_NONE = -1,     // plain line
  TMS_INFO = 0,      // progress
  TMS_ERROR = 1,     // error, warning, interruption
  TMS_FINISHED = 2,  // end of run; only with NotifyFinished
};

class CTarvoImport {
 public:
  CTarvoImport();
  virtual ~CTarvoImport();
  // Copies folders, connection and transfer settings, the five shared pointers, both RegWhere
  // texts, StrParser, the parser flags and Descrizione; not ExchangeParam, Verbose, the maps or
  // the partial log line.
  CTarvoImport& operator=(const CTarvoImport& other);
  CTarvoImport(const CTarvoImport&) = delete;

  // Destroys the object (with its databases); does nothing on a null object.
  static void Delete(CTarvoImport* procedure) { delete procedure; }
  virtual void Delete() { delete this; }
  // The procedure's work: 1 done, 0 failed or stopped, -1 could not start. Posts the finished
  // notification (1 or 0) on every path.
  virtual int Run() = 0;
  // Run-time kind test as the host's framework sees it: every procedure is a worker thread.
  virtual bool IsKindOfWinThread() const { return true; }

  // --- setters ---
  void SetInDir(const CString& v) { m_strInDir = v; }
  void SetOutDir(const CString& v) { m_strOutDir = v; }
  void SetSrcConfig(const CString& v) { m_strSrcConfig = v; }
  void SetDestConfig(const CString& v) { m_strDestConfig = v; }
  void SetFtpServer(const CString& v) { m_strFtpServer = v; }
  void SetFtpUID(const CString& v) { m_strFtpUID = v; }
  void SetFtpPWD(const CString& v) { m_strFtpPWD = v; }
  void SetFtpFolder(const CString& v) { m_strFtpFolder = v; }
  void SetHttpServer(const CString& v) { m_strHttpServer = v; }
  void SetHttpUID(const CString& v) { m_strHttpUID = v; }
  void SetHttpPWD(const CString& v) { m_strHttpPWD = v; }
  void SetHttpURL(const CString& v) { m_strHttpURL = v; }
  void SetExchangeParam(const CString& v) { m_strExchangeParam = v; }
  void SetInRegWhere(const CString& v) { m_strInRegWhere = v; }
  void SetOutRegWhere(const CString& v) { m_strOutRegWhere = v; }
  void SetStrParser(const CString& v) { m_strParser = v; }
  void SetDescrizione(const CString& v) { m_strDescrizione = v; }
  void SetParserFlag(long v) { m_lParserFlag = v; }
  void SetParserFlag2(long v) { m_lParserFlag2 = v; }
  void SetParserFlag3(long v) { m_lParserFlag3 = v; }
  void SetVerbose(bool v) { m_bVerbose = v; }
  // The procedure takes ownership; the object held before is neither closed nor freed.
  void SetInDatabase(CDatabase* db) { m_pInDatabase = db; }
  void SetOutDatabase(CDatabase* db) { m_pOutDatabase = db; }
  void SetParentWnd(CWnd* wnd) { m_pParentWnd = wnd; }
  void SetEventStop(CEvent& event) { m_pEventStop = &event; }
  void SetLogFile(CStdioFile* file) { m_pLogFile = file; }

  // --- getters ---
  const CString& GetInDir() const { return m_strInDir; }
  const CString& GetOutDir() const { return m_strOutDir; }
  const CString& GetSrcConfig() const { return m_strSrcConfig; }
  const CString& GetDestConfig() const { return m_strDestConfig; }
  const CString& GetFtpServer() const { return m_strFtpServer; }
  const CString& GetFtpUID() const { return m_strFtpUID; }
  const CString& GetFtpPWD() const { return m_strFtpPWD; }
  const CString& GetFtpFolder() const { return m_strFtpFolder; }
  const CString& GetHttpServer() const { return m_strHttpServer; }
  const CString& GetHttpUID() const { return m_strHttpUID; }
  const CString& GetHttpPWD() const { return m_strHttpPWD; }
  const CString& GetHttpURL() const { return m_strHttpURL; }
  // Crossed on purpose: In returns what SetOutRegWhere stored and vice versa.
  const CString& GetInRegWhere() const { return m_strOutRegWhere; }
  const CString& GetOutRegWhere() const { return m_strInRegWhere; }
  const CString& GetStrParser() const { return m_strParser; }
  const CString& GetDescrizione() const { return m_strDescrizione; }
  const CString& GetExchangeParam() const { return m_strExchangeParam; }
  long GetParserFlag() const { return m_lParserFlag; }
  long GetParserFlag2() const { return m_lParserFlag2; }
  long GetParserFlag3() const { return m_lParserFlag3; }
  bool IsVerbose() const { return m_bVerbose; }
  CDatabase* GetInDatabase() const { return m_pInDatabase; }
  CDatabase* GetOutDatabase() const { return m_pOutDatabase; }
  CWnd* GetParentWnd() const { return m_pParentWnd; }
  CEvent* GetEventStop() const { return m_pEventStop; }
  CStdioFile* GetLogFile() const { return m_pLogFile; }

  // --- filter parameters and the exchange parameter string ---
  void SetFilterParam(const CString& name, const CString& value);
  void SetFilterParams(const CMapStringToString& params);
  int GetFilterParam(const CString& name, CString& value) const;
  const CMapStringToString& GetFilterParams() const { return m_mapFilterParams; }
  bool CheckExchangeParam(const CString& name, CString& value) const;
  // tarvo::ExpandPlaceholders with the filter parameters (placeholders.h). Throws CEndlessPlaceholder
  // when a value names itself again, directly or through others, so the substitution would
  // never end.
  void CheckForFilterParams(CString& text) const;

  // --- logging ---
  void Log(const char* text, EThreadMessageStatus status);
  void Log(const CString& text, EThreadMessageStatus status) { Log(text.c_str(), status); }
  void LogEx(const char* text, int length, EThreadMessageStatus status);
  void NotifyFinished(int result);
  bool CtrlEventStop();

  // --- databases ---
  bool OpenInDatabase(bool silent);
  bool OpenOutDatabase(bool silent);
  bool CloseInDatabase();
  bool CloseOutDatabase();
  bool IsInDatabaseOpen() const;
  bool IsOutDatabaseOpen() const;

  // --- helpers ---
  static CString StrSpan(const CString& text, int width);
  static void FindFile(CString& path);
  static CString GetSystemError();
  static bool Xerces_StartPlatform();
  static bool Xerces_StopPlatform();

  // --- transfer support: libcurl callbacks and file digest (framework/transfer_support.cpp) ---
  // Writes the received bytes to `file` (a CStdioFile open for binary writing); returns the
  // count. A failed write throws tarvo::CFileException.
  static size_t WriteCallback(void* data, size_t size, size_t count, void* file);
  // Logs the download progress of `procedure` (a CTarvoImport) as a TMS_INFO line; always 0.
  static int ProgressCallback(void* procedure, double dlTotal, double dlNow, double ulTotal, double ulNow);
  // Passes a server reply to the log of `procedure`; on a stop request logs the interruption
  // and returns 0, which aborts the transfer.
  static size_t ResponseCallback(void* data, size_t size, size_t count, void* procedure);
  // MD5 of a file as 32 upper-case hexadecimal digits, read in blocks. Throws
  // tarvo::CFileException when the file cannot be opened or read.
  static CString DigestFile(const CString& path);

 protected:
  void AddDefaultParams();

  CDlgStandardParser::ParamMap m_mapDialogParams;
  CString m_strPartialLog;
  CMapStringToString m_mapFilterParams;
  bool m_bVerbose = true;
  CString m_strInDir;
  CString m_strOutDir;
  CString m_strDestConfig;
  CString m_strSrcConfig;
  CString m_strFtpServer, m_strFtpUID, m_strFtpPWD, m_strFtpFolder;
  CString m_strHttpServer, m_strHttpUID, m_strHttpPWD, m_strHttpURL;
  CString m_strExchangeParam;
  CDatabase* m_pInDatabase = nullptr;
  CDatabase* m_pOutDatabase = nullptr;
  CWnd* m_pParentWnd = nullptr;
  CEvent* m_pEventStop = nullptr;
  CStdioFile* m_pLogFile = nullptr;
  CString m_strInRegWhere, m_strOutRegWhere;
  CString m_strParser;
  long m_lParserFlag = 0, m_lParserFlag2 = 0, m_lParserFlag3 = 0;
  CString m_strDescrizione;

 private:
  bool OpenDatabase(CDatabase* db, const CString& config, bool silent, const char* which);
  bool CloseDatabase(CDatabase* db, const char* which);
  void PostLine(const CString& line, EThreadMessageStatus status);
};
