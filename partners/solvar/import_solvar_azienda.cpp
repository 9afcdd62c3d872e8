#include "partners/solvar/import_solvar_azienda.h"

#include "dbexchange/customer_resolution.h"
#include "dbexchange/record_transfer.h"
#include "partners/solvar/solvar_files.h"
#include "partners/solvar/solvar_import.h"
#include "platform/host_ui.h"
#include "platform/records/azienda_sconto_set.h"
#include "platform/records/azienda_set.h"
#include "platform/records/cc_user_set.h"
#include "platform/records/collaboratore_set.h"
#include "platform/records/formula_pagamento_set.h"
#include "platform/records/procedure_id.h"
#include "platform/records/provincia_set.h"
#include "platform/records/sconto_set.h"
#include "platform/records/sede_set.h"
#include "platform/records/zona_postale_completa_set.h"

using tarvo::StrFormat;
using tarvo::W;
using namespace tarvo::exchange;
using namespace tarvo::partner;
using namespace tarvo::solvar;

// The record sets of one run, all on the in database.
struct CTarvoImportSolvarAzienda::CRecordSets {
  explicit CRecordSets(CDatabase* db)
      : aziende(db), sedi(db), zone(db), province(db), ids(db), sconti(db), formule(db), condizioni(db),
        agenti(db), utenti(db) {}
  CAziendaSet aziende;
  CSedeSet sedi;
  CZonaPostaleCompletaSet zone;
  CProvinciaSet province;
  CProcedureId ids;
  CScontoSet sconti;
  CFormulaPagamentoSet formule;
  CAziendaScontoSet condizioni;
  CCollaboratoreSet agenti;
  CCCUserSet utenti;
};

namespace {

// Upper case of Windows-1252 text, accented letters included (a locality "Forlì" is searched as
// "FORLÌ").
CString UpperCase(CString text) {
  for (char& c : text) {
    const unsigned char u = static_cast<unsigned char>(c);
    if ((u >= 'a' && u <= 'z') || (u >= 0xE0 && u <= 0xFE && u != 0xF7)) c = static_cast<char>(u - 0x20);
    else if (u == 0x9A || u == 0x9C || u == 0x9E) c = static_cast<char>(u - 0x10);
    else if (u == 0xFF) c = static_cast<char>(0x9F);
  }
  return text;
}

}  // namespace

EReadResult CTarvoImportSolvarAzienda::ReadTermsFile(const char* name, const CReadStepWords& words,
                                                     const std::function<bool(const CFixedWidthLine&)>& store) {
  return ReadFileStep(*this, name, words, [&](const CFixedWidthLine& raw, int number) {
    if (CtrlEventStop()) return false;
    const CFixedWidthLine line(tarvo::Trim(raw.Line(), " \t"));  // trimmed before the fields are cut
    if (line.Length() > 0 && !store(line))
      Log(StrFormat("Linea %d ignorata: %s", number, line.Line().c_str()), TMS_NONE);
    return true;
  });
}

int CTarvoImportSolvarAzienda::GetScontiFromFile() {
  CScontoSet& sconti = m_pSets->sconti;
  const CRecordLayout& layout = ScontiLayout();
  EReadResult read = EReadResult::kDone;
  try {
    read = ReadTermsFile(kFileSconti,
                         {" - Lettura file Sconti...", " - Lettura file Sconti terminata con successo.",
                          " - Lettura file Sconti fallita."},
                         [&](const CFixedWidthLine& line) {
                           const CString code = line.Text(FieldOf(layout, "ID"));
                           if (code.empty()) return false;
                           if (!AddOrEdit(sconti, StrFormat("ID = '%s'", DoubleQuotes(code).c_str()))) sconti.m_ID = code;
                           sconti.m_DESCRIZIONE = "SCONTO " + code;
                           sconti.m_SCONTO_1 = line.DecimalText(FieldOf(layout, "SCONTO_1"));
                           sconti.m_SCONTO_2 = line.DecimalText(FieldOf(layout, "SCONTO_2"));
                           sconti.m_SCONTO_3 = "0.0";
                           sconti.m_SCONTO_4 = "0.0";
                           sconti.m_SCONTO_5 = line.DecimalText(FieldOf(layout, "SCONTO_5"));
                           sconti.Update();
                           return true;
                         });
  } catch (const tarvo::CException& e) {
    Log(e.GetErrorMessage(), TMS_NONE);  // the reading ends there; the step still succeeds
    return 1;
  }
  if (read == EReadResult::kFileError) return 0;
  if (read == EReadResult::kStopped && IsVerbose() && AfxAskYesNo("Interrompere l'importazione clienti?", false)) {
    Log(" - Lettura file Sconti interrotta dall'utente.", TMS_NONE);
    return 0;
  }
  return 1;
}

