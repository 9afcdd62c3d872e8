#include "partners/solvar/import_solvar_articoli.h"

#include <ctime>
#include <functional>

#include "dbexchange/customer_resolution.h"
#include "dbexchange/record_transfer.h"
#include "partners/solvar/solvar_files.h"
#include "partners/solvar/solvar_import.h"
#include "platform/records/articolo_set.h"
#include "platform/records/categoria_set.h"
#include "platform/records/famiglia_set.h"
#include "platform/records/gruppo_set.h"
#include "platform/records/iva_set.h"
#include "platform/records/unita_misura_set.h"

using tarvo::StrFormat;
using tarvo::W;
using tarvo::exchange::AddOrEdit;
using tarvo::exchange::DoubleQuotes;
using tarvo::exchange::FindRow;
using tarvo::exchange::InterruptRequested;
using namespace tarvo::partner;
using namespace tarvo::solvar;

// The record sets of the article loop, on the in database, opened at their first lookup.
struct CTarvoImportSolvarArticoli::CRecordSets {
  explicit CRecordSets(CDatabase* db) : articoli(db), unita(db), iva(db), categorie(db), famiglie(db), gruppi(db) {}
  CArticoloSet articoli;
  CUnitaMisuraSet unita;
  CIvaSet iva;
  CCategoriaSet categorie;
  CFamigliaSet famiglie;
  CGruppoSet gruppi;
};

namespace {

CString IdFilter(const char* column, const CString& code) {
  return StrFormat("%s = '%s'", column, DoubleQuotes(code).c_str());
}

// Inserts the classification row of `id` or overwrites its description.
template <class TSet>
void StoreCode(TSet& set, const CString& id, const CString& description) {
  AddOrEdit(set, IdFilter("ID", id));
  set.m_ID = id;
  set.m_DESCRIZIONE = description;
  set.Update();
}

// The field of the article layout as the import reads it.
CString ArticleText(const CFixedWidthLine& line, const char* column, CFixedWidthLine::ETrim trim) {
  return line.Text(FieldOf(ArticoliLayout(), column), trim);
}
CString ArticleNumber(const CFixedWidthLine& line, const char* column) {
  return line.DecimalText(FieldOf(ArticoliLayout(), column));
}

}  // namespace

int CTarvoImportSolvarArticoli::ReadCodes(const CClassificationFile& file, CCodeMap& map) {
  const bool vat = &file == &kAliquoteIva;
  const CRecordLayout& layout = vat ? IvaLayout() : CodeDescriptionLayout();
  const CFieldSpec& code = layout.front();
  const CFieldSpec& description = FieldOf(layout, "DESCRIZIONE");
  EReadResult read = ReadFileStep(*this, file.name, file.words, [&](const CFixedWidthLine& line, int) {
    if (InterruptRequested(*this)) return false;
    CObjCategoria entry;
    entry.m_strCodice = line.Raw(code.offset, code.width);
    if (map.count(entry.m_strCodice)) return true;  // the first line of a code wins
    entry.m_strDescrizione = line.Text(description);
    if (entry.m_strDescrizione.empty()) entry.m_strDescrizione = StrFormat(file.defaultDescription, entry.m_strCodice.c_str());
    if (vat) entry.m_strValore3 = line.DecimalText(FieldOf(layout, "ALIQUOTA").offset, kIvaRateReadWidth);
    map.emplace(entry.m_strCodice, std::move(entry));
    return true;
  });
  return read == EReadResult::kDone;
}

int CTarvoImportSolvarArticoli::GetCategorieFromFile() { return ReadCodes(kCategorie, m_mapCategorie); }
int CTarvoImportSolvarArticoli::GetFamiglieFromFile() { return ReadCodes(kFamiglie, m_mapFamiglie); }
int CTarvoImportSolvarArticoli::GetGruppiFromFile() { return ReadCodes(kGruppi, m_mapGruppi); }
int CTarvoImportSolvarArticoli::GetAliquoteIVAFromFile() { return ReadCodes(kAliquoteIva, m_mapAliquote); }

void CTarvoImportSolvarArticoli::Cleanup() {
  for (CCodeMap* map : {&m_mapCategorie, &m_mapFamiglie, &m_mapGruppi, &m_mapAliquote}) map->clear();
}

