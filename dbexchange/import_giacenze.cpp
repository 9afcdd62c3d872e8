#include "dbexchange/import_giacenze.h"

#include <memory>

#include "dbexchange/run_support.h"
#include "dbexchange/record_transfer.h"
#include "platform/records/articolo_set.h"
#include "platform/records/ctrl_movimento_articolo_societa_set.h"
#include "platform/records/movimento_articolo_deposito_set.h"
#include "platform/records/movimento_articolo_societa_set.h"
#include "platform/records/sede_societa_set.h"
#include "platform/settings.h"

using tarvo::StrFormat;
using namespace tarvo::exchange;

namespace {

const char kSeparator[] = "---------------------------------";

// The lines of a stock row found or missing on the destination. "% s" is how these lines have
// always been written: the blank flag prints the identifier unchanged.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
CString FoundLine(const CString& article) {
  return StrFormat(" -- Giacenze per l'articolo % s trovate. Aggiornamento giacenze esistenti...", article.c_str());
}
CString MissingLine(const CString& article) {
  return StrFormat(" -- Giacenze per l'articolo % s non trovate. Inserimento nuove giacenze ...", article.c_str());
}
#pragma GCC diagnostic pop

// Every column of the record, in binding order.
std::vector<CColumnRange> AllColumns(const CRecordSetBase& record) { return {{0, record.GetFieldCount()}}; }

}  // namespace

int CTarvoImportGiacenze::Run() {
  const CDBTimestamp today = Today();
  const long year = today.year > 0 ? today.year : -1;
  const long company = CUserAdministrator::GetIDSOCIETA();

  if (OpenDatabases(*this, EOpenOrder::kOutFirst) != EOpened::kBoth) {
    NotifyFinished(0);
    return 0;
  }

  int result = 1;
  Log(kSeparator, TMS_NONE);
  Log("Avvio importazione giacenze articoli.", TMS_NONE);
  auto warehouses = std::make_unique<CSedeSocietaSet>(m_pInDatabase);
  auto source = std::make_unique<CMovimentoArticoloDepositoSet>(m_pOutDatabase);
  auto target = std::make_unique<CMovimentoArticoloDepositoSet>(m_pInDatabase);
  auto article = std::make_unique<CArticoloSet>(m_pInDatabase);
  auto control = std::make_unique<CCtrlMovimentoArticoloSocietaSet>(m_pInDatabase);
  auto totals = std::make_unique<CMovimentoArticoloSocietaSet>(m_pInDatabase);

  // Positions `record` with `filter` for an edit of the row found (logging the "trovate" line) or
  // a new row (the "non trovate" line). The lines name the article record's identifier.
  auto addOrEditStock = [&](CRecordSetBase& record, const CString& filter) {
    bool found = AddOrEdit(record, filter);
    Log(found ? FoundLine(article->m_ID) : MissingLine(article->m_ID), TMS_NONE);
  };

  bool completed = RunGuarded(*this, "", [&] {
    warehouses->m_strFilter = StrFormat("( IDSOCIETA = %ld ) ", company) + GetInRegWhere();
    warehouses->m_strSort = "ID";
    warehouses->Open();
    for (; !warehouses->IsEOF() && result == 1; warehouses->MoveNext()) {
      if (InterruptRequested(*this)) {
        result = 0;
        break;
      }
      const long warehouse = warehouses->m_ID;
      Log(StrFormat(" - Avvio aggiornamento giacenze per il deposito %ld", warehouse), TMS_NONE);
      source->m_strFilter = StrFormat("( ID_DEPOSITO = %ld ) AND ( ANNO = %ld )", warehouse, year);
      source->m_strSort = "ID_ARTICOLO";
      source->Open();
      for (; !source->IsEOF(); source->MoveNext()) {
        if (InterruptRequested(*this)) {
          result = 0;
          break;
        }
        Log(" -- Aggiornamento giacenze articolo " + source->m_ID_ARTICOLO, TMS_NONE);
        const CString key = DoubleQuotes(source->m_ID_ARTICOLO);
        article->m_strFilter = StrFormat("ID = '%s'", key.c_str());
        if (article->IsOpen()) article->Requery();
        else article->Open();
        if (article->IsEOF()) {
          Log(" -- Articolo non trovato. Continuo con il prossino ...", TMS_NONE);
          continue;
        }
        addOrEditStock(*target, StrFormat("( ID_DEPOSITO = %ld ) AND ( ANNO = %ld ) AND ( ID_ARTICOLO = '%s' )",
                                          warehouse, year, key.c_str()));
        CopyFields(*source, *target, AllColumns(*source));
        target->Update();
      }
      source->Close();
      Log(StrFormat(" - Fine aggiornamento giacenze per il deposito %ld", warehouse), TMS_NONE);
    }

    // The totals are rebuilt also after a stop request, and are not interrupted.
    Log(" - Avvio aggiornamento giacenze totali", TMS_NONE);
    control->m_strFilter = StrFormat(" ( ID_SOCIETA = %ld ) AND ( ANNO = %ld )", company, year);
    control->m_strSort = "ID_ARTICOLO";
    control->Open();
    for (; !control->IsEOF(); control->MoveNext()) {
      addOrEditStock(*totals, StrFormat("( ID_SOCIETA = %ld ) AND ( ANNO = %ld ) AND ( ID_ARTICOLO = '%s' )", company,
                                        year, DoubleQuotes(control->m_ID_ARTICOLO).c_str()));
      CopyFields(*control, *totals, AllColumns(*control));
      totals->Update();
    }
    control->Close();
  });
  if (!completed) result = 0;

  // The record sets go before their databases.
  warehouses.reset();
  source.reset();
  target.reset();
  article.reset();
  control.reset();
  totals.reset();
  CloseInDatabase();
  CloseOutDatabase();
  Log("Fine importazione giacenze articoli.", TMS_NONE);
  Log(kSeparator, TMS_NONE);
  NotifyFinished(result);
  return result;
}
