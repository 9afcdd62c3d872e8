// The one place that talks to libcurl: the HTTP client and the FTP client. libcurl's result
// codes become CNetException here (Check) and nowhere else.
//
// The transfers use libcurl's form API and its double-based progress function, which newer
// headers mark as deprecated in favour of the mime and xferinfo APIs; keep them quiet.
#define CURL_DISABLE_DEPRECATION
#include <curl/curl.h>

#include <cstdio>
#include <cstring>
#include <mutex>

#include "platform/event.h"
#include "platform/files.h"
#include "platform/ftp_client.h"
#include "platform/http_client.h"
#include "platform/run_journal.h"

namespace tarvo {
namespace {

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;

// Converts a libcurl result into our error type; the error buffer holds the detailed text.
void Check(CURLcode rc, const char* errorBuffer) {
  if (rc == CURLE_OK) return;
  CString text = errorBuffer && *errorBuffer ? CString(errorBuffer) : CString(curl_easy_strerror(rc));
  throw CNetException(static_cast<long>(rc), MaskSecrets(text));
}

// Performs the prepared transfer with a cleared error buffer. A dry run moves nothing over the
// network: a transfer cannot be tried without doing it.
void PerformChecked(CURL* easy, char* errorBuffer) {
  if (IsDryRun()) throw CNetException(CURLE_FAILED_INIT, "trasferimento non eseguito: prova a vuoto (--dry-run)");
  errorBuffer[0] = '\0';
  Check(curl_easy_perform(easy), errorBuffer);
}

static_assert(kTransferStopped == CURLE_ABORTED_BY_CALLBACK);

std::mutex defaultsLock;
CTransferTimeouts defaultTimeouts;

void ApplyTimeouts(CURL* easy, const CTransferTimeouts& t) {
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, t.connectSeconds > 0 ? t.connectSeconds : 0L);
  // Below 1 byte/s for the whole period aborts the transfer.
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, t.stallSeconds > 0 ? 1L : 0L);
  curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, t.stallSeconds > 0 ? t.stallSeconds : 0L);
}

// Settings every handle gets: no signals (we run on worker threads), our error buffer.
void ApplyDefaults(CURL* easy, char* errorBuffer) {
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorBuffer);
  ApplyTimeouts(easy, GetDefaultTransferTimeouts());
}

EasyHandle NewEasyHandle(char* errorBuffer) {
  InitTransferLibrary();
  EasyHandle easy(curl_easy_init());
  if (easy) ApplyDefaults(easy.get(), errorBuffer);
  return easy;
}

// The caller's callbacks behind libcurl's: exceptions are parked here instead of unwinding
// through libcurl's C frames, and the transfer is aborted.
struct CallbackSlot {
  TransferWriteFn write = nullptr;
  void* writeTarget = nullptr;
  TransferProgressFn progress = nullptr;
  void* progressTarget = nullptr;
  const CEvent* stop = nullptr;
  std::exception_ptr error;
};

// Installs the progress thunk when the slot has a progress function or a stop event to watch.
void InstallProgress(CURL* easy, CallbackSlot& slot);

size_t WriteThunk(char* data, size_t size, size_t count, void* userdata) {
  auto* slot = static_cast<CallbackSlot*>(userdata);
  if (!slot->write) return size * count;  // nobody wants the body: drop it
  try {
    return slot->write(data, size, count, slot->writeTarget);
  } catch (...) {
    slot->error = std::current_exception();
    return 0;
  }
}

int ProgressThunk(void* userdata, double dlTotal, double dlNow, double ulTotal, double ulNow) {
  auto* slot = static_cast<CallbackSlot*>(userdata);
  if (slot->stop && slot->stop->IsSet()) return 1;
  if (!slot->progress) return 0;
  try {
    return slot->progress(slot->progressTarget, dlTotal, dlNow, ulTotal, ulNow);
  } catch (...) {
    slot->error = std::current_exception();
    return 1;
  }
}

size_t Discard(char*, size_t size, size_t count, void*) { return size * count; }
void InstallProgress(CURL* easy, CallbackSlot& slot) {
  bool on = slot.progress || slot.stop;
  curl_easy_setopt(easy, CURLOPT_PROGRESSFUNCTION, on ? ProgressThunk : nullptr);
  curl_easy_setopt(easy, CURLOPT_PROGRESSDATA, &slot);
  curl_easy_setopt(easy, CURLOPT_NOPROGRESS, on ? 0L : 1L);
}

