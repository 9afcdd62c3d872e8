// CTarvoFtpUpload: publishes the photos of the local folder InDir on the FTP server (FtpServer,
// FtpUID, FtpPWD, FtpFolder) as JPEG thumbnails named after the photo ("foto.png" travels as
// "foto.png.jpg"). A photo is sent when it is newer than its thumbnail on the server; server files
// whose photo is gone are deleted. It has no procedure number: the host constructs it by class.
// Owned by the host; Run executes once on the worker thread and polls the stop event per file.
#pragma once

#include "framework/tarvo_import.h"

class CTarvoFtpUpload : public CTarvoImport {
 public:
  // Size and quality of the thumbnails: the longest edge in pixels and the JPEG quality.
  static constexpr int kThumbnailSize = 100;
  static constexpr int kThumbnailQuality = 100;

  // 1 when the run reached its end (single files may have failed), 0 when the connection failed
  // or the run was stopped.
  int Run() override;
};
