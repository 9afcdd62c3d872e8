#include "partners/solvar/import_solvar_stato_ordini.h"

#include <algorithm>

#include "dbexchange/customer_resolution.h"
#include "dbexchange/record_transfer.h"
#include "partners/solvar/solvar_document_files.h"
#include "platform/decimal.h"
#include "platform/records/azienda_set.h"
#include "platform/records/documento_set.h"
#include "platform/records/iva_set.h"
#include "platform/records/procedure_id.h"
#include "platform/records/sede_set.h"
#include "platform/records/unita_misura_set.h"
#include "platform/records/voci_documento_set.h"
#include "platform/records/zona_postale_completa_set.h"
#include "platform/settings.h"

using tarvo::StrFormat;
using namespace tarvo::exchange;
using namespace tarvo::partner;
using namespace tarvo::solvar;

// The record sets of one run, all on the in database.
struct CTarvoImportSolvarStatoOrdini::CRecordSets {
  explicit CRecordSets(CDatabase* db)
      : documenti(db), voci(db), aziende(db), sedi(db), zone(db), ids(db), unita(db), iva(db) {
    voci.m_strFilter = "ID = -1";
  }
  CDocumentoSet documenti;
  CVociDocumentoSet voci;
  CAziendaSet aziende;
  CSedeSet sedi;
  CZonaPostaleCompletaSet zone;
  CProcedureId ids;
  CUnitaMisuraSet unita;
  CIvaSet iva;
  // The precisions of the run.
  int prezzi = 2, aliquote = 2, totali = 2;
};

CTarvoImportSolvarStatoOrdini::CTarvoImportSolvarStatoOrdini() : m_lIdCausale(15) {}
CTarvoImportSolvarStatoOrdini::~CTarvoImportSolvarStatoOrdini() = default;

namespace {

// The agent and the order number of a file title "AANNNNNN".
long TitleAgent(const CString& title) { return TextToLong(title.substr(0, 2)); }
long TitleNumber(const CString& title) { return title.size() > 2 ? TextToLong(title.substr(2)) : 0; }
CString OrderLabel(const CString& title) { return StrFormat("%02ld/%06ld", TitleAgent(title), TitleNumber(title)); }

int Precision(int decimals) { return std::clamp(decimals, 0, Decimal::kMaxScale); }

}  // namespace

long CTarvoImportSolvarStatoOrdini::ImportCliente(const CDocumentCustomer& c, const CString& customerCode) {
  CRecordSets& s = *m_pSets;
  if (FindCompany(s.aziende, c.vatNumber, c.taxCode)) {
    Log(" - Cliente ordine trovato: aggiornamento cliente", TMS_NONE);
    const long customer = s.aziende.m_ID;
    UpdateCustomerCode(s.aziende, customerCode);
    return customer;
  }
  Log(StrFormat(" - Cliente non trovato. Inserimento nuovo cliente %s - P.IVA: %s - C.F.: %s ...", c.name.c_str(),
                c.vatNumber.c_str(), c.taxCode.c_str()),
      TMS_NONE);
  const long customer = AddDocumentCustomer(s.aziende, s.ids, c, customerCode);
  long zone = FindPostalZone(s.zone, c.cap, c.locality);
  if (zone == -1) zone = AddPostalZone(s.zone, s.ids, {c.cap, c.locality, c.province, "", ""});
  WriteZoneBranch(s.sedi, s.ids, customer, zone, c.address);
  Log(" - Cliente inserito con successo.", TMS_NONE);
  return customer;
}

