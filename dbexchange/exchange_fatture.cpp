#include "dbexchange/exchange_fatture.h"

#include "dbexchange/record_transfer.h"
#include "platform/settings.h"

using tarvo::StrFormat;

CTarvoExportWebFatture::CTarvoExportWebFatture() {
  m_strFiltroFatture = "( ID_CAUSALE = 101 )";
  m_nDirezione = 1;
}

CTarvoImportAgenteFatture::CTarvoImportAgenteFatture() {
  m_strFiltroFatture =
      StrFormat("( ID_CAUSALE = 101 ) AND ( ID_AGENTE_SEDE_SOCIETA = %ld)", CUserAdministrator::GetIDREFERENCE());
  m_nDirezione = 0;
}

int CTarvoExchangeFatture::Run() {
  m_strSelezione = m_strFiltroFatture + " AND ( F_MODIFICATO = 1 )";
  return RunDocuments({"fatture", m_nDirezione, true, true, "ERRORE database", m_strSelezione, "ID = -1"},
                      [this](CDocumentRecords& records, int) { return TransferInvoice(records); });
}

int CTarvoExchangeFatture::TransferInvoice(CDocumentRecords& r) {
  CDocumentoSet& invoice = r.source;
  tarvo::exchange::BeginWriteTransaction(*m_pInDatabase);
  const long customer = r.customers.Resolve(invoice.m_CLI_FAT_PARTITAIVA, invoice.m_CLI_FAT_ID);

  // The series is not part of the key: an invoice of another series with this number and year is
  // overwritten.
  const long id = WriteCounterpart(
      r, StrFormat("( ID_CAUSALE = 101 ) AND ( NUMERO = %ld ) AND ( ANNO = %ld )", invoice.m_NUMERO, invoice.m_ANNO),
      customer);

  invoice.Edit();
  invoice.m_F_MODIFICATO = 0;
  invoice.Update();

  m_pInDatabase->ExecuteSQL(StrFormat("DELETE FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = %ld", id));
  CopyLines(r, invoice.m_ID, id, [&] {
    // A unit given on the source is taken as it is; a missing one stays missing, and the check
    // then sees an empty code.
    if (r.sourceLines.IsFieldNull(&r.sourceLines.m_ID_UNITA_MISURA)) {
      r.targetLines.SetFieldNull(&r.targetLines.m_ID_UNITA_MISURA);
      CheckUnitaMisura(r.targetLines.m_ID_UNITA_MISURA);
    }
  });
  CommitBoth(false);
  Log(StrFormat(" - %s fattura %s/%ld (codice %ld)", m_nDirezione ? "Esportata" : "Importata",
                invoice.m_SERIE.c_str(), invoice.m_NUMERO, invoice.m_ID),
      TMS_NONE);
  invoice.MoveNext();
  return 1;
}
