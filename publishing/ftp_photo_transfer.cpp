#include "publishing/ftp_photo_transfer.h"

#include <sys/stat.h>
#include <utime.h>

#include <filesystem>

#include "partners/solvar/solvar_files.h"
#include "platform/errors.h"
#include "platform/files.h"
#include "platform/host_ui.h"

namespace tarvo::publishing {

const CFetchWording kFtpDownloadWording = {true, true, " - Download file foto interrotto dall'utente",
                                           "Si è verificato un errore durante il download", false, false};
const CFetchWording kPellorWording = {false, false, " - Download file foto INTERROTTO dall'utente", "", true, true};

CFtpPhotoSession::CFtpPhotoSession(CTarvoImport& procedure, EDirection direction)
    : procedure_(procedure), direction_(direction) {}

bool CFtpPhotoSession::Connect() {
  CString passive;
  bool passiveMode = (procedure_.GetFilterParam("ftp_passive", passive) && Trim(passive) == "1");
  passive.clear();
  if (procedure_.CheckExchangeParam("FTPPASSIVE=", passive) && Trim(passive) == "1") passiveMode = true;
  const long factor = direction_ == EDirection::kUpload ? 2 : 1;
  client_.SetServer(procedure_.GetFtpServer());
  client_.SetUserName(procedure_.GetFtpUID());
  client_.SetPassword(procedure_.GetFtpPWD());
  client_.SetPassive(passiveMode);
  client_.SetTimeouts(kConnectTimeout * factor, kStallTimeout * factor);
  procedure_.Log("Connessione al server \"" + procedure_.GetFtpServer() + "\" in corso", TMS_NONE);
  if (!client_.Open()) {
    CString text = "ERRORE connessione: " + client_.GetLastErrorText();
    procedure_.Log(text, TMS_NONE);
    if (direction_ == EDirection::kUpload && procedure_.IsVerbose()) AfxMessageBox(text, MB_ICONERROR);
    return false;
  }
  procedure_.Log("Connesso al server: " + procedure_.GetFtpServer(), TMS_NONE);
  return true;
}

void CFtpPhotoSession::Disconnect() {
  client_.Close();
  procedure_.Log("Disconnesso dal server: " + procedure_.GetFtpServer(), TMS_NONE);
}

CString RemoteFolder(const CString& folder) {
  CString remote = folder;
  ReplaceAll(remote, "\\", "/");
  return remote.empty() ? CString("/") : remote;
}

CString RemotePath(const CString& folder, const CString& name) {
  CString remote = RemoteFolder(folder);
  return remote.back() == '/' ? remote + name : remote + "/" + name;
}

CString LocalPath(const CString& folder, const CString& name) {
  if (folder.empty()) return name;
  char last = folder.back();
  return last == '\\' || last == '/' ? folder + name : folder + "\\" + name;
}

bool ListLocalFiles(CTarvoImport& procedure, const CString& folder, bool skipHidden, std::vector<CLocalPhoto>& files,
                    CString& error) {
  files.clear();
  error.clear();
  std::error_code ec;
  std::filesystem::directory_iterator it(NativePath(folder.empty() ? CString(".") : folder), ec), end;
  if (ec) {
    error = "impossibile leggere la cartella " + folder + ": " + SystemErrorText(ec.value());
    return false;
  }
  for (; !ec && it != end; it.increment(ec)) {
    if (procedure.CtrlEventStop()) return false;
    CString name = it->path().filename().string();
    if (name == "." || name == ".." || (skipHidden && name[0] == '.')) continue;
    struct stat st {};
    if (::stat(it->path().c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
    files.push_back({name, st.st_mtime, static_cast<long long>(st.st_size)});
  }
  return true;
}

bool ListRemoteFiles(CTarvoImport& procedure, CFtpClient& client, const CString& folder,
                     std::vector<CFtpFileInfo>& files, bool& stopped, CString& error) {
  stopped = false;
  std::vector<CFtpFileInfo> entries;
  if (!client.ListFolder(RemoteFolder(folder), entries)) {
    error = client.GetLastErrorText();
    files.clear();
    return false;
  }
  files.clear();
  for (CFtpFileInfo& entry : entries) {
    if (procedure.CtrlEventStop()) {
      stopped = true;
      return false;
    }
    if (!entry.isDirectory) files.push_back(std::move(entry));
  }
  return true;
}

void MakeWritable(const CString& path) {
  CString native = NativePath(path);
  struct stat st {};
  if (::stat(native.c_str(), &st) == 0) ::chmod(native.c_str(), st.st_mode | S_IWUSR);
}

void DeleteLocalFile(const CString& path) {
  MakeWritable(path);
  std::remove(NativePath(path).c_str());
}

void StampFile(const CString& path, std::time_t modified) {
  struct utimbuf times {};
  times.actime = modified;
  times.modtime = modified;
  ::utime(NativePath(path).c_str(), &times);
}

bool ReportFailure(CTarvoImport& procedure, const CString& failureLine, const CString& reason,
                   const CString& question) {
  procedure.Log(failureLine, TMS_NONE);
  procedure.Log("ERRORE: " + reason, TMS_NONE);
  return !procedure.IsVerbose() || AfxAskYesNo(question, true);
}

EFetchEnd FetchPhotos(CTarvoImport& procedure, CFtpClient& client, const CString& remoteFolder,
                      const CString& localFolder, const std::map<CString, std::time_t>& photos,
                      const CFetchWording& wording) {
  const std::time_t started = std::time(nullptr);
  const long total = static_cast<long>(photos.size());
  procedure.Log(photos.empty() ? CString(" - Nessuna foto articolo da scaricare.")
                               : StrFormat(" - %ld foto articolo da scaricare.", total),
                TMS_NONE);
  long fetched = 0;
  EFetchEnd end = EFetchEnd::kDone;
  for (const auto& [name, modified] : photos) {
    if (procedure.CtrlEventStop()) {
      end = EFetchEnd::kStopped;
      break;
    }
    const CString local = LocalPath(localFolder, name);
    procedure.Log(" - Download file foto " + name + " in corso", TMS_NONE);
    MakeWritable(local);
    if (client.GetFile(RemotePath(remoteFolder, name), local)) {
      StampFile(local, modified);
      if (wording.logSuccess) procedure.Log(" - Download file foto " + name + " OK", TMS_NONE);
      ++fetched;
      continue;
    }
    CString reason = client.GetLastErrorText().empty() ? CString("sconosciuto!") : client.GetLastErrorText();
    const CString first = W("Si è verificato un errore durante il download.");
    CString question = wording.questionTextFirst
                           ? "ERRORE: " + reason + "\n" + first + "\n\nContinuare con il file successivo?"
                           : first + "\n\n" + reason + "\n\nContinuare con il file successivo?";
    CString failure = " - Download file foto " + name + " ERRORE!" + (wording.bellAfterError ? "\a" : "");
    if (!ReportFailure(procedure, failure, reason, question)) {
      procedure.Log(wording.interrupted, TMS_NONE);
      end = EFetchEnd::kAnsweredNo;
      break;
    }
    if (!procedure.IsVerbose() && *wording.batchError) procedure.Log(W(wording.batchError), TMS_NONE);
  }
  CString summary = StrFormat("scaricati %ld di %ld file", fetched, total);
  if (wording.elapsedInSummary)
    summary += " in " + solvar::FormatElapsed(static_cast<long long>(std::time(nullptr) - started));
  procedure.Log(" - Download file foto terminato: " + summary, TMS_NONE);
  return end;
}

}  // namespace tarvo::publishing
