#include "platform/decimal.h"

#include <gtest/gtest.h>

#include "platform/domain.h"
#include "platform/errors.h"
#include "platform/settings.h"

TEST(Decimal, ReadsTextKeepingItsDecimals) {
  EXPECT_EQ(Decimal(CString("1234.50")).ToString(), "1234.50");
  EXPECT_EQ(Decimal(CString(" -0,25 ")).ToString(), "-0.25");
  EXPECT_EQ(Decimal(CString("1.234,5")).ToString(), "1234.5");  // Italian grouping and comma
  EXPECT_EQ(Decimal(CString("7")).ToString(), "7");
  EXPECT_EQ(Decimal(CString("0.1234567894")).ToString(), "0.123456789");  // rounded to 9 decimals
}

TEST(Decimal, RoundsHalvesAwayFromZero) {
  EXPECT_EQ(Decimal(CString("2.345")).Round3(2).ToString(), "2.35");
  EXPECT_EQ(Decimal(CString("-2.345")).Round3(2).ToString(), "-2.35");
  EXPECT_EQ(Decimal(CString("2.344")).Round3(2).ToString(), "2.34");
  EXPECT_EQ(Decimal(CString("0.5")).Round3(0).ToString(), "1");
  EXPECT_EQ(Decimal(CString("-0.004")).Round3(2).ToString(), "0.00");  // no negative zero
  EXPECT_EQ(Decimal(1.005).Round3(2).ToString(), "1.01");  // from the double's shortest digits
}

TEST(Decimal, FormatsWithFixedOrItalianSeparators) {
  Decimal d(CString("-1234567.891"));
  EXPECT_EQ(d.ToString2(2, false), "-1234567.89");
  EXPECT_EQ(d.ToString2(2, true), "-1.234.567,89");
  EXPECT_EQ(d.ToString2(0, true), "-1.234.568");
  EXPECT_EQ(Decimal(CString("0.05")).ToString2(4, false), "0.0500");
  EXPECT_EQ(Decimal(0).Round3(2).ToString2(Decimal::kAllDecimals, false), "0.00");  // a rounded zero keeps them
  EXPECT_EQ(Decimal(0).ToString2(Decimal::kAllDecimals, false), "0");
}

TEST(Decimal, ArithmeticIsExact) {
  Decimal a(CString("0.1")), b(CString("0.2"));
  EXPECT_EQ(a + b, Decimal(CString("0.3")));
  EXPECT_EQ((a + b).ToString(), "0.3");
  Decimal price(CString("19.99")), qty(CString("3"));
  EXPECT_EQ((price * qty).ToString(), "59.97");
  EXPECT_EQ((Decimal(CString("22")) / Decimal(100)).Round3(2).ToString(), "0.22");
  EXPECT_EQ((Decimal(10) / Decimal(3)).ToString2(4, false), "3.3333");
  EXPECT_LT(Decimal(CString("-1")), Decimal(0));
  EXPECT_DOUBLE_EQ(Decimal(CString("12.5")).ToDouble(), 12.5);
  EXPECT_EQ(Decimal(CString("12.5")).ToInt64(), 13);
}

TEST(Decimal, BadTextAndDivisionByZeroAreInputErrors) {
  for (const char* bad : {"", "abc", "1.2.3x", "-", "12,5e3"}) {
    EXPECT_FALSE(Decimal::Parse(bad).has_value()) << bad;
  }
  try {
    Decimal d{CString("dieci")};
    FAIL();
  } catch (const tarvo::CException& e) {
    EXPECT_EQ(e.Kind(), tarvo::ErrorKind::kInput);
    EXPECT_EQ(e.GetErrorMessage(), "Numero non valido: 'dieci'");
  }
  EXPECT_THROW(Decimal(1) / Decimal(0), tarvo::CException);
}

TEST(Decimal, PrecisionsComeFromTheConfiguration) {
  CConfigAdministrator::Clear();
  EXPECT_EQ(CConfigAdministrator::GetPrecisionePrezzi(), 2);
  CConfigAdministrator::SetKey("precisione/prezzi", "4");
  CConfigAdministrator::SetKey("precisione/totali", "0");
  EXPECT_EQ(CConfigAdministrator::GetPrecisionePrezzi(), 4);
  EXPECT_EQ(CConfigAdministrator::GetPrecisioneTotali(), 0);
  EXPECT_EQ(CConfigAdministrator::GetParam("precisione/totali"), "0");
  EXPECT_EQ(Decimal(CString("1.23456")).Round3(CConfigAdministrator::GetPrecisionePrezzi()).ToString(), "1.2346");
  CConfigAdministrator::Clear();
}

TEST(DomainClass, FilterParamDoublesSingleQuotes) {
  EXPECT_EQ(CDomainClass::SetFilterParam("L'Aquila"), "L''Aquila");
  EXPECT_EQ(CDomainClass::SetFilterParam("''"), "''''");
  EXPECT_EQ(CDomainClass::SetFilterParam("Roma"), "Roma");
}
