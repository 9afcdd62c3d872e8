// The driver's remote actions against real servers on loopback: httpupload and httpdownload
// against the web shop, the FTP upload routine against pyftpdlib, and the stop request.
#include <filesystem>

#include "build_info.h"

#include "support/ftp_server.h"
#include "support/web_shop_server.h"
#include "tests/xmlengine/engine_fixture.h"

namespace tarvo::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kSeparator(68, '-');
const char kUpload[] =
    "<httpupload server=\"@httpserver\" url=\"@httpurl\" username=\"@httpusername\" password=\"@httppassword\" "
    "filename=\"@destfolder/*.zip\"/>";

std::string Download(const std::string& name, const std::string& url = "") {
  return "<httpdownload server=\"@httpserver\" url=\"" + (url.empty() ? "/files/" + name : url) +
         "\" username=\"@httpusername\" password=\"@httppassword\" filename=\"" + name + "\"/>";
}

class HttpActions : public testing::Test {
 protected:
  void SetUp() override {
    run.engine.SetHttpServer(server.Url());
    run.engine.SetHttpURL("/upload");
    run.engine.SetHttpUID("agente");
    run.engine.SetHttpPWD("segreta");
  }
  std::string Archive() { return std::filesystem::canonical(run.Work("scambio.zip")).string(); }
  // Points the run at a loopback port where no server listens; returns the port.
  int UseServerThatIsNotThere() {
    int port = WebShopServer().Port();
    run.engine.SetHttpServer("http://127.0.0.1:" + std::to_string(port));
    return port;
  }
  // The error lines of an upload of `file` that failed with `first`, after which the driver stops.
  void ExpectUploadFailed(const testing::Matcher<std::string>& first, const std::string& file) {
    EXPECT_THAT(run.LinesWith(TMS_ERROR), ElementsAre(first, "- Trasferimento file [" + file + "] fallito.",
                                                       "- Impossibile procedere con il trasferimento dati.", kSeparator));
  }

  WebShopServer server;
  DriverRun run;
};

// --- httpupload --------------------------------------------------------------------------------
TEST_F(HttpActions, UploadPostsTheFileAndTheCredentialsInOrder) {
  WriteBytes(run.Work("scambio.zip"), "PK-archivio");
  ASSERT_EQ(1, run.Run(kUpload));
  ASSERT_EQ(1u, server.Uploads().size());
  WebShopServer::Upload up = server.Uploads()[0];
  EXPECT_EQ((std::vector<std::string>{"datafile", "login", "password", "tarvo"}), up.fieldOrder);
  EXPECT_EQ("scambio.zip", up.fileName);
  EXPECT_EQ("PK-archivio", up.fields["datafile"]);
  EXPECT_EQ("agente", up.fields["login"]);
  EXPECT_EQ("segreta", up.fields["password"]);
  EXPECT_EQ(TARVO_PRODUCT_VERSION, up.fields["tarvo"]);
  EXPECT_EQ(std::string(TARVO_PRODUCT_NAME) + "/" + TARVO_PRODUCT_VERSION, up.userAgent);
  EXPECT_FALSE(up.expectHeader);
  auto lines = run.Lines();
  EXPECT_THAT(lines, Contains("+ Caricamento del file [" + Archive() + "] sul server via HTTP."));
  EXPECT_THAT(lines, Contains("OK: file scambio.zip ricevuto"));
  EXPECT_THAT(lines, Contains("- Trasferimento file [" + Archive() + "] completato."));
  EXPECT_TRUE(run.LinesWith(TMS_ERROR).empty());
}

TEST_F(HttpActions, UploadWithoutFileNameFailsBeforeAnyRequest) {
  EXPECT_EQ(0, run.Run("<httpupload server=\"@httpserver\" url=\"@httpurl\"/>"));
  EXPECT_THAT(run.LinesWith(TMS_ERROR), ElementsAre(W("- Il nome del file da trasferire non è stato specificato."),
                                                    "- Impossibile procedere con il trasferimento dati.", kSeparator));
  EXPECT_TRUE(server.Uploads().empty());
}

TEST_F(HttpActions, UploadAnsweredWithAStatusOtherThan200Fails) {
  WriteBytes(run.Work("scambio.zip"), "PK");
  server.FailUploadsWith(302);
  EXPECT_EQ(0, run.Run(kUpload + std::string("\n<execute filename=\"dopo.xml\">X</execute>")));
  ExpectUploadFailed("- ERRORE CURL: il server ha segnalato un errore: codice 302", Archive());
  EXPECT_FALSE(FileExists(run.Work("dopo.xml")));
}

