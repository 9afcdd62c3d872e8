#include "partners/pellor/import_pellor_articoli.h"


#include "partners/pellor/import_solvar_pellor_articoli.h"
#include "partners/pellor/pellor_files.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/zip_archive.h"
#include "publishing/ftp_photo_transfer.h"

using namespace tarvo;
using namespace tarvo::pellor;
using namespace tarvo::publishing;

namespace {

// "YYYYMMDDhhmmss" as a local time.
std::time_t LocalTimeStamp(const CString& text) {
  std::tm tm{};
  tm.tm_isdst = -1;
  tm.tm_year = std::atoi(text.substr(0, 4).c_str()) - 1900;
  tm.tm_mon = std::atoi(text.substr(4, 2).c_str()) - 1;
  tm.tm_mday = std::atoi(text.substr(6, 2).c_str());
  tm.tm_hour = std::atoi(text.substr(8, 2).c_str());
  tm.tm_min = std::atoi(text.substr(10, 2).c_str());
  tm.tm_sec = std::atoi(text.substr(12, 2).c_str());
  return std::mktime(&tm);
}

// A field of a photo list record as it stands.
CString FotoText(const partner::CFixedWidthLine& line, const char* name) {
  const partner::CFieldSpec& f = partner::FieldOf(FotoInfoLayout(), name);
  return line.Raw(f.offset, f.width);
}

CString ErrorText(const CString& reason) { return reason.empty() ? CString("sconosciuto!") : TrimRight(reason); }

}  // namespace

bool CTarvoImportPellorArticoli::DownloadArchive(CFtpClient& ftp, const CString& local) {
  const CString name = kArchive;
  Log(" - Download file " + name + " in corso", TMS_NONE);
  MakeWritable(local);
  if (ftp.GetFile(RemotePath(m_strInDir, name), local)) {
    Log(" - Download file " + name + " OK", TMS_NONE);
    return true;
  }
  CString text = ErrorText(ftp.GetLastErrorText());
  Log(" - Download file " + name + " ERRORE!", TMS_NONE);
  Log("ERRORE: " + text, TMS_NONE);
  if (m_bVerbose) AfxMessageBox(W("Si è verificato un errore durante il download.\n\n") + text, MB_ICONERROR);
  return false;
}

bool CTarvoImportPellorArticoli::UnpackArchive(const CString& archive) {
  Log(" - Estrazione archivi da " + archive + " in corso", TMS_NONE);
  CUnzipper zip;
  bool ok = zip.OpenZip(archive) && zip.Unzip(m_strOutDir, true);
  if (!ok) {
    for (const CString& error : zip.GetErrors()) Log("ERRORE: " + error, TMS_NONE);
    if (zip.GetErrors().empty()) Log("ERRORE: " + ErrorText(zip.GetLastErrorText()), TMS_NONE);
    Log(" - Estrazione archivi da " + archive + " ERRORE!", TMS_NONE);
    if (m_bVerbose) AfxMessageBox("Errore durante l'estrazione degli archivi da " + archive, MB_ICONERROR);
    return false;
  }
  Log(" - Estrazione archivi da " + archive + " OK", TMS_NONE);
  return true;
}

bool CTarvoImportPellorArticoli::GetFotoInfoFromFile() {
  const CString path = LocalPath(m_strOutDir, kFileFotoInfo);
  Log(" - Lettura del file info foto " + path + " in corso", TMS_NONE);
  m_mapFotoInfo.clear();
  try {
    partner::CFixedLengthReader file(path, kFotoInfoRecord);
    partner::CFixedWidthLine record("");
    while (true) {
      if (CtrlEventStop()) {
        Log(" - Lettura del file info foto " + path + " INTERROTTA dall'utente", TMS_NONE);
        return false;
      }
      if (!file.Next(record)) break;
      partner::CFixedWidthLine line(TrimRight(record.Line()));
      CFotoInfo info;
      info.modified = LocalTimeStamp(FotoText(line, "data"));
      info.size = std::atoll(FotoText(line, "dimensione").c_str());
      m_mapFotoInfo[FotoText(line, "codice")] = info;
    }
  } catch (const CFileException& e) {
    Log("ERRORE file: " + e.GetErrorMessage(), TMS_NONE);
    Log("Errore durante la lettura del file info foto", TMS_NONE);
    return false;
  }
  Log(" - Lettura del file info foto " + path + " OK", TMS_NONE);
  return true;
}