size_t AppendToString(char* data, size_t size, size_t count, void* userdata) {
  static_cast<CString*>(userdata)->append(data, size * count);
  return size * count;
}

}  // namespace

void SetDefaultTransferTimeouts(const CTransferTimeouts& timeouts) {
  std::lock_guard<std::mutex> hold(defaultsLock);
  defaultTimeouts = timeouts;
}

CTransferTimeouts GetDefaultTransferTimeouts() {
  std::lock_guard<std::mutex> hold(defaultsLock);
  return defaultTimeouts;
}

void InitTransferLibrary() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_ALL); });
}

// ---------------------------------------------------------------------------------------------
// HTTP

struct CHttpClient::Impl {
  char errorBuffer[CURL_ERROR_SIZE] = {};
  EasyHandle easy;
  curl_slist* headers = nullptr;
  curl_httppost* form = nullptr;
  curl_httppost* formLast = nullptr;
  CallbackSlot slot;

  ~Impl() {
    easy.reset();  // the handle refers to the form and headers until it is gone
    curl_formfree(form);
    curl_slist_free_all(headers);
  }
};

std::unique_ptr<CHttpClient> CHttpClient::Create() {
  auto impl = std::make_unique<Impl>();
  impl->easy = NewEasyHandle(impl->errorBuffer);
  if (!impl->easy) return nullptr;
  CURL* easy = impl->easy.get();
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, WriteThunk);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &impl->slot);
  return std::unique_ptr<CHttpClient>(new CHttpClient(std::move(impl)));
}

void CHttpClient::Reset() {
  CURL* easy = impl_->easy.get();
  curl_easy_reset(easy);  // keeps the open connections
  curl_formfree(impl_->form);
  impl_->form = impl_->formLast = nullptr;
  curl_slist_free_all(impl_->headers);
  impl_->headers = nullptr;
  impl_->slot = CallbackSlot{};
  ApplyDefaults(easy, impl_->errorBuffer);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, WriteThunk);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &impl_->slot);
}

CHttpClient::CHttpClient(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
CHttpClient::~CHttpClient() = default;

void CHttpClient::SetUrl(const CString& url) { curl_easy_setopt(impl_->easy.get(), CURLOPT_URL, url.c_str()); }

void CHttpClient::SetUserAgent(const CString& agent) {
  curl_easy_setopt(impl_->easy.get(), CURLOPT_USERAGENT, agent.c_str());
}

void CHttpClient::SetHeaders(const std::vector<CString>& headers) {
  curl_slist* list = nullptr;
  for (const CString& h : headers) {
    curl_slist* grown = curl_slist_append(list, h.c_str());
    if (!grown) {
      curl_slist_free_all(list);
      throw CNetException(CURLE_OUT_OF_MEMORY, curl_easy_strerror(CURLE_OUT_OF_MEMORY));
    }
    list = grown;
  }
  curl_easy_setopt(impl_->easy.get(), CURLOPT_HTTPHEADER, list);
  curl_slist_free_all(impl_->headers);
  impl_->headers = list;
}

void CHttpClient::SetMultipartForm(const std::vector<CFormField>& fields) {
  curl_httppost* form = nullptr;
  curl_httppost* last = nullptr;
  for (const CFormField& f : fields) {
    CURLFORMcode rc;
    if (f.isFile) {
      CString path = NativePath(f.value);
      rc = curl_formadd(&form, &last, CURLFORM_COPYNAME, f.name.c_str(), CURLFORM_FILE, path.c_str(), CURLFORM_END);
    } else {
      rc = curl_formadd(&form, &last, CURLFORM_COPYNAME, f.name.c_str(), CURLFORM_COPYCONTENTS, f.value.c_str(),
                        CURLFORM_CONTENTSLENGTH, static_cast<long>(f.value.size()), CURLFORM_END);
    }
    if (rc != CURL_FORMADD_OK) {
      curl_formfree(form);
      throw CNetException(rc, StrFormat("impossibile comporre il campo \"%s\" del modulo (codice %d)",
                                        f.name.c_str(), static_cast<int>(rc)));
    }
  }
  curl_easy_setopt(impl_->easy.get(), CURLOPT_UPLOAD, 0L);
  curl_easy_setopt(impl_->easy.get(), CURLOPT_HTTPPOST, form);
  curl_formfree(impl_->form);
  impl_->form = form;
  impl_->formLast = last;
}

void CHttpClient::SetWriteFunction(TransferWriteFn fn, void* target) {
  impl_->slot.write = fn;
  impl_->slot.writeTarget = target;
}

void CHttpClient::SetProgressFunction(TransferProgressFn fn, void* target) {
  impl_->slot.progress = fn;
  impl_->slot.progressTarget = target;
  InstallProgress(impl_->easy.get(), impl_->slot);
}

void CHttpClient::SetTimeouts(const CTransferTimeouts& timeouts) { ApplyTimeouts(impl_->easy.get(), timeouts); }

void CHttpClient::SetStopEvent(const CEvent* stop) {
  impl_->slot.stop = stop;
  InstallProgress(impl_->easy.get(), impl_->slot);
}

void CHttpClient::Perform() {
  impl_->slot.error = nullptr;
  PerformChecked(impl_->easy.get(), impl_->errorBuffer);
}

std::exception_ptr CHttpClient::CallbackError() const { return impl_->slot.error; }

long CHttpClient::GetResponseCode() const {
  long code = 0;
  curl_easy_getinfo(impl_->easy.get(), CURLINFO_RESPONSE_CODE, &code);
  return code;
}

CString CHttpClient::GetContentType() const {
  char* type = nullptr;
  curl_easy_getinfo(impl_->easy.get(), CURLINFO_CONTENT_TYPE, &type);
  return type ? CString(type) : CString();
}

}  // namespace tarvo

