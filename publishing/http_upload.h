// CTarvoHttpUpload (procedure 1005): publishes the photos of the input folder on the web shop.
// It fingerprints every picture of the folder (".jpg", ".jpeg", ".gif", ".png", any case), fetches
// the server's list with its MD5 fingerprints into "list.xml" in the output folder, and uploads
// the pictures the server lacks or holds in another version. Files only on the server are left
// alone; a failed upload is logged and the run goes on with the next file.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread and
// stops, on request, between files and during an upload's reply.
#pragma once

#include <map>

#include "publishing/http_photo_transfer.h"

class CTarvoHttpUpload : public CTarvoHttpPhotoTransfer {
 public:
  CTarvoHttpUpload() = default;
  // 1 when every step ran (single failed uploads included), 0 on failure or stop.
  int Run() override;

  // Fills the upload set from the input folder; false when stopped.
  bool MakeLocalFileList();
  // Reads the server's list and removes from the upload set every file the server holds with
  // the same fingerprint; false when the list cannot be read or on a stop.
  bool ReadHttpFilesList(CString listPath);
  // Sends one local file; true when the transfer completed (the server's reply is only logged).
  bool UploadHttpFile(CString path);

  // Files still to send: lower-cased name -> MD5 text.
  const std::map<CString, CString>& GetUploadSet() const { return m_mapUpload; }

 private:
  std::map<CString, CString> m_mapUpload;
  // The name each key has in the folder (a case-sensitive file system keeps "Foto.JPG" so).
  std::map<CString, CString> m_mapLocalNames;
};
