#include "publishing/http_upload.h"

#include <algorithm>

#include "platform/files.h"
#include "platform/http_client.h"

namespace {
bool IsPicture(const CString& lowerName) {
  size_t dot = lowerName.rfind('.');
  CString extension = dot == CString::npos ? CString() : lowerName.substr(dot + 1);
  return extension == "jpg" || extension == "jpeg" || extension == "gif" || extension == "png";
}

// However a run or scan ends, the fingerprint workers stop with it.
struct StopDigestsOnExit {
  std::unique_ptr<CFolderDigests>& digests;
  ~StopDigestsOnExit() { digests.reset(); }
};
}  // namespace

int CTarvoHttpUpload::Run() {
  const StopDigestsOnExit stopDigests{m_pDigests};
  const CString listPath = ListFilePath();
  Log(" - Creazione indice file foto presenti sul computer locale in corso ... ", TMS_NONE);
  if (!StartLocalFileList()) return Finish(false);
  Log(" - Creazione indice file foto presenti sul computer locale terminata", TMS_NONE);
  if (!FetchHttpFilesList(listPath, [&] { return ReadHttpFilesList(listPath); })) return Finish(false);
  // The comparison happens as the loop reaches each file; the two lines keep the user informed.
  Log(" - Determinazione della lista dei file da aggiornare ... ", TMS_NONE);
  Log(" - Determinazione della lista dei file da aggiornare terminata ", TMS_NONE);
  return Finish(TransferEach(
      m_mapUpload, "Upload", " terminato",
      [this](const CString& name) { UploadHttpFile(m_strInDir + "\\" + m_mapLocalNames[name].fileName); },
      [this](const CString& name) { return IsOnServer(name); }));
}

bool CTarvoHttpUpload::MakeLocalFileList() {
  const StopDigestsOnExit stopDigests{m_pDigests};
  if (!StartLocalFileList()) return false;
  for (const auto& entry : m_mapUpload) {
    if (!LocalDigest(entry.first)) {
      CtrlEventStop();  // logs the interruption
      return false;
    }
  }
  return true;
}

bool CTarvoHttpUpload::StartLocalFileList() {
  m_pDigests.reset();
  m_mapUpload.clear();
  m_mapLocalNames.clear();
  m_mapListedDigests.clear();
  std::map<CString, CString> pictures;  // key -> name in the folder
  for (const tarvo::CFolderEntry& entry : tarvo::ListFolder(m_strInDir)) {
    if (CtrlEventStop()) return false;
    if (entry.isHidden || entry.isDirectory || entry.name == "." || entry.name == "..") continue;
    CString name = tarvo::ToLower(entry.name);
    if (IsPicture(name)) pictures[name] = entry.name;
  }
  // Fingerprinted in the order the upload loop takes them.
  std::vector<CString> paths;
  for (const auto& [key, fileName] : pictures) {
    m_mapLocalNames[key] = {fileName, paths.size()};
    m_mapUpload[key];
    paths.push_back(tarvo::JoinPath(m_strInDir, fileName));
  }
  m_pDigests = std::make_unique<CFolderDigests>(std::move(paths), m_pEventStop);
  return true;
}

std::optional<CString> CTarvoHttpUpload::LocalDigest(const CString& name) {
  CString& digest = m_mapUpload[name];
  if (digest.empty() && m_pDigests) {
    std::optional<CString> computed = m_pDigests->Get(m_mapLocalNames[name].digestIndex);
    if (!computed) return std::nullopt;
    digest = *computed;
  }
  return digest;
}

bool CTarvoHttpUpload::IsOnServer(const CString& name) {
  // Every fingerprint is awaited, listed or not: a picture that cannot be read ends the run.
  std::optional<CString> digest = LocalDigest(name);
  auto listed = m_mapListedDigests.find(name);
  if (!digest || listed == m_mapListedDigests.end()) return false;
  const CString local = tarvo::ToUpper(*digest);
  return std::any_of(listed->second.begin(), listed->second.end(),
                     [&](const CString& md5) { return tarvo::ToUpper(md5) == local; });
}

bool CTarvoHttpUpload::ReadHttpFilesList(CString listPath) {
  m_mapListedDigests.clear();
  return ParseHttpFilesList(listPath, [this](const CListedFile& file) {
    auto it = m_mapUpload.find(tarvo::ToLower(file.name));
    if (it == m_mapUpload.end()) return;
    if (it->second.empty()) m_mapListedDigests[it->first].push_back(file.md5);
    else if (tarvo::ToUpper(it->second) == tarvo::ToUpper(file.md5)) m_mapUpload.erase(it);
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

  tarvo::CHttpClient* http = NextRequest();
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
  if (!done) {
    Log("- Trasferimento file " + path + " fallito!", TMS_NONE);
    return false;
  }
  Log("- Trasferimento file " + path + " completato", TMS_NONE);
  return true;
}
