// The FTP photo upload and download against pyftpdlib on loopback, run in a time zone other than
// UTC: once against a server that lists with MLSD (UTC) in active mode, once against an older
// server without MLSD whose LIST shows its own wall clock in another zone, in passive mode.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <utime.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "platform/files.h"
#include "platform/host_ui.h"
#include "publishing/ftp_download.h"
#include "publishing/ftp_upload.h"
#include "support/ftp_server.h"
#include "support/recording_window.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

std::string Photo(const std::string& name) { return std::string(TARVO_TEST_DATA_DIR) + "/photos/" + name; }

std::set<std::string> FilesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder)) names.insert(e.path().filename().string());
  return names;
}

void SetTime(const std::string& path, std::time_t when) {
  struct utimbuf t {when, when};
  ASSERT_EQ(::utime(path.c_str(), &t), 0) << path;
}

std::time_t TimeOf(const std::string& path) {
  struct stat st {};
  ::stat(path.c_str(), &st);
  return st.st_mtime;
}

// Answers every question with Yes and sets the stop event while it does.
class StopOnQuestion : public IHostUI {
 public:
  explicit StopOnQuestion(CEvent& stop) : stop_(stop) {}
  void MessageBox(const CString&, int) override {}
  bool AskYesNo(const CString&, bool) override {
    ++questions;
    stop_.SetEvent();
    return true;
  }
  bool EditParameters(const CString&, std::vector<HostParam>&) override { return true; }
  int questions = 0;

 private:
  CEvent& stop_;
};

struct ServerKind {
  const char* name;
  bool mlsd;
  bool passive;
};

class FtpPhotoTest : public testing::TestWithParam<ServerKind> {
 protected:
  static void SetUpTestSuite() {
    // Local times of Rome; the LIST server keeps Tokyo's.
    ::setenv("TZ", "Europe/Rome", 1);
    ::tzset();
  }
  void SetUp() override {
    std::string why;
    if (!server_.Running(&why)) GTEST_SKIP() << why;
    ::mkdir(server_.RootFile("foto").c_str(), 0777);
  }

  template <class Procedure>
  int Run(const std::string& folder, std::vector<std::string>* lines = nullptr, const CString& password = "segreta",
          const CString& address = {}, bool verbose = false) {
    Procedure p;
    RecordingWindow window;
    p.SetParentWnd(&window);
    p.SetVerbose(verbose);
    p.SetEventStop(stop_);
    p.SetInDir(folder);
    p.SetFtpServer(address.empty() ? server_.Address() : address);
    p.SetFtpUID("foto");
    p.SetFtpPWD(password);
    p.SetFtpFolder("\\foto");
    if (GetParam().passive) p.SetFilterParam("ftp_passive", "1");
    int result = p.Run();
    EXPECT_TRUE(window.WaitFinished());
    EXPECT_EQ(window.Result(), result);
    if (lines) *lines = window.Texts();
    for (const std::string& line : window.Texts()) EXPECT_EQ(line.find(password), std::string::npos) << line;
    return result;
  }
  static bool Has(const std::vector<std::string>& lines, const std::string& text) {
    return std::find(lines.begin(), lines.end(), text) != lines.end();
  }
  std::string Remote(const std::string& name) const { return server_.RootFile("foto/" + name); }

  FtpServer server_{"foto", "segreta", FtpServerOptions{GetParam().mlsd, GetParam().mlsd ? "" : "Asia/Tokyo"}};
  TempDir local_;
  TempDir mirror_;
  CEvent stop_;
};

