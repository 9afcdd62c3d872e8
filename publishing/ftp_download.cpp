#include "publishing/ftp_download.h"

#include <map>

#include "publishing/ftp_photo_transfer.h"

using namespace tarvo;
using namespace tarvo::publishing;

int CTarvoFtpDownload::Run() {
  CFtpPhotoSession session(*this, CFtpPhotoSession::EDirection::kDownload);
  if (!session.Connect()) {
    NotifyFinished(0);
    return 0;
  }
  auto finish = [&](int result) {
    session.Disconnect();
    NotifyFinished(result);
    return result;
  };

  Log(" - Creazione indice file foto presenti sul server in corso", TMS_NONE);
  std::vector<CFtpFileInfo> remote;
  bool stop = false;
  CString error;
  if (!ListRemoteFiles(*this, session.Client(), m_strFtpFolder, remote, stop, error)) {
    // Without the server's list nothing may be deleted here: the run ends.
    if (!stop) Log("ERRORE: " + error, TMS_NONE);
    return finish(0);
  }
  std::map<CString, std::time_t> index;
  for (const CFtpFileInfo& file : remote) index[file.name] = file.modified;
  Log(" - Creazione indice file foto presenti sul server terminata", TMS_NONE);

  Log(" - Creazione indice file foto da scaricare in corso", TMS_NONE);
  std::vector<CLocalPhoto> local;
  if (!ListLocalFiles(*this, m_strInDir, false, local, error)) {
    if (!error.empty()) Log("ERRORE: " + error, TMS_NONE);
    return finish(0);
  }
  for (const CLocalPhoto& photo : local) {
    auto it = index.find(photo.name);
    if (it == index.end()) DeleteLocalFile(LocalPath(m_strInDir, photo.name));
    else if (it->second <= photo.modified) index.erase(it);
  }
  Log(" - Creazione indice file foto da scaricare terminata", TMS_NONE);

  EFetchEnd end = FetchPhotos(*this, session.Client(), m_strFtpFolder, m_strInDir, index, kFtpDownloadWording);
  return finish(end == EFetchEnd::kStopped ? 0 : 1);
}
