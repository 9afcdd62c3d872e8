#include "support/web_shop_server.h"

#include <cryptopp/files.h>
#include <cryptopp/filters.h>
#include <cryptopp/hex.h>
#define CRYPTOPP_ENABLE_NAMESPACE_WEAK 1
#include <cryptopp/md5.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace tarvo::test {

namespace {
// The multipart fields of a POST, in the order they came; a file field holds the content.
WebShopServer::Upload ReadUpload(const httplib::Request& req, const httplib::ContentReader& reader,
                                 const char* fileField) {
  WebShopServer::Upload up;
  up.expectHeader = req.has_header("Expect");
  up.userAgent = req.get_header_value("User-Agent");
  std::string current;
  if (req.is_multipart_form_data()) {
    reader(
        [&](const httplib::MultipartFormData& part) {
          current = part.name;
          up.fieldOrder.push_back(part.name);
          up.fields[part.name];
          if (part.name == fileField) up.fileName = part.filename;
          return true;
        },
        [&](const char* data, size_t length) {
          up.fields[current].append(data, length);
          return true;
        });
  }
  return up;
}

std::string Escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string LocalTime(fs::file_time_type time) {
  std::time_t t = std::chrono::system_clock::to_time_t(std::chrono::file_clock::to_sys(time));
  std::tm tm{};
  localtime_r(&t, &tm);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &tm);
  return text;
}

bool IsPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find_first_of("/\\") == std::string::npos;
}

std::string ContentTypeOf(const std::string& name) {
  std::string ext = fs::path(name).extension().string();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (ext == ".jpg" || ext == ".jpeg") return "image/jpeg";
  if (ext == ".png") return "image/png";
  if (ext == ".gif") return "image/gif";
  return "application/octet-stream";
}
}  // namespace

WebShopServer::WebShopServer(std::string login, std::string password, std::string photoDir)
    : login_(std::move(login)), password_(std::move(password)), photoDir_(std::move(photoDir)) {
  if (photoDir_.empty()) {
    char pattern[] = "/tmp/tarvo-shop-XXXXXX";
    photoDir_ = ::mkdtemp(pattern);
    ownPhotoDir_ = true;
  }
  server_.Post("/upload", [this](const httplib::Request& req, httplib::Response& res,
                                 const httplib::ContentReader& reader) { HandleUpload(req, res, reader); });
  server_.Get(R"(/files/(.+))", [this](const httplib::Request& req, httplib::Response& res) { HandleDownload(req, res); });
  server_.Get(kPhotoPath, [this](const httplib::Request& req, httplib::Response& res) { HandlePhotoGet(req, res); });
  server_.Post(kPhotoPath, [this](const httplib::Request& req, httplib::Response& res,
                                  const httplib::ContentReader& reader) { HandlePhotoPost(req, res, reader); });
  // As the usual web servers answer: replies leave at once, and a client may send a hundred
  // requests over one connection (Apache's default) instead of the library's five.
  server_.set_tcp_nodelay(true);
  server_.set_keep_alive_max_count(100);
  port_ = server_.bind_to_any_port("127.0.0.1");
  thread_ = std::thread([this] { server_.listen_after_bind(); });
  while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

WebShopServer::~WebShopServer() {
  server_.stop();
  thread_.join();
  std::error_code ec;
  if (ownPhotoDir_) fs::remove_all(photoDir_, ec);
}

std::string WebShopServer::Url() const { return "http://127.0.0.1:" + std::to_string(port_); }

void WebShopServer::FailUploadsWith(int status) {
  std::lock_guard<std::mutex> lock(mutex_);
  failStatus_ = status;
}

void WebShopServer::SlowUploadReply(int lines, int pauseMs, std::function<void()> afterFirst) {
  std::lock_guard<std::mutex> lock(mutex_);
  slowLines_ = lines;
  slowPauseMs_ = pauseMs;
  slowAfterFirst_ = std::move(afterFirst);
}

void WebShopServer::PutFile(const std::string& name, const std::string& bytes, const std::string& contentType,
                            int status) {
  std::lock_guard<std::mutex> lock(mutex_);
  files_[name] = {bytes, contentType};
  statuses_[name] = status;
}

std::vector<WebShopServer::Upload> WebShopServer::Uploads() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return uploads_;
}

bool WebShopServer::HasFile(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return files_.count(name) > 0;
}

std::string WebShopServer::File(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = files_.find(name);
  return it == files_.end() ? std::string() : it->second.bytes;
}

std::vector<std::string> WebShopServer::Requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

