// The record-set base on both drivers, through the article master classes.
#include "platform/records/record_set.h"

#include <gtest/gtest.h>

#include "platform/records/articolo_set.h"
#include "platform/records/categoria_set.h"
#include "platform/records/gruppo_set.h"
#include "platform/records/iva_set.h"
#include "platform/records/movimento_articolo_deposito_set.h"
#include "platform/records/sede_completa_set.h"
#include "platform/records/zona_postale_completa_set.h"
#include "company_db_test.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

class RecordSetTest : public CompanyDbTest {};

TEST_P(RecordSetTest, AddedRowIsReadBackWithFilterAndSort) {
  CCategoriaSet set(db_);
  for (const char* id : {"C02", "C01", "C03"}) {
    set.AddNew();
    set.m_ID = id;
    set.m_DESCRIZIONE = W("Caffè ") + id;
    set.m_F_PUBBLICA = 1;
    EXPECT_TRUE(set.Update());
  }
  set.m_strFilter = "ID IN ( 'C01','C02' )";
  set.m_strSort = "ID DESC";
  set.Open();
  ASSERT_FALSE(set.IsEOF());
  EXPECT_EQ(set.m_ID, "C02");
  EXPECT_EQ(set.m_DESCRIZIONE, W("Caffè C02"));
  EXPECT_EQ(set.m_F_PUBBLICA, 1);
  EXPECT_TRUE(set.IsFieldNull(&set.m_NOTE));
  set.MoveNext();
  EXPECT_EQ(set.m_ID, "C01");
  set.MoveNext();
  EXPECT_TRUE(set.IsEOF());
}

TEST_P(RecordSetTest, UntouchedColumnsOfANewRowKeepTheDatabaseDefaults) {
  CArticoloSet set(db_);
  set.AddNew();
  set.m_ID = "A1";
  set.m_PREZZO = "12.5";
  ASSERT_TRUE(set.Update());
  set.m_strFilter = "ID = 'A1'";
  set.Open();
  ASSERT_FALSE(set.IsEOF());
  EXPECT_EQ(set.m_F_ATTIVO, 1);
  EXPECT_EQ(set.m_CONFEZIONE, "1");  // an integer column bound as text
  EXPECT_EQ(set.m_PREZZO, "12.5");
  EXPECT_TRUE(set.IsFieldNull(&set.m_COSTO));
  EXPECT_TRUE(set.IsFieldNull(&set.m_DATA_INSERIMENTO));
}

TEST_P(RecordSetTest, AssigningZeroAfterAddNewIsWritten) {
  CArticoloSet set(db_);
  set.AddNew();
  set.m_ID = "A0";
  set.m_F_ATTIVO = 0;
  set.Update();
  EXPECT_EQ(Scalar("SELECT F_ATTIVO FROM ARTICOLO WHERE ID = 'A0'"), 0);
}

TEST_P(RecordSetTest, EditWritesOnlyChangedColumnsAndFindsTheRowByItsOldKey) {
  db_->ExecuteSQL("INSERT INTO IVA (CODICE, DESCRIZIONE, ALIQUOTA) VALUES ('22', 'Ordinaria', 22)");
  CIvaSet set(db_);
  set.m_strFilter = "CODICE = '22'";
  set.Open();
  ASSERT_FALSE(set.IsEOF());
  EXPECT_EQ(set.m_ALIQUOTA, "22");  // the same text whether the driver says 22 or 22.0
  set.Edit();
  set.m_CODICE = "22B";
  set.m_ALIQUOTA = "22,5";
  EXPECT_TRUE(set.Update());
  EXPECT_EQ(set.m_CODICE, "22B");
  set.m_strFilter = "CODICE = '22B'";
  set.Requery();
  ASSERT_FALSE(set.IsEOF());
  EXPECT_EQ(set.m_DESCRIZIONE, "Ordinaria");
  EXPECT_EQ(set.m_ALIQUOTA, "22.5");
  set.Edit();
  EXPECT_FALSE(set.Update());  // nothing changed: no statement
}

TEST_P(RecordSetTest, NullStateRoundTrips) {
  CArticoloSet set(db_);
  set.AddNew();
  set.m_ID = "N1";
  set.m_DESCRIZIONE = "x";
  set.m_DATA_INSERIMENTO = CDBTimestamp{2026, 1, 2, 3, 4, 5};
  set.Update();
  set.m_strFilter = "ID = 'N1'";
  set.Open();
  EXPECT_FALSE(set.IsFieldNull(&set.m_DATA_INSERIMENTO));
  EXPECT_EQ(set.m_DATA_INSERIMENTO, (CDBTimestamp{2026, 1, 2, 3, 4, 5}));
  set.Edit();
  set.SetFieldNull(&set.m_DESCRIZIONE);
  set.SetFieldNull(&set.m_DATA_INSERIMENTO);
  set.Update();
  set.Requery();
  EXPECT_TRUE(set.IsFieldNull(&set.m_DESCRIZIONE));
  EXPECT_TRUE(set.IsFieldNull(&set.m_DATA_INSERIMENTO));
  set.Edit();
  set.m_DESCRIZIONE = "y";  // assigning a value ends the null state
  EXPECT_FALSE(set.IsFieldNull(&set.m_DESCRIZIONE));
  set.SetFieldNull(&set.m_NOTE, false);  // an empty text, not NULL
  set.Update();
  set.Requery();
  EXPECT_EQ(set.m_DESCRIZIONE, "y");
  EXPECT_FALSE(set.IsFieldNull(&set.m_NOTE));
  EXPECT_EQ(set.m_NOTE, "");
}

