#include "support/web_shop_server.h"

#include <chrono>

namespace tarvo::test {

WebShopServer::WebShopServer(std::string login, std::string password)
    : login_(std::move(login)), password_(std::move(password)) {
  server_.Post("/upload", [this](const httplib::Request& req, httplib::Response& res,
                                 const httplib::ContentReader& reader) { HandleUpload(req, res, reader); });
  server_.Get(R"(/files/(.+))", [this](const httplib::Request& req, httplib::Response& res) { HandleDownload(req, res); });
  port_ = server_.bind_to_any_port("127.0.0.1");
  thread_ = std::thread([this] { server_.listen_after_bind(); });
  while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

WebShopServer::~WebShopServer() {
  server_.stop();
  thread_.join();
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
  Upload up;
  up.expectHeader = req.has_header("Expect");
  up.userAgent = req.get_header_value("User-Agent");
  std::string current;
  if (req.is_multipart_form_data()) {
    reader(
        [&](const httplib::MultipartFormData& part) {
          current = part.name;
          up.fieldOrder.push_back(part.name);
          up.fields[part.name];
          if (part.name == "datafile") up.fileName = part.filename;
          return true;
        },
        [&](const char* data, size_t length) {
          up.fields[current].append(data, length);
          return true;
        });
  }
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

}  // namespace tarvo::test
