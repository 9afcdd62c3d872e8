#include "framework/tarvo_import.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/files.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {
class Probe : public CTarvoImport {
 public:
  int Run() override {
    NotifyFinished(1);
    return 1;
  }
  using CTarvoImport::AddDefaultParams;
};

struct LoggingFixture : testing::Test {
  LoggingFixture() {
    p.SetParentWnd(&window);
    log.Open(dir.File("run.log"), CStdioFile::Mode::kWrite);
    p.SetLogFile(&log);
  }
  std::string FileBytes() {
    log.Flush();
    return ReadFileBytes(dir.File("run.log"));
  }
  TempDir dir;
  RecordingWindow window;
  CStdioFile log;
  Probe p;
};
}  // namespace

TEST_F(LoggingFixture, LogFlattensLineEndsForTheWindowButWritesTheWindows1252FileAsGiven) {
  p.Log("a\r\nb", TMS_INFO);
  p.Log(W("unità"), TMS_NONE);
  window.Drain();
  ASSERT_EQ(window.Lines().size(), 2u);
  EXPECT_EQ(window.Lines()[0].text, "a +b");
  EXPECT_EQ(window.Lines()[0].status, TMS_INFO);
  EXPECT_EQ(window.Lines()[1].text, "unit\xE0");
  EXPECT_EQ(window.Lines()[1].status, TMS_NONE);
  EXPECT_EQ(FileBytes(), "a\r\nb\nunit\xE0\n");
}

TEST_F(LoggingFixture, LogExKeepsPartialLinesUntilALineFeedAndLengthZeroOnlyWritesTheFile) {
  p.LogEx("abc", -1, TMS_INFO);
  window.Drain();
  EXPECT_TRUE(window.Lines().empty());
  p.LogEx("def\r\nghi", -1, TMS_INFO);
  window.Drain();
  ASSERT_EQ(window.Lines().size(), 1u);
  EXPECT_EQ(window.Lines()[0].text, "abcdef");
  p.LogEx("xyz", 2, TMS_INFO);  // only "xy" is taken
  p.LogEx("\n", 1, TMS_INFO);
  window.Drain();
  ASSERT_EQ(window.Lines().size(), 2u);
  EXPECT_EQ(window.Lines()[1].text, "ghixy");
  p.LogEx("whole\n", 0, TMS_INFO);  // length zero: nothing posted, the whole text written
  window.Drain();
  EXPECT_EQ(window.Lines().size(), 2u);
  EXPECT_EQ(FileBytes(), "abcdef\r\nghixy\nwhole\n");
}

TEST(Logging, WithoutWindowLogExLeavesThePartialLineAlone) {
  RecordingWindow window;
  Probe p;
  p.LogEx("abc", -1, TMS_INFO);  // no window: dropped, not kept
  p.SetParentWnd(&window);
  p.LogEx("d\n", -1, TMS_INFO);
  window.Drain();
  ASSERT_EQ(window.Lines().size(), 1u);
  EXPECT_EQ(window.Lines()[0].text, "d");
}

TEST(Logging, DestroyedWindowOnlySuppressesPosting) {
  TempDir dir;
  CStdioFile log(dir.File("l.log"), CStdioFile::Mode::kWrite);
  Probe p;
  p.SetLogFile(&log);
  {
    RecordingWindow w;
    p.SetParentWnd(&w);
  }
  p.Log("still logged", TMS_INFO);
  p.NotifyFinished(1);
  log.Flush();
  EXPECT_EQ(ReadFileBytes(dir.File("l.log")), "still logged\n");
}

TEST(StopEvent, StopIsReportedOnceItIsSet) {
  RecordingWindow w;
  CEvent stop;
  Probe p;
  p.SetParentWnd(&w);
  EXPECT_FALSE(p.CtrlEventStop());  // no event yet
  p.SetEventStop(stop);
  EXPECT_FALSE(p.CtrlEventStop());
  stop.SetEvent();
  EXPECT_TRUE(p.CtrlEventStop());
  w.Drain();
  ASSERT_EQ(w.Lines().size(), 1u);
  EXPECT_EQ(w.Lines()[0].text, "Operazione interrotta dall'utente.");
  EXPECT_EQ(w.Lines()[0].status, TMS_ERROR);
}