int CTarvoImportSolvarAzienda::GetFormulaPagamentoFile() {
  CFormulaPagamentoSet& formule = m_pSets->formule;
  const CRecordLayout& layout = PagamentiLayout();
  EReadResult read = EReadResult::kDone;
  try {
    read = ReadTermsFile(kFilePagamenti,
                         {" - Lettura file formula pagamento...",
                          " - Lettura file forumla pagamento terminata con successo.",
                          " - Lettura file forumla pagamento fallita."},
                         [&](const CFixedWidthLine& line) {
                           const CString code = line.Text(FieldOf(layout, "ID"));
                           const CString description =
                               line.Text(FieldOf(layout, "DESCRIZIONE"), CFixedWidthLine::ETrim::kBoth);
                           if (code.empty() || description.empty()) return false;
                           // The code is pasted as it stands: it is the key itself.
                           if (!AddOrEdit(formule, "ID = " + code)) formule.m_ID = TextToLong(code);
                           formule.m_DESCRIZIONE = description + "[" + code + "]";
                           formule.Update();
                           return true;
                         });
  } catch (const tarvo::CException& e) {
    Log(e.GetErrorMessage(), TMS_NONE);
    read = EReadResult::kStopped;
  }
  if (read == EReadResult::kFileError) return 0;
  if (read == EReadResult::kStopped) Log(" - Lettura file forumla pagamento interrotta.", TMS_NONE);
  return 1;
}

void CTarvoImportSolvarAzienda::ImportCliente(const CFixedWidthLine& line, CRecordSets& s) {
  const CRecordLayout& layout = ClientiLayout();
  auto text = [&](const char* name) { return line.Text(FieldOf(layout, name)); };
  const CString code = line.Text(FieldOf(layout, "CODICE_CLIENTE"), CFixedWidthLine::ETrim::kNone);
  const CString name = text("RAGIONESOCIALE"), address = text("INDIRIZZO"), locality = text("LOCALITA"),
                cap = text("CAP"), province = text("PROVINCIA"), vat = text("PARTITAIVA"),
                taxCode = text("CODICEFISCALE"), discount = text("ID_SCONTO");
  const long agent = line.Integer(FieldOf(layout, "ID_AGENTE"));
  const long payment = line.Integer(FieldOf(layout, "ID_FORMULA_PAGAMENTO"));

  Log(" ---------------------------------------------------", TMS_NONE);
  Log(StrFormat(" - Controllo coerenza dati: %s - PIVA: %s - CF: %s", name.c_str(), vat.c_str(), taxCode.c_str()),
      TMS_NONE);
  const std::pair<bool, const char*> checks[] = {
      {name.empty(), "la ragione sociale è vuota"},
      {address.empty(), "l'indirizzo è vuoto"},
      {locality.empty(), "la località è vuota"},
      {cap.empty(), "il CAP è vuoto"},
      {province.empty(), "la provincia è vuota"},
      {vat.empty() && taxCode.empty(), "partita iva e codice fiscale vuoti"},
  };
  for (const auto& [failed, what] : checks) {
    if (failed) {
      Log(W(std::string(" - Dati non coerenti: ") + what + " - cliente scartato"), TMS_NONE);
      return;
    }
  }
  Log(" - Dati coerenti: cliente elaborato", TMS_NONE);

  // Customer, found by its upper-cased tax identifiers, stored as the file spells them.
  long customer;
  if (!FindCompany(s.aziende, UpperCase(vat), UpperCase(taxCode))) {
    Log(" - Cliente non trovato. Inserimento nuovo cliente...", TMS_NONE);
    m_bInserimento = true;
    customer = s.ids.GetNewId("GET_ID_AZIENDA");
    s.aziende.AddNew();
    s.aziende.m_ID = customer;
  } else {
    customer = s.aziende.m_ID;
    Log(StrFormat(" - Cliente trovato. Aggiornamento dati cliente %ld - %s...", customer,
                  s.aziende.m_RAGIONESOCIALE.c_str()),
        TMS_NONE);
    s.aziende.Edit();
  }
  s.aziende.m_RAGIONESOCIALE = name;
  s.aziende.m_PARTITAIVA = vat;
  s.aziende.m_CODICEFISCALE = taxCode;
  s.aziende.m_F_CLIENTE = 1;
  if (payment > 0) s.aziende.m_ID_FORMULA_PAGAMENTO = payment;
  else s.aziende.SetFieldNull(&s.aziende.m_ID_FORMULA_PAGAMENTO);
  s.aziende.m_CODICE_CLIENTE = code;
  s.aziende.Update();
  Log(" - Operazione effettuata", TMS_NONE);

  // Postal zone; with an unknown province there is no zone and no branch.
  long zone = FindPostalZone(s.zone, UpperCase(cap), UpperCase(locality));
  if (zone == -1) {
    zone = 0;
    if (FindRow(s.province, StrFormat("SIGLA = '%s'", DoubleQuotes(province).c_str())))
      zone = AddPostalZone(s.zone, s.ids, {cap, locality, province, "", ""});
  }
  if (zone > 0) WriteZoneBranch(s.sedi, s.ids, customer, zone, address);

  // Commercial terms: discount class and agent.
  if (!AddOrEdit(s.condizioni, StrFormat("ID_AZIENDA = %ld", customer))) s.condizioni.m_ID_AZIENDA = customer;
  if (discount.empty()) s.condizioni.SetFieldNull(&s.condizioni.m_ID_SCONTO);
  else s.condizioni.m_ID_SCONTO = discount;
  if (agent > 0 && FindRow(s.agenti, StrFormat("ID = %ld", agent))) s.condizioni.m_ID_AGENTE = agent;
  else s.condizioni.SetFieldNull(&s.condizioni.m_ID_AGENTE);
  s.condizioni.Update();

  // Web-shop user, named after the customer code read as a number.
  Log(" - Aggiornamento utente web ...", TMS_NONE);
  const CString user = StrFormat("%06ld", TextToLong(code));
  AddOrEdit(s.utenti, "USERNAME = '" + user + "'");
  s.utenti.m_USERNAME = user;
  s.utenti.m_PASSWORD = vat.empty() ? taxCode : vat;
  s.utenti.m_TIPO = "AZI";
  s.utenti.m_IDREFERENCE = customer;
  s.utenti.m_STATO = "A";
  s.utenti.Update();

  Log(m_bInserimento ? " - Inserimento nuovo cliente effettuato con successo."
                     : " - Aggiornamento dati cliente effettuato con successo.",
      TMS_NONE);
}