// ---------------------------------------------------------------------------------------------
// FTP

struct CFtpClient::Impl {
  char errorBuffer[CURL_ERROR_SIZE] = {};
  tarvo::EasyHandle easy;
  tarvo::CallbackSlot slot;  // watches the stop event only
};

namespace {

// "YYYYMMDDHHMMSS[.fff]" (UTC) of an MLSD "modify" fact.
std::time_t ParseMlsdTime(const CString& text) {
  std::tm tm{};
  if (text.size() < 14 ||
      std::sscanf(text.c_str(), "%4d%2d%2d%2d%2d%2d", &tm.tm_year, &tm.tm_mon, &tm.tm_mday, &tm.tm_hour, &tm.tm_min,
                  &tm.tm_sec) != 6)
    return 0;
  tm.tm_year -= 1900;
  tm.tm_mon -= 1;
  return timegm(&tm);
}

// One MLSD line: "type=file;size=12;modify=20240101120000; name".
bool ParseMlsdLine(const CString& line, CFtpFileInfo& info) {
  size_t blank = line.find(' ');
  if (blank == CString::npos) return false;
  info = CFtpFileInfo{};
  info.name = line.substr(blank + 1);
  CString facts = line.substr(0, blank);
  CString type;
  size_t start = 0;
  while (start < facts.size()) {
    size_t end = facts.find(';', start);
    if (end == CString::npos) end = facts.size();
    CString fact = facts.substr(start, end - start);
    size_t eq = fact.find('=');
    if (eq != CString::npos) {
      CString key = tarvo::ToLower(fact.substr(0, eq));
      CString value = fact.substr(eq + 1);
      if (key == "type") type = tarvo::ToLower(value);
      else if (key == "size") info.size = std::atoll(value.c_str());
      else if (key == "modify") info.modified = ParseMlsdTime(value);
    }
    start = end + 1;
  }
  if (type == "cdir" || type == "pdir" || info.name == "." || info.name == "..") return false;
  info.isDirectory = type == "dir";
  return true;
}

CString EscapePath(CURL* easy, const CString& path) {
  CString out;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find('/', start);
    if (end == CString::npos) end = path.size();
    CString part = path.substr(start, end - start);
    char* escaped = curl_easy_escape(easy, part.c_str(), static_cast<int>(part.size()));
    if (escaped) {
      out += escaped;
      curl_free(escaped);
    }
    if (end < path.size()) out += '/';
    start = end + 1;
  }
  return out;
}

}  // namespace

CFtpClient::CFtpClient() : impl_(std::make_unique<Impl>()) {}
CFtpClient::~CFtpClient() { Close(); }

void CFtpClient::SetTimeouts(long connectSeconds, long transferSeconds) {
  connectTimeout_ = connectSeconds;
  transferTimeout_ = transferSeconds;
}

bool CFtpClient::Fail(const CString& text) {
  lastError_ = tarvo::MaskSecrets(text);
  return false;
}