std::string WebShopServer::LastUserAgent() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lastAgent_;
}

void WebShopServer::HandleUpload(const httplib::Request& req, httplib::Response& res,
                                 const httplib::ContentReader& reader) {
  Upload up = ReadUpload(req, reader, "datafile");
  std::lock_guard<std::mutex> lock(mutex_);
  uploads_.push_back(up);
  if (failStatus_) {
    res.status = failStatus_;
    res.set_content("errore simulato", "text/plain");
    return;
  }
  if (!up.fields.count("datafile")) {
    res.status = 400;
    res.set_content("ERRORE: file mancante\n", "text/plain");
    return;
  }
  if (up.fields["login"] != login_ || up.fields["password"] != password_) {
    res.set_content("ERRORE: credenziali non valide\n", "text/plain");
    return;
  }
  files_[up.fileName] = {up.fields["datafile"], "application/zip"};
  statuses_[up.fileName] = 200;
  if (slowLines_ > 0) {
    int lines = slowLines_, pause = slowPauseMs_;
    auto afterFirst = slowAfterFirst_;
    res.set_chunked_content_provider("text/plain", [lines, pause, afterFirst](size_t offset, httplib::DataSink& sink) {
      for (int i = 1; i <= lines; ++i) {
        std::string line = "riga " + std::to_string(i) + " della risposta\n";
        if (!sink.write(line.data(), line.size())) return false;
        if (i == 1 && afterFirst) afterFirst();
        std::this_thread::sleep_for(std::chrono::milliseconds(pause));
      }
      sink.done();
      return true;
    });
    return;
  }
  res.set_content("OK: file " + up.fileName + " ricevuto\n", "text/plain");
}

void WebShopServer::HandleDownload(const httplib::Request& req, httplib::Response& res) {
  std::lock_guard<std::mutex> lock(mutex_);
  requests_.push_back(req.target);
  lastAgent_ = req.get_header_value("User-Agent");
  if (req.get_param_value("login") != login_ || req.get_param_value("password") != password_ ||
      req.get_param_value("tarvo") != "yes") {
    res.set_content("Accesso negato: credenziali non valide\nRiprovare\n", "text/plain");
    return;
  }
  std::string name = req.matches[1];
  auto it = files_.find(name);
  if (it == files_.end()) {
    res.status = 404;
    res.set_content("<html><body>File non trovato</body></html>\n", "text/html");
    return;
  }
  res.status = statuses_[name];
  res.set_content(it->second.bytes, it->second.contentType);
}

// ---------------------------------------------------------------------------------------------
// Photos

std::vector<std::string> WebShopServer::PhotoUploads() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return photoUploads_;
}

std::vector<std::string> WebShopServer::PhotoDownloads() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return photoDownloads_;
}

void WebShopServer::ClearPhotoLog() {
  std::lock_guard<std::mutex> lock(mutex_);
  photoUploads_.clear();
  photoDownloads_.clear();
}

void WebShopServer::SetListReply(const std::string& body, const std::string& contentType) {
  std::lock_guard<std::mutex> lock(mutex_);
  listBody_ = body;
  listType_ = contentType;
}

void WebShopServer::FailPhotoRequestsWith(int status) {
  std::lock_guard<std::mutex> lock(mutex_);
  photoFailStatus_ = status;
}

void WebShopServer::SlowPhoto(const std::string& name, int chunks, int pauseMs, std::function<void()> afterFirst) {
  std::lock_guard<std::mutex> lock(mutex_);
  slowPhotos_[name] = {chunks, pauseMs, std::move(afterFirst)};
}

void WebShopServer::CutPhoto(const std::string& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  cutPhotos_[name] = true;
}

// MD5 of a photo as lower-case hex, computed again only when its size or time changed.
std::string WebShopServer::Digest(const std::string& name) {
  fs::path path = fs::path(photoDir_) / name;
  long long size = static_cast<long long>(fs::file_size(path));
  long long mtime = fs::last_write_time(path).time_since_epoch().count();
  CachedDigest& cached = digests_[name];
  if (cached.size != size || cached.mtimeNs != mtime) {
    CryptoPP::Weak::MD5 hash;
    std::string hex;
    CryptoPP::FileSource source(path.c_str(), true,
                                new CryptoPP::HashFilter(hash, new CryptoPP::HexEncoder(new CryptoPP::StringSink(hex), false)));
    cached = {size, mtime, hex};
  }
  return cached.md5;
}

