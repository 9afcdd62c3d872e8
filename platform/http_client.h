// An HTTP transfer over one libcurl easy handle: GET or multipart POST, custom request headers,
// a write function for the reply body and a progress function, then the reply's status and
// content type. One object serves one transfer at a time on one thread; it owns its handle,
// form and header list and frees them when destroyed. Reset prepares it for the next request:
// a series of requests to one server then travels over one kept-alive connection.
//
// The write and progress functions have libcurl's own shapes, so the procedures' static
// callbacks are handed over unchanged. An exception they raise does not cross libcurl: the
// transfer is aborted, Perform reports the abort as a CNetException, and the exception is kept
// for the caller to inspect with CallbackError().
//
// Every transfer (HTTP and FTP) has a connect time-out and a stall time-out: a transfer that
// moves less than 1 byte per second for the stall time is aborted, so a server that stops
// answering cannot hold a procedure forever. The process-wide defaults (30 s and 60 s) are the
// host's `--connect-timeout` / `--stall-timeout` options; SetTimeouts overrides them per client.
// A stop event given with SetStopEvent ends a running transfer within about a second (libcurl
// calls the progress function at least that often); Perform then throws a CNetException with
// kTransferStopped as its code.
#pragma once

#include <exception>
#include <memory>
#include <vector>

#include "platform/errors.h"

class CEvent;

namespace tarvo {

// Connect and stall time-outs in seconds; 0 leaves libcurl's own (no stall limit, 300 s connect).
struct CTransferTimeouts {
  long connectSeconds = 30;
  long stallSeconds = 60;
};
// The time-outs new clients start with. Set by the host before a run; not thread-safe
// against clients being created at the same time.
void SetDefaultTransferTimeouts(const CTransferTimeouts& timeouts);
CTransferTimeouts GetDefaultTransferTimeouts();

// CNetException code of a transfer ended by the stop event (libcurl's "aborted by callback").
constexpr long kTransferStopped = 42;

// Receives `size` x `count` bytes; returns the number taken (fewer aborts the transfer).
using TransferWriteFn = size_t (*)(void* data, size_t size, size_t count, void* target);
// Progress report: totals and amounts so far, download first; non-zero aborts the transfer.
using TransferProgressFn = int (*)(void* target, double dlTotal, double dlNow, double ulTotal, double ulNow);

// One part of a multipart/form-data body. A file part carries the local path in `value`.
struct CFormField {
  CString name;
  CString value;
  bool isFile = false;
};

// Initialises libcurl for the whole process (all features); later calls do nothing.
void InitTransferLibrary();

class CHttpClient {
 public:
  // A client with a fresh easy handle, or null when libcurl cannot give one.
  static std::unique_ptr<CHttpClient> Create();
  ~CHttpClient();
  CHttpClient(const CHttpClient&) = delete;
  CHttpClient& operator=(const CHttpClient&) = delete;

  // Forgets every setting of the last request (a fresh GET with the default time-outs) but keeps
  // the connections libcurl holds open.
  void Reset();

  void SetUrl(const CString& url);
  void SetUserAgent(const CString& agent);
  // Extra request headers as "Name: value"; "Name:" removes a header libcurl would add itself
  // ("Expect:" suppresses the 100-continue handshake of a POST).
  void SetHeaders(const std::vector<CString>& headers);
  // Turns the request into a multipart/form-data POST with the fields in the given order.
  // Throws CNetException when the form cannot be built.
  void SetMultipartForm(const std::vector<CFormField>& fields);
  void SetWriteFunction(TransferWriteFn fn, void* target);
  void SetProgressFunction(TransferProgressFn fn, void* target);
  void SetTimeouts(const CTransferTimeouts& timeouts);
  // The stop event (owned by the caller, may be null) that ends a running transfer.
  void SetStopEvent(const CEvent* stop);
  // Runs the transfer. Throws CNetException with libcurl's code and error text on failure (any
  // password the text holds masked).
  void Perform();
  // The exception a write or progress function raised during the last Perform, if any.
  std::exception_ptr CallbackError() const;
  // Status of the last reply (0 when none was received).
  long GetResponseCode() const;
  // Content type of the last reply; empty when the server sent none.
  CString GetContentType() const;

  struct Impl;

 private:
  explicit CHttpClient(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarvo
