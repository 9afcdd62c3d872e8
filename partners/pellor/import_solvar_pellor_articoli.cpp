#include "partners/pellor/import_solvar_pellor_articoli.h"

#include <ctime>

#include "partners/pellor/pellor_files.h"
#include "partners/solvar/solvar_files.h"
#include "platform/host_ui.h"
#include "platform/records/articolo_set.h"
#include "platform/records/categoria_set.h"
#include "platform/records/movimento_articolo_deposito_set.h"
#include "platform/settings.h"

using namespace tarvo;
using namespace tarvo::pellor;
using partner::CFixedLengthReader;
using partner::CFixedWidthLine;
using partner::FieldOf;

namespace {

// A code pasted into a filter: quotes doubled.
CString Quoted(const CString& text) {
  CString out = text;
  ReplaceAll(out, "'", "''");
  return out;
}

// A number field with its "," read as a point, as a Number column takes it.
CString NumberText(const CFixedWidthLine& record, const CFieldSpec& field) {
  return FormatNumber(record.Number(field));
}

// The availability date "DDMMYYYY".
CDBTimestamp DayMonthYear(const CString& text) {
  CDBTimestamp date;
  date.day = std::atoi(text.substr(0, 2).c_str());
  date.month = std::atoi(text.substr(2, 2).c_str());
  date.year = std::atoi(text.substr(4, 4).c_str());
  return date;
}

}  // namespace

int CTarvoImportSolvarPellorArticoli::Run() {
  int result = AggiornaDatabase();
  NotifyFinished(result);
  return result;
}

CString CTarvoImportSolvarPellorArticoli::InFile(const char* name) const {
  if (!m_strInDir.empty() && (m_strInDir.back() == '\\' || m_strInDir.back() == '/')) return m_strInDir + name;
  return m_strInDir.empty() ? CString(name) : m_strInDir + "\\" + name;
}

bool CTarvoImportSolvarPellorArticoli::EliminaArticoliNonMovimentati() {
  Log(" - Preparazione dati in corso.", TMS_NONE);
  try {
    m_pInDatabase->ExecuteSQL("DELETE FROM MOVIMENTO_ARTICOLO_DEPOSITO");
    // Lines without an article (notes) hold NULL, and one NULL in a NOT IN list keeps every row:
    // the subquery leaves them out.
    m_pInDatabase->ExecuteSQL(
        "DELETE FROM ARTICOLO WHERE ID NOT IN (SELECT DISTINCT ID_ARTICOLO FROM VOCI_DOCUMENTO "
        "WHERE ID_ARTICOLO IS NOT NULL)");
    m_pInDatabase->ExecuteSQL("UPDATE ARTICOLO SET ID_CATEGORIA = NULL");
    m_pInDatabase->ExecuteSQL("DELETE FROM CATEGORIA");
  } catch (const CDBException& e) {
    Log("ERRORE database: " + e.m_strError, TMS_NONE);
    Log(" - Preparazione dati ERRORE", TMS_NONE);
    return false;
  }
  Log(" - Preparazione dati OK", TMS_NONE);
  return true;
}

bool CTarvoImportSolvarPellorArticoli::GetCategorieFromFile() {
  Log(" - Lettura file Categorie in corso", TMS_NONE);
  m_categorie.clear();
  try {
    CFixedLengthReader file(InFile(kFileSettori), kSettoriRecord);
    CFixedWidthLine record("");
    while (file.Next(record)) {
      long number = record.Integer(FieldOf(SettoriLayout(), "numero"));
      if (number < 0) continue;
      CString name = record.Text(FieldOf(SettoriLayout(), "nome"));
      if (name.empty()) name = StrFormat("Categoria %03ld", number);
      if (ToUpper(record.Text(FieldOf(SettoriLayout(), "flag"), CFixedWidthLine::ETrim::kNone)) == "N") name = "~ " + name;
      if (static_cast<size_t>(number) >= m_categorie.size()) m_categorie.resize(number + 1);
      m_categorie[number] = name;
    }
  } catch (const CFileException& e) {
    Log("ERRORE file: " + e.GetErrorMessage(), TMS_NONE);
    Log(" - Lettura file Categorie ERRORE", TMS_NONE);
    return false;
  }
  Log(" - Lettura file Categorie OK", TMS_NONE);
  return true;
}

bool CTarvoImportSolvarPellorArticoli::RowCategoriaExist(long number) {
  CCategoriaSet set(m_pInDatabase);
  set.m_strFilter = StrFormat("ID = '%03ld'", number);
  set.Open();
  return !set.IsEOF();
}

