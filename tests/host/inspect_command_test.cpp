// `tarvo-exchange inspect` as an operator runs it: its output and exit code.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "support/subprocess.h"
#include "support/test_db.h"

namespace {
using tarvo::test::ProcessResult;
using tarvo::test::RunProcess;

ProcessResult Inspect(std::vector<std::string> args) {
  args.insert(args.begin(), {TARVO_HOST_EXE, "inspect"});
  return RunProcess(args, {}, {}, {});
}
bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
const std::string kOrder = std::string(TARVO_TEST_DATA_DIR) + "/solvar/ordini/07000005.ord";

TEST(InspectCommand, AGoodFileIsShownFieldByFieldAndExitsWith0) {
  ProcessResult r = Inspect({kOrder});
  EXPECT_EQ(r.exit_code, 0) << r.out << r.err;
  EXPECT_TRUE(Contains(r.out, ": layout solvar-ordini")) << r.out;
  EXPECT_TRUE(Contains(r.out, "also fits the name: pellor-ordini")) << r.out;
  EXPECT_TRUE(Contains(r.out, "    452    5  SCONTO                   |00000|  0.00")) << r.out;
  EXPECT_TRUE(Contains(r.out, "Risma di carta A4 80 g/m²")) << "shown in UTF-8";
  EXPECT_TRUE(Contains(r.out, "5 records, 0 flagged (layout solvar-ordini)")) << r.out;
}

TEST(InspectCommand, FlaggedRecordsExitWith1AndAnUnknownLayoutListsTheCatalogue) {
  tarvo::test::TempDir dir;
  const std::string bad = dir.File("clienti.txt");
  tarvo::WriteFileBytes(bad, "000101Alimentari Rossi\r\n");
  ProcessResult r = Inspect({bad});
  EXPECT_EQ(r.exit_code, 1) << r.out << r.err;
  EXPECT_TRUE(Contains(r.out, "record 1 (record), 22 characters -- FLAGGED")) << r.out;
  EXPECT_TRUE(Contains(r.out, "! 22 characters, the layout has 181")) << r.out;

  r = Inspect({kOrder, "--layout", "nessuno"});
  EXPECT_EQ(r.exit_code, 64);
  EXPECT_TRUE(Contains(r.err, "no layout \"nessuno\"")) << r.err;
  EXPECT_TRUE(Contains(r.out, "pellor-articoli")) << r.out;

  EXPECT_EQ(Inspect({dir.File("assente.ord")}).exit_code, 2);
}

}  // namespace
