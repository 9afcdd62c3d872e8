#include "partners/fixed_width.h"

#include <gtest/gtest.h>

#include <array>

#include "platform/files.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::partner;
using EF = EFieldFormat;

// --- writing one field: every format, its padding, cutting and number rules ----------------------
struct FieldCase {
  const char* what;
  CFieldSpec field;
  CString value;
  CString expected;
};

class FormatFieldTest : public testing::TestWithParam<FieldCase> {};

TEST_P(FormatFieldTest, WritesTheExpectedBytes) {
  const FieldCase& c = GetParam();
  EXPECT_EQ(FormatField(c.field, c.value), c.expected) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Formats, FormatFieldTest,
    testing::Values(
        FieldCase{"short text padded right", {"t", 0, 5}, "AB", "AB   "},
        FieldCase{"long text cut", {"t", 0, 2}, "ABCDEF", "AB"},
        FieldCase{"empty text is blanks", {"t", 0, 3}, "", "   "},
        FieldCase{"accents stay one byte", {"t", 0, 6}, W("unità"), "unit\xE0 "},
        FieldCase{"right-aligned text", {"t", 0, 5, EF::kText, 0, false, ',', EAlign::kRight}, "AB", "   AB"},
        FieldCase{"signed amount", {"a", 0, 18, EF::kDecimal, 5, true}, "12.5", "+00000000012,50000"},
        FieldCase{"negative amount", {"a", 0, 18, EF::kDecimal, 5, true}, "-3.5", "-00000000003,50000"},
        FieldCase{"text that is no number", {"a", 0, 6, EF::kDecimal, 2, true}, "abc", "+00,00"},
        FieldCase{"leading numeric part only", {"a", 0, 6, EF::kDecimal, 2, true}, " 5.004xyz", "+05,00"},
        FieldCase{"unsigned percentage", {"p", 0, 5, EF::kDecimal, 2}, "22", "22,00"},
        FieldCase{"point kept when asked", {"r", 0, 4, EF::kDecimal, 2, false, '.'}, "4", "4.00"},
        FieldCase{"too wide number grows", {"r", 0, 4, EF::kDecimal, 2, false, '.'}, "21", "21.00"},
        FieldCase{"implied decimals", {"q", 0, 9, EF::kDecimal, 2, false, '\0'}, "10.5", "000001050"},
        FieldCase{"implied decimals of a rate", {"r", 0, 5, EF::kDecimal, 2, false, '\0'}, "22", "02200"},
        FieldCase{"whole number zero padded", {"n", 0, 7, EF::kInteger}, "24", "0000024"},
        FieldCase{"whole number from decimal text", {"n", 0, 7, EF::kInteger}, "24.9", "0000024"},
        FieldCase{"empty whole number", {"n", 0, 7, EF::kInteger}, "", "0000000"},
        FieldCase{"negative whole number", {"n", 0, 7, EF::kInteger}, "-3", "-000003"},
        FieldCase{"flag set", {"f", 0, 1, EF::kFlag}, "1", "S"},
        FieldCase{"flag clear", {"f", 0, 1, EF::kFlag}, "0", "N"},
        FieldCase{"flag empty", {"f", 0, 1, EF::kFlag}, "", "N"},
        FieldCase{"date", {"d", 0, 6, EF::kDate}, "2026-03-07 10:00:00", "070326"},
        FieldCase{"no date", {"d", 0, 6, EF::kDate}, "", "      "},
        FieldCase{"filler", {"x", 0, 4, EF::kFiller}, "", "    "}));

// --- reading numbers the way the partner files need them -------------------------------------------
TEST(TextToNumber, ReadsTheLeadingNumericPartAndZeroOtherwise) {
  EXPECT_DOUBLE_EQ(TextToDouble("+00000000012.50000"), 12.5);
  EXPECT_DOUBLE_EQ(TextToDouble("  -3.5kg"), -3.5);
  EXPECT_DOUBLE_EQ(TextToDouble("1e2"), 100.0);
  EXPECT_DOUBLE_EQ(TextToDouble("1e"), 1.0);
  EXPECT_DOUBLE_EQ(TextToDouble("abc"), 0.0);
  EXPECT_DOUBLE_EQ(TextToDouble(""), 0.0);
  EXPECT_DOUBLE_EQ(TextToDouble("12,5"), 12.0) << "a comma ends the number";
  EXPECT_EQ(TextToLong("0000024"), 24);
  EXPECT_EQ(TextToLong("-7x"), -7);
  EXPECT_EQ(TextToLong("x7"), 0);
}

// --- whole records ---------------------------------------------------------------------------------
TEST(FormatRecord, WritesFieldsOneAfterTheOtherFillersTakeNoValueAndAWideNumberShiftsTheRest) {
  EXPECT_EQ(FormatRecord({{"a", 0, 2}, {"b", 2, 2}, {"gap", 4, 4, EF::kFiller}}, {"01", "1"}), "011     ");
  EXPECT_EQ(FormatRecord({{"n", 0, 4, EF::kDecimal, 2, false, '.'}, {"t", 4, 1}}, {"123", "x"}), "123.00x");
}