std::string WebShopServer::PhotoList() {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<files>\n";
  for (const fs::directory_entry& entry : fs::directory_iterator(photoDir_)) {
    std::string name = entry.path().filename().string();
    if (!entry.is_regular_file() || name.front() == '.') continue;
    xml += "  <file name=\"" + Escaped(name) + "\" mtime=\"" + LocalTime(entry.last_write_time()) + "\" size=\"" +
           std::to_string(entry.file_size()) + "\" md5=\"" + Digest(name) + "\"/>\n";
  }
  return xml + "</files>\n";
}

void WebShopServer::HandlePhotoGet(const httplib::Request& req, httplib::Response& res) {
  std::lock_guard<std::mutex> lock(mutex_);
  requests_.push_back(req.target);
  lastAgent_ = req.get_header_value("User-Agent");
  if (photoFailStatus_) {
    res.status = photoFailStatus_;
    res.set_content("<html><body>Errore interno del server</body></html>\n", "text/html");
    return;
  }
  if (req.get_param_value("login") != login_ || req.get_param_value("password") != password_ ||
      req.get_param_value("tarvo") != "yes") {
    res.set_content("ERRORE: credenziali non valide\nAccesso negato\n", "text/plain");
    return;
  }
  const std::string oper = req.get_param_value("oper");
  if (oper == "list") {
    if (!listType_.empty()) res.set_content(listBody_, listType_.c_str());
    else res.set_content(PhotoList(), "text/xml");
    return;
  }
  const std::string name = req.get_param_value("file");
  if (oper != "download") {
    res.set_content("ERRORE: operazione sconosciuta\n", "text/plain");
    return;
  }
  fs::path path = fs::path(photoDir_) / name;
  if (!IsPlainName(name) || !fs::is_regular_file(path)) {
    res.set_content("ERRORE: file " + name + " inesistente\n", "text/plain");
    return;
  }
  photoDownloads_.push_back(name);
  std::ifstream in(path, std::ios::binary);
  auto bytes = std::make_shared<std::string>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  const std::string type = ContentTypeOf(name);
  if (cutPhotos_.count(name)) {
    res.set_content_provider(bytes->size(), type.c_str(), [bytes](size_t offset, size_t, httplib::DataSink& sink) {
      if (offset > 0) return false;  // half is out: drop the connection
      sink.write(bytes->data(), bytes->size() / 2);
      return true;
    });
    return;
  }
  auto slow = slowPhotos_.find(name);
  if (slow != slowPhotos_.end()) {
    SlowReply reply = slow->second;
    res.set_chunked_content_provider(type.c_str(), [bytes, reply](size_t, httplib::DataSink& sink) {
      size_t piece = bytes->size() / static_cast<size_t>(reply.chunks) + 1;
      for (size_t at = 0; at < bytes->size(); at += piece) {
        if (!sink.write(bytes->data() + at, std::min(piece, bytes->size() - at))) return false;
        if (at == 0 && reply.afterFirst) reply.afterFirst();
        std::this_thread::sleep_for(std::chrono::milliseconds(reply.pauseMs));
      }
      sink.done();
      return true;
    });
    return;
  }
  res.set_content(*bytes, type.c_str());
}

void WebShopServer::HandlePhotoPost(const httplib::Request& req, httplib::Response& res,
                                    const httplib::ContentReader& reader) {
  Upload up = ReadUpload(req, reader, "imgfile");
  std::lock_guard<std::mutex> lock(mutex_);
  uploads_.push_back(up);
  if (photoFailStatus_) {
    res.status = photoFailStatus_;
    res.set_content("<html><body>Errore interno del server</body></html>\n", "text/html");
    return;
  }
  if (up.fields["login"] != login_ || up.fields["password"] != password_ || up.fields["tarvo"] != "yes") {
    res.set_content("ERRORE: credenziali non valide\n", "text/plain");
    return;
  }
  if (up.fields["oper"] != "upload" || !up.fields.count("imgfile") || !IsPlainName(up.fileName)) {
    res.set_content("ERRORE: richiesta di caricamento non valida\n", "text/plain");
    return;
  }
  // Written beside the photo and renamed onto it, so a reader never sees half a photo.
  fs::path target = fs::path(photoDir_) / up.fileName;
  fs::path partial = fs::path(photoDir_) / ("." + up.fileName + ".part");
  {
    std::ofstream out(partial, std::ios::binary);
    out << up.fields["imgfile"];
  }
  fs::rename(partial, target);
  photoUploads_.push_back(up.fileName);
  res.set_content("OK: foto " + up.fileName + " ricevuta\n", "text/plain");
}

}  // namespace tarvo::test