TEST_P(RecordSetTest, CompositeKeyRowIsUpdatedAndDeleted) {
  CMovimentoArticoloDepositoSet set(db_);
  for (long deposito : {1, 2}) {
    set.AddNew();
    set.m_ID_ARTICOLO = "A1";
    set.m_ID_DEPOSITO = deposito;
    set.m_ANNO = 2026;
    set.m_GIACENZA = "10";
    set.Update();
  }
  set.m_strFilter = "ID_DEPOSITO = 2";
  set.Open();
  set.Edit();
  set.m_GIACENZA = "7.25";
  set.Update();
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM MOVIMENTO_ARTICOLO_DEPOSITO WHERE GIACENZA = 7.25"), 1);
  set.Delete();
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM MOVIMENTO_ARTICOLO_DEPOSITO"), 1);
}

TEST_P(RecordSetTest, GenericAccessCopiesColumnsInBindingOrder) {
  CArticoloSet src(db_), dst(db_);
  src.AddNew();
  src.m_ID = "G1";
  src.m_DESCRIZIONE = "Vite";
  src.m_PREZZO = "0.1";
  src.m_CONFEZIONE = "12";
  src.Update();
  src.m_strFilter = "ID = 'G1'";
  src.Open();
  dst.m_strFilter = "ID = 'G1'";
  dst.Open();
  dst.Edit();
  dst.SetFieldValue(dst.FindField("ID"), CString("G2"));
  for (int i = 1; i < 26; ++i) dst.SetFieldValue(i, src.GetFieldValue(i));
  dst.Update();
  dst.m_strFilter = "ID = 'G2'";
  dst.Requery();
  ASSERT_FALSE(dst.IsEOF());
  EXPECT_EQ(dst.m_DESCRIZIONE, "Vite");
  EXPECT_EQ(dst.m_PREZZO, "0.1");
  EXPECT_EQ(dst.m_CONFEZIONE, "12");
  EXPECT_TRUE(dst.IsFieldNull(&dst.m_NOTE));
  EXPECT_EQ(dst.GetFieldName(11), "PREZZO");
}

TEST_P(RecordSetTest, TextMemberOfAnIntegerColumnTravelsAsANumber) {
  CZonaPostaleCompletaSet zone(db_);
  zone.AddNew();
  zone.m_ID = "4711";
  zone.m_CAP = "20100";
  zone.m_NOMEZONAPOSTALE = "MILANO";
  zone.Update();
  zone.m_strFilter = "(CAP = '20100') AND (NOMEZONAPOSTALE = 'MILANO')";
  zone.Open();
  ASSERT_FALSE(zone.IsEOF());
  EXPECT_EQ(zone.m_ID, "4711");
  EXPECT_EQ(Scalar("SELECT ID FROM ZONA_POSTALE WHERE CAP = '20100'"), 4711);
}

TEST_P(RecordSetTest, WritesJoinTheDatabaseTransactionWhileACursorIsOpen) {
  db_->ExecuteSQL("INSERT INTO GRUPPO (ID, DESCRIZIONE) VALUES ('G1', 'Uno')");
  db_->ExecuteSQL("INSERT INTO GRUPPO (ID, DESCRIZIONE) VALUES ('G2', 'Due')");
  CGruppoSet source(db_), target(db_);
  source.m_strSort = "ID";
  source.Open();
  db_->BeginTrans();
  target.AddNew();
  target.m_ID = "G3";
  target.Update();
  db_->Rollback();
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM GRUPPO"), 2);
  db_->BeginTrans();
  for (; !source.IsEOF(); source.MoveNext()) {
    target.AddNew();
    target.m_ID = source.m_ID + "X";
    target.m_DESCRIZIONE = source.m_DESCRIZIONE;
    target.Update();
  }
  db_->CommitTrans();
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM GRUPPO WHERE ID LIKE '%X'"), 2);
}

// ---- Error paths -----------------------------------------------------------------------------

TEST_P(RecordSetTest, NumberMemberHoldingTextIsRejectedNamingTheColumn) {
  CArticoloSet set(db_);
  set.AddNew();
  set.m_ID = "E1";
  set.m_PREZZO = "dieci";
  try {
    set.Update();
    FAIL() << "no exception";
  } catch (const CException& e) {
    EXPECT_EQ(e.Kind(), ErrorKind::kInput);
    EXPECT_EQ(e.GetErrorMessage(), W("ARTICOLO.PREZZO: 'dieci' non è un numero"));
  }
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM ARTICOLO"), 0);
}

TEST_P(RecordSetTest, MisuseIsAnInternalError) {
  CSedeCompletaSet view(db_);
  EXPECT_FALSE(view.CanUpdate());
  EXPECT_THROW(view.AddNew(), CException);
  CIvaSet set(db_);
  set.Open();
  EXPECT_TRUE(set.IsEOF());
  EXPECT_THROW(set.Edit(), CException);
  EXPECT_THROW(set.Update(), CException);
}

TEST_P(RecordSetTest, DriverErrorsAreThrownAsDBException) {
  CIvaSet set(db_);
  set.m_strFilter = "NO_SUCH_COLUMN = 1";
  EXPECT_THROW(set.Open(), CDBException);
  set.AddNew();
  set.m_DESCRIZIONE = "senza codice";  // CODICE is NOT NULL
  EXPECT_THROW(set.Update(), CDBException);
}

INSTANTIATE_TEST_SUITE_P(Drivers, RecordSetTest, testing::ValuesIn(AllDbKinds()), DbKindName);