TEST(FormatRecord, WrongNumberOfValuesIsAnInternalError) {
  try {
    FormatRecord({{"a", 0, 2}}, {"1", "2"});
    FAIL();
  } catch (const CException& e) {
    EXPECT_EQ(e.Kind(), ErrorKind::kInternal);
  }
}

// --- reading back ------------------------------------------------------------------------------------
TEST(FixedWidthLine, CutsFieldsAndToleratesShortLines) {
  CFixedWidthLine line("01Alimentari    +00012,50 ");
  EXPECT_EQ(line.Text(0, 2), "01");
  EXPECT_EQ(line.Text(2, 12), "Alimentari");
  EXPECT_EQ(line.DecimalText(14, 12), "+00012.50");
  EXPECT_DOUBLE_EQ(line.Number(14, 12), 12.5);
  EXPECT_TRUE(line.Covers(14, 12));
  EXPECT_FALSE(line.Covers(14, 13));
  EXPECT_EQ(line.Raw(21, 50), "2,50 ");
  EXPECT_EQ(line.Raw(200, 5), "");
  EXPECT_EQ(CFixedWidthLine(" 7 ").Text(0, 3, CFixedWidthLine::ETrim::kLeft), "7 ");
  EXPECT_EQ(CFixedWidthLine(" 07").Integer(0, 3), 7);
}

struct DateCase {
  CString text;
  std::optional<CDBTimestamp> expected;
};
class ParseDateTest : public testing::TestWithParam<DateCase> {};
TEST_P(ParseDateTest, ReadsDdMmYyInTheYears2000) { EXPECT_EQ(ParseDate(GetParam().text), GetParam().expected); }
INSTANTIATE_TEST_SUITE_P(Dates, ParseDateTest,
                         testing::Values(DateCase{"311299", CDBTimestamp{2099, 12, 31}},
                                         DateCase{"010100", CDBTimestamp{2000, 1, 1}},
                                         DateCase{"290224", CDBTimestamp{2024, 2, 29}},
                                         DateCase{"290223", std::nullopt}, DateCase{"321299", std::nullopt},
                                         DateCase{"011399", std::nullopt}, DateCase{"0101 9", std::nullopt},
                                         DateCase{"01019", std::nullopt}));

TEST(RolledDate, AMonthOrDayOutOfRangeRollsOverAsTheCalendarDoes) {
  const std::pair<std::array<int, 3>, CDBTimestamp> cases[] = {
      {{2007, 30, 15}, {2009, 6, 15}}, {{2005, 13, 1}, {2006, 1, 1}}, {{2024, 3, 0}, {2024, 2, 29}},
      {{2023, 0, 0}, {2022, 11, 30}},  {{2026, 2, 31}, {2026, 3, 3}}, {{2026, 11, 1}, {2026, 11, 1}}};
  for (const auto& [ymd, expected] : cases)
    EXPECT_EQ(RolledDate(ymd[0], ymd[1], ymd[2]), expected) << ymd[0] << "-" << ymd[1] << "-" << ymd[2];
}

TEST(FixedWidthWriter, EndsEveryRecordWithCrLfAndTruncatesAnOldFile) {
  test::TempDir dir;
  WriteFileBytes(dir.File("f.txt"), "old content that is longer\r\n");
  CFixedWidthWriter w(dir.File("f.txt"));
  w.WriteRecord({{"a", 0, 3}}, {"x"});
  w.WriteRecord("yz");
  w.Close();
  EXPECT_EQ(ReadFileBytes(dir.File("f.txt")), "x  \r\nyz\r\n");
  EXPECT_EQ(w.RecordCount(), 2);
}

TEST(FixedWidthWriter, LineFeedInsideAValueIsWrittenAsCrLfLikeEveryOther) {
  test::TempDir dir;
  CFixedWidthWriter w(dir.File("f.txt"));
  w.WriteRecord({{"a", 0, 6}}, {"x\ny"});
  w.WriteRecord("a\r\nb");
  w.Close();
  EXPECT_EQ(ReadFileBytes(dir.File("f.txt")), "x\r\ny   \r\na\r\r\nb\r\n");  // as text mode writes it
}

TEST(FixedWidthWriter, AFolderThatDoesNotExistIsAFileError) {
  EXPECT_THROW(CFixedWidthWriter("/nonexistent-folder/f.txt"), CFileException);
}

TEST(PartnerFilePath, BareNameOrFolderJoinedWithABackslash) {
  EXPECT_EQ(PartnerFilePath("", "settori.txt"), "settori.txt");
  EXPECT_EQ(PartnerFilePath("out", "settori.txt"), "out\\settori.txt");
  EXPECT_EQ(PartnerFilePath("out\\", "settori.txt"), "out\\\\settori.txt");
}
