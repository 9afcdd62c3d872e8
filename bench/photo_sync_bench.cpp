// The photo procedures against their reference tools, in one run on the same files:
//  - JPEG thumbnails (CTarvoImageHelper, as the FTP upload makes them) of 500 photos of about
//    2 MB, against `vipsthumbnail` on the same photos with the same size and quality;
//  - mirroring 1,000 small photos from a loopback FTP server (pyftpdlib) with CTarvoFtpDownload,
//    against a plain libcurl loop fetching the same files over one connection in the same mode.
// Prints each time, the ratio and the limit it must stay under (1.5 and 2).
//
// Usage: bench_photo_sync_bench [photos [files]]   (defaults 500 and 1000; 0 skips a part). Needs vips,
// vipsthumbnail and python3-pyftpdlib.
#include <curl/curl.h>
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "bench_support.h"
#include "platform/image_helper.h"
#include "platform/window.h"
#include "publishing/ftp_download.h"
#include "publishing/ftp_upload.h"

namespace fs = std::filesystem;
using tarvo::bench::Seconds;
using tarvo::bench::Shell;

namespace {

void Report(const char* what, double ours, double reference, double limit) {
  double ratio = ours / reference;
  std::printf("%-34s %8.3f s  reference %8.3f s  ratio %5.2f  (limit %.1f) %s\n", what, ours, reference, ratio, limit,
              ratio <= limit ? "OK" : "TOO SLOW");
}

// "<prefix><i>.jpg", built piecewise (GCC 12 warns falsely on the chained operator+ at -O3).
std::string PhotoName(int i, const char* prefix = "p") {
  std::string name = prefix;
  name += std::to_string(i);
  name += ".jpg";
  return name;
}

// The host window of the run: its lines are posted as in a real run and read by nobody.
class QuietWindow : public CWnd {};

void Thumbnails(const fs::path& dir, int photos) {
  fs::path src = dir / "photos";
  fs::create_directories(src);
  // A few distinct noisy photos of about 2 MB each, copied up to the count.
  const std::string noise = (dir / "n.v").string(), bytes = (dir / "b.v").string();
  for (int i = 0; i < 5; ++i)
    Shell("vips gaussnoise " + noise + " 1600 1200 --sigma " + std::to_string(36 + i * 2) + " && vips cast " + noise +
          " " + bytes + " uchar && vips bandjoin \"" + bytes + " " + bytes + " " + bytes + "\" " +
          (src / ("base" + std::to_string(i) + ".jpg[Q=97]")).string());
  for (int i = 0; i < photos; ++i)
    fs::copy_file(src / ("base" + std::to_string(i % 5) + ".jpg"), src / PhotoName(i));
  for (int i = 0; i < 5; ++i) fs::remove(src / ("base" + std::to_string(i) + ".jpg"));
  std::printf("%d photos of %.1f MB\n", photos, fs::file_size(src / "p0.jpg") / 1e6);

  fs::path ours = dir / "ours", theirs = dir / "theirs";
  fs::create_directories(ours);
  fs::create_directories(theirs);
  double reference = Seconds([&] {
    Shell("cd " + src.string() + " && vipsthumbnail -s " + std::to_string(CTarvoFtpUpload::kThumbnailSize) + " -o " +
          theirs.string() + "/%s.jpg[Q=" + std::to_string(CTarvoFtpUpload::kThumbnailQuality) + ",strip] *.jpg");
  });
  double mine = Seconds([&] {
    for (int i = 0; i < photos; ++i) {
      std::string name = PhotoName(i);
      if (!CTarvoImageHelper::SaveImageAsJPEGThumbnail((src / name).string(), (ours / (name + ".jpg")).string(),
                                                       CTarvoFtpUpload::kThumbnailSize,
                                                       CTarvoFtpUpload::kThumbnailQuality)) {
        std::fprintf(stderr, "thumbnail of %s failed\n", name.c_str());
        std::exit(1);
      }
    }
  });
  Report("thumbnails", mine, reference, 1.5);
}

size_t ToFile(char* data, size_t size, size_t count, void* file) {
  return std::fwrite(data, size, count, static_cast<std::FILE*>(file));
}

void Mirror(const fs::path& dir, int files) {
  fs::path root = dir / "server";
  fs::create_directories(root / "foto");
  std::string photo(4096, 'x');
  for (int i = 0; i < files; ++i) std::ofstream(root / "foto" / PhotoName(i, "f")) << photo;
  int port = 20000 + getpid() % 20000;
  pid_t server = fork();
  if (server == 0) {
    int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    execl("/usr/bin/python3", "python3", "-m", "pyftpdlib", "-i", "127.0.0.1", "-p", std::to_string(port).c_str(), "-d",
           root.c_str(), "-u", "foto", "-P", "segreta", "-w", static_cast<char*>(nullptr));
    _exit(127);
  }
  // Wait until the server listens (python starts slowly on a busy machine).
  for (int tries = 0; tries < 300; ++tries) {
    int probe = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(port));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool up = connect(probe, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0;
    close(probe);
    if (up) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  const std::string address = "127.0.0.1:" + std::to_string(port);

  // Best of three runs each, taken in turns, so that the load of a shared machine hits both alike.
  auto plain = [&] {
    fs::path theirs = dir / "plain";
    fs::remove_all(theirs);
    fs::create_directories(theirs);
    return Seconds([&] {
      CURL* easy = curl_easy_init();
      curl_easy_setopt(easy, CURLOPT_USERNAME, "foto");
      curl_easy_setopt(easy, CURLOPT_PASSWORD, "segreta");
      curl_easy_setopt(easy, CURLOPT_FTPPORT, "-");  // active, as the procedure
      curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, ToFile);
      for (int i = 0; i < files; ++i) {
        std::string name = PhotoName(i, "f");
        std::FILE* out = std::fopen((theirs / name).c_str(), "wb");
        std::string url = "ftp://";
        url += address;
        url += "/foto/";
        url += name;
        curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
        curl_easy_setopt(easy, CURLOPT_WRITEDATA, out);
        CURLcode rc = curl_easy_perform(easy);
        std::fclose(out);
        if (rc != CURLE_OK) {
          std::fprintf(stderr, "plain libcurl: %s\n", curl_easy_strerror(rc));
          std::exit(1);
        }
      }
      curl_easy_cleanup(easy);
    });
  };
  fs::path ours = dir / "mirror";
  int result = 0;
  auto mirror = [&] {
    fs::remove_all(ours);
    fs::create_directories(ours);
    return Seconds([&] {
      CTarvoFtpDownload p;
      QuietWindow window;
      p.SetParentWnd(&window);
      p.SetVerbose(false);
      p.SetInDir(ours.string());
      p.SetFtpServer(address);
      p.SetFtpUID("foto");
      p.SetFtpPWD("segreta");
      p.SetFtpFolder("foto");
      result = p.Run();
    });
  };
  double reference = 1e9, mine = 1e9;
  for (int round = 0; round < 3; ++round) {
    reference = std::min(reference, plain());
    mine = std::min(mine, mirror());
  }
  kill(server, SIGTERM);
  waitpid(server, nullptr, 0);
  size_t fetched = 0;
  for (const auto& e : fs::directory_iterator(ours)) fetched += e.is_regular_file();
  if (result != 1 || fetched != static_cast<size_t>(files)) {
    std::fprintf(stderr, "mirror: result %d, %zu of %d files\n", result, fetched, files);
    std::exit(1);
  }
  Report("FTP mirror (download)", mine, reference, 2.0);
}

}  // namespace

int main(int argc, char** argv) {
  int photos = argc > 1 ? std::atoi(argv[1]) : 500;
  int files = argc > 2 ? std::atoi(argv[2]) : 1000;
  // A bad number (atoi gives 0 for it) is no request to skip.
  if (argc > 1 && photos == 0 && std::string(argv[1]) != "0") photos = -1;
  if (argc > 2 && files == 0 && std::string(argv[2]) != "0") files = -1;
  if (photos < 0) photos = 500;
  if (files < 0) files = 1000;
  fs::path dir = fs::temp_directory_path() / ("tarvo-photo-bench-" + std::to_string(getpid()));
  fs::create_directories(dir);
  curl_global_init(CURL_GLOBAL_ALL);
  if (photos > 0) Thumbnails(dir, photos);
  if (files > 0) Mirror(dir, files);
  fs::remove_all(dir);
  return 0;
}
