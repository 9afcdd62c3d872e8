// An FTP session over libcurl: log in once, then send, fetch, list and delete files on the same
// connection. Operations return false on failure and leave the reason in GetLastErrorText()
// (passwords masked). Time-outs and the stop event work as for the HTTP client (http_client.h).
// One object serves one thread; it owns its connection and closes it when destroyed.
//
// The server may carry a port ("host:2121"). Remote paths are relative to the login folder unless
// they start with "/"; "\" is accepted as a separator.
#pragma once

#include <ctime>
#include <memory>
#include <vector>

#include "platform/text.h"

class CEvent;

// One entry of a remote folder listing.
struct CFtpFileInfo {
  CString name;
  bool isDirectory = false;
  long long size = 0;
  std::time_t modified = 0;  // last write time, seconds since the epoch (UTC)
};

class CFtpClient {
 public:
  CFtpClient();
  ~CFtpClient();
  CFtpClient(const CFtpClient&) = delete;
  CFtpClient& operator=(const CFtpClient&) = delete;

  void SetUserName(const CString& user) { user_ = user; }
  void SetPassword(const CString& password) { password_ = password; }
  void SetServer(const CString& server) { server_ = server; }
  // Passive mode is the default; active mode lets the server connect back to us.
  void SetPassive(bool passive) { passive_ = passive; }
  // Connect and stall time-outs in seconds (0 = the process defaults of http_client.h).
  void SetTimeouts(long connectSeconds, long transferSeconds);
  // The stop event (owned by the caller, may be null) that ends a running command.
  void SetStopEvent(const CEvent* stop) { stop_ = stop; }
  const CString& GetServer() const { return server_; }

  // Connects and logs in.
  bool Open();
  // Sends a local file (binary) to the remote path, replacing it.
  bool PutFile(const CString& localPath, const CString& remotePath);
  // Fetches a remote file (binary) into the local path, replacing it.
  bool GetFile(const CString& remotePath, const CString& localPath);
  // Lists a remote folder ("" = the login folder), without "." and "..". Uses the
  // machine-readable listing (MLSD), so sizes and times do not depend on the server's locale.
  bool ListFolder(const CString& remoteFolder, std::vector<CFtpFileInfo>& entries);
  bool DeleteFile(const CString& remotePath);
  void Close();
  bool IsOpen() const { return open_; }
  const CString& GetLastErrorText() const { return lastError_; }

 private:
  struct Impl;
  bool Fail(const CString& text);
  void Prepare();
  bool Transfer();
  CString UrlFor(const CString& remotePath, bool folder) const;

  std::unique_ptr<Impl> impl_;
  CString user_, password_, server_;
  bool passive_ = true;
  long connectTimeout_ = 0, transferTimeout_ = 0;
  bool open_ = false;
  const CEvent* stop_ = nullptr;
  CString lastError_;
};
