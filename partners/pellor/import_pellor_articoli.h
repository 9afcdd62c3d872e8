// CTarvoImportPellorArticoli (procedure 16): fetches Pellor's article package from the partner's
// FTP server (FtpServer, FtpUID, FtpPWD; remote folder InDir), unpacks "archivi.zip" into the
// local folder OutDir, brings the article photos of OutDir up to date from the photo list
// "fotoinfo.txt" (fetching newer photos, deleting unlisted ones), and then has the combined
// article import (procedure 17) replace the article master from the unpacked files.
//
// Created by the factory and owned by the host; Run executes once on the worker thread and polls
// the stop event before each step, record, local photo and download.
#pragma once

#include <ctime>
#include <map>

#include "framework/tarvo_import.h"

class CFtpClient;

class CTarvoImportPellorArticoli : public CTarvoImport {
 public:
  // The combined import's result; 0 when the user declined the update or the run was stopped
  // or could not connect.
  int Run() override;

 protected:
  // A photo listed in fotoinfo.txt: its time stamp (read as local time) and size.
  struct CFotoInfo {
    std::time_t modified = 0;
    long long size = 0;
  };
  // Reads fotoinfo.txt (in OutDir) into the photo index; false after logging why.
  bool GetFotoInfoFromFile();
  // Downloads the photos left in the index; false when stopped or the user answered No.
  bool DownloadFoto(CFtpClient& ftp);

  std::map<CString, CFotoInfo> m_mapFotoInfo;  // by article code

 private:
  bool DownloadArchive(CFtpClient& ftp, const CString& local);
  bool UnpackArchive(const CString& archive);
  // Compares the local photos with the index: current ones leave the index, unlisted ones are
  // deleted. False when stopped.
  bool IndexLocalPhotos();
};
