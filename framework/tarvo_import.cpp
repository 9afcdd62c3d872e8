#include "framework/tarvo_import.h"

#include <algorithm>
#include <cstring>

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>

#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/settings.h"

using tarvo::StrFormat;

CTarvoImport::CTarvoImport() : m_pInDatabase(new CDatabase), m_pOutDatabase(new CDatabase) { AddDefaultParams(); }

CTarvoImport::~CTarvoImport() {
  for (CDatabase** db : {&m_pInDatabase, &m_pOutDatabase}) {
    if (*db) {
      if ((*db)->IsOpen()) (*db)->Close();
      delete *db;
      *db = nullptr;
    }
  }
}

CTarvoImport& CTarvoImport::operator=(const CTarvoImport& o) {
  if (this == &o) return *this;
  m_strInDir = o.m_strInDir;
  m_strOutDir = o.m_strOutDir;
  m_strDestConfig = o.m_strDestConfig;
  m_strSrcConfig = o.m_strSrcConfig;
  m_strFtpServer = o.m_strFtpServer;
  m_strFtpUID = o.m_strFtpUID;
  m_strFtpPWD = o.m_strFtpPWD;
  m_strFtpFolder = o.m_strFtpFolder;
  m_strHttpServer = o.m_strHttpServer;
  m_strHttpUID = o.m_strHttpUID;
  m_strHttpPWD = o.m_strHttpPWD;
  m_strHttpURL = o.m_strHttpURL;
  m_pInDatabase = o.m_pInDatabase;
  m_pOutDatabase = o.m_pOutDatabase;
  m_pParentWnd = o.m_pParentWnd;
  m_pEventStop = o.m_pEventStop;
  m_pLogFile = o.m_pLogFile;
  m_strInRegWhere = o.m_strInRegWhere;
  m_strOutRegWhere = o.m_strOutRegWhere;
  m_strParser = o.m_strParser;
  m_lParserFlag = o.m_lParserFlag;
  m_lParserFlag2 = o.m_lParserFlag2;
  m_lParserFlag3 = o.m_lParserFlag3;
  m_strDescrizione = o.m_strDescrizione;
  return *this;
}

// ---------------------------------------------------------------------------------------------
void CTarvoImport::PostLine(const CString& line, EThreadMessageStatus status) {
  auto* s = new CString(line);
  if (!CWnd::PostMessage(m_pParentWnd, WM_EXCHANGE_LOG, reinterpret_cast<WPARAM>(s), status)) delete s;
}

void CTarvoImport::Log(const char* raw, EThreadMessageStatus status) {
  // No password reaches the window or the log file.
  const CString text = tarvo::MaskSecrets(raw ? raw : "");
  if (m_pParentWnd) {  // PostLine drops the line if the window is gone
    CString line(text);
    for (char& c : line) {
      if (c == '\r') c = ' ';
      else if (c == '\n') c = '+';
    }
    PostLine(line, status);
  }
  if (m_pLogFile) {
    try {
      m_pLogFile->WriteLine(text);
    } catch (const tarvo::CException&) {
      // A log file that cannot be written must not end the run; the window still has the line.
    }
  }
}

void CTarvoImport::LogEx(const char* text, int length, EThreadMessageStatus status) {
  if (!text) text = "";
  if (CWnd::IsWindow(m_pParentWnd)) {
    if (length >= 1) m_strPartialLog.append(text, strnlen(text, static_cast<size_t>(length)));
    else if (length < 0) m_strPartialLog.append(text);
    size_t lf;
    while ((lf = m_strPartialLog.find('\n')) != CString::npos) {
      CString line = m_strPartialLog.substr(0, lf);
      line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
      PostLine(tarvo::MaskSecrets(line), status);
      m_strPartialLog.erase(0, lf + 1);
    }
  }
  if (m_pLogFile) {
    try {
      CString chunk = length >= 1 ? CString(text, static_cast<size_t>(length)) : CString(text);
      m_pLogFile->WriteString(tarvo::MaskSecrets(chunk));
      m_pLogFile->Flush();
    } catch (const tarvo::CException&) {
    }
  }
}

