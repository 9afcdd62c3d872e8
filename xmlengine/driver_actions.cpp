// Local and remote actions of a driver: SQL statements packed into data files or run at once,
// external commands, file deletion, archives, HTTP and FTP transfers.
#include <cstdio>
#include <functional>

#include <xercesc/dom/DOMText.hpp>

#include "platform/file_version.h"
#include "platform/files.h"
#include "platform/ftp_client.h"
#include "platform/http_client.h"
#include "platform/process.h"
#include "platform/zip_archive.h"
#include "xmlengine/dom_support.h"
#include "xmlengine/tarvo_exchange_xml.h"

using tarvo::StrFormat;
using tarvo::W;
using tarvo::xml::XStr;

namespace {

const CString kSeparator(68, '-');
const char kCannotProceed[] = "- Impossibile procedere con il trasferimento dati.";

}  // namespace

// ---------------------------------------------------------------------------------------------
CString CTarvoExchangeXML::StatementText(const CString& elementText) const {
  CString sql;
  for (char c : elementText)
    if (c != '\r' && c != '\n') sql += c;
  sql = tarvo::Trim(sql);
  CheckForFilterParams(sql);
  return sql;
}

// ---------------------------------------------------------------------------------------------
// execute, localexecute

bool CTarvoExchangeXML::DOMElement_driverfile_execute(DOMElement* element) {
  ++m_nFileCounter;
  CString filename = GetAttributeValue(element, "filename");
  CString sql = StatementText(GetElementText(element));
  if (!Process_driverfile_Execute(sql, filename)) return false;
  m_arrFiles.push_back(filename);
  return true;
}

bool CTarvoExchangeXML::Process_driverfile_Execute(const CString& sql, CString& filename) {
  Log("- Avvio trasferimento execute query", TMS_INFO);
  DOMDocument* document = CreateDataDocument();
  if (!document) return false;
  DOMElement* execute = document->createElement(XStr("execute").c_str());
  execute->appendChild(document->createTextNode(XStr(sql).c_str()));
  document->getDocumentElement()->appendChild(execute);
  if (filename.empty()) filename = GeneratedFileName("EXECUTE");
  bool written = WriteDataFile(filename, document);
  document->release();
  if (!written) return false;
  Log("- Fine trasferimento execute query", TMS_INFO);
  return true;
}

bool CTarvoExchangeXML::DOMElement_driverfile_localexecute(DOMElement* element) {
  CString target = GetAttributeValue(element, "targetdb");
  return Process_driverfile_Localexecute(StatementText(GetElementText(element)), target);
}

// "destdb" (exactly) runs on the destination database; anything else on the source.
bool CTarvoExchangeXML::Process_driverfile_Localexecute(const CString& sql, const CString& target) {
  return RunLocalStatement(sql, target == "destdb");
}

// ---------------------------------------------------------------------------------------------
// command, delfile

bool CTarvoExchangeXML::DOMElement_driverfile_command(DOMElement* element) {
  CString exefile = GetAttributeValue(element, "exefile");
  CString args = GetAttributeValue(element, "args");
  CheckForFilterParams(exefile);
  CheckForFilterParams(args);
  CString commandLine = "\"" + exefile + "\" " + args;
  Log("- Esecuzione comando [" + commandLine + "].", TMS_INFO);
  tarvo::CChildProcess child;
  if (!child.Start(commandLine)) {
    Log("- Esecuzione comando fallita: ERRORE " + GetSystemError(), TMS_ERROR);
    return false;
  }
  // The program's exit code does not decide the step; its output goes to the log as it comes.
  const CEvent* stop = GetEventStop();
  child.ReadOutput([this](const char* data, size_t length) { LogEx(CString(data, length).c_str(), -1, TMS_INFO); },
                   511, [stop] { return stop && stop->IsSet(); });
  child.Wait();
  return !CtrlEventStop();  // a stop ended the program: the driver ends too
}