CString CFtpClient::UrlFor(const CString& remotePath, bool folder) const {
  CString path = tarvo::NativePath(remotePath);
  bool absolute = !path.empty() && path.front() == '/';
  while (!path.empty() && path.front() == '/') path.erase(0, 1);
  if (folder && !path.empty() && path.back() != '/') path += '/';
  // A leading "%2F" makes libcurl start from the server's root rather than the login folder.
  return "ftp://" + server_ + "/" + (absolute ? "%2F" : "") + EscapePath(impl_->easy.get(), path);
}

// Runs the prepared command; a failure leaves libcurl's text as the last error.
bool CFtpClient::Transfer() {
  try {
    tarvo::PerformChecked(impl_->easy.get(), impl_->errorBuffer);
    return true;
  } catch (const tarvo::CNetException& e) {
    return Fail(e.what());
  }
}

// Resets the handle for the next command, keeping its connection.
void CFtpClient::Prepare() {
  CURL* easy = impl_->easy.get();
  curl_easy_reset(easy);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, impl_->errorBuffer);
  curl_easy_setopt(easy, CURLOPT_USERNAME, user_.c_str());
  curl_easy_setopt(easy, CURLOPT_PASSWORD, password_.c_str());
  if (!passive_) curl_easy_setopt(easy, CURLOPT_FTPPORT, "-");
  tarvo::CTransferTimeouts timeouts = tarvo::GetDefaultTransferTimeouts();
  if (connectTimeout_ > 0) timeouts.connectSeconds = connectTimeout_;
  if (transferTimeout_ > 0) timeouts.stallSeconds = transferTimeout_;
  tarvo::ApplyTimeouts(easy, timeouts);
  impl_->slot.stop = stop_;
  tarvo::InstallProgress(easy, impl_->slot);
}

bool CFtpClient::Open() {
  Close();
  impl_->easy = tarvo::NewEasyHandle(impl_->errorBuffer);
  if (!impl_->easy) return Fail(curl_easy_strerror(CURLE_FAILED_INIT));
  Prepare();
  CURL* easy = impl_->easy.get();
  curl_easy_setopt(easy, CURLOPT_URL, UrlFor("", true).c_str());
  curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  if (!Transfer()) {
    impl_->easy.reset();
    return false;
  }
  open_ = true;
  mlsd_ = true;
  return true;
}

void CFtpClient::Close() {
  impl_->easy.reset();  // sends QUIT on the cached connection
  open_ = false;
}

bool CFtpClient::PutFile(const CString& localPath, const CString& remotePath) {
  if (!open_) return Fail("connessione FTP non aperta");
  std::FILE* in = std::fopen(tarvo::NativePath(localPath).c_str(), "rbe");
  if (!in) return Fail("impossibile aprire il file " + localPath + ": " + tarvo::GetSystemError());
  std::fseek(in, 0, SEEK_END);
  long size = std::ftell(in);
  std::fseek(in, 0, SEEK_SET);
  CString path = tarvo::NativePath(remotePath);
  size_t slash = path.rfind('/');
  CString name = slash == CString::npos ? path : path.substr(slash + 1);
  Prepare();
  CURL* easy = impl_->easy.get();
  // Sent under a temporary name, renamed in the same folder once the whole file is there.
  curl_slist* rename = curl_slist_append(nullptr, ("RNFR " + name + ".part").c_str());
  rename = curl_slist_append(rename, ("RNTO " + name).c_str());
  curl_easy_setopt(easy, CURLOPT_URL, UrlFor(remotePath + ".part", false).c_str());
  curl_easy_setopt(easy, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(easy, CURLOPT_READDATA, in);
  curl_easy_setopt(easy, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(size));
  curl_easy_setopt(easy, CURLOPT_POSTQUOTE, rename);
  bool ok = Transfer();
  curl_easy_setopt(easy, CURLOPT_POSTQUOTE, nullptr);
  curl_slist_free_all(rename);
  std::fclose(in);
  return ok;
}

bool CFtpClient::GetFile(const CString& remotePath, const CString& localPath) {
  if (!open_) return Fail("connessione FTP non aperta");
  // Fetch beside the target and replace it only when the whole file has arrived.
  CString target = tarvo::NativePath(localPath);
  CString partial;
  std::FILE* out = tarvo::CreateTemporaryBeside(target, partial);
  if (!out) return Fail("impossibile creare il file " + target + ": " + tarvo::GetSystemError());
  Prepare();
  CURL* easy = impl_->easy.get();
  curl_easy_setopt(easy, CURLOPT_URL, UrlFor(remotePath, false).c_str());
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, out);
  bool ok = Transfer();
  if (std::fclose(out) != 0 && ok) ok = Fail("impossibile scrivere il file " + partial + ": " + tarvo::GetSystemError());
  if (ok && std::rename(partial.c_str(), target.c_str()) != 0)
    ok = Fail("impossibile scrivere il file " + target + ": " + tarvo::GetSystemError());
  if (!ok) std::remove(partial.c_str());
  return ok;
}