long CTarvoImportSolvarStatoOrdini::ImportTestata(const CString& title, const CFixedWidthLine& header, long customer) {
  CRecordSets& s = *m_pSets;
  const CRecordLayout& head = OrdineTestataLayout();
  const CDocumentCustomer c = ReadDocumentCustomer(header);
  const CFieldSpec& dateField = FieldOf(head, "DATA_DOCUMENTO");
  const std::optional<CDBTimestamp> date = header.Date(dateField.offset);
  if (!date)
    throw tarvo::CException(tarvo::ErrorKind::kInput,
                            StrFormat("Data ordine non valida: '%s'", header.Raw(dateField.offset, 6).c_str()));
  // The second date keeps only its day and month; the year is the order's.
  const CString second = header.Raw(FieldOf(head, "DATA_CONSEGNA").offset, 6);
  const std::optional<CDBTimestamp> delivery =
      ParseDate(second.substr(0, 4) + StrFormat("%02d", date->year % 100));
  const CString valueText = ImpliedDecimalText(header, FieldOf(head, "SCONTO"));
  const Decimal value = valueText.empty() ? Decimal(0) : Decimal(valueText);
  const long agent = header.Integer(FieldOf(head, "ID_AGENTE_SEDE_SOCIETA"));
  const long state = StatoOrdineFromLetter(header.Raw(FieldOf(head, "STATO").offset, 1));
  const long partnerNumber = header.Integer(FieldOf(head, "NUMERO_DOCUMENTO"));

  Log(" - Aggiornamento stato ordine ...", TMS_NONE);
  const long fileAgent = TitleAgent(title), number = TitleNumber(title);
  const CString filter =
      fileAgent == 5
          ? StrFormat(" ( ID_CAUSALE = %ld ) AND ( ANNO = %ld ) AND ( NUMERO = %ld ) AND ( SERIE = 'Z' ) ", m_lIdCausale,
                      static_cast<long>(date->year), number)
          : StrFormat(" ( ID_CAUSALE = %ld ) AND ( ANNO = %ld ) AND ( NUMERO = %ld ) AND ( ID_AGENTE_SEDE_SOCIETA = %ld ) ",
                      m_lIdCausale, static_cast<long>(date->year), number, fileAgent);
  CDocumentoSet& doc = s.documenti;
  const CDocumentRow row = AddOrEditDocument(*this, doc, s.ids, filter, " - Ordine trovato: aggiornamento ordine",
                                             " - Ordine non trovato: inserimento nuovo ordine");
  if (row.added) {
    // Every new order goes into series "Z", whatever its agent.
    doc.m_ID_CAUSALE = m_lIdCausale;
    doc.m_ID_SOCIETA = CUserAdministrator::GetIDSOCIETA();
    doc.m_ID_SEDE_SOCIETA = CUserAdministrator::GetIDSEDESOCIETA();
    doc.m_ID_DEPOSITO = CUserAdministrator::GetIDSEDESOCIETA();
    doc.m_DATA_DOCUMENTO = *date;
    if (delivery) doc.m_DATA_CONSEGNA = *delivery;
    doc.m_SERIE = "Z";
    doc.m_NUMERO = number;
    doc.m_ANNO = date->year;
  }
  doc.m_SCONTO = value.ToString2(Decimal::kAllDecimals, false);
  doc.m_CLI_FAT_ID = customer;
  doc.m_CLI_FAT_RAGIONESOCIALE = c.name;
  doc.m_CLI_FAT_INDIRIZZO = c.address;
  doc.m_CLI_FAT_LOCALITA = c.cap + " - " + c.locality + " " + c.province;
  doc.m_CLI_FAT_PARTITAIVA = c.TaxIdentifier();
  doc.m_F_STAMPATO = 0;
  doc.m_SPESE_TRASPORTO = "0";
  if (agent > 0) doc.m_ID_AGENTE_SEDE_SOCIETA = agent;
  doc.m_ID_STATO_ORDINE = state;
  doc.m_NUMERO_DOCUMENTO = StrFormat("%d", static_cast<int>(partnerNumber));
  doc.m_F_MODIFICATO = 1;
  doc.Update();
  return row.id;
}

void CTarvoImportSolvarStatoOrdini::ImportVoci(long document, CFixedWidthReader& lines, CString& article) {
  CRecordSets& s = *m_pSets;
  const CRecordLayout& row = OrdineRigaLayout();
  Log(" - Aggiornamento dettaglio ordine", TMS_NONE);
  CVociDocumentoSet& voce = s.voci;
  ReplaceDocumentLines(*m_pInDatabase, voce, document, lines, [&](const CFixedWidthLine& line) {
    article = line.Text(FieldOf(row, "ID_ARTICOLO"));
    auto number = [&](const char* name) { return ImpliedDecimalText(line, FieldOf(row, name)); };
    CString description = line.Text(FieldOf(row, "DESCRIZIONE"));
    if (description.empty()) description = "ARTICOLO " + article;
    const CString vatCode = line.Text(FieldOf(row, "CODICE_IVA"));
    const CString unit = line.Text(FieldOf(row, "ID_UNITA_MISURA"));

    voce.AddNew();
    voce.m_ID_DOCUMENTO = document;
    voce.m_TIPO = article.empty() ? "R" : "A";
    if (!article.empty()) voce.m_ID_ARTICOLO = article;
    voce.m_DESCRIZIONE = description;
    // The quantity keeps its implied decimals: "000000200" is stored as 200.
    voce.m_QUANTITA = StrFormat("%d", static_cast<int>(line.Integer(FieldOf(row, "QUANTITA"))));
    voce.m_PREZZO = number("PREZZO");
    voce.m_PREZZO_NETTO = number("PREZZO_NETTO");
    voce.m_QUANTITA_EVASA = number("QUANTITA_EVASA");
    voce.m_IMPORTO = number("IMPORTO");
    voce.m_IMPORTO_IVA = "0.0";
    voce.m_SCONTO_1 = number("SCONTO_1");
    voce.m_SCONTO_2 = number("SCONTO_2");
    voce.m_SCONTO_3 = number("SCONTO_3");
    voce.m_SCONTO_4 = number("SCONTO_4");
    voce.m_SCONTO_5 = number("SCONTO_5");
    // VAT and unit only when the database knows them; the rate is the VAT record's.
    if (!vatCode.empty() && FindRow(s.iva, StrFormat("CODICE = '%s'", DoubleQuotes(vatCode).c_str()))) {
      voce.m_CODICE_IVA = vatCode;
      voce.m_ALIQUOTA_IVA = Decimal::Parse(s.iva.m_ALIQUOTA)
                                .value_or(Decimal(0))
                                .Round3(s.aliquote)
                                .ToString2(Decimal::kAllDecimals, false);
    }
    if (!unit.empty() && FindRow(s.unita, StrFormat("ID = '%s'", DoubleQuotes(unit).c_str())))
      voce.m_ID_UNITA_MISURA = unit;
    voce.Update();
  });
}