bool CTarvoExchangeXML::DOMElement_driverfile_delfile(DOMElement* element) {
  CString name = GetAttributeValue(element, "filename");
  CheckForFilterParams(name);
  FindFile(name);
  if (name.empty()) return true;
  if (std::remove(tarvo::NativePath(name).c_str()) == 0) {
    Log("- File [" + name + "] eliminato.", TMS_INFO);
  } else {
    CString reason = tarvo::GetSystemError();
    Log("- Impossibile rimuovere il file [" + name + "]: ", TMS_ERROR);
    Log("--" + reason.substr(0, 1022), TMS_ERROR);
  }
  return true;  // a file that cannot be deleted never stops the driver
}

// ---------------------------------------------------------------------------------------------
// zipfile

bool CTarvoExchangeXML::DOMElement_driverfile_zipfile(DOMElement* element) {
  m_strZipFile = GetAttributeValue(element, "filename");
  CString action = GetAttributeValue(element, "action");
  CheckForFilterParams(m_strZipFile);
  if (action == "compress") return Process_driverfile_ZipFileCompress(m_strZipFile);
  if (action == "extract") return Process_driverfile_ZipFileExtract(m_strZipFile);
  return true;
}

bool CTarvoExchangeXML::Process_driverfile_ZipFileCompress(const CString& archive) {
  Log(kSeparator, TMS_INFO);
  Log("+ Creazione archivio compresso [" + archive + "].", TMS_INFO);
  bool ok = true;
  if (archive.empty()) {
    Log(W("- Il nome dell'archivio compresso non è stato specificato."), TMS_ERROR);
    ok = false;
  } else if (!MakeZipFile(archive)) {
    Log("- Impossibile creare l'archivio compresso.", TMS_ERROR);
    ok = false;
  }
  if (!ok) Log(kCannotProceed, TMS_ERROR);
  Log(kSeparator, TMS_INFO);
  return ok;
}

// Packs the produced data files, without their folders. A data file that cannot be added ends
// the packing but not the step: the driver goes on with what the archive holds.
bool CTarvoExchangeXML::MakeZipFile(const CString& archive) {
  if (archive.empty()) return false;
  Log("- Creazione archivio compresso " + archive + " in corso", TMS_INFO);
  CZipper zipper;
  if (!zipper.OpenZip(archive, "", false)) {
    Log("- Creazione archivio fallita: impossibile creare l'archivio", TMS_ERROR);
    return false;
  }
  Log("- Creazione archivio compresso in corso ...", TMS_INFO);
  for (const CString& name : m_arrFiles) {
    if (!zipper.AddFileToZip(name, true)) {
      Log("- Creazione archivio fallita: impossibile aggiungere il file di dati " + name, TMS_ERROR);
      break;
    }
    Log("- File " + name + " aggiunto all'archivio", TMS_INFO);
  }
  // The archive is written when it is closed, so this is where a full disk shows.
  if (!zipper.CloseZip()) {
    Log("- Creazione archivio fallita: impossibile creare l'archivio", TMS_ERROR);
    return false;
  }
  return true;
}

// Unpacks into the current folder, keeping stored paths. Entries that would land outside it
// (absolute paths, "..") are refused and make the step fail; the others are still unpacked.
bool CTarvoExchangeXML::Process_driverfile_ZipFileExtract(const CString& archive) {
  Log("- Estrazione archivio compresso " + archive + " in corso", TMS_INFO);
  CUnzipper unzipper;
  bool ok = unzipper.OpenZip(archive) && unzipper.Unzip(".", false);
  if (ok) Log("- Estrazione archivio compresso completata", TMS_INFO);
  else Log("- Estrazione archivio fallita!", TMS_ERROR);
  return ok;
}

// ---------------------------------------------------------------------------------------------
// httpupload, httpdownload

