#include <gtest/gtest.h>

#include "framework/tarvo_import.h"
#include "platform/settings.h"

namespace {
class Probe : public CTarvoImport {
 public:
  int Run() override { return 1; }
  using CTarvoImport::AddDefaultParams;
};

CString Expand(Probe& p, CString text) {
  p.CheckForFilterParams(text);
  return text;
}
}  // namespace

TEST(ExchangeParam, ValueRunsToTheNextSemicolonAndAppendsToTheGivenText) {
  Probe p;
  p.SetExchangeParam("DRVFILE=export.xml;X=1");
  CString v;
  EXPECT_TRUE(p.CheckExchangeParam("DRVFILE=", v));
  EXPECT_EQ(v, "export.xml");
  EXPECT_TRUE(p.CheckExchangeParam("X=", v));
  EXPECT_EQ(v, "export.xml1");  // not cleared first
  EXPECT_FALSE(p.CheckExchangeParam("drvfile=", v));
}

TEST(ExchangeParam, NameAtTheEndGivesTrueAndNothing) {
  Probe p;
  p.SetExchangeParam("X=1;DRVFILE=");
  CString v;
  EXPECT_TRUE(p.CheckExchangeParam("DRVFILE=", v));
  EXPECT_EQ(v, "");
}

TEST(ExchangeParam, NameIsAPlainSubstringSearch) {
  Probe p;
  p.SetExchangeParam("XDRVFILE=a;DRVFILE=b");
  CString v;
  EXPECT_TRUE(p.CheckExchangeParam("DRVFILE=", v));
  EXPECT_EQ(v, "a");
}

TEST(Placeholders, KnownNamesAreReplaced) {
  Probe p;
  p.SetFilterParam("exp_today", "{d '2007-05-31'}");
  EXPECT_EQ(Expand(p, "D >= @exp_today"), "D >= {d '2007-05-31'}");
}

TEST(Placeholders, UnknownNameTakesThePreviousValue) {
  Probe p;
  p.SetFilterParam("a", "1");
  EXPECT_EQ(Expand(p, "@a-@b"), "1-1");
}

TEST(Placeholders, EmptyValueSkipsTheNextCharacter) {
  Probe p;
  p.SetFilterParam("a", "");
  p.SetFilterParam("b", "2");
  EXPECT_EQ(Expand(p, "@a@b"), "@b");
}

TEST(Placeholders, LoneAtSignIsRemoved) {
  Probe p;
  EXPECT_EQ(Expand(p, "price @ 10"), "price  10");
}

TEST(Placeholders, NamesAreCaseSensitiveAndEndAtTheFirstForeignCharacter) {
  Probe p;
  p.SetFilterParam("year", "2026");
  p.SetFilterParam("Year", "X");
  EXPECT_EQ(Expand(p, "@year/@Year.txt"), "2026/X.txt");
}

TEST(Placeholders, ValueHoldingAnAtSignIsExpandedAgain) {
  Probe p;
  p.SetFilterParam("a", "x@b");
  p.SetFilterParam("b", "y");
  EXPECT_EQ(Expand(p, "@a"), "xy");
}

TEST(DefaultParams, ConnectionSettingsAndUserAreTakenWhenRefilled) {
  CUserAdministrator::SetCurrentUser(7, 3, 12);
  Probe p;
  p.SetSrcConfig("src.db");
  p.SetHttpURL("/up");
  CString v;
  ASSERT_TRUE(p.GetFilterParam("srcdsn", v));
  EXPECT_EQ(v, "");  // construction time
  p.AddDefaultParams();
  p.GetFilterParam("srcdsn", v);
  EXPECT_EQ(v, "src.db");
  p.GetFilterParam("httpurl", v);
  EXPECT_EQ(v, "/up");
  p.GetFilterParam("exp_id_agente", v);
  EXPECT_EQ(v, "7");
  p.GetFilterParam("exp_id_deposito", v);
  EXPECT_EQ(v, "12");
  p.GetFilterParam("exp_today", v);
  EXPECT_EQ(v.size(), std::string("{d '2026-01-01'}").size());
  p.GetFilterParam("exp_now", v);
  EXPECT_EQ(v.rfind("{ts '", 0), 0u);
  p.GetFilterParam("month", v);
  EXPECT_EQ(v.size(), 2u);
  CUserAdministrator::SetCurrentUser(0, 0, 0);
}

TEST(FilterParams, SetFilterParamsMergesAndReplaces) {
  Probe p;
  p.SetFilterParam("a", "1");
  p.SetFilterParam("b", "2");
  p.SetFilterParams({{"b", "3"}, {"c", "4"}});
  CString v;
  p.GetFilterParam("a", v);
  EXPECT_EQ(v, "1");
  p.GetFilterParam("b", v);
  EXPECT_EQ(v, "3");
  v = "untouched";
  EXPECT_EQ(p.GetFilterParam("zz", v), 0);
  EXPECT_EQ(v, "untouched");
}
