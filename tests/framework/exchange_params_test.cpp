#include <gtest/gtest.h>

#include <optional>

#include "framework/tarvo_import.h"
#include "platform/settings.h"

namespace {
class Probe : public CTarvoImport {
 public:
  int Run() override { return 1; }
  using CTarvoImport::AddDefaultParams;
};
}  // namespace

TEST(ExchangeParam, ValueRunsToTheNextSemicolonFoundByAPlainCaseSensitiveSearch) {
  auto value = [](const char* params, const char* name) -> std::optional<CString> {
    Probe p;
    p.SetExchangeParam(params);
    CString v;
    return p.CheckExchangeParam(name, v) ? std::optional(v) : std::nullopt;
  };
  EXPECT_EQ(value("DRVFILE=export.xml;X=1", "DRVFILE="), "export.xml");
  EXPECT_EQ(value("DRVFILE=export.xml;X=1", "drvfile="), std::nullopt);
  EXPECT_EQ(value("X=1;DRVFILE=", "DRVFILE="), "");          // at the end: found, nothing
  EXPECT_EQ(value("XDRVFILE=a;DRVFILE=b", "DRVFILE="), "a");  // inside another name
}

TEST(ExchangeParam, ValueIsAppendedToTheGivenText) {
  Probe p;
  p.SetExchangeParam("DRVFILE=export.xml;X=1");
  CString v = "export.xml";
  EXPECT_TRUE(p.CheckExchangeParam("X=", v));
  EXPECT_EQ(v, "export.xml1");
}

struct PlaceholderCase {
  const char* what;
  std::vector<std::pair<CString, CString>> params;  // set in this order
  CString text, expected;
};

class Placeholders : public testing::TestWithParam<PlaceholderCase> {};

TEST_P(Placeholders, AreExpandedInPlace) {
  const PlaceholderCase& c = GetParam();
  Probe p;
  for (const auto& [name, value] : c.params) p.SetFilterParam(name, value);
  CString text = c.text;
  p.CheckForFilterParams(text);
  EXPECT_EQ(text, c.expected) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    FilterParams, Placeholders,
    testing::Values(
        PlaceholderCase{"known name", {{"exp_today", "{d '2007-05-31'}"}}, "D >= @exp_today", "D >= {d '2007-05-31'}"},
        PlaceholderCase{"unknown name takes the previous value", {{"a", "1"}}, "@a-@b", "1-1"},
        PlaceholderCase{"empty value skips the next character", {{"a", ""}, {"b", "2"}}, "@a@b", "@b"},
        PlaceholderCase{"lone at sign removed", {}, "price @ 10", "price  10"},
        PlaceholderCase{"case-sensitive names ending at a foreign character", {{"year", "2026"}, {"Year", "X"}},
                        "@year/@Year.txt", "2026/X.txt"},
        PlaceholderCase{"a value holding an at sign is expanded again", {{"a", "x@b"}, {"b", "y"}}, "@a", "xy"},
        PlaceholderCase{"one value used twice in a row", {{"a", "x@b"}, {"b", "y"}}, "@a@a", "xyxy"},
        PlaceholderCase{"a value starting with an at sign is not expanded again", {{"a", "@a"}}, "@a.", "@a."}));

// --- substitutions that would never end ---

struct EndlessCase {
  const char* what;
  std::vector<std::pair<CString, CString>> params;
  CString text;
  const char* named;  // the parameter the error line names
};

class EndlessPlaceholders : public testing::TestWithParam<EndlessCase> {};

TEST_P(EndlessPlaceholders, EndWithALineNamingTheParameterAndNoPartOfItsValue) {
  const EndlessCase& c = GetParam();
  Probe p;
  for (const auto& [name, value] : c.params) p.SetFilterParam(name, value);
  CString text = c.text;
  try {
    p.CheckForFilterParams(text);
    FAIL() << c.what << ": ended with " << text.size() << " characters";
  } catch (const CEndlessPlaceholder& e) {
    EXPECT_EQ(e.GetErrorMessage(),
              tarvo::StrFormat("- ERRORE: la sostituzione del parametro @%s non termina: il suo valore lo richiama "
                               "senza fine.",
                               c.named))
        << c.what;
  }
}

INSTANTIATE_TEST_SUITE_P(
    FilterParams, EndlessPlaceholders,
    testing::Values(EndlessCase{"folder with an at sign", {{"srcfolder", "IN@2026"}}, "@srcfolder/a.xml", "srcfolder"},
                    EndlessCase{"password with an at sign", {{"httppassword", "p@ss"}}, "pw=@httppassword",
                                "httppassword"},
                    EndlessCase{"value naming itself", {{"a", "x@a"}}, "@a", "a"},
                    EndlessCase{"two values naming each other", {{"a", "x@b"}, {"b", "y@a"}}, "-@a-", "a"}));

TEST(DefaultParams, ConnectionSettingsAndUserAreTakenWhenRefilled) {
  CUserAdministrator::SetCurrentUser(7, 3, 12);
  Probe p;
  p.SetSrcConfig("src.db");
  p.SetHttpURL("/up");
  CString v;
  ASSERT_TRUE(p.GetFilterParam("srcdsn", v));
  EXPECT_EQ(v, "");  // construction time
  p.AddDefaultParams();
  for (const auto& [name, expected] : {std::pair{"srcdsn", "src.db"}, {"httpurl", "/up"}, {"exp_id_agente", "7"},
                                       {"exp_id_deposito", "12"}}) {
    EXPECT_TRUE(p.GetFilterParam(name, v)) << name;
    EXPECT_EQ(v, expected) << name;
  }
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
