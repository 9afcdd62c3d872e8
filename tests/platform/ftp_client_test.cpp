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

// LIST lines of servers without MLSD: the wall clock is kept as the server wrote it.
TEST(FtpListLine, UnixAndDosFormsGiveNameSizeKindAndWallClock) {
  std::tm now{};
  now.tm_year = 126, now.tm_mon = 2, now.tm_mday = 20, now.tm_hour = 12;
  const std::time_t reference = timegm(&now);
  struct Case {
    const char* line;
    bool entry;
    const char* name;
    long long size;
    bool folder;
    int year, month, day, hour, minute;
  };
  const Case cases[] = {
      {"-rw-r--r--   1 foto  foto   4096 Mar 15 09:30 foto uno.jpg", true, "foto uno.jpg", 4096, false, 2026, 2, 15, 9, 30},
      {"-rw-r--r--   1 foto  foto   12 Dec 31 23:59 vecchia.jpg", true, "vecchia.jpg", 12, false, 2025, 11, 31, 23, 59},
      {"drwxr-xr-x   2 foto  foto   4096 Jan  3  2019 archivio", true, "archivio", 4096, true, 2019, 0, 3, 0, 0},
      {"lrwxrwxrwx   1 foto  foto   5 Mar 01 10:00 link.jpg -> a.jpg", true, "link.jpg", 5, false, 2026, 2, 1, 10, 0},
      {"03-15-07  09:30PM              12345 a.jpg", true, "a.jpg", 12345, false, 2007, 2, 15, 21, 30},
      {"03-15-07  12:05AM       <DIR>          foto", true, "foto", 0, true, 2007, 2, 15, 0, 5},
      {"total 12", false, "", 0, false, 0, 0, 0, 0, 0},
      {"drwxr-xr-x   2 foto  foto   4096 Jan  3  2019 ..", false, "", 0, false, 0, 0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.line);
    CFtpFileInfo info;
    std::tm wall{};
    ASSERT_EQ(ParseFtpListLine(c.line, reference, info, wall), c.entry);
    if (!c.entry) continue;
    EXPECT_EQ(info.name, c.name);
    EXPECT_EQ(info.size, c.size);
    EXPECT_EQ(info.isDirectory, c.folder);
    EXPECT_EQ(wall.tm_year + 1900, c.year);
    EXPECT_EQ(wall.tm_mon, c.month);
    EXPECT_EQ(wall.tm_mday, c.day);
    EXPECT_EQ(wall.tm_hour, c.hour);
    EXPECT_EQ(wall.tm_min, c.minute);
  }
}

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