TEST_F(HttpActions, UploadToAServerThatIsNotThereReportsCurlsError) {
  WriteBytes(run.Work("scambio.zip"), "PK");
  int port = UseServerThatIsNotThere();
  EXPECT_EQ(0, run.Run(kUpload));
  ExpectUploadFailed(AllOf(StartsWith("- ERRORE CURL: "), HasSubstr(std::to_string(port))), Archive());
}

TEST_F(HttpActions, UploadOfAMissingFileFailsWithoutReachingTheServer) {
  EXPECT_EQ(0, run.Run("<httpupload server=\"@httpserver\" url=\"@httpurl\" filename=\"manca.zip\"/>"));
  ExpectUploadFailed(StartsWith("- ERRORE CURL: "), "manca.zip");
  EXPECT_TRUE(server.Uploads().empty());
}

TEST_F(HttpActions, StopDuringASlowReplyEndsTheRunWithOneInterruptionLine) {
  WriteBytes(run.Work("scambio.zip"), "PK");
  CEvent stop;
  run.engine.SetEventStop(stop);
  server.SlowUploadReply(5, 300, [&stop] { stop.SetEvent(); });
  EXPECT_EQ(0, run.Run(kUpload + std::string("\n<execute filename=\"dopo.xml\">X</execute>")));
  auto lines = run.Lines();
  EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "Operazione interrotta dall'utente."));
  EXPECT_THAT(lines, testing::Not(Contains("riga 5 della risposta")));
  EXPECT_THAT(run.LinesWith(TMS_ERROR),
              ElementsAre("Operazione interrotta dall'utente.", StartsWith("- ERRORE CURL: "),
                          "- Trasferimento file [" + Archive() + "] fallito.",
                          "- Impossibile procedere con il trasferimento dati.", kSeparator));
  EXPECT_EQ(0, run.env.window.Result());
  EXPECT_FALSE(FileExists(run.Work("dopo.xml")));
}

// --- httpdownload ------------------------------------------------------------------------------
TEST_F(HttpActions, DownloadStoresTheFileAndReportsProgress) {
  std::string archive(2048, 'z');
  server.PutFile("scambio.zip", archive, "application/zip");
  ASSERT_EQ(1, run.Run(Download("scambio.zip")));
  EXPECT_EQ(archive, ReadBytes(run.Work("scambio.zip")));
  EXPECT_THAT(server.Requests(), ElementsAre("/files/scambio.zip?login=agente&password=segreta&tarvo=yes"));
  EXPECT_EQ("Tarvo/1.0", server.LastUserAgent());
  auto lines = run.Lines();
  EXPECT_THAT(lines, Contains("- Trasferimento file scambio.zip via HTTP in corso ..."));
  EXPECT_THAT(lines, Contains(" -- Trasferimento file: 2.00K di 2.00K (100.00% completato)"));
  EXPECT_THAT(lines, Contains("- Content-type: application/zip"));
  EXPECT_THAT(lines, Contains("- Trasferimento file scambio.zip completato"));
}

// Whatever its status, a text reply is the server's message, logged line by line.
TEST_F(HttpActions, DownloadOfAnyTextReplyIsTheServersMessage) {
  server.PutFile("dati.xml", "<exchangedata/>\nRiprovare\n", "text/xml");
  EXPECT_EQ(0, run.Run(Download("dati.xml")));
  auto lines = run.Lines();
  EXPECT_THAT(lines, Contains("- Content-type: text/xml"));
  EXPECT_THAT(lines, Contains("<exchangedata/>"));
  EXPECT_THAT(lines, Contains("Riprovare"));
  EXPECT_THAT(run.LinesWith(TMS_ERROR), ElementsAre("- Trasferimento file dati.xml fallito"));
  EXPECT_TRUE(FileExists(run.Work("dati.xml")));
}

TEST_F(HttpActions, DownloadOfANonTextErrorPageIsStoredAsTheFile) {
  server.PutFile("foto.jpg", "JPEG", "image/jpeg", 404);
  EXPECT_EQ(1, run.Run(Download("foto.jpg")));
  EXPECT_EQ("JPEG", ReadBytes(run.Work("foto.jpg")));
}

