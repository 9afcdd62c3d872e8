// A web shop on loopback for the transfer tests: a real HTTP server (cpp-httplib) on 127.0.0.1
// and a free port, serving from its own thread until destroyed.
//
// Upload: POST /upload with the multipart fields "datafile", "login", "password", "tarvo".
// Right credentials: status 200 and the text "OK: file <name> ricevuto"; wrong ones: status 200
// and "ERRORE: credenziali non valide" without storing anything; no "datafile": status 400.
// FailUploadsWith makes every upload answer with that status instead.
// Download: GET /files/<name>?login=..&password=..&tarvo=yes serves a stored file (uploaded or
// put) with its content type; wrong credentials give a text/plain refusal with status 200, an
// unknown file a text/html page with status 404.
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
  struct Upload {
    std::vector<std::string> fieldOrder;           // field names in the order they came
    std::map<std::string, std::string> fields;     // text fields, and "datafile" = the content
    std::string fileName;                          // the file name sent with "datafile"
    bool expectHeader = false;                     // whether an "Expect" header was sent
    std::string userAgent;
  };
  struct StoredFile {
    std::string bytes;
    std::string contentType;
  };

  WebShopServer(std::string login = "agente", std::string password = "segreta");
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

 private:
  void HandleUpload(const httplib::Request& req, httplib::Response& res, const httplib::ContentReader& reader);
  void HandleDownload(const httplib::Request& req, httplib::Response& res);

  std::string login_, password_;
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
};

}  // namespace tarvo::test
