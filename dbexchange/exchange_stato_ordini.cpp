#include "dbexchange/exchange_stato_ordini.h"

#include "dbexchange/record_transfer.h"
#include "platform/settings.h"

using tarvo::StrFormat;

CTarvoExportWebStatoOrdini::CTarvoExportWebStatoOrdini() {
  m_nStatoEscluso = 5;
  m_strFiltroOrdini = StrFormat("( ID_CAUSALE = 15 ) AND ( ID_STATO_ORDINE <> %ld )", m_nStatoEscluso);
  m_nDirezione = 1;
}

CTarvoImportWebStatoOrdini::CTarvoImportWebStatoOrdini() {
  m_nStatoEscluso = 2;
  m_strFiltroOrdini =
      StrFormat(" ( ID_CAUSALE = 15 ) AND ( ID_STATO_ORDINE <> %ld ) AND ( ID_AGENTE_SEDE_SOCIETA = %ld ) ",
                m_nStatoEscluso, CUserAdministrator::GetIDREFERENCE());
  m_nDirezione = 0;
}

int CTarvoExchangeStatoOrdini::Run() {
  return RunDocuments({"stato ordini", m_nDirezione, false, false, "ERRORE database ",
                       m_strFiltroOrdini + " AND F_MODIFICATO = 1", "ID = -1"},
                      [this](CDocumentRecords& records, int flag) { return TransferOrderState(records, flag); });
}

int CTarvoExchangeStatoOrdini::TransferOrderState(CDocumentRecords& r, int flag) {
  CDocumentoSet& order = r.source;
  const long agent = order.IsFieldNull(&order.m_ID_AGENTE_SEDE_SOCIETA) ? 0 : order.m_ID_AGENTE_SEDE_SOCIETA;
  Log(StrFormat(" - Aggiornamento ordine '%s'/%ld del %ld (Ag. %ld) in corso...", order.m_SERIE.c_str(),
                order.m_NUMERO, order.m_ANNO, agent),
      TMS_NONE);
  tarvo::exchange::BeginWriteTransaction(*m_pInDatabase);
  r.customers.Reset();
  const long customer = r.customers.Resolve(order.m_CLI_FAT_PARTITAIVA, order.m_CLI_FAT_ID);

  // The series goes into the search as it is, and any causal matches.
  const bool found = tarvo::exchange::AddOrEdit(
      r.target, StrFormat("( SERIE = '%s' ) AND ( NUMERO = %ld ) AND ( ANNO = %ld )", order.m_SERIE.c_str(),
                          order.m_NUMERO, order.m_ANNO));
  const long id = found ? r.target.m_ID : r.customers.DestinationIds().GetNewId("GET_ID_DOCUMENTO");
  CopyHeader(order, r.target);
  if (!found) r.target.m_ID = id;
  r.target.m_CLI_FAT_ID = customer;
  r.target.m_F_MODIFICATO = 1;
  r.target.Update();

  OpenLines(r.sourceLines, order.m_ID);
  m_pInDatabase->ExecuteSQL(StrFormat("DELETE FROM VOCI_DOCUMENTO WHERE ID_DOCUMENTO = %ld", id));
  if (r.targetLines.IsOpen()) r.targetLines.Requery();
  else r.targetLines.Open();
  // The run's result flag doubles as the commit flag: an order without lines repeats the word
  // of the previous commit.
  for (; !r.sourceLines.IsEOF(); r.sourceLines.MoveNext()) {
    AddLineCopy(r.sourceLines, r.targetLines, id);
    r.targetLines.m_ID = r.customers.DestinationIds().GetNewId("GET_ID_VOCI_DOCUMENTO");
    r.targetLines.Update();
    order.Edit();
    order.m_F_MODIFICATO = 0;
    order.Update();
    flag = CommitBoth(true) ? 1 : 0;
  }
  Log(StrFormat(" - Aggiornamento ordine '%s'/%ld del %ld (Ag. %ld)... %s", order.m_SERIE.c_str(), order.m_NUMERO,
                order.m_ANNO, agent, flag ? "OK!" : "ERRORE!"),
      TMS_NONE);
  order.MoveNext();
  return flag;
}
