// A host's view of one run: procedure by number from the procedure table, configured, run on a
// worker thread, lines and one finished notification received in order, then destroyed.
#include <gtest/gtest.h>

#include <thread>

#include "framework/exchange_factory.h"
#include "platform/files.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

class RunContractTest : public DbTest {};

TEST_P(RunContractTest, ProcedureByNumberRunsOnAWorkerAndFinishesOnceAfterItsLines) {
  ScratchDatabase& db = NewDatabase();
  db.LoadSchema("esportazione.sql");
  db.LoadSchema("company.sql");
  db.LoadSchema("demo/demo.sql");
  db.Execute("INSERT INTO ESPORTAZIONE (NUMERO, DESCRIZIONE, TIPO) VALUES (1008, 'Solvar', 'custom')");
  TempDir out;
  CStdioFile log(out.File("run.log"), CStdioFile::Mode::kWrite);
  RecordingWindow window;
  CEvent stop;

  CExchangeFactory factory(&db.Db());
  CTarvoImport* p = factory.GetExchangeProcedure(1008);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->GetDescrizione(), "Solvar");
  p->SetSrcConfig(db.Config());
  p->SetDestConfig(db.Config());
  p->SetOutDir(out.Path());
  p->SetParentWnd(&window);
  p->SetEventStop(stop);
  p->SetLogFile(&log);
  p->SetVerbose(false);
  int result = -5;
  std::thread worker([&] { result = p->Run(); });
  ASSERT_TRUE(window.WaitFinished());
  worker.join();
  p->Delete();

  EXPECT_EQ(result, 1);
  EXPECT_EQ(window.Result(), 1);
  EXPECT_EQ(window.FinishedCount(), 1);
  ASSERT_FALSE(window.Lines().empty());
  EXPECT_EQ(window.Lines().front().text, "Database sorgente aperto.");
  EXPECT_EQ(window.Lines().back().text, "Database sorgente chiuso.");
  EXPECT_TRUE(window.HasLine("Operazione completata."));
  // The log file holds the same lines in the same order, one per line.
  log.Flush();
  CString expected;
  for (const auto& l : window.Lines()) expected += l.text + "\n";
  EXPECT_EQ(ReadFileBytes(out.File("run.log")), expected);
  EXPECT_TRUE(FileExists(out.File("articoli.txt")));
}

INSTANTIATE_TEST_SUITE_P(Drivers, RunContractTest, testing::ValuesIn(AllDbKinds()), DbKindName);
