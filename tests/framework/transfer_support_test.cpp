// The transfer callbacks and the file digest of the procedure base.
#include <gtest/gtest.h>

#include "framework/tarvo_import.h"
#include "platform/files.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {
class Probe : public CTarvoImport {
 public:
  int Run() override { return 1; }
};

struct TransferCallbacks : testing::Test {
  TransferCallbacks() { p.SetParentWnd(&window); }
  std::vector<std::string> Texts() {
    window.Drain();
    return window.Texts();
  }
  RecordingWindow window;
  Probe p;
  TempDir dir;
};

TEST_F(TransferCallbacks, ProgressShowsDownloadedKilobytesOfTheKnownLengthAndIsSilentBeforeTheFirstByte) {
  EXPECT_EQ(0, CTarvoImport::ProgressCallback(&p, 0, 0, 0, 0));
  EXPECT_EQ(0, CTarvoImport::ProgressCallback(&p, 1000, 0, 5000, 2500));  // uploading only
  EXPECT_EQ(0, CTarvoImport::ProgressCallback(&p, 0, 12800, 0, 0));
  EXPECT_EQ(0, CTarvoImport::ProgressCallback(&p, 4096, 1024, 0, 0));
  EXPECT_EQ((std::vector<std::string>{" -- Trasferimento file: 12.50K di [??]",
                                      " -- Trasferimento file: 1.00K di 4.00K (25.00% completato)"}),
            Texts());
  EXPECT_EQ(TMS_INFO, window.Lines()[0].status);
}

TEST_F(TransferCallbacks, ResponseIsLoggedLineByLine) {
  const char reply[] = "OK riga 1\r\nriga";
  EXPECT_EQ(sizeof reply - 1, CTarvoImport::ResponseCallback(const_cast<char*>(reply), 1, sizeof reply - 1, &p));
  const char rest[] = " 2\n";
  EXPECT_EQ(3u, CTarvoImport::ResponseCallback(const_cast<char*>(rest), 3, 1, &p));
  EXPECT_EQ((std::vector<std::string>{"OK riga 1", "riga 2"}), Texts());
}

TEST_F(TransferCallbacks, ResponseAfterStopRequestAbortsWithOneInterruptionLine) {
  CEvent stop;
  p.SetEventStop(stop);
  stop.SetEvent();
  char block[] = "dati\n";
  EXPECT_EQ(0u, CTarvoImport::ResponseCallback(block, 1, 5, &p));
  auto texts = Texts();
  ASSERT_EQ(1u, texts.size());
  EXPECT_EQ("Operazione interrotta dall'utente.", texts[0]);
  EXPECT_EQ(TMS_ERROR, window.Lines()[0].status);
}

TEST_F(TransferCallbacks, WriteStoresTheBytesAndReturnsTheirCount) {
  CStdioFile file(dir.File("x.bin"), CStdioFile::Mode::kWrite);
  char data[] = {'a', '\0', 'b', 'c'};
  EXPECT_EQ(4u, CTarvoImport::WriteCallback(data, 2, 2, &file));
  file.Close();
  EXPECT_EQ(std::string(data, 4), ReadFileBytes(dir.File("x.bin")));
}

TEST_F(TransferCallbacks, WriteToAFullDeviceThrowsTheFileError) {
  CStdioFile file("/dev/full", CStdioFile::Mode::kWrite);
  std::string block(1 << 16, 'x');  // larger than the stream buffer, so the write reaches the device
  try {
    CTarvoImport::WriteCallback(block.data(), 1, block.size(), &file);
    FAIL() << "no exception";
  } catch (const CFileException& e) {
    EXPECT_EQ("/dev/full", e.Path());
    EXPECT_EQ(ENOSPC, e.Cause());
  }
}

TEST(DigestFile, IsUpperCaseHexWithoutSeparatorsOfTheWholeFile) {
  TempDir dir;
  for (const auto& [bytes, digest] : {std::pair<std::string, const char*>{"", "D41D8CD98F00B204E9800998ECF8427E"},
                                      {"The quick brown fox jumps over the lazy dog", "9E107D9D372BB6826BD81D3542A419D6"},
                                      {std::string(1 << 20, 'a'), "7202826A7791073FE2787F0C94603278"}}) {
    WriteFileBytes(dir.File("foto.jpg"), bytes);
    EXPECT_EQ(digest, CTarvoImport::DigestFile(dir.File("foto.jpg"))) << bytes.size() << " bytes";
  }
  EXPECT_ANY_THROW(CTarvoImport::DigestFile("/nessuna/cartella/foto.jpg"));
}

}  // namespace
