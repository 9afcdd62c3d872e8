// CTarvoHttpPhotoTransfer: what the two HTTP photo procedures share, CTarvoHttpUpload (1005) and
// CTarvoHttpDownload (5). Both talk to the web shop's photo application at HttpServer + HttpURL:
//
//   list      GET  ...?login=<uid>&password=<pwd>&tarvo=yes&oper=list           -> "list.xml"
//   download  GET  ...?login=<uid>&password=<pwd>&tarvo=yes&oper=download&file=<name>
//   upload    POST ...  multipart: imgfile (the file), oper=upload, login, password, tarvo=yes
//
// Every request carries the user agent "Tarvo/1.0"; values go into the URL as they stand. A
// reply of type text/plain to a list or download request is the server's error message.
// The list is an XML document whose root holds <file name mtime size md5/> elements.
//
// A received file is written beside its target under a hidden temporary name and renamed onto
// the target only when the whole reply has arrived, so a failed transfer never leaves a partial
// file under the final name. Photo names from the server that are absolute or reach outside the
// output folder are refused.
//
// Like every procedure: configured by the host, Run once on one worker thread, nothing thrown to
// the host except the deliberate abnormal end of CTarvoHttpDownload::MakeDownloadFileList.
#pragma once

#include <functional>
#include <map>
#include <memory>

#include "framework/tarvo_import.h"
#include "platform/http_client.h"

class CTarvoHttpPhotoTransfer : public CTarvoImport {
 public:
  // Fetches the server's file list into `listPath`. True when a list was received; false (its
  // lines logged) when the request failed or the server answered with a message.
  bool DownloadHttpFilesList(CString listPath);
  // Fetches the photo `name`, as the server lists it, into the output folder (the current folder
  // when none is set). True when the file was stored; false (its lines logged) otherwise.
  bool DownloadHttpFile(CString name);

 protected:
  static constexpr const char* kUserAgent = "Tarvo/1.0";

  // One <file> element of the server's list, attributes as they stand ("" when absent).
  struct CListedFile {
    CString name, mtime, size, md5;
  };

  // "list.xml" in the output folder, or in the current folder when none is set.
  CString ListFilePath() const;
  // The list or download request URL: server + URL + the credentials + "&tarvo=yes" + `oper`.
  CString RequestUrl(const CString& oper) const;
  // Parses the list file and hands every <file> element to `take`, in document order. False
  // when the list is not well-formed or valid (the parser's errors logged), on an XML library
  // error ("Errore durante la lettura del driver ...") or when stopped between elements.
  bool ParseHttpFilesList(const CString& listPath, const std::function<void(const CListedFile&)>& take);
  // The list phase of both directions: fetches the list into `listPath` and reads it with
  // `read`, between the phase lines. False when either step failed.
  bool FetchHttpFilesList(const CString& listPath, const std::function<bool()>& read);
  // The transfer phase: `transfer` for every file of `files` in order, between the lines of
  // `verb` ("Upload", "Download"); a failed file does not stop it. A file for which `isCurrent`
  // (when given) holds is dropped from `files` without a line. False on a stop request.
  bool TransferEach(std::map<CString, CString>& files, const CString& verb, const char* doneLineEnd,
                    const std::function<void(const CString& name)>& transfer,
                    const std::function<bool(const CString& name)>& isCurrent = nullptr);
  // Posts the finished notice for `done`, closes the connection to the server and gives the
  // run's result (1 or 0).
  int Finish(bool done);
  // The client for the next request to the server, its settings cleared; every request of a run
  // goes through it, so they share one kept-alive connection. Null when libcurl has no handle.
  tarvo::CHttpClient* NextRequest();
  // True when `name` can only name a file directly inside the photo folder.
  static bool IsPlainFileName(const CString& name);
  // A text this system prints that may hold a URL with the password, the password masked.
  CString Masked(const CString& text) const;

 private:
  // GET `url` into `path` (through a temporary file); the shared core of the list and photo
  // downloads.
  bool FetchToFile(const CString& url, const CString& path);

  std::unique_ptr<tarvo::CHttpClient> m_pHttp;
};
