// The HTTP photo procedures against the loopback web shop: 1005 publishes a folder, 5 brings a
// folder up to date; after each run exactly the changed files have moved, with the lines the
// operator reads. Then the error paths of the list, of single files and of names from the server.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "platform/files.h"
#include "publishing/http_download.h"
#include "publishing/http_upload.h"
#include "support/recording_window.h"
#include "support/test_db.h"
#include "support/web_shop_server.h"

namespace tarvo::test {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class XercesPlatform : public testing::Environment {
 public:
  void SetUp() override { CTarvoImport::Xerces_StartPlatform(); }
  void TearDown() override { CTarvoImport::Xerces_StopPlatform(); }
};
const auto* const kXercesPlatform = testing::AddGlobalTestEnvironment(new XercesPlatform);

void Write(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }
std::string Read(const std::string& path) { return FileExists(path) ? ReadFileBytes(path) : "<assente>"; }

// Files of a folder that a reader could mistake for photos or leftovers (hidden ones included).
std::vector<std::string> FolderNames(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// One run of a procedure against the shop: its result, its plain lines (the phases and the
// per-file lines; progress and reply text are TMS_INFO), the finished notices and the photos
// that went up or came down.
struct RunResult {
  int result;
  std::vector<std::string> lines;
  int finished;
  std::vector<std::string> moved;
};

class HttpPhotos : public testing::Test {
 protected:
  template <class P>
  void Configure(P& p) {
    p.SetInDir(local.Path());
    p.SetOutDir(local.Path());
    p.SetHttpServer(server.Url());
    p.SetHttpURL(WebShopServer::kPhotoPath);
    p.SetHttpUID("agente");
    p.SetHttpPWD("segreta");
    p.SetParentWnd(window.get());
    p.SetEventStop(stop);
    p.SetVerbose(false);
  }
  template <class P>
  RunResult Run() {
    P p;
    Configure(p);
    return Finish(p.Run());
  }
  RunResult Finish(int result) {
    window->Drain();
    RunResult r{result, {}, window->FinishedCount(), server.PhotoUploads()};
    for (const std::string& name : server.PhotoDownloads()) r.moved.push_back(name);
    for (const PostedLine& l : window->Lines())
      if (l.status != TMS_INFO) r.lines.push_back(l.text);
    window = std::make_unique<RecordingWindow>();
    server.ClearPhotoLog();
    return r;
  }
  std::string Local(const std::string& name) const { return local.File(name); }
  std::string Remote(const std::string& name) const { return server.PhotoDir() + "/" + name; }

  TempDir local;
  WebShopServer server;
  std::unique_ptr<RecordingWindow> window = std::make_unique<RecordingWindow>();
  CEvent stop;
};

std::vector<std::string> UploadLines(const std::vector<std::string>& files, const std::string& dir) {
  std::vector<std::string> lines = {
      " - Creazione indice file foto presenti sul computer locale in corso ... ",
      " - Creazione indice file foto presenti sul computer locale terminata",
      " - Download della lista dei file disponibili sul server ... ",
      " -- Content-type: text/xml",
      " - Download della lista dei file disponibili sul terminata ",
      " - Lettura della lista dei file disponibili sul server ... ",
      " - Lettura della lista dei file disponibili sul server terminata ",
      " - Determinazione della lista dei file da aggiornare ... ",
      " - Determinazione della lista dei file da aggiornare terminata ",
      " - Upload dei nuovi file disponibili ... "};
  for (const std::string& f : files) {
    const std::string key = ToLower(f), path = dir + "\\" + f;
    lines.insert(lines.end(), {" -- Upload del file " + key + " ... ", "- Trasferimento file " + path + " via HTTP in corso ...",
                               "- Controllo parametri di connessione ...", "- Trasferimento file " + path + " completato",
                               " -- Upload del file " + key + " terminato"});
  }
  lines.push_back(" - Upload dei nuovi file disponibili terminato ");
  return lines;
}

TEST_F(HttpPhotos, UploadSendsOnlyThePhotosTheShopLacksOrHoldsInAnotherVersion) {
  Write(Local("a.jpg"), "foto a");
  Write(Local("B.PNG"), "foto b");
  Write(Local("c.gif"), "foto c");
  Write(Local("d.jpeg"), "foto d");
  Write(Local("note.txt"), "non una foto");
  Write(Local(".nascosta.jpg"), "nascosta");
  fs::create_directory(Local("cartella.jpg"));

  RunResult first = Run<CTarvoHttpUpload>();
  EXPECT_EQ(1, first.result);
  EXPECT_EQ(1, first.finished);
  EXPECT_THAT(first.lines, ElementsAreArray(UploadLines({"a.jpg", "B.PNG", "c.gif", "d.jpeg"}, local.Path())));
  for (const char* name : {"a.jpg", "B.PNG", "c.gif", "d.jpeg"}) EXPECT_EQ(Read(Local(name)), Read(Remote(name)));
  EXPECT_EQ((std::vector<std::string>{"B.PNG", "a.jpg", "c.gif", "d.jpeg"}), FolderNames(server.PhotoDir()));

  RunResult second = Run<CTarvoHttpUpload>();
  EXPECT_EQ(1, second.result);
  EXPECT_THAT(second.lines, ElementsAreArray(UploadLines({}, local.Path())));
  EXPECT_THAT(second.moved, IsEmpty());

  // Changed and added here, deleted here (stays there), deleted and changed there.
  Write(Local("a.jpg"), "foto a, ritoccata");
  Write(Local("e.png"), "foto e");
  fs::remove(Local("c.gif"));
  fs::remove(Remote("d.jpeg"));
  Write(Remote("B.PNG"), "foto b del negozio");
  RunResult third = Run<CTarvoHttpUpload>();
  EXPECT_EQ(1, third.result);
  EXPECT_THAT(third.lines, ElementsAreArray(UploadLines({"a.jpg", "B.PNG", "d.jpeg", "e.png"}, local.Path())));
  EXPECT_THAT(third.moved, ElementsAre("a.jpg", "B.PNG", "d.jpeg", "e.png"));
  EXPECT_EQ("foto a, ritoccata", Read(Remote("a.jpg")));
  EXPECT_EQ("foto b", Read(Remote("B.PNG")));
  EXPECT_EQ("foto c", Read(Remote("c.gif")));
  EXPECT_TRUE(FileExists(Local("list.xml")));
}

TEST_F(HttpPhotos, RequestsCarryTheCredentialsTheAgentAndTheFormFieldsInOrder) {
  Write(Local("a.jpg"), "foto a");
  Write(Remote("r.jpg"), "foto r");
  ASSERT_EQ(1, Run<CTarvoHttpUpload>().result);
  ASSERT_EQ(1u, server.Uploads().size());
  WebShopServer::Upload up = server.Uploads()[0];
  EXPECT_EQ((std::vector<std::string>{"imgfile", "oper", "login", "password", "tarvo"}), up.fieldOrder);
  EXPECT_EQ("a.jpg", up.fileName);
  EXPECT_EQ("foto a", up.fields["imgfile"]);
  EXPECT_EQ("upload", up.fields["oper"]);
  EXPECT_EQ("agente", up.fields["login"]);
  EXPECT_EQ("segreta", up.fields["password"]);
  EXPECT_EQ("yes", up.fields["tarvo"]);
  EXPECT_EQ("Tarvo/1.0", up.userAgent);
  EXPECT_FALSE(up.expectHeader);

  ASSERT_EQ(1, Run<CTarvoHttpDownload>().result);
  const std::string query = std::string(WebShopServer::kPhotoPath) + "?login=agente&password=segreta&tarvo=yes";
  EXPECT_THAT(server.Requests(), ElementsAre(query + "&oper=list", query + "&oper=list",
                                             query + "&oper=download&file=r.jpg"));
  EXPECT_EQ("Tarvo/1.0", server.LastUserAgent());
}

TEST_F(HttpPhotos, DownloadFetchesOnlyWhatIsMissingOrDiffersAndReportsTheDifference) {
  Write(Remote("p1.jpg"), "foto 1");
  Write(Remote("p2.png"), "foto 2");
  Write(Remote("p3.gif"), "foto 3");
  RunResult first = Run<CTarvoHttpDownload>();
  EXPECT_EQ(1, first.result);
  EXPECT_EQ(1, first.finished);
  EXPECT_THAT(first.lines, Contains("-- File p2.png: file da AGGIORNARE (non esiste)!"));
  EXPECT_THAT(first.moved, ElementsAre("p1.jpg", "p2.png", "p3.gif"));
  for (const char* name : {"p1.jpg", "p2.png", "p3.gif"}) EXPECT_EQ(Read(Remote(name)), Read(Local(name)));

  // Same content under another time is current.
  fs::last_write_time(Local("p1.jpg"), fs::last_write_time(Local("p1.jpg")) - std::chrono::hours(50));
  RunResult second = Run<CTarvoHttpDownload>();
  EXPECT_EQ(1, second.result);
  EXPECT_THAT(second.lines,
              ElementsAre(" - Download della lista dei file disponibili sul server ... ", " -- Content-type: text/xml",
                          " - Download della lista dei file disponibili sul terminata ",
                          " - Lettura della lista dei file disponibili sul server ... ",
                          " - Lettura della lista dei file disponibili sul server terminata ",
                          " - Determinazione della lista dei file da aggiornare ... ",
                          W("-- File p1.jpg: file già aggiornato."), W("-- File p2.png: file già aggiornato."),
                          W("-- File p3.gif: file già aggiornato."),
                          " - Determinazione della lista dei file da aggiornare terminata ",
                          " - Download dei nuovi file disponibili ... ",
                          " - Download dei nuovi file disponibili terminato "));
  EXPECT_THAT(second.moved, IsEmpty());

  // Changed, added and deleted there; changed and added here.
  Write(Remote("p1.jpg"), "foto 1, nuova versione");
  Write(Remote("p4.jpg"), "foto 4");
  fs::remove(Remote("p2.png"));
  Write(Local("p3.gif"), "ritocco locale");
  Write(Local("solo_qui.jpg"), "locale");
  const std::string localDigest = CTarvoImport::DigestFile(Local("p3.gif"));
  const std::string remoteDigest = CTarvoImport::DigestFile(Remote("p3.gif"));
  RunResult third = Run<CTarvoHttpDownload>();
  EXPECT_EQ(1, third.result);
  EXPECT_THAT(third.moved, ElementsAre("p1.jpg", "p3.gif", "p4.jpg"));
  EXPECT_EQ("foto 1, nuova versione", Read(Local("p1.jpg")));
  EXPECT_EQ("foto 3", Read(Local("p3.gif")));
  EXPECT_EQ("foto 2", Read(Local("p2.png")));
  EXPECT_EQ("locale", Read(Local("solo_qui.jpg")));
  auto it = std::find(third.lines.begin(), third.lines.end(), "-- File p3.gif: file da AGGIORNARE (modificato)!");
  ASSERT_NE(third.lines.end(), it);
  EXPECT_EQ("--- hash  locale=" + localDigest + " hash  remoto=" + remoteDigest + ".", it[1]);
  EXPECT_THAT(it[2], testing::MatchesRegex("--- mtime locale=[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} mtime remoto=.*\\."));
  EXPECT_EQ("--- size  locale=14 size  remoto=6.", it[3]);
  EXPECT_THAT(third.lines, Contains(" -- Download del file p4.jpg terminato "));
  EXPECT_THAT(FolderNames(local.Path()), ElementsAre("list.xml", "p1.jpg", "p2.png", "p3.gif", "p4.jpg", "solo_qui.jpg"));
}

// --- Error paths -------------------------------------------------------------------------------

TEST_F(HttpPhotos, ListRequestThatFailsEndsTheRunWithResultZero) {
  const std::string list = local.File("list.xml");
  const std::string failed = "- Trasferimento file " + local.Path() + "\\list.xml fallito";
  struct Case {
    const char* name;
    std::function<void()> arrange;
    std::vector<testing::Matcher<std::string>> expected;
  };
  std::vector<Case> cases = {
      {"plain text", [&] { server.SetListReply("ERRORE: servizio sospeso\nRiprovare\n", "text/plain"); },
       {" -- Content-type: text/plain", "ERRORE: servizio sospeso", "Riprovare", failed}},
      {"not well-formed", [&] { server.SetListReply("<files><file name=\"a.jpg\"></files>", "text/xml"); },
       {" -- Content-type: text/xml", " - Download della lista dei file disponibili sul terminata ",
        " - Lettura della lista dei file disponibili sul server ... ", HasSubstr("list.xml, riga 1")}},
      {"entity expansion without end", [&] {
         server.SetListReply(R"(<!DOCTYPE files [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;"><!ENTITY c "&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;"><!ENTITY d "&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;"><!ENTITY e "&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;"><!ENTITY f "&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;"><!ENTITY g "&f;&f;&f;&f;&f;&f;&f;&f;&f;&f;"><!ENTITY h "&g;&g;&g;&g;&g;&g;&g;&g;&g;&g;">]><files><file name="&h;"/></files>)",
                             "text/xml");
       },
       {" -- Content-type: text/xml", " - Download della lista dei file disponibili sul terminata ",
        " - Lettura della lista dei file disponibili sul server ... ", HasSubstr("list.xml, riga 1"),
        HasSubstr("more than '10000' entity expansions")}},
      {"status 500", [&] { server.FailPhotoRequestsWith(500); },
       {" -- Content-type: text/html", "- ERRORE 500 - il server ha risposto con lo stato HTTP 500", failed}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Write(list, "lista della volta precedente");
    c.arrange();
    RunResult r = Run<CTarvoHttpDownload>();
    EXPECT_EQ(0, r.result);
    EXPECT_EQ(1, r.finished);
    ASSERT_FALSE(r.lines.empty());
    EXPECT_THAT(std::vector<std::string>(r.lines.begin() + 1, r.lines.end()), ElementsAreArray(c.expected));
    EXPECT_THAT(FolderNames(local.Path()), ElementsAre("list.xml")) << "no leftovers";
    server.SetListReply("", "");
    server.FailPhotoRequestsWith(0);
  }
}

TEST_F(HttpPhotos, UnreachableServerEndsTheUploadAfterTheScan) {
  Write(Local("a.jpg"), "foto a");
  int port = WebShopServer().Port();  // a port where nobody listens any more
  CTarvoHttpUpload p;
  Configure(p);
  p.SetHttpServer("http://127.0.0.1:" + std::to_string(port));
  RunResult r = Finish(p.Run());
  EXPECT_EQ(0, r.result);
  EXPECT_EQ(1, r.finished);
  EXPECT_THAT(r.lines, Contains(testing::MatchesRegex("- ERRORE 7 - .*")));
  EXPECT_EQ("- Trasferimento file " + local.Path() + "\\list.xml fallito", r.lines.back());
  EXPECT_THAT(r.lines, Not(Contains(HasSubstr("segreta"))));
}

TEST_F(HttpPhotos, FailedDownloadsKeepTheOldPhotoAndTheRunGoesOn) {
  Write(Remote("cut.jpg"), std::string(200000, 'n'));
  Write(Remote("ok.jpg"), "foto buona");
  Write(Local("cut.jpg"), "vecchia");
  server.CutPhoto("cut.jpg");
  // Listed but gone: the shop answers with its text message.
  server.SetListReply("<files><file name=\"ghost.jpg\" md5=\"00\" mtime=\"x\" size=\"1\"/>"
                      "<file name=\"cut.jpg\" md5=\"00\" mtime=\"x\" size=\"1\"/>"
                      "<file name=\"ok.jpg\" md5=\"00\" mtime=\"x\" size=\"1\"/></files>",
                      "text/xml");
  RunResult r = Run<CTarvoHttpDownload>();
  EXPECT_EQ(1, r.result);
  EXPECT_EQ("vecchia", Read(Local("cut.jpg")));
  EXPECT_EQ("foto buona", Read(Local("ok.jpg")));
  EXPECT_FALSE(FileExists(Local("ghost.jpg")));
  EXPECT_THAT(r.lines, Contains(testing::MatchesRegex("- ERRORE 18 - .*")));
  EXPECT_THAT(r.lines, Contains("- Trasferimento file " + local.Path() + "\\cut.jpg fallito"));
  EXPECT_THAT(r.lines, Contains("ERRORE: file ghost.jpg inesistente"));
  EXPECT_THAT(r.lines, Contains("- Trasferimento file " + local.Path() + "\\ghost.jpg fallito"));
  EXPECT_THAT(FolderNames(local.Path()), ElementsAre("cut.jpg", "list.xml", "ok.jpg"));
}

TEST_F(HttpPhotos, NamesThatLeaveThePhotoFolderAreRefusedAndNeverRequested) {
  TempDir outside;
  const std::string absolute = outside.File("assoluto.jpg");
  server.SetListReply("<files><file name=\"../fuori.jpg\" md5=\"00\" mtime=\"x\" size=\"1\"/>"
                      "<file name=\"" + absolute + "\" md5=\"00\" mtime=\"x\" size=\"1\"/>"
                      "<file name=\"..\\fuori2.jpg\" md5=\"00\" mtime=\"x\" size=\"1\"/></files>",
                      "text/xml");
  fs::create_directory(local.File("foto"));
  CTarvoHttpDownload p;
  Configure(p);
  p.SetOutDir(local.File("foto"));
  RunResult r = Finish(p.Run());
  EXPECT_EQ(1, r.result);
  for (const std::string& name : {std::string("../fuori.jpg"), absolute, std::string("..\\fuori2.jpg")})
    EXPECT_THAT(r.lines, Contains("- Trasferimento file " + local.File("foto") + "\\" + name + " fallito"));
  EXPECT_EQ(1u, server.Requests().size()) << "only the list was requested";
  EXPECT_THAT(FolderNames(local.Path()), ElementsAre("foto"));
  EXPECT_THAT(FolderNames(outside.Path()), IsEmpty());
}

TEST_F(HttpPhotos, ListEntryWithoutSizeForAnExistingFileEndsTheRunAbnormally) {
  Write(Local("a.jpg"), "foto a");
  server.SetListReply("<files><file name=\"a.jpg\" md5=\"00\" mtime=\"2026-01-01 10:00:00\"/></files>", "text/xml");
  CTarvoHttpDownload p;
  Configure(p);
  EXPECT_THROW(p.Run(), tarvo::CException);
  EXPECT_EQ("foto a", Read(Local("a.jpg")));
}

TEST_F(HttpPhotos, EmptyServerIsReportedTwiceForEveryFileAndNothingIsSent) {
  Write(Local("a.jpg"), "foto a");
  CTarvoHttpUpload p;
  Configure(p);
  p.SetHttpServer("");
  EXPECT_FALSE(p.UploadHttpFile(Local("a.jpg")));
  RunResult r = Finish(1);
  EXPECT_THAT(r.lines, ElementsAre("- Trasferimento file " + Local("a.jpg") + " via HTTP in corso ...",
                                   "- Controllo parametri di connessione ...", "- Parametri HTTP: server non specificato",
                                   "- Parametri HTTP: server non specificato",
                                   "- Impossibile effettuare il trasferimento senza tutti i parametri richiesti"));
  EXPECT_THAT(server.Uploads(), IsEmpty());
}

TEST_F(HttpPhotos, UploadOfAFileThatVanishedFailsAlone) {
  Write(Local("a.jpg"), "foto a");
  CTarvoHttpUpload p;
  Configure(p);
  ASSERT_TRUE(p.MakeLocalFileList());
  fs::remove(Local("a.jpg"));
  EXPECT_FALSE(p.UploadHttpFile(Local("a.jpg")));
  RunResult r = Finish(1);
  ASSERT_EQ(5u, r.lines.size());
  EXPECT_EQ("- Trasferimento interrotto", r.lines[3]);
  EXPECT_EQ("- Trasferimento file " + Local("a.jpg") + " fallito!", r.lines[4]);
}

TEST_F(HttpPhotos, APictureThatCannotBeReadEndsTheUploadWhenTheLoopReachesIt) {
  // The fingerprints are computed ahead of the loop: the failure must reach the run, not hang it
  // or pass for a photo the shop already holds.
  Write(Local("a.jpg"), "foto a");
  fs::create_symlink(Local("manca.jpg"), Local("b.jpg"));
  Write(Local("c.jpg"), "foto c");
  CTarvoHttpUpload p;
  Configure(p);
  EXPECT_THROW(p.Run(), CFileException);
  EXPECT_THAT(server.PhotoUploads(), ElementsAre("a.jpg"));
}

TEST_F(HttpPhotos, StopRequestEndsEachProcedureWithoutAHalfWrittenPhoto) {
  // Upload: stopped at the first entry of the scan.
  Write(Local("a.jpg"), "foto a");
  stop.SetEvent();
  RunResult up = Run<CTarvoHttpUpload>();
  EXPECT_EQ(0, up.result);
  EXPECT_EQ(1, up.finished);
  EXPECT_THAT(up.moved, IsEmpty());
  stop.ResetEvent();

  // Download: the stop arrives while the first photo is coming in slowly.
  fs::remove(Local("a.jpg"));
  Write(Remote("lenta.jpg"), std::string(50000, 'l'));
  Write(Remote("seconda.jpg"), "seconda");
  server.SlowPhoto("lenta.jpg", 5, 100, [this] { stop.SetEvent(); });
  RunResult down = Run<CTarvoHttpDownload>();
  EXPECT_EQ(0, down.result);
  EXPECT_EQ(1, down.finished);
  EXPECT_THAT(down.lines, Contains("Operazione interrotta dall'utente."));
  EXPECT_FALSE(FileExists(Local("seconda.jpg")));
  if (FileExists(Local("lenta.jpg"))) {
    EXPECT_EQ(std::string(50000, 'l'), Read(Local("lenta.jpg"))) << "whole or absent";
  }
  for (const std::string& name : FolderNames(local.Path())) EXPECT_THAT(name, Not(HasSubstr(".part")));
}

}  // namespace
}  // namespace tarvo::test
