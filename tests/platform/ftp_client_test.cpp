// The FTP client against pyftpdlib on loopback.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "platform/files.h"
#include "platform/ftp_client.h"
#include "support/ftp_server.h"

namespace tarvo {
namespace {

using test::FtpServer;
using test::TempDir;

class FtpClientTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string why;
    if (!server_.Running(&why)) GTEST_SKIP() << why;
    client_.SetServer(server_.Address());
    client_.SetUserName("foto");
    client_.SetPassword("segreta");
  }
  FtpServer server_;
  CFtpClient client_;
  TempDir local_;
};

// Every transfer runs in passive and in active mode.
class FtpTransferTest : public FtpClientTest, public testing::WithParamInterface<bool> {};

TEST_P(FtpTransferTest, PutListGetAndDeleteOnOneConnection) {
  client_.SetPassive(GetParam());
  ASSERT_TRUE(client_.Open()) << client_.GetLastErrorText();
  ::mkdir(server_.RootFile("foto").c_str(), 0777);
  WriteFileBytes(local_.File("a.jpg"), "JPEGDATA");
  ASSERT_TRUE(client_.PutFile(local_.File("a.jpg"), "foto/a.jpg")) << client_.GetLastErrorText();
  EXPECT_EQ("JPEGDATA", ReadFileBytes(server_.RootFile("foto/a.jpg")));

  std::vector<CFtpFileInfo> entries;
  ASSERT_TRUE(client_.ListFolder("", entries)) << client_.GetLastErrorText();
  ASSERT_EQ(1u, entries.size()) << "no dot entries";
  EXPECT_EQ("foto", entries[0].name);
  EXPECT_TRUE(entries[0].isDirectory);
  ASSERT_TRUE(client_.ListFolder("foto", entries)) << client_.GetLastErrorText();
  ASSERT_EQ(1u, entries.size());
  EXPECT_EQ("a.jpg", entries[0].name);
  EXPECT_EQ(8, entries[0].size);
  EXPECT_FALSE(entries[0].isDirectory);
  EXPECT_LE(std::abs(entries[0].modified - std::time(nullptr)), 60);

  ASSERT_TRUE(client_.GetFile("foto/a.jpg", local_.File("b.jpg"))) << client_.GetLastErrorText();
  EXPECT_EQ("JPEGDATA", ReadFileBytes(local_.File("b.jpg")));

  ASSERT_TRUE(client_.DeleteFile("foto/a.jpg")) << client_.GetLastErrorText();
  EXPECT_FALSE(FileExists(server_.RootFile("foto/a.jpg")));
  client_.Close();
  EXPECT_FALSE(client_.IsOpen());
}

INSTANTIATE_TEST_SUITE_P(Modes, FtpTransferTest, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& info) { return info.param ? "Passive" : "Active"; });

// --- error paths ---

TEST_F(FtpClientTest, WrongPasswordFailsToOpenWithServerText) {
  client_.SetPassword("sbagliata");
  EXPECT_FALSE(client_.Open());
  EXPECT_FALSE(client_.IsOpen());
  EXPECT_NE(client_.GetLastErrorText().find("530"), std::string::npos) << client_.GetLastErrorText();
}

TEST_F(FtpClientTest, MissingFilesOnEitherSideAreNotTransferredAndNothingIsOverwritten) {
  ASSERT_TRUE(client_.Open());
  WriteFileBytes(local_.File("keep.jpg"), "OLD");
  EXPECT_FALSE(client_.GetFile("nope.jpg", local_.File("keep.jpg")));
  EXPECT_FALSE(client_.GetLastErrorText().empty());
  EXPECT_EQ("OLD", ReadFileBytes(local_.File("keep.jpg")));
  EXPECT_FALSE(FileExists(local_.File("keep.jpg.part")));
  EXPECT_FALSE(client_.DeleteFile("nope.jpg"));

  EXPECT_FALSE(client_.PutFile(local_.File("none.jpg"), "none.jpg"));
  EXPECT_NE(client_.GetLastErrorText().find("none.jpg"), std::string::npos);
  EXPECT_FALSE(FileExists(server_.RootFile("none.jpg")));
}

}  // namespace
}  // namespace tarvo
