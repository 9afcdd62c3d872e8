#include "publishing/ftp_upload.h"

#include <map>

#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/image_helper.h"
#include "publishing/ftp_photo_transfer.h"

using namespace tarvo;
using namespace tarvo::publishing;

namespace {

// The name of a server file without its last extension: "foto.png.jpg" belongs to "foto.png".
CString Title(const CString& name) {
  size_t dot = name.rfind('.');
  return dot == CString::npos ? name : name.substr(0, dot);
}

bool EndsWith(const CString& text, const char* tail) {
  size_t n = std::char_traits<char>::length(tail);
  return text.size() >= n && text.compare(text.size() - n, n, tail) == 0;
}

}  // namespace

int CTarvoFtpUpload::Run() {
  CFtpPhotoSession session(*this, CFtpPhotoSession::EDirection::kUpload);
  if (!session.Connect()) {
    NotifyFinished(0);
    return 0;
  }
  CFtpClient& ftp = session.Client();
  auto stopped = [&] {
    session.Disconnect();
    NotifyFinished(0);
    return 0;
  };

  Log(" - Creazione indice file foto presenti sul computer locale in corso", TMS_NONE);
  std::vector<CLocalPhoto> local;
  CString error;
  if (!ListLocalFiles(*this, m_strInDir, true, local, error)) {
    if (!error.empty()) Log("ERRORE: " + error, TMS_NONE);
    return stopped();
  }
  std::map<CString, std::time_t> index;
  for (const CLocalPhoto& photo : local) index[photo.name] = photo.modified;
  Log(" - Creazione indice file foto presenti sul computer locale terminata", TMS_NONE);

  Log(" - Creazione indice file foto da caricare sul server remoto in corso", TMS_NONE);
  std::vector<CFtpFileInfo> remote;
  bool stop = false;
  if (ListRemoteFiles(*this, ftp, m_strFtpFolder, remote, stop, error)) {
    for (const CFtpFileInfo& file : remote) {
      auto it = index.find(Title(file.name));
      // What a broken upload left behind, and thumbnails of photos that are gone, go.
      if (EndsWith(file.name, ".part") || it == index.end()) {
        ftp.DeleteFile(RemotePath(m_strFtpFolder, file.name));
      } else if (it->second <= file.modified) {
        index.erase(it);
      }
    }
  } else if (stop) {
    return stopped();
  } else {
    Log("ERRORE: " + error, TMS_NONE);
    if (m_bVerbose) AfxMessageBox("ERRORE: " + error, MB_ICONERROR);
    index.clear();
  }
  Log(" - Creazione indice file foto da caricare sul server remoto terminata", TMS_NONE);
  const long total = static_cast<long>(index.size());
  Log(index.empty() ? CString(" - Nessuna foto articolo da caricare.")
                    : StrFormat(" - %ld foto articolo da caricare.", total),
      TMS_NONE);

  long sent = 0;
  int count = 0;
  const CString question = W("\nSi è verificato un errore durante l'upload.\n\nContinuare con il file successivo?");
  for (const auto& entry : index) {
    const CString& name = entry.first;
    if (CtrlEventStop()) return stopped();
    ++count;
    const CString photo = LocalPath(m_strInDir, name);
    const CString thumbnail = photo + ".jpg";
    Log(StrFormat(" - Upload file foto %d - %s  in corso", count, name.c_str()), TMS_NONE);
    CString reason;
    bool ok = CTarvoImageHelper::SaveImageAsJPEGThumbnail(photo, thumbnail, kThumbnailSize, kThumbnailQuality, &reason);
    if (ok) {
      ok = ftp.PutFile(thumbnail, RemotePath(m_strFtpFolder, name + ".jpg"));
      if (!ok) reason = ftp.GetLastErrorText();
      DeleteLocalFile(thumbnail);
    }
    if (ok) {
      Log(StrFormat(" - Upload file foto %d - %s  OK", count, name.c_str()), TMS_NONE);
      ++sent;
      continue;
    }
    if (!ReportFailure(*this, " - Upload file foto " + name + " ERRORE!\a", reason, "ERRORE: " + reason + question)) {
      Log(" - Upload file foto interrotto dall'utente", TMS_NONE);
      break;
    }
  }
  Log(" - Upload file foto terminato: " + StrFormat("caricati %ld di %ld file", sent, total), TMS_NONE);
  session.Disconnect();
  NotifyFinished(1);
  return 1;
}