bool CTarvoImportPellorArticoli::IndexLocalPhotos() {
  Log(" - Creazione indice delle foto in corso", TMS_NONE);
  std::vector<CLocalPhoto> files;
  CString error;
  if (!ListLocalFiles(*this, m_strOutDir, false, files, error)) {
    Log(error.empty() ? CString(" - Creazione indice delle foto INTERROTTA dall'utente") : "ERRORE: " + error, TMS_NONE);
    return false;
  }
  for (const CLocalPhoto& photo : files) {
    if (photo.name.size() < 4 || !EqualsNoCase(photo.name.substr(photo.name.size() - 4), ".jpg")) continue;
    auto it = m_mapFotoInfo.find(photo.name.substr(0, photo.name.size() - 4));
    if (it == m_mapFotoInfo.end()) {
      DeleteLocalFile(LocalPath(m_strOutDir, photo.name));
    } else if (!(it->second.modified > photo.modified && it->second.size != photo.size)) {
      // A newer time with the same size counts as current.
      m_mapFotoInfo.erase(it);
    }
  }
  Log(" - Creazione indice delle foto OK", TMS_NONE);
  return true;
}

bool CTarvoImportPellorArticoli::DownloadFoto(CFtpClient& ftp) {
  std::map<CString, std::time_t> photos;
  for (const auto& [code, info] : m_mapFotoInfo) photos[code + ".jpg"] = info.modified;
  EFetchEnd end = FetchPhotos(*this, ftp, m_strInDir, m_strOutDir, photos, kPellorWording);
  return end == EFetchEnd::kDone;
}

int CTarvoImportPellorArticoli::Run() {
  CFtpPhotoSession session(*this, CFtpPhotoSession::EDirection::kDownload);
  if (!session.Connect()) {
    NotifyFinished(0);
    return 0;
  }
  auto stopped = [&] {
    session.Disconnect();
    NotifyFinished(0);
    return 0;
  };
  if (CtrlEventStop()) return stopped();
  const CString archive = LocalPath(m_strOutDir, kArchive);
  bool ok = DownloadArchive(session.Client(), archive);
  if (ok) {
    if (CtrlEventStop()) return stopped();
    ok = UnpackArchive(archive) && GetFotoInfoFromFile();
    if (ok && CtrlEventStop()) return stopped();
  }
  if (ok) {
    if (!IndexLocalPhotos()) return stopped();
    Log(" - Download delle foto in corso", TMS_NONE);
    ok = DownloadFoto(session.Client());
    if (ok) Log(" - Download delle foto OK", TMS_NONE);
  }
  session.Disconnect();
  if (m_pEventStop && m_pEventStop->IsSet()) {
    NotifyFinished(0);
    return 0;
  }

  if (!ok) {
    Log("Alcune operazioni potrebbero non essere state eseguite correttamente!", TMS_NONE);
    if (m_bVerbose) AfxMessageBox("Alcune operazioni potrebbero non essere state eseguite correttamente!");
  }
  int result = 0;
  if (!m_bVerbose || AfxAskYesNo("Si vuole procedere con l'aggiornamento della base dati?", true)) {
    CTarvoImportSolvarPellorArticoli update;
    // The copy works on this procedure's databases for the one call; they stay ours.
    delete update.GetInDatabase();
    delete update.GetOutDatabase();
    static_cast<CTarvoImport&>(update) = *this;
    update.SetVerbose(m_bVerbose);
    update.SetInDir(m_strOutDir);
    result = update.AggiornaDatabase();
    update.SetInDatabase(nullptr);
    update.SetOutDatabase(nullptr);
  }
  NotifyFinished(result);
  return result;
}
