// The Pellor order export (1012) on the demo company, on SQLite and PostgreSQL, and the order-file
// field rules it shares with the other partner order export.
#include "partners/pellor/export_pellor_ordini.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "partners/order_file_fields.h"
#include "platform/records/documento_set.h"
#include "platform/records/voci_documento_set.h"
#include "support/recording_window.h"
#include "pellor_fixture.h"

using namespace tarvo;
using namespace tarvo::partner;
using namespace tarvo::test;

namespace {

std::string Pad(const std::string& text, size_t width) { return text + std::string(width - text.size(), ' '); }

TEST(OrderFileFields, LocalityTaxIdentifierAndNotes) {
  CLocality customer = SplitLocality("20100 Milano MI");
  EXPECT_EQ(customer.postalCode, "20100");
  EXPECT_EQ(customer.place, "Milano");
  EXPECT_EQ(customer.province, "MI");
  CLocality delivery = SplitLocality("20900 Monza (MB)", 4);
  EXPECT_EQ(delivery.postalCode, "20900");
  EXPECT_EQ(delivery.place, "Monza");
  CLocality shortLine = SplitLocality("201");
  EXPECT_EQ(shortLine.postalCode, "201");
  EXPECT_EQ(shortLine.place, "");

  CTaxFields vat = SplitTaxIdentifier("01234567890");
  EXPECT_EQ(vat.vatNumber, "01234567890");
  EXPECT_EQ(vat.taxCode, "01234567890");
  CTaxFields code = SplitTaxIdentifier("RSSMRA80A01F205XYZ");
  EXPECT_EQ(code.vatNumber, std::string(11, ' '));
  EXPECT_EQ(code.taxCode, "RSSMRA80A01F205X");

  EXPECT_EQ(OneLine("uno\r\ndue\ntre"), "uno due tre");
}

class PellorOrderExport : public PellorDemoCompany {
 protected:
  std::vector<std::string> States() {
    return Column("SELECT " + Concat("NUMERO", "ID_STATO_ORDINE") + " FROM DOCUMENTO WHERE ID_CAUSALE = 15 AND SERIE = 'A' ORDER BY NUMERO");
  }
  static std::string Concat(const char* a, const char* b) {
    return "CAST(" + std::string(a) + " AS VARCHAR(10)) || ':' || CAST(" + b + " AS VARCHAR(10))";
  }
};

// Order A/5 of the demo, field by field as the layout lists them.
TEST_P(PellorOrderExport, HeaderAndRowsOfTheDemoOrderMatchTheLayout) {
  const std::string header = Pad("Cartoleria dell'Orso S.a.s.", 80) + Pad("Via Po 18", 30) + Pad("Torino", 25) +
                             "10121" + "TO" + "08901230014" + Pad("08901230014", 16) + Pad("", 90) +
                             Pad("+39 011 5512385", 20) + Pad("", 15) + Pad("", 15) + Pad("", 15) +
                             Pad("info@cartoleriadellorso.it", 30) + "000005" + "051126" + Pad("", 80) + "101126" +
                             "00000" + Pad("01600", 10) + Pad("03069", 10) +
                             Pad("Intesa Sanpaolo - Filiale di Milano Duomo", 200) + Pad("RI.BA. 30/60 GG F.M.", 150) +
                             Pad("A mezzo mittente", 150) + Pad("Porto assegnato", 150) + "\r\n";
  const std::vector<std::string> rows = {
      "       CAR001" "000000100" "000005000" "0000050000" "00000000160000" "00000" "00000" "000000050000" " \r\n",
      "       CAR002" "000000100" "000002000" "0000020000" "00000000490000" "00300" "00000" "000000020000" " \r\n",
      "       CAR003" "000000100" "000000400" "0000004000" "00000001200000" "00000" "00000" "000000004000" " \r\n",
      "       CAR005" "000000100" "000001000" "0000010000" "00000000320000" "00000" "00000" "000000010000" " \r\n",
  };
  CTarvoExportPellorOrdini p;
  p.SetSrcConfig(db_->Config());
  ASSERT_TRUE(p.OpenOutDatabase(true));
  CDatabase* db = p.GetOutDatabase();
  CDocumentoSet order(db);
  order.m_strFilter = "ID = 5";
  order.Open();
  EXPECT_EQ(p.CreaIntestazioneOrdine(order), header);
  CVociDocumentoSet lines(db);
  lines.m_strFilter = "ID_DOCUMENTO = 5 AND TIPO = 'A'";
  lines.m_strSort = "ID";
  std::vector<std::string> written;
  for (lines.Open(); !lines.IsEOF(); lines.MoveNext()) written.push_back(CTarvoExportPellorOrdini::CreaRigaOrdine(lines));
  EXPECT_EQ(written, rows);

  // Customer 3's branch has five telephone contacts and a fax: the first four telephones go.
  CContacts many = ReadContacts(db, 3);
  EXPECT_EQ(many.telephones, (std::vector<CString>{"+39 030 5512351", "+39 030 2009911", "+39 339 5566778",
                                                    "+39 030 2009913"}));
  EXPECT_EQ(many.email, "acquisti@laspiga.it");
}

TEST_P(PellorOrderExport, ConfirmedOrdersMoveOnAndLeaveNoFile) {
  TempDir out;
  RecordingWindow window;
  CTarvoExportPellorOrdini p;
  p.SetParentWnd(&window);
  p.SetVerbose(false);
  p.SetSrcConfig(db_->Config());
  p.SetOutDir(out.Path());
  ASSERT_EQ(p.Run(), 1);
  ASSERT_TRUE(window.WaitFinished());
  EXPECT_TRUE(window.HasLine(" - Esportazione ordine A/5 (anno 2026) - file 03000005.ord... OK! OK!"));
  EXPECT_TRUE(window.HasLine("Esportazione ordini termita con successo."));
  EXPECT_EQ(States(), (std::vector<std::string>{"1:1", "2:1", "3:2", "4:2", "5:6", "6:6", "7:6", "8:6"}));
  EXPECT_TRUE(std::filesystem::is_empty(out.Path()));

  // Nothing left in state 5: only the start and the success line.
  RecordingWindow again;
  CTarvoExportPellorOrdini second;
  second.SetParentWnd(&again);
  second.SetVerbose(false);
  second.SetSrcConfig(db_->Config());
  ASSERT_EQ(second.Run(), 1);
  ASSERT_TRUE(again.WaitFinished());
  EXPECT_TRUE(again.HasLine("Avvio esportazione ordini..."));
  EXPECT_FALSE(again.HasLine(" - Esportazione ordine A/6 (anno 2026) - file 03000006.ord... in corso"));
}

TEST_P(PellorOrderExport, AnUnwritableFolderKeepsTheOrdersInState5) {
  RecordingWindow window;
  CTarvoExportPellorOrdini p;
  p.SetParentWnd(&window);
  p.SetVerbose(false);
  p.SetSrcConfig(db_->Config());
  p.SetOutDir("/nonexistent/folder");
  EXPECT_EQ(p.Run(), 1);  // each order is reported and skipped
  ASSERT_TRUE(window.WaitFinished());
  EXPECT_TRUE(window.HasLine(" - Esportazione ordine A/5 (anno 2026) - file 03000005.ord... ERRORE!"));
  EXPECT_TRUE(window.HasLine(W("Si è verificato un errore durante l'esportazione.")));
  EXPECT_EQ(States(), (std::vector<std::string>{"1:1", "2:1", "3:2", "4:2", "5:5", "6:5", "7:6", "8:6"}));
}

INSTANTIATE_TEST_SUITE_P(Drivers, PellorOrderExport, testing::ValuesIn(AllDbKinds()), DbKindName);

}  // namespace
