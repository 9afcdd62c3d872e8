#include "publishing/http_download.h"

#include <cstdint>
#include <ctime>
#include <vector>

#include "platform/files.h"

using tarvo::StrFormat;

namespace {
// The non-empty fields of "md5|mtime|size", each trimmed.
std::vector<CString> SplitListedValue(const CString& value) {
  std::vector<CString> fields;
  size_t start = 0;
  while (start <= value.size()) {
    size_t end = value.find('|', start);
    if (end == CString::npos) end = value.size();
    CString field = tarvo::Trim(value.substr(start, end - start));
    if (!field.empty()) fields.push_back(field);
    start = end + 1;
  }
  return fields;
}

CString LocalTimeText(std::time_t t) {
  std::tm tm{};
  localtime_r(&t, &tm);
  return StrFormat("%04d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min,
                   tm.tm_sec);
}
}  // namespace

int CTarvoHttpDownload::Run() {
  const CString listPath = ListFilePath();
  if (!FetchHttpFilesList(listPath, [&] { return ReadHttpFilesList(listPath); })) return Finish(false);
  Log(" - Determinazione della lista dei file da aggiornare ... ", TMS_NONE);
  if (!MakeDownloadFileList()) return Finish(false);
  Log(" - Determinazione della lista dei file da aggiornare terminata ", TMS_NONE);
  return Finish(TransferEach(m_mapDownload, "Download", " terminato ",
                             [this](const CString& name) { DownloadHttpFile(name); }));
}

bool CTarvoHttpDownload::ReadHttpFilesList(CString listPath) {
  return ParseHttpFilesList(listPath, [this](const CListedFile& file) {
    m_mapDownload[file.name] = file.md5 + "|" + file.mtime + "|" + file.size;
  });
}

bool CTarvoHttpDownload::MakeDownloadFileList() {
  for (auto it = m_mapDownload.begin(); it != m_mapDownload.end();) {
    if (CtrlEventStop()) return false;
    const CString& name = it->first;
    CString message = "-- File " + name + ":";
    const CString path = m_strOutDir.empty() ? name : m_strOutDir + "\\" + name;
    tarvo::CFileStatus status;
    // A name that cannot be a file of the folder is left to DownloadHttpFile, which refuses it.
    if (!IsPlainFileName(name) || !tarvo::GetFileStatus(path, status)) {
      Log(message + " file da AGGIORNARE (non esiste)!", TMS_NONE);
      ++it;
      continue;
    }
    std::vector<CString> remote = SplitListedValue(it->second);
    if (remote.size() < 3)
      throw tarvo::CException(tarvo::ErrorKind::kInput,
                              "Lista dei file del server incompleta: al file " + name +
                                  " mancano md5, mtime o size");
    const CString remoteDigest = tarvo::ToUpper(remote[0]);
    const CString localDigest = tarvo::ToUpper(DigestFile(path));
    if (localDigest == remoteDigest) {
      Log(message + tarvo::W(" file già aggiornato."), TMS_NONE);
      it = m_mapDownload.erase(it);
      continue;
    }
    const CString localSize = StrFormat("%ld", static_cast<long>(static_cast<std::int32_t>(status.size)));
    message += " file da AGGIORNARE (modificato)!\n";
    message += "--- hash  locale=" + localDigest + " hash  remoto=" + remoteDigest + ".\n";
    message += "--- mtime locale=" + LocalTimeText(status.modified) + " mtime remoto=" + remote[1] + ".\n";
    message += "--- size  locale=" + localSize + " size  remoto=" + remote[2] + ".\n";
    LogEx(message.c_str(), -1, TMS_NONE);
    ++it;
  }
  return true;
}