namespace {
struct TransferAttributes {
  CString server, url, username, password, filename;
};

TransferAttributes ReadTransferAttributes(const CTarvoImport& procedure, const std::function<CString(const char*)>& attr) {
  TransferAttributes a{attr("server"), attr("url"), attr("username"), attr("password"), attr("filename")};
  for (CString* text : {&a.server, &a.url, &a.username, &a.password, &a.filename}) procedure.CheckForFilterParams(*text);
  return a;
}
}  // namespace

bool CTarvoExchangeXML::DOMElement_driverfile_httpupload(DOMElement* element) {
  TransferAttributes a = ReadTransferAttributes(*this, [&](const char* name) { return GetAttributeValue(element, name); });
  FindFile(a.filename);
  return Process_driverfile_HttpUpload(a.server, a.url, a.username, a.password, a.filename);
}

bool CTarvoExchangeXML::Process_driverfile_HttpUpload(const CString& server, const CString& url,
                                                      const CString& username, const CString& password,
                                                      const CString& filename) {
  auto fail = [this](std::initializer_list<CString> lines) {
    for (const CString& line : lines) Log(line, TMS_ERROR);
    Log(kCannotProceed, TMS_ERROR);
    Log(kSeparator, TMS_ERROR);
    return false;
  };
  Log(kSeparator, TMS_INFO);
  Log("+ Caricamento del file [" + filename + "] sul server via HTTP.", TMS_INFO);
  if (filename.empty()) return fail({W("- Il nome del file da trasferire non è stato specificato.")});

  CFileVersionInfo info;
  info.Create();
  CString version = info.GetProductVersion();
  tarvo::ReplaceAll(version, ",", ".");
  tarvo::ReplaceAll(version, " ", "");
  CString userAgent = info.GetProductName() + "/" + version;

  std::unique_ptr<tarvo::CHttpClient> http = tarvo::CHttpClient::Create();
  if (!http) return fail({"- Errore libreria CURL."});
  const CString failed = "- Trasferimento file [" + filename + "] fallito.";
  try {
    http->SetHeaders({"Expect:"});  // no 100-continue handshake
    http->SetUrl(server + url);
    http->SetMultipartForm({{"datafile", filename, true},
                            {"login", username, false},
                            {"password", password, false},
                            {"tarvo", version, false}});
    http->SetUserAgent(userAgent);
    http->SetStopEvent(GetEventStop());
    http->SetWriteFunction(ResponseCallback, this);  // the reply goes to the log; a stop aborts it
    http->Perform();
  } catch (const tarvo::CNetException& e) {
    // Stopped between two pieces of the reply: the reply callback has not said so yet.
    if (e.Code() == tarvo::kTransferStopped) CtrlEventStop();
    return fail({"- ERRORE CURL: " + e.GetErrorMessage(), failed});
  }
  long status = http->GetResponseCode();
  if (status != 200)
    return fail({StrFormat("- ERRORE CURL: il server ha segnalato un errore: codice %ld", status), failed});
  Log("- Trasferimento file [" + filename + "] completato.", TMS_INFO);
  Log(kSeparator, TMS_INFO);
  return true;
}

bool CTarvoExchangeXML::DOMElement_driverfile_httpdownload(DOMElement* element) {
  TransferAttributes a = ReadTransferAttributes(*this, [&](const char* name) { return GetAttributeValue(element, name); });
  return Process_driverfile_HttpDownload(a.server, a.url, a.username, a.password, a.filename);
}

