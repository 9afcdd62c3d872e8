#include "dbexchange/exchange_articoli.h"

#include <memory>

#include "dbexchange/record_transfer.h"
#include "dbexchange/run_support.h"
#include "platform/records/articolo_set.h"
#include "platform/records/categoria_set.h"
#include "platform/records/famiglia_set.h"
#include "platform/records/gruppo_set.h"
#include "platform/records/iva_set.h"
#include "platform/records/unita_misura_set.h"

using tarvo::StrFormat;
using tarvo::W;
using namespace tarvo::exchange;

namespace {

const char kSeparator[] = "---------------------------------";

// The log line of a row: `pattern` with the texts of the given columns (binding positions).
std::function<CString(const CRecordSetBase&)> RowLine(CString pattern, int column) {
  return [pattern, column](const CRecordSetBase& r) { return StrFormat(pattern.c_str(), FieldText(r, column).c_str()); };
}
std::function<CString(const CRecordSetBase&)> RowLine(CString pattern, int first, int second) {
  return [pattern, first, second](const CRecordSetBase& r) {
    return StrFormat(pattern.c_str(), FieldText(r, first).c_str(), FieldText(r, second).c_str());
  };
}

// A source record and a target record of one table.
struct CTablePair {
  std::unique_ptr<CRecordSetBase> source, target;
};
template <class TSet>
CTablePair MakePair(CDatabase* out, CDatabase* in) {
  return {std::make_unique<TSet>(out), std::make_unique<TSet>(in)};
}

}  // namespace

int CTarvoExchangeArticoli::Run() {
  if (OpenDatabases(*this, EOpenOrder::kOutFirst) != EOpened::kBoth) {
    NotifyFinished(0);
    return 0;
  }

  int result = 1;
  const CString word = DirectionWord(m_nDirezione);
  CString categories;
  GetFilterParam("parametro", categories);
  auto byCategory = [&categories](const char* pattern) {
    return categories.empty() ? CString() : StrFormat(pattern, categories.c_str());
  };

  CTablePair categorie = MakePair<CCategoriaSet>(m_pOutDatabase, m_pInDatabase);
  CTablePair famiglie = MakePair<CFamigliaSet>(m_pOutDatabase, m_pInDatabase);
  CTablePair gruppi = MakePair<CGruppoSet>(m_pOutDatabase, m_pInDatabase);
  CTablePair iva = MakePair<CIvaSet>(m_pOutDatabase, m_pInDatabase);
  CTablePair unita = MakePair<CUnitaMisuraSet>(m_pOutDatabase, m_pInDatabase);
  CTablePair articoli = MakePair<CArticoloSet>(m_pOutDatabase, m_pInDatabase);

  struct Step {
    CTablePair* tables;
    const char* startLine;  // nullptr: the step has no start line
    CString endLine;
    CTableCopy copy;
  };
  const Step steps[] = {
      {&categorie, " categorie.", " categorie.",
       {"ID", byCategory("ID IN ( %s )"), "ID = '%s'", {{0, 4}}, false,
        RowLine(" - Controllo categoria %s - %s.", 0, 1)}},
      {&famiglie, " famiglie.", " famiglie.",
       {"ID", byCategory("ID_CATEGORIA IN ( %s )"), "ID = '%s'", {{0, 5}}, false,
        RowLine(" - Controllo famiglia %s - %s.", 0, 1)}},
      {&gruppi, " gruppi.", " gruppi.",
       {"DESCRIZIONE", "", "ID = '%s'", {{0, 4}}, false, RowLine(" - Controllo gruppo %s - %s.", 0, 1)}},
      {&iva, " aliquote IVA.", " aliquote IVA.",
       {"DESCRIZIONE", "", "CODICE = '%s'", {{0, 3}}, false, RowLine(" - Controllo aliquota IVA %s.", 0)}},
      {&unita, nullptr, W(" unità di misura."),
       {"DESCRIZIONE", "", "ID = '%s'", {{0, 2}}, false, RowLine(W(" - Controllo unità di misura %s."), 0)}},
      // Articles: the first 26 columns and the photo; the columns between them stay as the
      // target has them. The key is doubled in the source row, so the target gets it doubled.
      {&articoli, " articoli.", "",
       {"ID", byCategory("ID_CATEGORIA IN ( %s )"), "ID = '%s'",
        {{0, 26}, {articoli.source->FindField("FOTO"), 1}}, true, RowLine("Controllo articolo %s - %s.", 0, 3)}},
  };

  try {
    m_pInDatabase->BeginTrans();
    for (const Step& step : steps) {
      Log(kSeparator, TMS_NONE);
      if (step.startLine) Log("Inizio " + word + step.startLine, TMS_NONE);
      if (!CopyTable(*this, *step.tables->source, *step.tables->target, step.copy)) {
        result = 0;
        break;
      }
      if (!step.endLine.empty()) Log("Fine " + word + step.endLine, TMS_NONE);
    }
  } catch (const CDBException& e) {
    Log(e.m_strError, TMS_NONE);
    result = 0;
  } catch (const tarvo::CException& e) {
    // A value the target column cannot hold (a number column given text) ends the run the same way.
    Log(e.GetErrorMessage(), TMS_NONE);
    result = 0;
  }

  for (CTablePair* pair : {&categorie, &famiglie, &gruppi, &iva, &unita, &articoli}) {
    pair->source->Close();
    pair->target->Close();
  }
  if (result == 1) {
    try {
      m_pInDatabase->CommitTrans();
    } catch (const CDBException& e) {
      Log(e.m_strError, TMS_NONE);
      result = 0;
    }
  }
  if (result == 1) {
    Log("Operazione completata con successo.", TMS_NONE);
  } else {
    try {
      m_pInDatabase->Rollback();
    } catch (const CDBException& e) {
      Log(e.m_strError, TMS_NONE);
    }
    Log("Operazione fallita.", TMS_NONE);
  }

  for (CTablePair* pair : {&categorie, &famiglie, &gruppi, &iva, &unita, &articoli}) *pair = CTablePair();
  CloseInDatabase();
  CloseOutDatabase();
  Log("Fine " + word + " articoli.", TMS_NONE);
  Log(kSeparator, TMS_NONE);
  NotifyFinished(result);
  return result;
}
