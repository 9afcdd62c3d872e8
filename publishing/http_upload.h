// CTarvoHttpUpload (procedure 1005): publishes the photos of the input folder on the web shop.
// It fingerprints every picture of the folder (".jpg", ".jpeg", ".gif", ".png", any case), fetches
// the server's list with its MD5 fingerprints into "list.xml" in the output folder, and uploads
// the pictures the server lacks or holds in another version. Files only on the server are left
// alone; a failed upload is logged and the run goes on with the next file.
//
// The fingerprints are computed ahead on worker threads while the run fetches the list and
// sends the files: a file the server lists is compared when the upload loop reaches it, so the
// loop waits only for the fingerprints it needs. Lines, requests and their order are those of a
// run that fingerprints the whole folder first, but for a picture that cannot be read: the run
// ends (tarvo::CFileException) when the loop reaches it, after the uploads before it.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread and
// stops, on request, between files and during an upload's reply.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "publishing/folder_digests.h"
#include "publishing/http_photo_transfer.h"

class CTarvoHttpUpload : public CTarvoHttpPhotoTransfer {
 public:
  CTarvoHttpUpload() = default;
  // 1 when every step ran (single failed uploads included), 0 on failure or stop.
  int Run() override;

  // Fills the upload set from the input folder, fingerprints included; false when stopped.
  // Throws tarvo::CFileException when a picture cannot be read.
  bool MakeLocalFileList();
  // Reads the server's list and removes from the upload set every file the server holds with
  // the same fingerprint (a file whose fingerprint is still being computed is compared when the
  // upload loop reaches it); false when the list cannot be read or on a stop.
  bool ReadHttpFilesList(CString listPath);
  // Sends one local file; true when the transfer completed (the server's reply is only logged).
  bool UploadHttpFile(CString path);

  // Files still to send: lower-cased name -> MD5 text ("" while being computed).
  const std::map<CString, CString>& GetUploadSet() const { return m_mapUpload; }

 private:
  // Lists the pictures of the input folder into the upload set and starts their fingerprints;
  // false when stopped.
  bool StartLocalFileList();
  // Waits for the fingerprint of `name` and records it in the upload set; nullopt on a stop.
  // Throws tarvo::CFileException when the file cannot be read.
  std::optional<CString> LocalDigest(const CString& name);
  // Whether the server holds `name` as it is here (its fingerprint awaited first).
  bool IsOnServer(const CString& name);

  struct CLocalPhoto {
    CString fileName;  // the name in the folder (a case-sensitive file system keeps "Foto.JPG" so)
    size_t digestIndex;
  };
  std::map<CString, CString> m_mapUpload;
  std::map<CString, CLocalPhoto> m_mapLocalNames;
  // Fingerprints the server lists for files whose own was not known yet when the list was read.
  std::map<CString, std::vector<CString>> m_mapListedDigests;
  std::unique_ptr<CFolderDigests> m_pDigests;
};