int CTarvoImportSolvarAzienda::Run() {
  if (!OpenInDatabase(false)) {
    CloseInDatabase();
    NotifyFinished(0);
    return -1;
  }
  std::unique_ptr<CFixedWidthReader> clienti;
  try {
    clienti = std::make_unique<CFixedWidthReader>(PartnerFilePath(m_strInDir, kFileClienti));
  } catch (const tarvo::CFileException&) {
    NotifyFinished(0);  // no line: the database closes with the procedure
    return 0;
  }

  int result = 1;
  bool complete = false;
  m_bInserimento = false;
  {
    CRecordSets sets(m_pInDatabase);
    m_pSets = &sets;
    try {
      BeginWriteTransaction(*m_pInDatabase);
      Log("Avvio importazione clienti ...", TMS_NONE);
      // Both files are always read.
      const int sconti = GetScontiFromFile();
      const int pagamenti = GetFormulaPagamentoFile();
      if (!sconti || !pagamenti) result = 0;
      for (CString text; result == 1;) {
        if (CtrlEventStop()) {
          Log("Operazione interrotta dall'utente.", TMS_NONE);
          result = 0;
          break;
        }
        if (!clienti->Next(text)) {
          complete = true;
          break;
        }
        ImportCliente(CFixedWidthLine(std::move(text)), sets);
      }
    } catch (const tarvo::CException& e) {
      // Database errors, values a column cannot take, a file that cannot be read to its end.
      Log(e.GetErrorMessage(), TMS_NONE);
      result = 0;
    }
    m_pSets = nullptr;
  }
  clienti.reset();
  if (result == 1 && complete) {
    try {
      m_pInDatabase->CommitTrans();
      Log("Importazione clienti termita con successo.", TMS_NONE);
    } catch (const CDBException& e) {
      Log(e.m_strError, TMS_NONE);
      result = 0;
    }
  }
  if (result != 1 || !complete) {
    result = 0;
    try {
      if (m_pInDatabase->InTransaction()) m_pInDatabase->Rollback();
    } catch (const CDBException& e) {
      Log(e.m_strError, TMS_NONE);
    }
    Log("Importazione clienti fallita.", TMS_NONE);
  }
  CloseInDatabase();
  NotifyFinished(result);
  return result;
}