bool CTarvoImportSolvarPellorArticoli::RowArticoloExist(const CString& code) {
  CArticoloSet set(m_pInDatabase);
  set.m_strFilter = "ID = '" + Quoted(code) + "'";
  set.Open();
  return !set.IsEOF();
}

bool CTarvoImportSolvarPellorArticoli::RowDisponibArtExist(const CString& code) {
  CMovimentoArticoloDepositoSet set(m_pInDatabase);
  set.m_strFilter = StrFormat("ANNO = %ld AND ID_ARTICOLO = '%s' AND ID_SOCIETA = %d AND ID_DEPOSITO = %d",
                              static_cast<long>(CDBTimestamp::Now().year), Quoted(code).c_str(),
                              static_cast<int>(CUserAdministrator::GetIDSOCIETA()),
                              static_cast<int>(CUserAdministrator::GetIDSEDESOCIETA()));
  set.Open();
  return !set.IsEOF();
}

void CTarvoImportSolvarPellorArticoli::SaveCategoria(long number) {
  if (number < 0 || static_cast<size_t>(number) >= m_categorie.size())
    throw CException(ErrorKind::kInput, StrFormat("categoria %03ld assente dal file %s", number, kFileSettori));
  CCategoriaSet set(m_pInDatabase);
  set.m_strFilter = StrFormat("ID = '%03ld'", number);
  set.Open();
  if (set.IsEOF()) {
    set.AddNew();
    set.m_ID = StrFormat("%03ld", number);
    set.m_F_PUBBLICA = 1;
  } else {
    set.Edit();
  }
  set.m_DESCRIZIONE = m_categorie[number];
  set.Update();
}

void CTarvoImportSolvarPellorArticoli::ImportArticoli(CString& code) {
  Log(" - Lettura file Articoli in corso", TMS_NONE);
  // The category trigger of the original schema ("ALTER TRIGGER TRIBI_CATEGORIA INACTIVE") has
  // no counterpart here: category keys are plain values and go in as given.
  CFixedLengthReader file(InFile(kFileArticoli), kArticoliRecord);
  CFixedWidthLine record("");
  while (file.Next(record)) {
    if (CtrlEventStop()) throw CStopped();
    code = record.Text(FieldOf(ArticoliLayout(), "codice"));
    CArticoloSet art(m_pInDatabase);
    art.m_strFilter = "ID = '" + Quoted(code) + "'";
    art.Open();
    if (art.IsEOF()) {
      art.AddNew();
      art.m_ID = code;
    } else {
      art.Edit();
    }
    CString barcode = record.Text(FieldOf(ArticoliLayout(), "codice a barre"));
    art.m_CODICE_BARRE = Trim(barcode).empty() ? "0000000" + code : barcode;
    art.m_CODICE_ALTERNATIVO = record.Text(FieldOf(ArticoliLayout(), "codice alternativo"));
    art.m_DESCRIZIONE = record.Text(FieldOf(ArticoliLayout(), "descrizione"));
    art.m_DESCRIZIONE_BREVE = "Art. " + code;
    art.m_PREZZO = partner::FormatWithPattern("%.5f", record.Number(FieldOf(ArticoliLayout(), "prezzo")));
    art.m_PREZZO_2 = partner::FormatWithPattern("%.5f", record.Number(FieldOf(ArticoliLayout(), "prezzo 2")));
    art.m_PESO = NumberText(record, FieldOf(ArticoliLayout(), "peso"));
    art.m_PRODUTTORE = record.Text(FieldOf(ArticoliLayout(), "produttore"));
    art.m_COSTO = NumberText(record, FieldOf(ArticoliLayout(), "costo"));
    art.m_VOLUME = partner::FormatWithPattern("%f", record.Number(FieldOf(ArticoliLayout(), "volume")));
    art.m_PREZZO_ACQUISTO = NumberText(record, FieldOf(ArticoliLayout(), "prezzo acquisto"));
    long pack = record.Integer(FieldOf(ArticoliLayout(), "confezione"));
    art.m_CONFEZIONE = StrFormat("%ld", pack < 1 ? 1L : pack);
    art.m_QTA_RIORDINO = NumberText(record, FieldOf(ArticoliLayout(), "quantita riordino"));
    art.m_CODICE_IVA = "20";
    art.m_FOTO = code + ".jpg";
    long category = record.Integer(FieldOf(ArticoliLayout(), "categoria"));
    if (category > 0) {
      SaveCategoria(category);
      art.m_ID_CATEGORIA = StrFormat("%03ld", category);
    }
    art.Update();
    Log("      articolo " + code + " aggiornato", TMS_NONE);
  }
  Log(" - Lettura file Articoli OK", TMS_NONE);
}

