#include "framework/exchange_factory.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/host_ui.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {
// Records message boxes instead of showing them.
class CapturingUI : public IHostUI {
 public:
  void MessageBox(const CString& text, int) override { boxes.push_back(text); }
  bool AskYesNo(const CString&, bool d) override { return d; }
  bool EditParameters(const CString&, std::vector<HostParam>&) override { return true; }
  std::vector<CString> boxes;
};

struct UIGuard {
  explicit UIGuard(IHostUI* ui) { SetHostUI(ui); }
  ~UIGuard() { SetHostUI(nullptr); }
};
}  // namespace

class FactoryTest : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    db_ = &NewDatabase();
    db_->LoadSchema("esportazione.sql");
  }
  void AddRow(long number, const char* type) {
    db_->Db().ExecuteSQL(
        "INSERT INTO ESPORTAZIONE (NUMERO, DESCRIZIONE, TIPO, PARAMETRI, PARSER, PARSER_FLAG, PARSER_FLAG2, "
        "PARSER_FLAG3) VALUES (?, ?, ?, 'DRVFILE=x.xml', 'ParserArticoli', 4, 5, 6)",
        {static_cast<long long>(number), W("Prova unità"), CString(type)});
  }
  std::unique_ptr<CTarvoImport, void (*)(CTarvoImport*)> Get(long number) {
    CExchangeFactory f(&db_->Db());
    return {f.GetExchangeProcedure(number), [](CTarvoImport* p) { CTarvoImport::Delete(p); }};
  }
  ScratchDatabase* db_ = nullptr;
};

TEST_P(FactoryTest, BothDriverTypesGiveOneEngineWhileUnknownNumbersAndTypesGiveNothing) {
  for (long n : {7L, 8L, 1011L, 0L, -1L, 5000L}) AddRow(n, "custom");
  AddRow(30, "XMLEXPORT");  // the type comparison is case-sensitive
  AddRow(31, "other");
  for (long n : {7L, 8L, 1011L, 0L, -1L, 5000L, 30L, 31L, 999L}) EXPECT_EQ(Get(n), nullptr) << n;
  AddRow(40, "xmlexport");
  AddRow(41, "xmlimport");
  auto a = Get(40), b = Get(41);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(typeid(*a), typeid(*b));
}

TEST_P(FactoryTest, EveryKnownNumberBuiltSoFarIsCreatedWithItsRowCopied) {
  for (const ProcedureEntry& e : KnownProcedures()) {
    AddRow(e.number, "custom");
    auto p = Get(e.number);
    if (!e.create) {
      EXPECT_EQ(p, nullptr) << e.className;
      continue;
    }
    ASSERT_NE(p, nullptr) << e.className;
    EXPECT_EQ(p->GetExchangeParam(), "DRVFILE=x.xml");
    EXPECT_EQ(p->GetStrParser(), "ParserArticoli");
    EXPECT_EQ(p->GetParserFlag(), 4);
    EXPECT_EQ(p->GetParserFlag2(), 5);
    EXPECT_EQ(p->GetParserFlag3(), 6);
    EXPECT_EQ(p->GetDescrizione(), W("Prova unità"));
    EXPECT_TRUE(p->IsKindOfWinThread());
  }
}

TEST_P(FactoryTest, DatabaseErrorIsShownOnceAndGivesNothing) {
  CapturingUI ui;
  UIGuard guard(&ui);
  db_->Db().ExecuteSQL("DROP TABLE ESPORTAZIONE");
  EXPECT_EQ(Get(1002), nullptr);
  ASSERT_EQ(ui.boxes.size(), 1u);
  EXPECT_FALSE(ui.boxes[0].empty());
}

INSTANTIATE_TEST_SUITE_P(Drivers, FactoryTest, testing::ValuesIn(AllDbKinds()), DbKindName);

namespace {
class Probe : public CTarvoImport {
 public:
  int Run() override { return 1; }
};
}  // namespace

TEST(ParserFactory, OnlyAKnownDialogNameTriesTheDatabaseAndItsFailureIsShownAndGivesNothing) {
  CapturingUI ui;
  UIGuard guard(&ui);
  RecordingWindow w;
  CExchangeParserFactory f;
  Probe p;
  p.SetParentWnd(&w);
  p.SetSrcConfig("DRIVER={No Such Driver}");
  EXPECT_EQ(f.GetParser(nullptr, nullptr), nullptr);
  EXPECT_EQ(f.GetParser(&p, nullptr), nullptr);
  p.SetStrParser("parserfatture");
  EXPECT_EQ(f.GetParser(&p, nullptr), nullptr);
  w.Drain();
  EXPECT_TRUE(w.Lines().empty() && ui.boxes.empty()) << "no database opened for an unknown name";
  p.SetStrParser("ParserArticoli");  // the name comparison ignores case
  EXPECT_EQ(f.GetParser(&p, &w), nullptr);
  EXPECT_EQ(ui.boxes.size(), 1u);
  w.Drain();
  ASSERT_EQ(w.Lines().size(), 1u);
  EXPECT_EQ(w.Lines()[0].text.rfind("- Impossibile connettersi al database sorgente: ", 0), 0u);
}
