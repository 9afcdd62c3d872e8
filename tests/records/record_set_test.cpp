// The record-set base on both drivers, through the article master classes.
#include "platform/records/record_set.h"

#include <gtest/gtest.h>

#include "platform/records/articolo_set.h"
#include "platform/records/categoria_set.h"
#include "platform/records/gruppo_set.h"
#include "platform/records/iva_set.h"
#include "platform/records/movimento_articolo_deposito_set.h"
#include "platform/records/sede_completa_set.h"
#include "company_db_test.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

class RecordSetTest : public CompanyDbTest {
 protected:
  // Opens `set` on the rows matching `filter`.
  static void OpenWhere(CRecordSetBase& set, const CString& filter) {
    set.m_strFilter = filter;
    set.Open();
  }
};

TEST_P(RecordSetTest, AddedRowIsReadBackWithFilterAndSort) {
  CCategoriaSet set(db_);
  for (const char* id : {"C02", "C01", "C03"}) {
    set.AddNew();
    set.m_ID = id;
    set.m_DESCRIZIONE = W("Caffè ") + id;
    set.m_F_PUBBLICA = 1;
    EXPECT_TRUE(set.Update());
  }
  set.m_strSort = "ID DESC";
  OpenWhere(set, "ID IN ( 'C01','C02' )");
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

TEST_P(RecordSetTest, UntouchedColumnsOfANewRowKeepTheDatabaseDefaultsButAnAssignedZeroIsWritten) {
  CArticoloSet set(db_);
  set.AddNew();
  set.m_ID = "A1";
  set.m_PREZZO = "12.5";
  ASSERT_TRUE(set.Update());
  set.AddNew();
  set.m_ID = "A0";
  set.m_F_ATTIVO = 0;
  ASSERT_TRUE(set.Update());
  set.m_strSort = "ID";
  OpenWhere(set, "");
  ASSERT_FALSE(set.IsEOF());
  EXPECT_EQ(set.m_F_ATTIVO, 0);
  set.MoveNext();
  ASSERT_FALSE(set.IsEOF());
  EXPECT_EQ(set.m_F_ATTIVO, 1);
  EXPECT_EQ(set.m_CONFEZIONE, "1");  // an integer column bound as text
  EXPECT_EQ(set.m_PREZZO, "12.5");
  EXPECT_TRUE(set.IsFieldNull(&set.m_COSTO));
  EXPECT_TRUE(set.IsFieldNull(&set.m_DATA_INSERIMENTO));
}

TEST_P(RecordSetTest, EditWritesOnlyChangedColumnsAndFindsTheRowByItsOldKey) {
  db_->ExecuteSQL("INSERT INTO IVA (CODICE, DESCRIZIONE, ALIQUOTA) VALUES ('22', 'Ordinaria', 22)");
  CIvaSet set(db_);
  OpenWhere(set, "CODICE = '22'");
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

TEST_P(RecordSetTest, NullStateFollowsTheMembersAndAnEmptyTextIsNotNull) {
  CArticoloSet set(db_);
  set.AddNew();
  set.m_ID = "N1";
  set.m_DESCRIZIONE = "x";
  set.m_DATA_INSERIMENTO = CDBTimestamp{2026, 1, 2, 3, 4, 5};
  set.Update();
  OpenWhere(set, "ID = 'N1'");
  EXPECT_FALSE(set.IsFieldNull(&set.m_DATA_INSERIMENTO));
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

// Two rows that differ only in the second part of their key: each write touches one of them.
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
  OpenWhere(set, "ID_DEPOSITO = 2");
  set.Edit();
  set.m_GIACENZA = "7.25";
  set.Update();
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM MOVIMENTO_ARTICOLO_DEPOSITO WHERE GIACENZA = 7.25"), 1);
  set.Delete();
  EXPECT_EQ(Scalar("SELECT COUNT(*) FROM MOVIMENTO_ARTICOLO_DEPOSITO"), 1);
}

TEST_P(RecordSetTest, FieldIndexesFollowTheColumnsOfTheMembers) {
  CArticoloSet set(db_);
  set.AddNew();
  set.m_ID = "G1";
  set.m_PREZZO = "0.1";
  set.Update();
  OpenWhere(set, "ID = 'G1'");
  const int prezzo = set.FindField("prezzo");
  EXPECT_EQ(set.GetFieldName(prezzo), "PREZZO");
  EXPECT_EQ(std::get<CString>(set.GetFieldValue(prezzo)), "0.1");
  set.Edit();
  set.SetFieldValue(set.FindField("ID"), CString("G2"));
  set.SetFieldValue(set.FindField("CONFEZIONE"), CString("12"));
  set.SetFieldValue(prezzo, CDBValue{});  // an empty value copies a NULL
  set.Update();
  set.m_strFilter = "ID = 'G2'";
  set.Requery();
  ASSERT_FALSE(set.IsEOF());
  EXPECT_EQ(set.m_CONFEZIONE, "12");
  EXPECT_TRUE(set.IsFieldNull(&set.m_PREZZO));
  EXPECT_EQ(set.FindField("NO_SUCH_COLUMN"), -1);
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

TEST_P(RecordSetTest, MisuseIsAnErrorAndDriverErrorsAreThrownAsDBException) {
  CSedeCompletaSet view(db_);
  EXPECT_FALSE(view.CanUpdate());
  EXPECT_THROW(view.AddNew(), CException);
  CIvaSet set(db_);
  set.Open();
  EXPECT_TRUE(set.IsEOF());
  EXPECT_THROW(set.Edit(), CException);
  EXPECT_THROW(set.Update(), CException);
  set.m_strFilter = "NO_SUCH_COLUMN = 1";
  EXPECT_THROW(set.Requery(), CDBException);
  set.AddNew();
  set.m_DESCRIZIONE = "senza codice";  // CODICE is NOT NULL
  EXPECT_THROW(set.Update(), CDBException);
}

INSTANTIATE_TEST_SUITE_P(Drivers, RecordSetTest, testing::ValuesIn(AllDbKinds()), DbKindName);
