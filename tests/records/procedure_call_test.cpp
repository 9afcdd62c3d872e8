#include "platform/records/procedure_call.h"

#include <gtest/gtest.h>

#include "company_db_test.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {

class DocumentTotalsTest : public CompanyDbTest {
 protected:
  void AddLine(int document, const char* amount, const char* rate) {
    db_->ExecuteSQL(StrFormat("INSERT INTO VOCI_DOCUMENTO (ID_DOCUMENTO, TIPO, IMPORTO, ALIQUOTA_IVA) VALUES (%d, 'A', %s, %s)",
                              document, amount, rate));
  }
  void AddDocument(int id) {
    db_->ExecuteSQL(StrFormat("INSERT INTO DOCUMENTO (ID, ID_CAUSALE, NUMERO, ANNO) VALUES (%d, 101, %d, 2026)", id, id));
  }
  // The three totals in cents, "taxable|VAT|total".
  CString Totals(int id) {
    CODBCRecordset rs(db_);
    rs.Open(StrFormat("SELECT TOTALE_IMPONIBILE, TOTALE_IVA, TOTALE_DOCUMENTO FROM DOCUMENTO WHERE ID = %d", id));
    if (rs.Field(0).IsNull()) return "<null>";
    auto cents = [&](int i) { return StrFormat("%.0f", rs.Field(i).AsDouble() * 100); };
    return cents(0) + "|" + cents(1) + "|" + cents(2);
  }
};

// Hand-computed: VAT is computed per rate on the rounded taxable amount of the rate, never per
// line. Document 1 at 22%: 10.25 + 10.25 = 20.50, VAT 4.51 (per line it would be 2.26 + 2.26).
// At 4%: 3.333 + 3.333 rounded to the price precision 3.33 + 3.33 = 6.66, VAT 0.2664 -> 0.27.
// A line without rate counts at 0%, a line without amount as 0.
TEST_P(DocumentTotalsTest, TotalsAreSummedPerVatRateWithThePrecisionsGiven) {
  AddDocument(1);
  AddLine(1, "10.25", "22");
  AddLine(1, "10.25", "22");
  AddLine(1, "3.333", "4");
  AddLine(1, "3.333", "4");
  AddLine(1, "1.5", "NULL");
  AddLine(1, "NULL", "22");
  AddDocument(2);  // no lines
  AddDocument(3);
  AddLine(3, "-2.675", "10");  // a credit line: halves round away from zero
  db_->ExecuteSQL("UPDATE DOCUMENTO SET TOTALE_IMPONIBILE = 99, TOTALE_IVA = 99, TOTALE_DOCUMENTO = 99 WHERE ID = 2");

  ExecuteProcedureCall(*db_, "{call AGGIORNA_TOTALI_DOCUMENTO( 1, 2, 2, 0.00)}");
  EXPECT_EQ(Totals(1), "2866|478|3344");  // 20.50 + 6.66 + 1.50; 4.51 + 0.27
  ExecuteProcedureCall(*db_, "{call AGGIORNA_TOTALI_DOCUMENTO( 1, 2, 0, 1)}");
  EXPECT_EQ(Totals(1), "3000|500|3600");  // at 0 decimals: 21 + 7 + 2, VAT 5 + 0, +1 rounding
  ExecuteProcedureCall(*db_, "{call AGGIORNA_TOTALI_DOCUMENTO( 2, 2, 2, 0.00)}");
  EXPECT_EQ(Totals(2), "0|0|0");
  ExecuteProcedureCall(*db_, "{call AGGIORNA_TOTALI_DOCUMENTO( 3, 2, 2, 0.00)}");
  EXPECT_EQ(Totals(3), "-268|-27|-295");
  ExecuteProcedureCall(*db_, "{CALL AGGIORNA_TOTALI_DOCUMENTO( 999, 2, 2, 0.00)}");  // no such document: nothing

  // Inside the caller's transaction, undone with it.
  db_->BeginTrans();
  AddLine(3, "100", "10");
  ExecuteProcedureCall(*db_, "{call AGGIORNA_TOTALI_DOCUMENTO( 3, 2, 2, 0.00)}");
  EXPECT_EQ(Totals(3), "9732|973|10705");
  db_->Rollback();
  EXPECT_EQ(Totals(3), "-268|-27|-295");

  EXPECT_THROW(ExecuteProcedureCall(*db_, "SELECT 1"), CException);
  EXPECT_THROW(ExecuteProcedureCall(*db_, "{call AGGIORNA_TOTALI_DOCUMENTO( 1, 2)}"), CDBException);
}

INSTANTIATE_TEST_SUITE_P(Drivers, DocumentTotalsTest, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