int CTarvoImportSolvarArticoli::GetAlberoFromFile() {
  CCategoriaSet categorie(m_pInDatabase);
  CFamigliaSet famiglie(m_pInDatabase);
  const CFieldSpec& category = FieldOf(AlberoLayout(), "ID_CATEGORIA");
  const CFieldSpec& family = FieldOf(AlberoLayout(), "ID");
  // The failure line names the VAT file: that is how the partner's operators know it.
  const CReadStepWords words = {" - Lettura file albero categorizzazione ...",
                                " - Lettura file albero categorizzazione terminata con successo.",
                                " - Lettura file Aliquote IVA fallita."};
  EReadResult read = ReadFileStep(*this, kFileAlbero, words, [&](const CFixedWidthLine& line, int) {
    if (InterruptRequested(*this)) return false;
    const CString categoryCode = line.Raw(category.offset, category.width);
    if (!FindRow(categorie, IdFilter("ID", categoryCode))) return true;
    if (!FindRow(famiglie, IdFilter("ID", line.Raw(family.offset, family.width)))) return true;
    famiglie.Edit();
    famiglie.m_ID_CATEGORIA = categoryCode;
    famiglie.Update();
    return true;
  });
  return read == EReadResult::kDone;
}

void CTarvoImportSolvarArticoli::ImportArticolo(const CFixedWidthLine& line, CRecordSets& s) {
  using ETrim = CFixedWidthLine::ETrim;
  CArticoloSet& a = s.articoli;
  const CString code = ArticleText(line, "ID", ETrim::kRight);
  if (!AddOrEdit(a, IdFilter("ID", code))) {
    Log("Inserimento articolo " + code, TMS_NONE);
    a.m_ID = code;
  } else if (!m_nAggiornaArticoli) {
    a.CancelUpdate();
    Log(W("Articolo ") + code + W(" già presente. Aggiornamento non eseguito."), TMS_NONE);
    return;
  } else {
    Log("Aggiornamento articolo " + code, TMS_NONE);
  }

  a.m_DESCRIZIONE = ArticleText(line, "DESCRIZIONE", ETrim::kRight);
  a.m_DESCRIZIONE_BREVE = a.m_DESCRIZIONE.substr(0, 20);
  a.m_PREZZO = ArticleNumber(line, "PREZZO");
  const long pieces = TextToLong(ArticleText(line, "CONFEZIONE", ETrim::kNone));
  a.m_CONFEZIONE = pieces <= 0 ? CString("1") : StrFormat("%ld", pieces);

  const CString unit = ArticleText(line, "ID_UNITA_MISURA", ETrim::kRight);
  if (unit.empty()) {
    a.SetFieldNull(&a.m_ID_UNITA_MISURA);
  } else {
    if (!FindRow(s.unita, IdFilter("ID", unit))) {
      s.unita.AddNew();
      s.unita.m_ID = unit;
      s.unita.m_DESCRIZIONE = W("Unità ") + unit;
      s.unita.Update();
    }
    a.m_ID_UNITA_MISURA = unit;
  }

  // An empty VAT code leaves the article's as it was.
  const CString vat = ArticleText(line, "CODICE_IVA", ETrim::kLeft);
  if (!vat.empty()) {
    auto rate = m_mapAliquote.find(vat);
    if (rate != m_mapAliquote.end()) {
      AddOrEdit(s.iva, IdFilter("CODICE", vat));
      s.iva.m_CODICE = rate->second.m_strCodice;
      s.iva.m_DESCRIZIONE = rate->second.m_strDescrizione;
      s.iva.m_ALIQUOTA = rate->second.m_strValore3;
      s.iva.Update();
    }
    a.m_CODICE_IVA = vat;
  }
  a.m_SCORTA_MINIMA = "0";

  // Category, family, group: only while updating and importing that level. A category code
  // missing from its file still makes a category; a family or group code does not.
  struct Level {
    const char* column;
    int on;
    const CCodeMap& map;
    CString& member;
    std::function<void(const CString&, const CString&)> store;
  } const levels[] = {
      {"ID_CATEGORIA", m_nImportaCategorie, m_mapCategorie, a.m_ID_CATEGORIA,
       [&](const CString& id, const CString& d) { StoreCode(s.categorie, id, d); }},
      {"ID_FAMIGLIA", m_nImportaFamiglie, m_mapFamiglie, a.m_ID_FAMIGLIA,
       [&](const CString& id, const CString& d) { StoreCode(s.famiglie, id, d); }},
      {"ID_GRUPPO", m_nImportaGruppi, m_mapGruppi, a.m_ID_GRUPPO,
       [&](const CString& id, const CString& d) { StoreCode(s.gruppi, id, d); }},
  };
  for (const Level& level : levels) {
    const CString levelCode = ArticleText(line, level.column, ETrim::kLeft);
    auto entry = level.map.find(levelCode);
    const bool known = entry != level.map.end();
    const bool category = &level == &levels[0];
    if (m_nAggiornaArticoli && level.on && !levelCode.empty() && (known || category)) {
      const CString id = known ? entry->second.m_strCodice : levelCode;
      level.store(id, known ? entry->second.m_strDescrizione : StrFormat("CATEGORIA %s", levelCode.c_str()));
      level.member = id;
    } else {
      a.SetFieldNull(&level.member);
    }
  }

  const CString classe = ArticleText(line, "ID_CLASSE", ETrim::kLeft);
  if (classe.empty()) a.SetFieldNull(&a.m_ID_CLASSE);
  else a.m_ID_CLASSE = classe;
  a.m_F_ATTIVO = ArticleText(line, "F_ATTIVO", ETrim::kLeft) == "N" ? 0 : 1;
  a.m_PREZZO_2 = ArticleNumber(line, "PREZZO_2");
  a.m_COSTO = ArticleNumber(line, "COSTO");
  a.m_SCONTO_1 = ArticleNumber(line, "SCONTO_1");
  a.m_SCONTO_2 = ArticleNumber(line, "SCONTO_2");
  // The last two percentages only when the line reaches them; otherwise they keep their values.
  if (line.Covers(FieldOf(ArticoliLayout(), "SCONTO_3"))) a.m_SCONTO_3 = ArticleNumber(line, "SCONTO_3");
  if (line.Covers(FieldOf(ArticoliLayout(), "PROVVIGIONE"))) {
    const CString commission = ArticleNumber(line, "PROVVIGIONE");
    a.m_PROVVIGIONE = commission.empty() ? CString("0.0") : commission;
  }
  a.Update();
}