// Runs a listing command (nullptr: LIST) on a folder and collects its reply.
bool CFtpClient::FetchListing(const CString& remoteFolder, const char* command, CString& listing) {
  listing.clear();
  Prepare();
  CURL* easy = impl_->easy.get();
  curl_easy_setopt(easy, CURLOPT_URL, UrlFor(remoteFolder, true).c_str());
  if (command) curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, command);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, tarvo::AppendToString);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &listing);
  return Transfer();
}

// A file's modification time by MDTM (UTC).
bool CFtpClient::FileTime(const CString& remotePath, std::time_t& modified) {
  Prepare();
  CURL* easy = impl_->easy.get();
  curl_easy_setopt(easy, CURLOPT_URL, UrlFor(remotePath, false).c_str());
  curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  curl_easy_setopt(easy, CURLOPT_FILETIME, 1L);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, tarvo::Discard);  // the size and date lines
  curl_off_t when = -1;
  if (!Transfer() || curl_easy_getinfo(easy, CURLINFO_FILETIME_T, &when) != CURLE_OK || when < 0) return false;
  modified = static_cast<std::time_t>(when);
  return true;
}

bool CFtpClient::ListFolder(const CString& remoteFolder, std::vector<CFtpFileInfo>& entries) {
  entries.clear();
  if (!open_) return Fail("connessione FTP non aperta");
  CString listing;
  bool machineReadable = false;
  if (mlsd_) {
    machineReadable = FetchListing(remoteFolder, "MLSD", listing);
    if (!machineReadable) {
      long reply = 0;
      curl_easy_getinfo(impl_->easy.get(), CURLINFO_RESPONSE_CODE, &reply);
      if (reply != 500 && reply != 502 && reply != 504) return false;  // a real failure, not MLSD's
      mlsd_ = false;
    }
  }
  if (!machineReadable && !FetchListing(remoteFolder, nullptr, listing)) return false;
  const std::time_t now = std::time(nullptr);
  CString folder = tarvo::NativePath(remoteFolder);
  if (!folder.empty() && folder.back() != '/') folder += '/';
  size_t start = 0;
  while (start < listing.size()) {
    size_t end = listing.find('\n', start);
    if (end == CString::npos) end = listing.size();
    CString line = tarvo::TrimRight(listing.substr(start, end - start), "\r");
    start = end + 1;
    CFtpFileInfo info;
    if (machineReadable) {
      if (ParseMlsdLine(line, info)) entries.push_back(info);
      continue;
    }
    std::tm wallClock{};
    if (!tarvo::ParseFtpListLine(line, now, info, wallClock)) continue;
    if (!info.isDirectory && !FileTime(folder + info.name, info.modified)) info.modified = std::mktime(&wallClock);
    entries.push_back(info);
  }
  lastError_.clear();
  return true;
}

bool CFtpClient::DeleteFile(const CString& remotePath) {
  if (!open_) return Fail("connessione FTP non aperta");
  CString path = tarvo::NativePath(remotePath);
  size_t slash = path.rfind('/');
  CString folder = slash == CString::npos ? CString() : path.substr(0, slash + 1);
  CString name = slash == CString::npos ? path : path.substr(slash + 1);
  Prepare();
  CURL* easy = impl_->easy.get();
  // Move into the file's folder, then delete it there once that has worked.
  curl_slist* commands = curl_slist_append(nullptr, ("DELE " + name).c_str());
  curl_easy_setopt(easy, CURLOPT_URL, UrlFor(folder, true).c_str());
  curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  curl_easy_setopt(easy, CURLOPT_POSTQUOTE, commands);
  bool ok = Transfer();
  curl_easy_setopt(easy, CURLOPT_POSTQUOTE, nullptr);
  curl_slist_free_all(commands);
  return ok;
}