TEST(Properties, RegWhereGettersAreCrossedAndStrSpanPadsButNeverCuts) {
  Probe p;
  p.SetInRegWhere("A");
  p.SetOutRegWhere("B");
  EXPECT_EQ(p.GetInRegWhere(), "B");
  EXPECT_EQ(p.GetOutRegWhere(), "A");
  EXPECT_EQ(CTarvoImport::StrSpan("abcdef", 3), "abcdef");
  EXPECT_EQ(CTarvoImport::StrSpan("ab", 4), "ab  ");
}

TEST(Properties, AssignmentSharesPointersButNotParamsOrVerbose) {
  auto a = std::make_unique<Probe>();
  Probe b;
  a->SetInDir("in");
  a->SetExchangeParam("DRVFILE=x");
  a->SetVerbose(false);
  a->SetFilterParam("k", "v");
  a->SetDescrizione("d");
  // Assignment replaces b's database pointers without freeing what b held: that is b's owner's job.
  std::unique_ptr<CDatabase> oldIn(b.GetInDatabase()), oldOut(b.GetOutDatabase());
  b = *a;
  EXPECT_EQ(b.GetInDir(), "in");
  EXPECT_EQ(b.GetDescrizione(), "d");
  EXPECT_EQ(b.GetExchangeParam(), "");
  EXPECT_TRUE(b.IsVerbose());
  CString v;
  EXPECT_EQ(b.GetFilterParam("k", v), 0);
  EXPECT_EQ(b.GetInDatabase(), a->GetInDatabase());
  // Both now point at the same databases; give b fresh ones so each frees its own.
  b.SetInDatabase(new CDatabase);
  b.SetOutDatabase(new CDatabase);
}

class DatabaseOpenTest : public DbTest {};

TEST_P(DatabaseOpenTest, OpeningTwiceLogsOnceAndClosingReportsOnlyOpenDatabases) {
  ScratchDatabase& db = NewDatabase();
  RecordingWindow w;
  Probe p;
  p.SetParentWnd(&w);
  p.SetDestConfig(db.Config());
  EXPECT_FALSE(p.CloseInDatabase());  // never opened: false, silent
  EXPECT_TRUE(p.OpenInDatabase(true));
  EXPECT_TRUE(p.OpenInDatabase(true));
  EXPECT_TRUE(p.IsInDatabaseOpen());
  EXPECT_TRUE(p.CloseInDatabase());
  w.Drain();
  EXPECT_EQ(w.Texts(), (std::vector<std::string>{"Database destinazione aperto.", "Database destinazione chiuso."}));
}

INSTANTIATE_TEST_SUITE_P(Drivers, DatabaseOpenTest, testing::ValuesIn(AllDbKinds()), DbKindName);

TEST(DatabaseOpen, FailuresSayWhichDatabaseAndWhy) {
  RecordingWindow w;
  Probe p;
  p.SetParentWnd(&w);
  p.SetSrcConfig("DRIVER={No Such Driver};X=1");
  EXPECT_FALSE(p.OpenOutDatabase(true));
  p.SetDestConfig("");
  EXPECT_FALSE(p.OpenInDatabase(true));
  delete p.GetOutDatabase();
  p.SetOutDatabase(nullptr);
  EXPECT_FALSE(p.OpenOutDatabase(true));
  w.Drain();
  ASSERT_EQ(w.Lines().size(), 3u);
  EXPECT_EQ(w.Lines()[0].text.rfind("- Impossibile connettersi al database sorgente: ", 0), 0u);
  EXPECT_GT(w.Lines()[0].text.size(), 50u);  // the driver manager's text follows
  EXPECT_EQ(w.Lines()[1].text, "- Impossibile connettersi al database destinazione.");
  EXPECT_EQ(w.Lines()[2].text, "- Impossibile connettersi al database sorgente: database non allocato!!");
  for (const auto& l : w.Lines()) EXPECT_EQ(l.status, TMS_ERROR);
}