TEST_F(HttpActions, DownloadIntoAMissingFolderFailsWithTheSystemError) {
  server.PutFile("scambio.zip", "PK", "application/zip");
  EXPECT_EQ(0, run.Run(Download("manca/scambio.zip", "/files/scambio.zip")));
  EXPECT_THAT(run.LinesWith(TMS_ERROR), ElementsAre("- ERRORE manca/scambio.zip 2 - No such file or directory"));
  EXPECT_TRUE(server.Requests().empty());
}

TEST_F(HttpActions, DownloadOntoAFullDiskReportsTheFileErrorAndTheAbort) {
  server.PutFile("scambio.zip", std::string(1 << 17, 'z'), "application/zip");
  EXPECT_EQ(0, run.Run(Download("/dev/full", "/files/scambio.zip")));
  EXPECT_THAT(run.LinesWith(TMS_ERROR),
              ElementsAre("- ERRORE /dev/full: 28 - Errore di scrittura nel file /dev/full: No space left on device",
                          StartsWith("- ERRORE 23 - "), "- Trasferimento file /dev/full fallito"));
}

TEST_F(HttpActions, DownloadFromAServerThatIsNotThereFails) {
  UseServerThatIsNotThere();
  EXPECT_EQ(0, run.Run(Download("scambio.zip")));
  EXPECT_THAT(run.LinesWith(TMS_ERROR),
              ElementsAre(StartsWith("- ERRORE 7 - "), "- Trasferimento file scambio.zip fallito"));
}

// --- FTP ---------------------------------------------------------------------------------------
class FtpActions : public testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    if (!server.Running(&why)) GTEST_SKIP() << why;
    env.Prepare(engine, EngineEnvironment::Driver(""));
    engine.SetFtpServer("ftp.configurato");
    tarvo::SetCurrentDirectory(env.Work());
    WriteBytes(env.Work("scambio.zip"), "PK-ftp");
  }
  FtpServer server;
  EngineEnvironment env;
  TestEngine engine;
};

TEST_F(FtpActions, FtpElementsAreAcceptedAndTransferNothing) {
  env.Prepare(engine, EngineEnvironment::Driver(
                          "<ftpupload server=\"" + server.Address() +
                          "\" username=\"foto\" password=\"segreta\" filename=\"scambio.zip\"/>\n"
                          "<ftpdownload server=\"" + server.Address() + "\" filename=\"altro.zip\"/>"));
  EXPECT_EQ(1, engine.Run());
  EXPECT_TRUE(env.HasLine("Trasferimento dati completato."));
  EXPECT_TRUE(std::filesystem::is_empty(server.Root()));
}

TEST_F(FtpActions, UploadRoutineSendsTheFileIntoTheFolder) {
  std::filesystem::create_directories(server.RootFile("dati"));
  ASSERT_TRUE(engine.Process_driverfile_FtpUpload(server.Address(), "dati", "foto", "segreta", "scambio.zip"));
  EXPECT_EQ("PK-ftp", ReadBytes(server.RootFile("dati/scambio.zip")));
  EXPECT_THAT(env.Lines(), ElementsAre("- Connessione al server \"" + server.Address() + "\" in corso",
                                       "- Connesso al server: " + server.Address(),
                                       "- Trasferimento file scambio.zip in dati/scambio.zip in corso",
                                       "- File dati scambio.zip trasferito sul server",
                                       "- Disconnesso dal server: " + server.Address()));
}

TEST_F(FtpActions, UploadRoutineThatCannotLogInNamesTheConfiguredServer) {
  EXPECT_FALSE(engine.Process_driverfile_FtpUpload(server.Address(), "", "foto", "sbagliata", "scambio.zip"));
  EXPECT_THAT(env.LinesWith(TMS_ERROR),
              ElementsAre("- Impossibile stabilire una connessione con il server: ftp.configurato", HasSubstr("530")));
}

TEST_F(FtpActions, UploadRoutineReportsAFileThatCannotBeSent) {
  EXPECT_FALSE(engine.Process_driverfile_FtpUpload(server.Address(), "manca/", "foto", "segreta", "scambio.zip"));
  EXPECT_TRUE(env.HasLine("- Trasferimento file scambio.zip in manca/scambio.zip in corso"));
  EXPECT_TRUE(env.HasLine("- Trasferimento file scambio.zip fallita"));
}

}  // namespace
}  // namespace tarvo::test
