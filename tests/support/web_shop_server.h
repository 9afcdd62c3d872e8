// A web shop on loopback for the transfer tests: a real HTTP server (cpp-httplib) on 127.0.0.1
// and a free port, serving from its own thread until destroyed.
//
// Data files of the driver engine:
// Upload: POST /upload with the multipart fields "datafile", "login", "password", "tarvo".
// Right credentials: status 200 and the text "OK: file <name> ricevuto"; wrong ones: status 200
// and "ERRORE: credenziali non valide" without storing anything; no "datafile": status 400.
// FailUploadsWith makes every upload answer with that status instead.
// Download: GET /files/<name>?login=..&password=..&tarvo=yes serves a stored file (uploaded or
// put) with its content type; wrong credentials give a text/plain refusal with status 200, an
// unknown file a text/html page with status 404.
//
// Photos (the shop's photo application at kPhotoPath, kept in a folder of its own, PhotoDir()):
//   GET  kPhotoPath?login=..&password=..&tarvo=yes&oper=list      the list, text/xml:
//        <files><file name=".." mtime="YYYY-MM-DD hh:mm:ss" size=".." md5="lower-case hex"/>...</files>
//   GET  kPhotoPath?login=..&password=..&tarvo=yes&oper=download&file=<name>   the photo
//   POST kPhotoPath multipart "imgfile" (the photo, stored under its base name), "oper"=upload,
//        "login", "password", "tarvo"=yes; answers "OK: foto <name> ricevuta" as text/plain.
// Every refusal (credentials, unknown operation or photo, a name with a folder in it) is a
// text/plain message with status 200, as the shop reports errors. Faults for the error paths:
// another list reply, a status for every photo request, a photo served slowly or cut short.
#pragma once

#include <httplib.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tarvo::test {

class WebShopServer {
 public:
  static constexpr const char* kPhotoPath = "/catalogo/foto.php";

  struct Upload {
    std::vector<std::string> fieldOrder;           // field names in the order they came
    std::map<std::string, std::string> fields;     // text fields, and the file field = the content
    std::string fileName;                          // the file name sent with the file field
    bool expectHeader = false;                     // whether an "Expect" header was sent
    std::string userAgent;
  };
  struct StoredFile {
    std::string bytes;
    std::string contentType;
  };

  // `photoDir`: the folder the photos live in; empty: a folder of the server's own, removed with it.
  WebShopServer(std::string login = "agente", std::string password = "segreta", std::string photoDir = "");
  ~WebShopServer();

  std::string Url() const;  // "http://127.0.0.1:<port>"
  int Port() const { return port_; }

  void FailUploadsWith(int status);
  // The reply to the next uploads comes as `lines` lines, `pauseMs` apart; `afterFirst` runs on
  // the server thread once the first line is out.
  void SlowUploadReply(int lines, int pauseMs, std::function<void()> afterFirst);
  void PutFile(const std::string& name, const std::string& bytes, const std::string& contentType,
               int status = 200);

  std::vector<Upload> Uploads() const;
  bool HasFile(const std::string& name) const;
  std::string File(const std::string& name) const;
  // The request target ("path?query", as sent) of every GET received, and the user agent of the last one.
  std::vector<std::string> Requests() const;
  std::string LastUserAgent() const;

  // --- photos ---
  const std::string& PhotoDir() const { return photoDir_; }
  // Names of the photos received by upload and served by download, in order.
  std::vector<std::string> PhotoUploads() const;
  std::vector<std::string> PhotoDownloads() const;
  void ClearPhotoLog();
  // The list request is answered with `body` of `contentType` instead of the real list.
  void SetListReply(const std::string& body, const std::string& contentType);
  // Every list, download and upload request of the photo application gets `status` and a
  // text/html page (0: normal service again).
  void FailPhotoRequestsWith(int status);
  // The photo `name` is sent in `chunks` pieces `pauseMs` apart; `afterFirst` runs once the first
  // piece is out.
  void SlowPhoto(const std::string& name, int chunks, int pauseMs, std::function<void()> afterFirst = {});
  // The photo `name` is announced whole but the connection closes after half of it.
  void CutPhoto(const std::string& name);

 private:
  void HandleUpload(const httplib::Request& req, httplib::Response& res, const httplib::ContentReader& reader);
  void HandleDownload(const httplib::Request& req, httplib::Response& res);
  void HandlePhotoGet(const httplib::Request& req, httplib::Response& res);
  void HandlePhotoPost(const httplib::Request& req, httplib::Response& res, const httplib::ContentReader& reader);
  std::string PhotoList();  // with mutex_ held
  std::string Digest(const std::string& name);  // with mutex_ held

  std::string login_, password_;
  std::string photoDir_;
  bool ownPhotoDir_ = false;
  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
  mutable std::mutex mutex_;
  int failStatus_ = 0;
  int slowLines_ = 0, slowPauseMs_ = 0;
  std::function<void()> slowAfterFirst_;
  std::vector<Upload> uploads_;
  std::map<std::string, StoredFile> files_;
  std::map<std::string, int> statuses_;
  std::vector<std::string> requests_;
  std::string lastAgent_;
  // photos
  std::vector<std::string> photoUploads_, photoDownloads_;
  std::string listBody_, listType_;
  int photoFailStatus_ = 0;
  struct SlowReply {
    int chunks = 0, pauseMs = 0;
    std::function<void()> afterFirst;
  };
  std::map<std::string, SlowReply> slowPhotos_;
  std::map<std::string, bool> cutPhotos_;
  struct CachedDigest {
    long long size = -1;
    long long mtimeNs = 0;
    std::string md5;
  };
  std::map<std::string, CachedDigest> digests_;
};

}  // namespace tarvo::test
