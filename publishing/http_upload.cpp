#include "publishing/http_upload.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/files.h"
#include "platform/http_client.h"

namespace {
bool IsPicture(const CString& lowerName) {
  size_t dot = lowerName.rfind('.');
  CString extension = dot == CString::npos ? CString() : lowerName.substr(dot + 1);
  return extension == "jpg" || extension == "jpeg" || extension == "gif" || extension == "png";
}
}  // namespace

int CTarvoHttpUpload::Run() {
  const CString listPath = ListFilePath();
  Log(" - Creazione indice file foto presenti sul computer locale in corso ... ", TMS_NONE);
  if (!MakeLocalFileList()) return Finish(false);
  Log(" - Creazione indice file foto presenti sul computer locale terminata", TMS_NONE);
  if (!FetchHttpFilesList(listPath, [&] { return ReadHttpFilesList(listPath); })) return Finish(false);
  // The comparison happened while the list was read; the two lines keep the user informed.
  Log(" - Determinazione della lista dei file da aggiornare ... ", TMS_NONE);
  Log(" - Determinazione della lista dei file da aggiornare terminata ", TMS_NONE);
  return Finish(TransferEach(m_mapUpload, "Upload", " terminato", [this](const CString& name) {
    UploadHttpFile(m_strInDir + "\\" + m_mapLocalNames[name]);
  }));
}

bool CTarvoHttpUpload::MakeLocalFileList() {
  m_mapUpload.clear();
  m_mapLocalNames.clear();
  std::vector<CString> keys, paths;
  for (const tarvo::CFolderEntry& entry : tarvo::ListFolder(m_strInDir)) {
    if (CtrlEventStop()) return false;
    if (entry.isHidden || entry.isDirectory || entry.name == "." || entry.name == "..") continue;
    CString name = tarvo::ToLower(entry.name);
    if (!IsPicture(name)) continue;
    m_mapLocalNames[name] = entry.name;
    keys.push_back(name);
    paths.push_back(tarvo::JoinPath(m_strInDir, entry.name));
  }
  // The fingerprints are the bulk of the work (every photo is read whole): spread them over the
  // processors. Each worker takes the next file; a stop request ends them between files.
  std::vector<CString> digests(keys.size());
  std::atomic<size_t> next{0};
  std::atomic<bool> stopped{false};
  std::exception_ptr failure;
  std::mutex failureLock;
  auto work = [&] {
    for (size_t i; !stopped && (i = next++) < keys.size();) {
      if (m_pEventStop && m_pEventStop->IsSet()) {
        stopped = true;
        break;
      }
      try {
        digests[i] = DigestFile(paths[i]);
      } catch (...) {
        std::lock_guard<std::mutex> hold(failureLock);
        if (!failure) failure = std::current_exception();
        stopped = true;
      }
    }
  };
  std::vector<std::thread> workers;
  unsigned count = std::min<unsigned>(std::max(2u, std::thread::hardware_concurrency()), 8u);
  for (unsigned w = 1; w < count && w < keys.size(); ++w) workers.emplace_back(work);
  work();
  for (std::thread& t : workers) t.join();
  if (failure) std::rethrow_exception(failure);  // as an unreadable file always ended the run
  if (stopped) {
    CtrlEventStop();  // logs the interruption
    return false;
  }
  for (size_t i = 0; i < keys.size(); ++i) m_mapUpload[keys[i]] = digests[i];
  return true;
}

bool CTarvoHttpUpload::ReadHttpFilesList(CString listPath) {
  return ParseHttpFilesList(listPath, [this](const CListedFile& file) {
    auto it = m_mapUpload.find(tarvo::ToLower(file.name));
    if (it != m_mapUpload.end() && tarvo::ToUpper(it->second) == tarvo::ToUpper(file.md5)) m_mapUpload.erase(it);
  });
}

bool CTarvoHttpUpload::UploadHttpFile(CString path) {
  Log("- Trasferimento file " + path + " via HTTP in corso ...", TMS_NONE);
  Log("- Controllo parametri di connessione ...", TMS_NONE);
  // The server is tested twice, as it always was: an empty one gives the line twice.
  bool complete = true;
  for (int check = 0; check < 2; ++check) {
    if (m_strHttpServer.empty()) {
      Log("- Parametri HTTP: server non specificato", TMS_NONE);
      complete = false;
    }
  }
  if (!complete) {
    Log("- Impossibile effettuare il trasferimento senza tutti i parametri richiesti", TMS_NONE);
    return false;
  }

  std::unique_ptr<tarvo::CHttpClient> http = tarvo::CHttpClient::Create();
  if (!http) return true;  // no handle, no transfer, no message: kept as it always behaved
  bool done = true;
  try {
    http->SetHeaders({"Expect:"});  // no 100-continue round trip before each photo
    http->SetUrl(m_strHttpServer + m_strHttpURL);
    http->SetMultipartForm({{"imgfile", path, true},
                            {"oper", "upload", false},
                            {"login", m_strHttpUID, false},
                            {"password", m_strHttpPWD, false},
                            {"tarvo", "yes", false}});
    http->SetUserAgent(kUserAgent);
    http->SetWriteFunction(ResponseCallback, this);  // the reply goes to the log; a stop aborts it
    http->SetProgressFunction(ProgressCallback, this);
    http->SetStopEvent(m_pEventStop);  // also while the photo is still going out
    http->Perform();
  } catch (const tarvo::CNetException& e) {
    Log("- " + Masked(e.GetErrorMessage()), TMS_NONE);
    Log("- Trasferimento interrotto", TMS_NONE);
    done = false;
  }
  http.reset();
  if (!done) {
    Log("- Trasferimento file " + path + " fallito!", TMS_NONE);
    return false;
  }
  Log("- Trasferimento file " + path + " completato", TMS_NONE);
  return true;
}