TEST_P(FtpPhotoTest, UploadAndDownloadMirrorChangesAndDeletionsOnBothSides) {
  std::vector<std::string> lines;
  std::filesystem::copy_file(Photo("b.jpg"), local_.File("a.jpg"));
  std::filesystem::copy_file(Photo("foto.png"), local_.File("foto.png"));
  const std::time_t past = std::time(nullptr) - 3600;
  SetTime(local_.File("a.jpg"), past);
  SetTime(local_.File("foto.png"), past);

  ASSERT_EQ(Run<CTarvoFtpUpload>(local_.Path(), &lines), 1);
  EXPECT_EQ(FilesIn(server_.RootFile("foto")), (std::set<std::string>{"a.jpg.jpg", "foto.png.jpg"}));
  EXPECT_TRUE(Has(lines, " - Upload file foto terminato: caricati 2 di 2 file"));
  EXPECT_EQ(FilesIn(local_.Path()), (std::set<std::string>{"a.jpg", "foto.png"})) << "thumbnails removed";
  EXPECT_EQ(ReadFileBytes(Remote("foto.png.jpg")).substr(0, 3), "\xFF\xD8\xFF") << "a JPEG";

  // Unchanged photos stay; a photo newer than its thumbnail (the server's time read in the right
  // zone) goes again; a deleted photo's thumbnail is deleted; a new one is added.
  ASSERT_EQ(Run<CTarvoFtpUpload>(local_.Path(), &lines), 1);
  EXPECT_TRUE(Has(lines, " - Nessuna foto articolo da caricare.")) << testing::PrintToString(lines);
  SetTime(Remote("a.jpg.jpg"), past);
  SetTime(local_.File("a.jpg"), past + 60);
  std::filesystem::remove(local_.File("foto.png"));
  std::filesystem::copy_file(Photo("small.jpg"), local_.File("nuova.jpg"));
  ASSERT_EQ(Run<CTarvoFtpUpload>(local_.Path(), &lines), 1);
  EXPECT_TRUE(Has(lines, " - 2 foto articolo da caricare.")) << testing::PrintToString(lines);
  EXPECT_EQ(FilesIn(server_.RootFile("foto")), (std::set<std::string>{"a.jpg.jpg", "nuova.jpg.jpg"}));

  // The download fetches what the mirror lacks, stamps it with the server's time and deletes what
  // the server no longer holds.
  WriteFileBytes(mirror_.File("vecchia.jpg"), "OLD");
  ASSERT_EQ(Run<CTarvoFtpDownload>(mirror_.Path(), &lines), 1);
  EXPECT_TRUE(Has(lines, " - Download file foto terminato: scaricati 2 di 2 file"));
  EXPECT_EQ(FilesIn(mirror_.Path()), (std::set<std::string>{"a.jpg.jpg", "nuova.jpg.jpg"}));
  EXPECT_EQ(ReadFileBytes(mirror_.File("a.jpg.jpg")), ReadFileBytes(Remote("a.jpg.jpg")));
  EXPECT_EQ(TimeOf(mirror_.File("a.jpg.jpg")), TimeOf(Remote("a.jpg.jpg")));

  ASSERT_EQ(Run<CTarvoFtpDownload>(mirror_.Path(), &lines), 1);
  EXPECT_TRUE(Has(lines, " - Nessuna foto articolo da scaricare.")) << testing::PrintToString(lines);
  // A server file changed a minute later comes again; a local copy newer than the server's stays.
  const std::time_t later = TimeOf(Remote("a.jpg.jpg")) + 60;
  SetTime(Remote("a.jpg.jpg"), later);
  SetTime(mirror_.File("nuova.jpg.jpg"), TimeOf(Remote("nuova.jpg.jpg")) + 60);
  ASSERT_EQ(Run<CTarvoFtpDownload>(mirror_.Path(), &lines), 1);
  EXPECT_TRUE(Has(lines, " - Download file foto terminato: scaricati 1 di 1 file")) << testing::PrintToString(lines);
  EXPECT_EQ(TimeOf(mirror_.File("a.jpg.jpg")), later);
}

INSTANTIATE_TEST_SUITE_P(Servers, FtpPhotoTest,
                         testing::Values(ServerKind{"MlsdActive", true, false}, ServerKind{"ListPassive", false, true}),
                         [](const testing::TestParamInfo<ServerKind>& info) { return info.param.name; });

// --- error paths ---

TEST_P(FtpPhotoTest, FailuresToConnectOrToReadTheFolderEndTheRunAndDeleteNothing) {
  std::vector<std::string> lines;
  EXPECT_EQ(Run<CTarvoFtpUpload>(local_.Path(), &lines, "sbagliata"), 0);
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0], "Connessione al server \"" + server_.Address() + "\" in corso");
  EXPECT_EQ(lines[1].rfind("ERRORE connessione: ", 0), 0u) << lines[1];
  WriteFileBytes(mirror_.File("keep.jpg"), "KEEP");
  EXPECT_EQ(Run<CTarvoFtpDownload>(mirror_.Path(), &lines, "segreta", "127.0.0.1:1"), 0);
  EXPECT_EQ(lines.back().rfind("ERRORE connessione: ", 0), 0u) << lines.back();
  EXPECT_TRUE(FileExists(mirror_.File("keep.jpg")));

  // A local folder that cannot be read is no empty folder: nothing is deleted on the server.
  WriteFileBytes(Remote("tenuta.jpg.jpg"), "KEEP");
  EXPECT_EQ(Run<CTarvoFtpUpload>(local_.File("manca"), &lines), 0);
  EXPECT_TRUE(FileExists(Remote("tenuta.jpg.jpg")));
}

TEST_P(FtpPhotoTest, APhotoThatIsNoImageIsReportedAndTheRunGoesOnUntilStopped) {
  std::vector<std::string> lines;
  WriteFileBytes(local_.File("0nota.jpg"), "not an image");
  std::filesystem::copy_file(Photo("small.jpg"), local_.File("1buona.jpg"));
  std::filesystem::copy_file(Photo("b.jpg"), local_.File("2altra.jpg"));
  ASSERT_EQ(Run<CTarvoFtpUpload>(local_.Path(), &lines), 1);
  EXPECT_TRUE(Has(lines, " - Upload file foto 0nota.jpg ERRORE!\a"));
  EXPECT_TRUE(Has(lines, " - Upload file foto terminato: caricati 2 di 3 file"));
  EXPECT_FALSE(FileExists(local_.File("0nota.jpg.jpg")));
  EXPECT_EQ(FilesIn(server_.RootFile("foto")), (std::set<std::string>{"1buona.jpg.jpg", "2altra.jpg.jpg"}));

  // Interactive: the question after the failure is where the user stops; nothing more moves.
  std::filesystem::remove_all(server_.RootFile("foto"));
  ::mkdir(server_.RootFile("foto").c_str(), 0777);
  StopOnQuestion ui(stop_);
  SetHostUI(&ui);
  int result = Run<CTarvoFtpUpload>(local_.Path(), &lines, "segreta", {}, true);
  SetHostUI(nullptr);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(ui.questions, 1);
  EXPECT_TRUE(Has(lines, "Operazione interrotta dall'utente."));
  EXPECT_TRUE(FilesIn(server_.RootFile("foto")).empty());
}

}  // namespace
