// CTarvoHttpDownload (procedure 5): brings the output folder up to date from the web shop. It
// fetches the server's list into "list.xml" in the output folder, compares every listed file with
// the local copy by MD5 fingerprint, and downloads the files that are missing or differ. Time
// and size are only reported; local files the server does not list are left alone.
//
// A list entry of a file that exists locally must carry md5, mtime and size: an incomplete one
// ends the run abnormally (tarvo::CException of kind kInput leaves Run), as the shop's protocol
// requires all three.
//
// Created by the factory and owned by the host; Run executes once on the host's worker thread and
// stops, on request, between list elements, comparisons and files.
#pragma once

#include <map>

#include "publishing/http_photo_transfer.h"

class CTarvoHttpDownload : public CTarvoHttpPhotoTransfer {
 public:
  CTarvoHttpDownload() = default;
  // 1 when every step ran (single failed downloads included), 0 on failure or stop.
  int Run() override;

  // Adds every listed file to the download set (name as listed -> "md5|mtime|size"); false when
  // the list cannot be read or on a stop.
  bool ReadHttpFilesList(CString listPath);
  // Keeps in the download set only the files that are missing locally or differ; false on a
  // stop. Throws tarvo::CException (kInput) for an incomplete entry of an existing file.
  bool MakeDownloadFileList();

  const std::map<CString, CString>& GetDownloadSet() const { return m_mapDownload; }

 private:
  std::map<CString, CString> m_mapDownload;
};