void CTarvoImportSolvarPellorArticoli::ImportDisponibilita(CString& code) {
  Log(W(" - Lettura file Disponibilità in corso"), TMS_NONE);
  const long year = CDBTimestamp::Now().year;
  const long company = CUserAdministrator::GetIDSOCIETA();
  const long branch = CUserAdministrator::GetIDSEDESOCIETA();
  CFixedLengthReader file(InFile(kFileDisponib), kDisponibRecord);
  CFixedWidthLine record("");
  while (file.Next(record)) {
    if (CtrlEventStop()) throw CStopped();
    code = record.Text(FieldOf(DisponibLayout(), "codice"));
    if (!RowArticoloExist(code)) {
      Log(W("      diponibilità articolo ") + code + " non aggiornata", TMS_NONE);
      continue;
    }
    CMovimentoArticoloDepositoSet stock(m_pInDatabase);
    stock.m_strFilter = StrFormat("ANNO = %ld AND ID_ARTICOLO = '%s' AND ID_SOCIETA = %d AND ID_DEPOSITO = %d", year,
                                  Quoted(code).c_str(), static_cast<int>(company), static_cast<int>(branch));
    stock.Open();
    if (stock.IsEOF()) {
      stock.AddNew();
      stock.m_ID_ARTICOLO = code;
      stock.m_ANNO = year;
      stock.m_ID_SOCIETA = company;
      stock.m_ID_DEPOSITO = branch;
    } else {
      stock.Edit();
    }
    for (CString* figure : {&stock.m_GIACENZA_INIZIALE, &stock.m_CARICO, &stock.m_SCARICO, &stock.m_IMPEGNATO,
                            &stock.m_DISPONIBILE})
      *figure = "0.0";
    stock.m_GIACENZA = NumberText(record, FieldOf(DisponibLayout(), "giacenza"));
    stock.m_ORDINATO = NumberText(record, FieldOf(DisponibLayout(), "ordinato"));
    stock.m_DATA_ULTIMO_MOVIMENTO = DayMonthYear(record.Text(FieldOf(DisponibLayout(), "data"), CFixedWidthLine::ETrim::kNone));
    stock.Update();
    Log(W("      diponibilità articolo ") + code + " aggiornata", TMS_NONE);
  }
  Log(W(" - Lettura file Disponibilità OK"), TMS_NONE);
}

int CTarvoImportSolvarPellorArticoli::AggiornaDatabase() {
  const std::time_t started = std::time(nullptr);
  if (!OpenInDatabase(false)) {
    CloseInDatabase();
    return 0;
  }
  Log("Importazione dati in corso", TMS_NONE);
  m_pInDatabase->BeginTrans();
  auto fail = [&](const char* line) {
    m_pInDatabase->Rollback();
    if (line) Log(line, TMS_NONE);
    CloseInDatabase();
    return 0;
  };
  auto failWithMessage = [&](const char* text) {
    m_pInDatabase->Rollback();
    Log(" - Importazione dati ERRORE", TMS_NONE);
    if (m_bVerbose) AfxMessageBox(text, MB_ICONERROR);
    Log(text, TMS_NONE);
    CloseInDatabase();
    return 0;
  };
  if (CtrlEventStop()) return fail("Importazione dati INTERROTTA dall'utente");
  if (!EliminaArticoliNonMovimentati()) return failWithMessage("Errore durante la preparazione dati.");
  if (!GetCategorieFromFile()) return failWithMessage("Errore durante la lettura del file Categorie.");
  CString code;
  try {
    ImportArticoli(code);
    ImportDisponibilita(code);
    m_pInDatabase->CommitTrans();
  } catch (const CStopped&) {
    return fail("Importazione dati INTERROTTA dall'utente");
  } catch (const CDBException& e) {
    Log("ERRORE database: " + e.m_strError + " [articolo " + code + "]", TMS_NONE);
    return fail("Importazione dati ERRORE");
  } catch (const CFileException& e) {
    Log("ERRORE file: " + e.GetErrorMessage(), TMS_NONE);
    Log(" - Lettura file ERRORE", TMS_NONE);
    return fail(nullptr);
  } catch (const CException& e) {
    Log("ERRORE: " + e.GetErrorMessage() + " [articolo " + code + "]", TMS_NONE);
    return fail("Importazione dati ERRORE");
  }
  Log("Importazione dati OK " + solvar::FormatElapsed(static_cast<long long>(std::time(nullptr) - started)), TMS_NONE);
  CloseInDatabase();
  return 1;
}