bool CTarvoExchangeXML::Process_driverfile_HttpDownload(const CString& server, const CString& url,
                                                        const CString& username, const CString& password,
                                                        const CString& filename) {
  auto logFileError = [&](const tarvo::CFileException& e) {
    Log(StrFormat("- ERRORE %s %d - %s", filename.c_str(), e.Cause(), tarvo::SystemErrorText(e.Cause()).c_str()),
        TMS_ERROR);
  };
  const CString failed = "- Trasferimento file " + filename + " fallito";
  Log("- Trasferimento file " + filename + " via HTTP in corso ...", TMS_INFO);
  std::unique_ptr<tarvo::CHttpClient> http = tarvo::CHttpClient::Create();
  if (!http) return false;
  http->SetUrl(server + url + "?login=" + username + "&password=" + password + "&tarvo=yes");
  http->SetUserAgent("Tarvo/1.0");
  http->SetStopEvent(GetEventStop());

  CStdioFile file;
  try {
    file.Open(tarvo::NativePath(filename), CStdioFile::Mode::kWrite);
  } catch (const tarvo::CFileException& e) {
    logFileError(e);
    return false;
  }
  http->SetWriteFunction(WriteCallback, &file);
  http->SetProgressFunction(ProgressCallback, this);
  try {
    http->Perform();
  } catch (const tarvo::CNetException& e) {
    if (std::exception_ptr cause = http->CallbackError()) {
      try {
        std::rethrow_exception(cause);
      } catch (const tarvo::CFileException& fe) {
        Log(StrFormat("- ERRORE %s: %d - %s", filename.c_str(), fe.Cause(), fe.what()), TMS_ERROR);
      } catch (const std::exception& other) {
        Log(StrFormat("- ERRORE %s: %d - %s", filename.c_str(), 0, other.what()), TMS_ERROR);
      }
    }
    file.Close();
    Log(StrFormat("- ERRORE %ld - %s", e.Code(), e.what()), TMS_ERROR);
    Log(failed, TMS_ERROR);
    return false;
  }
  file.Close();

  CString contentType = http->GetContentType();
  Log("- Content-type: " + contentType, TMS_INFO);
  if (contentType.find("text") != CString::npos) {
    // The server answered with a message instead of the file: show it; the file stays on disk.
    CStdioFile message;
    try {
      message.Open(tarvo::NativePath(filename), CStdioFile::Mode::kRead);
      CString line;
      while (message.ReadString(line)) Log(line, TMS_INFO);
    } catch (const tarvo::CFileException& e) {
      logFileError(e);
    }
    Log(failed, TMS_ERROR);
    return false;
  }
  Log("- Trasferimento file " + filename + " completato", TMS_INFO);
  return true;
}

// ---------------------------------------------------------------------------------------------
// ftpupload, ftpdownload: part of the grammar, deliberately without effect. The FTP upload
// routine is kept for drivers of the future; no element reaches it.

bool CTarvoExchangeXML::DOMElement_driverfile_ftpupload(DOMElement*) { return true; }

bool CTarvoExchangeXML::DOMElement_driverfile_ftpdownload(DOMElement*) { return true; }

bool CTarvoExchangeXML::Process_driverfile_FtpDownload(const CString&, const CString&, const CString&,
                                                       const CString&, const CString&) {
  return true;
}

bool CTarvoExchangeXML::Process_driverfile_FtpUpload(const CString& server, const CString& folder,
                                                     const CString& username, const CString& password,
                                                     const CString& filename) {
  CFtpClient ftp;
  ftp.SetUserName(username);
  ftp.SetPassword(password);
  ftp.SetServer(server);
  ftp.SetStopEvent(GetEventStop());
  Log("- Connessione al server \"" + server + "\" in corso", TMS_INFO);
  if (!ftp.Open()) {
    Log("- Impossibile stabilire una connessione con il server: " + m_strFtpServer, TMS_ERROR);
    Log("- " + ftp.GetLastErrorText(), TMS_ERROR);
    return false;
  }
  Log("- Connesso al server: " + server, TMS_INFO);
  CString remote = folder;
  if (!remote.empty() && remote.back() != '/') remote += '/';
  remote += filename;
  Log("- Trasferimento file " + filename + " in " + remote + " in corso", TMS_INFO);
  if (!ftp.PutFile(filename, remote)) {
    Log("- Trasferimento file " + filename + " fallita", TMS_ERROR);
    Log("- " + ftp.GetLastErrorText(), TMS_ERROR);
    return false;
  }
  Log("- File dati " + filename + " trasferito sul server", TMS_INFO);
  ftp.Close();
  Log("- Disconnesso dal server: " + server, TMS_ERROR);
  return true;
}
