// The catalogue of partner layouts and the inspection of files against it.
#include "partners/layout_catalog.h"

#include <gtest/gtest.h>

#include <set>

#include "partners/solvar/solvar_document_files.h"
#include "partners/solvar/solvar_files.h"
#include "platform/files.h"

using namespace tarvo;
using namespace tarvo::partner;

namespace {

std::string Data(const std::string& path) { return ReadFileBytes(std::string(TARVO_TEST_DATA_DIR) + "/" + path); }

// Every field table of every layout: fields inside the record, none overlapping another; the
// order files have the lengths their partners expect.
TEST(LayoutCatalog, EveryLayoutIsWellFormedAndTheKnownFilesAreThere) {
  std::set<std::string> names;
  for (const CFileLayout* file : LayoutCatalog()) {
    names.insert(file->name);
    for (const CRecordKind& kind : file->records) {
      CRecordLayout fields = *kind.layout;
      std::sort(fields.begin(), fields.end(), [](const CFieldSpec& a, const CFieldSpec& b) { return a.offset < b.offset; });
      for (size_t i = 1; i < fields.size(); ++i)
        EXPECT_GE(fields[i].offset, fields[i - 1].offset + fields[i - 1].width)
            << file->name << ": " << fields[i - 1].name << " overlaps " << fields[i].name;
      if (file->fixedLength) {
        EXPECT_LE(RecordLength(fields) + 2, static_cast<int>(file->fixedLength)) << file->name;
      }
    }
  }
  for (const char* name : {"solvar-articoli", "solvar-clienti", "solvar-ordini", "solvar-fatture", "pellor-articoli", "pellor-ordini"})
    EXPECT_TRUE(names.count(name)) << name;
  EXPECT_EQ(RecordLength(solvar::OrdineTestataLayout()), 1142);
  EXPECT_EQ(RecordLength(solvar::OrdineRigaLayout()), 157);
  EXPECT_EQ(RecordLength(solvar::FatturaTestataLayout()), 195);
  EXPECT_EQ(RecordLength(solvar::FatturaRigaLayout()), 117);
  EXPECT_EQ(RecordLength(*FindLayout("pellor-ordini")->records[0].layout), 1127);
  EXPECT_EQ(RecordLength(*FindLayout("pellor-ordini")->records[1].layout), 78);
}

// The sample files of the repository fit the layouts their names choose, with nothing flagged.
TEST(Inspect, SampleFilesFitTheLayoutTheirNameChooses) {
  for (const char* path : {"solvar/demo/articoli.txt", "solvar/demo/aliquiva.txt", "solvar/demo/albero.txt",
                           "solvar/clienti/clienti.txt", "solvar/provvigioni/provv.txt", "solvar/ordini/07000005.ord",
                           "solvar/ordini-edge/00000123.ord", "solvar/fatture/000007.FAT",
                           "solvar/stato_ordini/07000005.tra"}) {
    std::vector<const CFileLayout*> layouts = LayoutsForFile(path);
    ASSERT_FALSE(layouts.empty()) << path;
    const CString bytes = Data(path);
    int best = 1 << 30;
    for (const CFileLayout* layout : layouts) best = std::min(best, InspectBytes(*layout, bytes).Flagged());
    // The edge order's wide number makes one line a character longer: flagged, as it should be.
    EXPECT_EQ(best, std::string(path).find("edge") != std::string::npos ? 1 : 0) << path;
  }
}

TEST(Inspect, FieldsAreCutNamedAndReadInPlace) {
  const CRecordReport r = InspectRecord(*FindLayout("solvar-ordini"), 1, Data("solvar/ordini/07000005.ord").substr(1144, 157));
  EXPECT_EQ(r.kind, "line");
  ASSERT_EQ(r.fields.size(), solvar::OrdineRigaLayout().size());
  EXPECT_EQ(r.fields[0].name, "ID_ARTICOLO");
  EXPECT_EQ(r.fields[0].value, "CAR001");
  EXPECT_EQ(r.fields[2].raw, "000000160");
  EXPECT_EQ(r.fields[2].value, "1.60");
  EXPECT_EQ(r.fields[5].value, "80.00000");
  EXPECT_FALSE(r.Flagged());
}

// --- what gets flagged -------------------------------------------------------------------------
TEST(Inspect, AShortRecordABadNumberABadDateAndAMissingLineEndAreFlagged) {
  const CFileLayout& provv = *FindLayout("solvar-provvigioni");
  CString good = Data("solvar/provvigioni/provv.txt");
  good = good.substr(0, good.find("\r\n"));
  CString badNumber = good, badDate = good;
  badNumber.replace(0, 6, "12A456");
  badDate.replace(6, 6, "310226");
  const CFileReport report =
      InspectBytes(provv, good + "\r\n" + good.substr(0, 100) + "\r\n" + badNumber + "\r\n" + badDate + "\n" + good);
  ASSERT_EQ(report.records.size(), 5u);
  EXPECT_FALSE(report.records[0].Flagged());
  EXPECT_EQ(report.records[1].problems, std::vector<CString>{StrFormat("100 characters, the layout has %d", int(good.size()))});
  EXPECT_EQ(report.records[1].fields.back().problem, "missing: the record ends before it");
  EXPECT_EQ(report.records[2].fields[0].problem, "not a whole number");
  EXPECT_EQ(report.records[3].fields[1].problem, "not a date (DDMMYY)");
  EXPECT_EQ(report.records[3].problems, std::vector<CString>{"line ends in LF without CR"});
  EXPECT_EQ(report.records[4].problems, std::vector<CString>{"no line end (CR LF) after the last record"});
  EXPECT_EQ(report.Flagged(), 4);
}

TEST(Inspect, FixedLengthRecordsAndRecordKindsChosenByAField) {
  static const CRecordLayout a = {{"tipo", 0, 1}, {"n", 1, 3, EFieldFormat::kInteger}};
  static const CRecordLayout b = {{"tipo", 0, 1}, {"d", 1, 8, EFieldFormat::kDate8}};
  CFileLayout file{"test", "", {}, {{"a", &a}, {"b", &b}}, ByField(0, 1, {{"A", 0}, {"B", 1}}, 0), 0};
  const CFileReport report = InspectBytes(file, "A012\r\nB31122025\r\nB31132025\r\n");
  EXPECT_EQ(report.records[1].kind, "b");
  EXPECT_EQ(report.records[1].fields[1].value, "2025-12-31");
  EXPECT_EQ(report.records[2].fields[1].problem, "not a date (DDMMYYYY)");

  const CFileReport pellor = InspectBytes(*FindLayout("pellor-fotoinfo"), "ABC12320261301120000000001234\r\n"
                                                                            "ABC12320260101120000000001234\n\rxx");
  EXPECT_EQ(pellor.records[0].fields[1].problem, "not a time stamp (YYYYMMDDhhmmss)");
  EXPECT_EQ(pellor.records[1].problems, std::vector<CString>{"does not end in CR LF"});
  EXPECT_EQ(pellor.problems, std::vector<CString>{"2 bytes at the end are no whole record of 31"});
}

}  // namespace
