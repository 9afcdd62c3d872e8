// CTarvoFtpDownload: brings the local photo folder InDir up to date from the FTP server
// (FtpServer, FtpUID, FtpPWD, FtpFolder): fetches the server files that are newer than the local
// copy or missing, stamps them with the server's time, and deletes local files that the server no
// longer holds. It has no procedure number: the host constructs it by class. Owned by the host;
// Run executes once on the worker thread and polls the stop event per file.
#pragma once

#include "framework/tarvo_import.h"

class CTarvoFtpDownload : public CTarvoImport {
 public:
  // 1 when the run reached its end (single files may have failed), 0 when the connection failed
  // or the run was stopped.
  int Run() override;
};