int CTarvoImportSolvarArticoli::Run() {
  if (!OpenInDatabase(false)) {
    CloseInDatabase();
    NotifyFinished(0);
    return -1;
  }
  int result = 1;
  const std::time_t start = std::time(nullptr);
  bool started = true;
  try {
    tarvo::exchange::BeginWriteTransaction(*m_pInDatabase);
  } catch (const CDBException& e) {
    Log(" - Errore database  " + e.m_strError, TMS_NONE);
    started = false;
    result = 0;
  }
  Log("Inizio importazione dati", TMS_NONE);

  if (started) {
    if (m_nAggiornaArticoli) {
      const std::pair<int, int (CTarvoImportSolvarArticoli::*)()> reads[] = {
          {m_nImportaCategorie, &CTarvoImportSolvarArticoli::GetCategorieFromFile},
          {m_nImportaFamiglie, &CTarvoImportSolvarArticoli::GetFamiglieFromFile},
          {m_nImportaGruppi, &CTarvoImportSolvarArticoli::GetGruppiFromFile}};
      const CClassificationFile* files[] = {&kCategorie, &kFamiglie, &kGruppi};
      for (size_t i = 0; i < 3; ++i) {
        if (reads[i].first && !(this->*reads[i].second)()) {
          Log(files[i]->readFailed, TMS_NONE);
          result = 0;
        }
      }
    }
    // The VAT rates are read even after a failed read, and without the classification.
    if (!GetAliquoteIVAFromFile()) {
      Log(kAliquoteIva.readFailed, TMS_NONE);
      result = 0;
    }
  }

  if (result == 1) {
    try {
      CRecordSets sets(m_pInDatabase);
      const CReadStepWords words = {" - Lettura file Articoli in corso ...",
                                    " - Lettura file Articoli terminata con successo",
                                    " - Lettura file Articoli fallita.", " - Errore file: "};
      EReadResult read = ReadFileStep(*this, kFileArticoli, words, [&](const CFixedWidthLine& line, int) {
        if (InterruptRequested(*this)) return false;
        if (line.Length() > 0) ImportArticolo(line, sets);  // an empty line holds no article
        return true;
      });
      if (read == EReadResult::kDone) {
        GetAlberoFromFile();
        m_pInDatabase->ExecuteSQL("DELETE FROM LOG_MAGAZZINO");
        Log(RunSummary(true, start), TMS_NONE);
        m_pInDatabase->CommitTrans();
        Log("Operazione completata con successo.", TMS_NONE);
      } else {
        if (read == EReadResult::kStopped) {
          Log(" - Lettura file Articoli fallita", TMS_NONE);
          Log("Importazione fallita!", TMS_NONE);
        } else {
          Log("Importazione dati fallita.", TMS_NONE);
        }
        result = 0;
      }
    } catch (const tarvo::CException& e) {
      // Database errors, and number fields the database cannot take.
      Log(" - Errore database  " + e.GetErrorMessage(), TMS_NONE);
      Log("Importazione dati fallita.", TMS_NONE);
      result = 0;
    }
  }
  if (result == 0) {
    try {
      if (m_pInDatabase->InTransaction()) m_pInDatabase->Rollback();
    } catch (const CDBException& e) {
      Log(" - Errore database  " + e.m_strError, TMS_NONE);
    }
    Log("Operazione fallita.", TMS_NONE);
  }
  Cleanup();
  CloseInDatabase();
  NotifyFinished(result);
  return result;
}