void CTarvoImport::NotifyFinished(int result) {
  CWnd::PostMessage(m_pParentWnd, WM_EXCHANGE_LOG, static_cast<WPARAM>(result), TMS_FINISHED);
  if (m_pLogFile) m_pLogFile->Flush();
}

bool CTarvoImport::CtrlEventStop() {
  if (!m_pEventStop) return false;
  if (!m_pEventStop->IsSet()) return false;
  Log("Operazione interrotta dall'utente.", TMS_ERROR);
  return true;
}

// ---------------------------------------------------------------------------------------------
bool CTarvoImport::OpenDatabase(CDatabase* db, const CString& config, bool silent, const char* which) {
  if (!db) {
    Log(StrFormat("- Impossibile connettersi al database %s: database non allocato!!", which), TMS_ERROR);
    return false;
  }
  if (db->IsOpen()) return true;
  bool ok = false;
  try {
    ok = CConnectionAdministrator::ConnectDatabase(*db, config);
  } catch (const CDBException& e) {
    Log(StrFormat("- Impossibile connettersi al database %s: ", which) + e.m_strError, TMS_ERROR);
    if (!silent) AfxMessageBox(e.m_strError, MB_ICONEXCLAMATION);
    return false;
  }
  if (!ok) {
    Log(StrFormat("- Impossibile connettersi al database %s.", which), TMS_ERROR);
    return false;
  }
  CString opened = StrFormat("Database %s aperto.", which);
  opened[0] = 'D';
  Log(opened, TMS_INFO);
  return true;
}

bool CTarvoImport::CloseDatabase(CDatabase* db, const char* which) {
  if (!db) {
    Log(StrFormat("- Impossibile chiudere il database %s: database non allocato!!", which), TMS_ERROR);
    return false;
  }
  if (!db->IsOpen()) return false;
  db->Close();
  Log(StrFormat("Database %s chiuso.", which), TMS_INFO);
  return true;
}

bool CTarvoImport::OpenInDatabase(bool silent) {
  // What the destination reads are lookups of the rows being written, not rows of the run.
  if (m_pInDatabase) m_pInDatabase->SetRowsReadCounted(false);
  return OpenDatabase(m_pInDatabase, m_strDestConfig, silent, "destinazione");
}
bool CTarvoImport::OpenOutDatabase(bool silent) { return OpenDatabase(m_pOutDatabase, m_strSrcConfig, silent, "sorgente"); }
bool CTarvoImport::CloseInDatabase() { return CloseDatabase(m_pInDatabase, "destinazione"); }
bool CTarvoImport::CloseOutDatabase() { return CloseDatabase(m_pOutDatabase, "sorgente"); }
bool CTarvoImport::IsInDatabaseOpen() const { return m_pInDatabase && m_pInDatabase->IsOpen(); }
bool CTarvoImport::IsOutDatabaseOpen() const { return m_pOutDatabase && m_pOutDatabase->IsOpen(); }

// ---------------------------------------------------------------------------------------------
CString CTarvoImport::StrSpan(const CString& text, int width) {
  CString s = text;
  if (width > 0 && s.size() < static_cast<size_t>(width)) s.append(static_cast<size_t>(width) - s.size(), ' ');
  return s;
}

void CTarvoImport::FindFile(CString& path) { ::FindFile(path); }

CString CTarvoImport::GetSystemError() { return ::GetSystemError(); }

bool CTarvoImport::Xerces_StartPlatform() {
  try {
    xercesc::XMLPlatformUtils::Initialize("it_IT");
  } catch (const xercesc::XMLException& e) {
    char* msg = xercesc::XMLString::transcode(e.getMessage());
    CString text = StrFormat("Errore durante l'inizializzazione della libreia XML.\n   Dettagli: %s", msg);
    xercesc::XMLString::release(&msg);
    (void)text;  // the host reports the failure
    return false;
  }
  return true;
}

bool CTarvoImport::Xerces_StopPlatform() {
  xercesc::XMLPlatformUtils::Terminate();
  return true;
}