CDocumentOutcome CTarvoImportSolvarStatoOrdini::Fail(std::initializer_list<CString> lines, const CString& error) {
  AbandonDocument(*this, {&m_pSets->documenti, &m_pSets->voci, &m_pSets->aziende, &m_pSets->sedi, &m_pSets->zone});
  for (const CString& line : lines) Log(line, TMS_NONE);
  return {EDocumentOutcome::kFailedAsk, error};
}

CDocumentOutcome CTarvoImportSolvarStatoOrdini::ImportStatoOrdine(const CString& title, const CFixedWidthLine& header,
                                                                   CFixedWidthReader& lines) {
  const CRecordLayout& head = OrdineTestataLayout();
  const CDocumentCustomer c = ReadDocumentCustomer(header);
  const CString customerCode = header.Raw(FieldOf(head, "CODICE_CLIENTE").offset, FieldOf(head, "CODICE_CLIENTE").width);
  // The customer fields are compared and stored without the blanks that pad them in the file:
  // a blank VAT number field is no VAT number, and must not find every customer stored so.
  Log(" - Verifica cliente:", TMS_NONE);
  if (c.vatNumber.empty() && c.taxCode.empty()) {
    Log(" -- Impossibile importare l'ordine: PARTITAIVA e CODICEFISCALE vuoti", TMS_NONE);
    return {EDocumentOutcome::kSkipped, {}};
  }
  long document = 0;
  try {
    BeginWriteTransaction(*m_pInDatabase);
    document = ImportTestata(title, header, ImportCliente(c, customerCode));
  } catch (const tarvo::CFileException&) {
    throw;
  } catch (const tarvo::CException& e) {
    const CString error = "ERRORE: " + e.GetErrorMessage();
    return Fail({"ERRORE durante l'inserimento della testata del documento", error}, error);
  }
  CString article;
  try {
    ImportVoci(document, lines, article);
  } catch (const tarvo::CFileException&) {
    throw;
  } catch (const tarvo::CException& e) {
    const CString error = " - ERRORE: " + e.GetErrorMessage();
    return Fail({" - ERRORE db nell'inserimento di una voce", error, " - CODICE ARTICOLO: " + article}, error);
  }
  try {
    UpdateDocumentTotals(*m_pInDatabase, document, m_pSets->prezzi, m_pSets->totali);
    m_pInDatabase->CommitTrans();
  } catch (const tarvo::CException& e) {
    const CString error = "ERRORE database " + e.GetErrorMessage();
    return Fail({error}, error);
  }
  return {EDocumentOutcome::kLoaded, {}};
}

int CTarvoImportSolvarStatoOrdini::Run() {
  const CDocumentFolder folder = {
      kPatternStatoOrdini,
      "Avvio importazione stato ordini...",
      "Importazione stato ordini termita con successo.",
      "Importazione stato ordini terminata con errori.",
      "Continuare con l'ordine successivo?",
      " - Importazione stato ordini interrotta dall'utente",
      false,
      [](const CString& title) { return "stato ordine " + OrderLabel(title); },
      [](const CString& title, const CString& path) {
        return "Ordine " + OrderLabel(title) + " - file " + path + " errato: file ignorato!";
      },
      [this](const CString& title, const CFixedWidthLine& header, CFixedWidthReader& lines) {
        return ImportStatoOrdine(title, header, lines);
      },
  };
  return RunDocumentFolder(
      *this, folder,
      [this] {
        m_pSets = std::make_unique<CRecordSets>(m_pInDatabase);
        m_pSets->prezzi = CConfigAdministrator::GetPrecisionePrezzi();
        m_pSets->aliquote = Precision(CConfigAdministrator::GetPrecisioneIVA());
        m_pSets->totali = CConfigAdministrator::GetPrecisioneTotali();
      },
      [this] { m_pSets.reset(); });
}
