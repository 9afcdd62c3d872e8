// Photo publishing (1005) of a folder of 2,000 photos of 50 KB, of which 10% changed since the
// shop last received them, against the loopback web shop; timed against a plain libcurl loop
// that uploads the same changed photos to the same shop. The folder's digest (the procedure's
// DigestFile over every photo) is timed against md5sum on the same files. Prints each time,
// its ratio to the reference and the limit it must stay under (best of three runs each).
//
// Usage: bench_http_photo_bench [photos [kilobytes]]   (other arguments are ignored). Needs md5sum.
#define CURL_DISABLE_DEPRECATION
#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "platform/stdio_file.h"
#include "publishing/http_upload.h"
#include "support/web_shop_server.h"

namespace fs = std::filesystem;

namespace {

double Seconds(const std::function<void()>& f) {
  auto start = std::chrono::steady_clock::now();
  f();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Best(int runs, const std::function<void()>& prepare, const std::function<void()>& f) {
  double best = 1e30;
  for (int i = 0; i < runs; ++i) {
    prepare();
    best = std::min(best, Seconds(f));
  }
  return best;
}

void Write(const fs::path& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

size_t Discard(char*, size_t size, size_t count, void*) { return size * count; }

// Asks the shop for its list once, as the shop has it at hand before a run (it keeps the
// fingerprints of what it holds; the restored photos would otherwise be read again in the run).
void WarmList(const std::string& url) {
  CURL* easy = curl_easy_init();
  std::string target = url + "?login=agente&password=segreta&tarvo=yes&oper=list";
  curl_easy_setopt(easy, CURLOPT_URL, target.c_str());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, Discard);
  curl_easy_perform(easy);
  curl_easy_cleanup(easy);
}

// The reference: the same multipart uploads, one easy handle per photo, nothing else.
void PlainCurlUploads(const std::string& url, const std::vector<fs::path>& files) {
  for (const fs::path& file : files) {
    CURL* easy = curl_easy_init();
    curl_httppost *form = nullptr, *last = nullptr;
    curl_formadd(&form, &last, CURLFORM_COPYNAME, "imgfile", CURLFORM_FILE, file.c_str(), CURLFORM_END);
    curl_formadd(&form, &last, CURLFORM_COPYNAME, "oper", CURLFORM_COPYCONTENTS, "upload", CURLFORM_END);
    curl_formadd(&form, &last, CURLFORM_COPYNAME, "login", CURLFORM_COPYCONTENTS, "agente", CURLFORM_END);
    curl_formadd(&form, &last, CURLFORM_COPYNAME, "password", CURLFORM_COPYCONTENTS, "segreta", CURLFORM_END);
    curl_formadd(&form, &last, CURLFORM_COPYNAME, "tarvo", CURLFORM_COPYCONTENTS, "yes", CURLFORM_END);
    curl_slist* headers = curl_slist_append(nullptr, "Expect:");
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_HTTPPOST, form);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, Discard);
    if (curl_easy_perform(easy) != CURLE_OK) {
      std::fprintf(stderr, "plain upload of %s failed\n", file.c_str());
      std::exit(1);
    }
    curl_easy_cleanup(easy);
    curl_formfree(form);
    curl_slist_free_all(headers);
  }
}

void Report(const char* what, double seconds, double reference, const char* referenceName, double limit) {
  double ratio = seconds / reference;
  std::printf("%-44s %8.3f s   %-22s %8.3f s   ratio %5.2f  (limit %.1f) %s\n", what, seconds, referenceName,
              reference, ratio, limit, ratio <= limit ? "ok" : "OVER");
}

}  // namespace

int main(int argc, char** argv) {
  const int photos = argc > 1 && std::atoi(argv[1]) > 0 ? std::atoi(argv[1]) : 2000;
  const int kilobytes = argc > 2 && std::atoi(argv[2]) > 0 ? std::atoi(argv[2]) : 50;
  const int changed = photos / 10;
  curl_global_init(CURL_GLOBAL_ALL);
  CTarvoImport::Xerces_StartPlatform();

  const fs::path root = fs::temp_directory_path() / ("tarvo-photo-bench-" + std::to_string(::getpid()));
  const fs::path local = root / "locale", shop = root / "negozio", originals = root / "originali", out = root / "out";
  for (const fs::path& dir : {local, shop, originals, out}) fs::create_directories(dir);

  // Photo i: 50 KB of pseudo-random bytes; the shop holds every photo, the changed ones in their
  // previous version (kept in `originals` to put back before each run).
  std::mt19937_64 random(42);
  std::vector<fs::path> changedFiles;
  for (int i = 0; i < photos; ++i) {
    std::string bytes(static_cast<size_t>(kilobytes) * 1024, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    char name[32];
    std::snprintf(name, sizeof name, "foto%05d.jpg", i);
    Write(shop / name, bytes);
    if (i % 10 == 0 && static_cast<int>(changedFiles.size()) < changed) {
      Write(originals / name, bytes);
      bytes[0] ^= 0x5A;
      changedFiles.push_back(local / name);
    }
    Write(local / name, bytes);
  }
  const auto restoreShop = [&] {
    for (const fs::path& f : changedFiles) fs::copy_file(originals / f.filename(), shop / f.filename(), fs::copy_options::overwrite_existing);
  };

  tarvo::test::WebShopServer server("agente", "segreta", shop.string());
  const std::string url = server.Url() + tarvo::test::WebShopServer::kPhotoPath;
  std::printf("photo publishing: %d photos of %d KB, %d changed\n", photos, kilobytes, changed);

  size_t uploaded = 0;
  double procedure = Best(3, [&] { restoreShop(); WarmList(url); server.ClearPhotoLog(); }, [&] {
    CStdioFile log((out / "run.log").string(), CStdioFile::Mode::kWrite);
    CTarvoHttpUpload p;
    p.SetInDir(local.string());
    p.SetOutDir(out.string());
    p.SetHttpServer(server.Url());
    p.SetHttpURL(tarvo::test::WebShopServer::kPhotoPath);
    p.SetHttpUID("agente");
    p.SetHttpPWD("segreta");
    p.SetLogFile(&log);
    p.SetVerbose(false);
    if (p.Run() != 1) {
      std::fprintf(stderr, "the publishing run failed (see %s)\n", (out / "run.log").c_str());
      std::exit(1);
    }
  });
  uploaded = server.PhotoUploads().size();
  double plain = Best(3, [&] { restoreShop(); }, [&] { PlainCurlUploads(url, changedFiles); });
  if (uploaded != changedFiles.size()) {
    std::fprintf(stderr, "the run uploaded %zu photos, expected %zu\n", uploaded, changedFiles.size());
    return 1;
  }
  Report("publishing run (1005)", procedure, plain, "plain libcurl uploads", 2.0);

  std::vector<fs::path> all;
  for (const auto& e : fs::directory_iterator(local)) all.push_back(e.path());
  std::sort(all.begin(), all.end());
  double digest = Best(3, [] {}, [&] {
    for (const fs::path& f : all) CTarvoImport::DigestFile(f.string());
  });
  const std::string md5sum = "cd '" + local.string() + "' && md5sum -- *.jpg > /dev/null";
  double tool = Best(3, [] {}, [&] {
    if (std::system(md5sum.c_str()) != 0) {
      std::fprintf(stderr, "md5sum failed\n");
      std::exit(1);
    }
  });
  Report("folder digest (DigestFile)", digest, tool, "md5sum", 1.5);

  std::error_code ec;
  fs::remove_all(root, ec);
  CTarvoImport::Xerces_StopPlatform();
  curl_global_cleanup();
  return 0;
}
