// Every record class of the company database against the schema and the demo data, on both
// drivers: each table class through add, requery, null, edit and delete round trips; each view
// class read over the demo data.
#include "platform/records/company_sets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "platform/records/esportazione_set.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

struct SetKind {
  const char* name;
  std::function<std::unique_ptr<CRecordSetBase>(CDatabase*)> make;
};

const std::vector<SetKind>& AllSets() {
#define TARVO_SET_KIND(C) SetKind{#C, [](CDatabase* db) -> std::unique_ptr<CRecordSetBase> { return std::make_unique<C>(db); }},
  static const std::vector<SetKind> kinds = {TARVO_COMPANY_RECORD_SETS(TARVO_SET_KIND) TARVO_SET_KIND(CEsportazioneSet)};
#undef TARVO_SET_KIND
  return kinds;
}

std::vector<SetKind> TableSets() {
  std::vector<SetKind> tables;
  for (const SetKind& kind : AllSets()) {
    if (kind.make(nullptr)->CanUpdate()) tables.push_back(kind);
  }
  return tables;
}

using Param = std::tuple<DbKind, SetKind>;

std::string ParamName(const testing::TestParamInfo<Param>& info) {
  return std::string(std::get<1>(info.param).name) + "_" +
         (std::get<0>(info.param) == DbKind::kSQLite ? "SQLite" : "PostgreSQL");
}

// A value for column i that fits any declared width (the narrowest text columns hold one letter).
CDBValue Sample(const CRecordSetBase& set, int i, int variant) {
  switch (set.GetFieldColumnType(i)) {
    case CRecordSetBase::EColumn::kInteger: return static_cast<long long>(100 * variant + i);
    case CRecordSetBase::EColumn::kReal: return CString(variant == 1 ? "12.5" : "0.25");
    case CRecordSetBase::EColumn::kDate: return CDBTimestamp{2026, variant, 4, 5, 6, i};
    case CRecordSetBase::EColumn::kText: break;
  }
  if (set.GetTableName() == "ZONA_POSTALE" && set.IsKeyField(i)) return CString(variant == 1 ? "77" : "78");
  return CString(1, static_cast<char>((variant == 1 ? 'A' : 'a') + i % 26));
}

// Values compared as text: a text member of an integer column holds "100" where others hold 100.
CString Text(const CDBValue& v) {
  if (auto* l = std::get_if<long long>(&v)) return StrFormat("%lld", *l);
  if (auto* s = std::get_if<CString>(&v)) return *s;
  if (auto* t = std::get_if<CDBTimestamp>(&v)) return t->ToString();
  return "(NULL)";
}

void LoadCompany(ScratchDatabase& db, bool demo) {
  db.LoadSchema("company.sql");
  db.LoadSchema("esportazione.sql");
  if (demo) db.LoadSchema("demo/demo.sql");
}

}  // namespace

class CompanyTableTest : public testing::TestWithParam<Param> {
 protected:
  void SetUp() override {
    scratch_ = std::make_unique<ScratchDatabase>(std::get<0>(GetParam()));
    std::string why;
    if (!scratch_->Available(&why)) GTEST_SKIP() << why;
    LoadCompany(*scratch_, false);
    set_ = std::get<1>(GetParam()).make(&scratch_->Db());
  }
  std::unique_ptr<ScratchDatabase> scratch_;
  std::unique_ptr<CRecordSetBase> set_;
};

TEST_P(CompanyTableTest, RowRoundTripsThroughAddNullEditAndDelete) {
  CRecordSetBase& set = *set_;
  set.Open();
  ASSERT_TRUE(set.IsEOF()) << "fresh tables are empty";
  set.AddNew();
  for (int i = 0; i < set.GetFieldCount(); ++i) set.SetFieldValue(i, Sample(set, i, 1));
  ASSERT_TRUE(set.Update());

  set.Requery();
  ASSERT_FALSE(set.IsEOF());
  std::vector<int> nullable;
  for (int i = 0; i < set.GetFieldCount(); ++i) {
    EXPECT_EQ(Text(set.GetFieldValue(i)), Text(Sample(set, i, 1))) << set.GetFieldName(i);
    if (!set.IsKeyField(i) && set.IsFieldNullable(i)) nullable.push_back(i);
  }

  set.Edit();
  for (int i : nullable) set.SetFieldNull(i);
  ASSERT_TRUE(set.Update() || nullable.empty());
  set.Requery();
  ASSERT_FALSE(set.IsEOF());
  for (int i : nullable) EXPECT_TRUE(set.IsFieldNull(i)) << set.GetFieldName(i);

  set.Edit();
  for (int i = 0; i < set.GetFieldCount(); ++i) set.SetFieldValue(i, Sample(set, i, 2));  // the key too
  ASSERT_TRUE(set.Update());
  set.Requery();
  ASSERT_FALSE(set.IsEOF());
  for (int i = 0; i < set.GetFieldCount(); ++i) {
    EXPECT_EQ(Text(set.GetFieldValue(i)), Text(Sample(set, i, 2))) << set.GetFieldName(i);
  }
  set.MoveNext();
  EXPECT_TRUE(set.IsEOF()) << "the edit replaced the row";

  set.Requery();
  set.Delete();
  set.Requery();
  EXPECT_TRUE(set.IsEOF());
}

// The demo data read through a record class gives the same values on both drivers (numbers,
// timestamps and NULLs look alike), whatever order each returns the rows in.
class CompanySetDemoTest : public testing::TestWithParam<SetKind> {};

TEST_P(CompanySetDemoTest, DemoDataIsReadAndReadsAlikeOnBothDrivers) {
  std::vector<std::vector<CString>> rows;
  for (DbKind kind : AllDbKinds()) {
    ScratchDatabase scratch(kind);
    std::string why;
    if (!scratch.Available(&why)) GTEST_SKIP() << why;
    LoadCompany(scratch, true);
    auto set = GetParam().make(&scratch.Db());
    auto& out = rows.emplace_back();
    for (set->Open(); !set->IsEOF(); set->MoveNext()) {
      CString row;
      for (int i = 0; i < set->GetFieldCount(); ++i) row += Text(set->GetFieldValue(i)) + "|";
      out.push_back(row);
    }
    std::sort(out.begin(), out.end());
    const bool emptyInDemo = set->GetTableName() == "LOG_MAGAZZINO" || set->GetTableName() == "ESPORTAZIONE";
    EXPECT_EQ(out.empty(), emptyInDemo) << (kind == DbKind::kSQLite ? "SQLite" : "PostgreSQL");
  }
  EXPECT_EQ(rows[0], rows[1]);
}

INSTANTIATE_TEST_SUITE_P(Classes, CompanySetDemoTest, testing::ValuesIn(AllSets()),
                         [](const testing::TestParamInfo<SetKind>& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(Tables, CompanyTableTest,
                         testing::Combine(testing::ValuesIn(AllDbKinds()), testing::ValuesIn(TableSets())), ParamName);
