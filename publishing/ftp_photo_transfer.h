// The FTP machinery of the photo procedures (CTarvoFtpUpload, CTarvoFtpDownload and the Pellor
// article import): the session with its log lines, folder listings on both sides, and the one
// loop that fetches a list of photos and stamps them with the server's times.
//
// Times are compared as seconds since the epoch (UTC): the server's listing is turned into UTC by
// CFtpClient (MLSD, or LIST with MDTM), local files carry UTC times, so the process's time zone
// plays no part. A CFtpPhotoSession belongs to the procedure that runs it, on its worker thread.
#pragma once

#include <ctime>
#include <map>
#include <vector>

#include "framework/tarvo_import.h"
#include "platform/ftp_client.h"

namespace tarvo::publishing {

// Session time-outs in seconds: connecting, and a transfer that moves no byte for this long.
// The upload doubles both.
inline constexpr long kConnectTimeout = 30;
inline constexpr long kStallTimeout = 60;

// A photo of the local folder.
struct CLocalPhoto {
  CString name;  // file name with extension
  std::time_t modified = 0;
  long long size = 0;
};

class CFtpPhotoSession {
 public:
  enum class EDirection { kUpload, kDownload };
  CFtpPhotoSession(CTarvoImport& procedure, EDirection direction);
  // Connects to the procedure's FtpServer with FtpUID and FtpPWD in active mode, unless the
  // filter parameter "ftp_passive" or the exchange parameter "FTPPASSIVE=" is "1" (passive mode,
  // for servers behind NAT). Logs the connection lines; on failure logs "ERRORE connessione: "
  // with the server's reason and returns false (the caller ends the run).
  bool Connect();
  // Closes the connection and logs "Disconnesso dal server: " + server.
  void Disconnect();
  CFtpClient& Client() { return client_; }

 private:
  CTarvoImport& procedure_;
  EDirection direction_;
  CFtpClient client_;
};

// FtpFolder as the server wants it: "\" turned into "/", empty meaning "/".
CString RemoteFolder(const CString& folder);
// folder + "/" + name, without doubling a "/" at the end of the folder.
CString RemotePath(const CString& folder, const CString& name);
// folder + "\" + name, without doubling a separator at the end of the folder.
CString LocalPath(const CString& folder, const CString& name);

// Files of a local folder, one level, without folders (and without hidden files when
// `skipHidden`). Tests the stop event before each entry. False when stopped (`error` empty) or
// when the folder cannot be read (`error` says why): a mirror must not take a missing folder for
// an empty one.
bool ListLocalFiles(CTarvoImport& procedure, const CString& folder, bool skipHidden, std::vector<CLocalPhoto>& files,
                    CString& error);
// Files of a remote folder (folders left out), stop test before each entry. False when stopped
// (`stopped` set) or when the listing failed (`error` holds the reason).
bool ListRemoteFiles(CTarvoImport& procedure, CFtpClient& client, const CString& folder,
                     std::vector<CFtpFileInfo>& files, bool& stopped, CString& error);

// Makes a local file writable, if it exists, so that it can be replaced.
void MakeWritable(const CString& path);
// Makes a local file writable (so that it can be replaced or deleted) and deletes it.
void DeleteLocalFile(const CString& path);
// Sets a local file's modification time.
void StampFile(const CString& path, std::time_t modified);

// The words that tell the two photo downloads apart.
struct CFetchWording {
  bool bellAfterError;          // " ERRORE!" followed by BEL
  bool questionTextFirst;       // the error text before the question, else after its first line
  const char* interrupted;      // logged when the user answers No
  const char* batchError;       // logged after a failure without questions ("" for none)
  bool logSuccess;              // " - Download file foto <name> OK"
  bool elapsedInSummary;        // the summary ends with " in %Hh:%Mm:%Ss"
};
extern const CFetchWording kFtpDownloadWording;
extern const CFetchWording kPellorWording;

enum class EFetchEnd { kDone, kAnsweredNo, kStopped };

// Fetches `photos` (name -> the server time to stamp it with) from `remoteFolder` into
// `localFolder`, logging the count, each file and the summary. A failed file is reported and,
// unless the user answers No, skipped; nothing is left half-written under a photo's name.
EFetchEnd FetchPhotos(CTarvoImport& procedure, CFtpClient& client, const CString& remoteFolder,
                      const CString& localFolder, const std::map<CString, std::time_t>& photos,
                      const CFetchWording& wording);

// Reports a failed transfer: the failure line, "ERRORE: " + reason, and (Verbose) the Yes/No
// question `question` built around the reason. False when the user answered No.
bool ReportFailure(CTarvoImport& procedure, const CString& failureLine, const CString& reason,
                   const CString& question);

}  // namespace tarvo::publishing
