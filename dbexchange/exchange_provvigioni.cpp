#include "dbexchange/exchange_provvigioni.h"

#include "dbexchange/run_support.h"
#include "dbexchange/record_transfer.h"
#include "platform/records/procedure_id.h"
#include "platform/records/scadenzario_set.h"
#include "platform/settings.h"

using tarvo::StrFormat;
using namespace tarvo::exchange;

CTarvoImportAgenteProvvigioni::CTarvoImportAgenteProvvigioni() {
  m_strFiltro = StrFormat("ID_COLLABORATORE = %ld", CUserAdministrator::GetIDREFERENCE());
}

namespace {

// The schedule columns copied as read (NULL included): the description, the due date, the two
// amounts, the settled flag and the agent. The identifier, the payment date and the document are
// never written; the customer, the commission flag and the company are set by the exchange.
const std::vector<CColumnRange> kCopied = {{1, 2}, {4, 2}, {8, 1}, {11, 1}};

}  // namespace

int CTarvoExchangeProvvigioni::Run() {
  if (OpenDatabases(*this, EOpenOrder::kInFirst) != EOpened::kBoth) {
    NotifyFinished(0);
    return 0;
  }

  int result = 1;
  const CString word = DirectionWord(m_bDirezione);
  const CString endWord = m_bDirezione ? "Esportazione" : "Importazione";
  auto source = std::make_unique<CScadenzarioSet>(m_pOutDatabase);
  auto target = std::make_unique<CScadenzarioSet>(m_pInDatabase);
  CProcedureId ids(m_pInDatabase);
  source->m_strFilter = m_strFiltro;
  const long company = CUserAdministrator::GetIDSOCIETA();

  Log("Avvio " + word + " provvigioni ...", TMS_NONE);
  bool completed = RunGuarded(*this, "ERRORE database", [&] {
    m_pInDatabase->BeginTrans();
    m_pOutDatabase->BeginTrans();
    source->Open();
    while (!source->IsEOF()) {
      if (CtrlEventStop()) {
        result = 0;
        break;
      }
      target->m_strFilter = StrFormat("DESCRIZIONE = '%s'", DoubleQuotes(source->m_DESCRIZIONE).c_str());
      target->Open();
      if (target->IsEOF()) {
        // The new key is asked for as the schedule expects, but the row's ID is the destination's.
        ids.GetNewId("GET_ID_SCADENZARIO");
        target->AddNew();
      } else {
        target->Edit();
      }
      CopyFields(*source, *target, kCopied);
      target->m_ID_AZIENDA = -1;
      target->m_F_PROVVIGIONE = 1;
      target->m_ID_SOCIETA = company;
      target->Update();
      source->MoveNext();
    }
  });
  if (!completed) result = 0;
  source->Close();
  target->Close();
  ids.Close();

  if (result == 1) {
    // Reported before the commits, as the operators have always read it.
    Log(endWord + " ordini termita con successo.", TMS_NONE);
    if (!EndTransactions(*this, true, "ERRORE database")) result = 0;
  } else {
    EndTransactions(*this, false, "ERRORE database");
    Log(endWord + " ordini fallita.", TMS_NONE);
  }

  source.reset();
  target.reset();
  CloseOutDatabase();
  CloseInDatabase();
  NotifyFinished(result);
  return result;
}
