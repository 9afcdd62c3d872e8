#include "dbexchange/exchange_ordini.h"

#include "platform/settings.h"

using tarvo::StrFormat;

CTarvoExportWebOrdini::CTarvoExportWebOrdini() {
  m_nStatoDestinazione = 2;
  m_nStatoSorgente = 2;
  m_strFiltroDestinazione = "ID = -1";
  m_strFiltroSelezione = StrFormat(
      "( ( ID_CAUSALE = 15 ) OR ( ID_CAUSALE = 15 ) ) AND ( ID_AGENTE_SEDE_SOCIETA = %ld ) AND "
      "( CLI_FAT_ID IS NOT NULL ) AND ( ID_STATO_ORDINE = 1 )",
      CUserAdministrator::GetIDREFERENCE());
  m_nDirezione = 1;
}

CTarvoImportWebOrdini::CTarvoImportWebOrdini() {
  m_nStatoDestinazione = 5;
  m_nStatoSorgente = 5;
  m_strFiltroDestinazione = "ID = -1";
  m_strFiltroSelezione = "( ID_CAUSALE = 15 ) AND ( CLI_FAT_ID IS NOT NULL ) AND ( ID_STATO_ORDINE = 2 )";
  m_nDirezione = 0;
}

int CTarvoExchangeOrdini::Run() {
  return RunDocuments({"ordini", m_nDirezione, true, false, "ERRORE database", m_strFiltroSelezione,
                       m_strFiltroDestinazione},
                      [this](CDocumentRecords& records, int) { return TransferOrder(records); });
}

int CTarvoExchangeOrdini::TransferOrder(CDocumentRecords& r) {
  CDocumentoSet& order = r.source;
  tarvo::exchange::BeginWriteTransaction(*m_pInDatabase);
  const long customer = r.customers.Resolve(order.m_CLI_FAT_PARTITAIVA, order.m_CLI_FAT_ID);
  const long id = r.customers.DestinationIds().GetNewId("GET_ID_DOCUMENTO");

  if (!r.target.IsOpen()) r.target.Open();
  r.target.AddNew();
  CopyHeader(order, r.target);
  r.target.m_ID = id;
  r.target.m_CLI_FAT_ID = customer;
  r.target.m_ID_STATO_ORDINE = m_nStatoDestinazione;
  if (m_nDirezione == 0) r.target.m_F_MODIFICATO = 1;
  r.target.Update();

  order.Edit();
  order.m_ID_STATO_ORDINE = m_nStatoSorgente;
  if (m_nDirezione == 0) order.m_F_MODIFICATO = 1;
  order.Update();

  CopyLines(r, order.m_ID, id);
  CommitBoth(false);
  Log(StrFormat(" - %s ordine %s/%ld (codice %ld)", m_nDirezione ? "Esportato" : "Importato", order.m_SERIE.c_str(),
                order.m_NUMERO, order.m_ID),
      TMS_NONE);
  order.MoveNext();
  return 1;
}
