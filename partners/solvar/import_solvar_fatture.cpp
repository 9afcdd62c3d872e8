#include "partners/solvar/import_solvar_fatture.h"

#include "dbexchange/customer_resolution.h"
#include "dbexchange/record_transfer.h"
#include "partners/solvar/solvar_document_files.h"
#include "platform/records/azienda_set.h"
#include "platform/records/procedure_id.h"
#include "platform/records/provincia_set.h"
#include "platform/records/sede_set.h"
#include "platform/records/zona_postale_completa_set.h"
#include "platform/settings.h"

using tarvo::StrFormat;
using namespace tarvo::exchange;
using namespace tarvo::partner;
using namespace tarvo::solvar;

// The record sets of one run, all on the in database.
struct CTarvoImportSolvarFatture::CRecordSets {
  explicit CRecordSets(CDatabase* db)
      : aziende(db), sedi(db), zone(db), province(db), ids(db), documenti(db), voci(db) {
    documenti.m_strFilter = "ID = -1";
    voci.m_strFilter = "ID = -1";
  }
  CAziendaSet aziende;
  CSedeSet sedi;
  CZonaPostaleCompletaSet zone;
  CProvinciaSet province;
  CProcedureId ids;
  CDocumentoSet documenti;
  CVociDocumentoSet voci;
};

CTarvoImportSolvarFatture::CTarvoImportSolvarFatture() = default;
CTarvoImportSolvarFatture::~CTarvoImportSolvarFatture() = default;

namespace {

// The date of a DDMMYY field; a field that is no date is bad input.
CDBTimestamp DocumentDate(const CFixedWidthLine& line, const CFieldSpec& field) {
  std::optional<CDBTimestamp> date = line.Date(field.offset);
  if (!date)
    throw tarvo::CException(tarvo::ErrorKind::kInput,
                            StrFormat("Data non valida nel campo %s: '%s'", field.name, line.Raw(field.offset, field.width).c_str()));
  return *date;
}

}  // namespace

long CTarvoImportSolvarFatture::ImportCliente(const CDocumentCustomer& c, const CString& customerCode) {
  CRecordSets& s = *m_pSets;
  if (FindCompany(s.aziende, c.vatNumber, c.taxCode)) {
    Log(StrFormat(" - Cliente trovato %s - P.IVA: %s - C.F.: %s.", c.name.c_str(), c.vatNumber.c_str(), c.taxCode.c_str()),
        TMS_NONE);
    const long customer = s.aziende.m_ID;
    UpdateCustomerCode(s.aziende, customerCode);
    s.aziende.Close();
    return customer;
  }
  Log(StrFormat(" - Cliente non trovato. Inserimento nuovo cliente %s - P.IVA: %s - C.F.: %s ...", c.name.c_str(),
                c.vatNumber.c_str(), c.taxCode.c_str()),
      TMS_NONE);
  const long customer = AddDocumentCustomer(s.aziende, s.ids, c, customerCode);
  Log(" - Operazione effettuata", TMS_NONE);

  // The branch goes into the header's zone; the rule below is the partner's, kept as it stands:
  // with a known province only a new zone gets a branch, with an unknown one only a known zone.
  Log(StrFormat(tarvo::W(" - Ricerca località: CAP %s - localita %s").c_str(), c.cap.c_str(), c.locality.c_str()),
      TMS_NONE);
  const long found = FindPostalZone(s.zone, c.cap, c.locality, EZoneMatch::kGiven);
  const bool province = FindRow(s.province, StrFormat("SIGLA = '%s'", DoubleQuotes(c.province).c_str()));
  long zone = -1;
  if (!province) {
    Log(tarvo::W(" - Località trovata"), TMS_NONE);
    zone = found == -1 ? 0 : found;
  } else if (found == -1) {
    Log(tarvo::W(" - Località non trovata: inserimento nuova località"), TMS_NONE);
    zone = AddPostalZone(s.zone, s.ids, {c.cap.empty() ? CString("00000") : c.cap, c.locality, c.province, "", ""});
  }
  Log(" - Operazione effettuata", TMS_NONE);
  if (zone <= 0) {
    Log(" - Provincia errata: sede saltata", TMS_NONE);
  } else {
    // Both lines say "not found": the wording is the partner procedure's own.
    Log(WriteZoneBranch(s.sedi, s.ids, customer, zone, c.address) ? " - Sede non trovata"
                                                                    : " - Sede non trovata: inserimento nuova sede ...",
        TMS_NONE);
    Log(" - Sede trovata", TMS_NONE);
  }
  Log(" - Cliente inserito con successo.", TMS_NONE);
  return customer;
}

CDocumentOutcome CTarvoImportSolvarFatture::ImportFattura(const CFixedWidthLine& header, CFixedWidthReader& lines) {
  CRecordSets& s = *m_pSets;
  const CRecordLayout& head = FatturaTestataLayout();
  const CRecordLayout& row = FatturaRigaLayout();
  try {
    const CDocumentCustomer c = ReadDocumentCustomer(header);
    const long number = header.Integer(FieldOf(head, "NUMERO"));
    const CString value = header.DecimalText(FieldOf(head, "SCONTO"));
    const long agent = header.Integer(FieldOf(head, "ID_AGENTE_SEDE_SOCIETA"));
    const CString customerCode = header.Raw(FieldOf(head, "CODICE_CLIENTE").offset, FieldOf(head, "CODICE_CLIENTE").width);
    Log(" - Aggiornamento cliente", TMS_NONE);

    BeginWriteTransaction(*m_pInDatabase);
    const CDBTimestamp date = DocumentDate(header, FieldOf(head, "DATA_DOCUMENTO"));
    const long customer = ImportCliente(c, customerCode);

    CDocumentoSet& doc = s.documenti;
    const long id = AddOrEditDocument(*this, doc, s.ids,
                                      StrFormat("( ID_CAUSALE = 101 ) AND ( NUMERO = %d ) AND ( ANNO = %d )",
                                                static_cast<int>(number), date.year),
                                      " - Fattura trovata: aggiornamento fattura",
                                      " - Fattura non trovata: inserimento nuova fattura")
                        .id;
    doc.m_ID_CAUSALE = 101;
    doc.m_NUMERO = number;
    doc.m_ANNO = date.year;
    doc.m_DATA_DOCUMENTO = date;
    doc.m_DATA_REGISTRAZIONE = date;
    doc.m_CLI_FAT_ID = customer;
    doc.m_ID_SOCIETA = CUserAdministrator::GetIDSOCIETA();
    doc.m_ID_SEDE_SOCIETA = CUserAdministrator::GetIDSEDESOCIETA();
    doc.m_ID_DEPOSITO = CUserAdministrator::GetIDSEDESOCIETA();
    doc.m_CLI_FAT_RAGIONESOCIALE = c.name;
    doc.m_CLI_FAT_INDIRIZZO = c.address;
    doc.m_CLI_FAT_LOCALITA = c.cap + " - " + c.locality + " (" + c.province + ")";
    doc.m_CLI_FAT_PARTITAIVA = c.TaxIdentifier();
    doc.m_SCONTO = value;
    if (agent > 0) doc.m_ID_AGENTE_SEDE_SOCIETA = agent;
    doc.m_NUMERO_DOCUMENTO = StrFormat("%d", static_cast<int>(number));
    doc.m_F_MODIFICATO = 1;
    doc.m_F_STAMPATO = 0;
    doc.Update();

    Log(" - Aggiornamento dettaglio fattura", TMS_NONE);
    CVociDocumentoSet& voce = s.voci;
    ReplaceDocumentLines(*m_pInDatabase, voce, id, lines, [&](const CFixedWidthLine& line) {
      const CString article = line.Text(FieldOf(row, "ID_ARTICOLO"));
      CString description = line.Text(FieldOf(row, "DESCRIZIONE"));
      if (description.empty()) description = " ARTICOLO " + article;
      const CFieldSpec& rate = FieldOf(row, "ALIQUOTA_IVA");
      const CFieldSpec& unitField = FieldOf(row, "ID_UNITA_MISURA");
      const CString unit = tarvo::Trim(line.Raw(unitField.offset, line.Length()), " ");
      CheckUnitaMisura(unit);

      const bool withArticle = !article.empty() && article != "ZZZ";
      voce.AddNew();
      voce.m_ID_DOCUMENTO = id;
      voce.m_TIPO = withArticle ? "A" : "B";
      if (withArticle) voce.m_ID_ARTICOLO = article;
      voce.m_DESCRIZIONE = description;
      voce.m_QUANTITA = StrFormat("%ld", static_cast<long>(TextToDouble(line.DecimalText(FieldOf(row, "QUANTITA")))));
      voce.m_PREZZO = line.DecimalText(FieldOf(row, "PREZZO"));
      voce.m_PREZZO_NETTO = voce.m_PREZZO;
      voce.m_IMPORTO = line.DecimalText(FieldOf(row, "IMPORTO"));
      voce.m_SCONTO_1 = line.DecimalText(FieldOf(row, "SCONTO_1"));
      voce.m_SCONTO_2 = line.DecimalText(FieldOf(row, "SCONTO_2"));
      voce.m_SCONTO_5 = line.DecimalText(FieldOf(row, "SCONTO_5"));
      voce.m_SCONTO_3 = voce.m_SCONTO_4 = voce.m_QUANTITA_EVASA = voce.m_IMPORTO_IVA = "0.0";
      voce.m_SCONTO_TESTATA = value;
      voce.m_F_MODIFICATO = 1;
      voce.m_CODICE_IVA = line.Raw(FieldOf(row, "CODICE_IVA").offset, 2);
      voce.m_ALIQUOTA_IVA = line.Length() <= rate.offset ? CString("0") : ImpliedDecimalText(line, rate);
      voce.m_ID_UNITA_MISURA = unit;
      voce.Update();
    });

    UpdateDocumentTotals(*m_pInDatabase, id, m_nPrecisionePrezzi, m_nPrecisioneTotali);
    m_pInDatabase->CommitTrans();
    return {EDocumentOutcome::kLoaded, {}};
  } catch (const tarvo::CFileException&) {
    throw;  // the folder run rolls back and asks
  } catch (const tarvo::CException& e) {
    // Database errors, and values a column cannot take (a price that is no number).
    Log("ERRORE database: " + e.GetErrorMessage(), TMS_NONE);
    AbandonDocument(*this, {&s.documenti, &s.voci, &s.aziende, &s.sedi, &s.zone});
    return {EDocumentOutcome::kFailed, {}};
  }
}

int CTarvoImportSolvarFatture::Run() {
  auto number = [](const CString& title) { return TextToLong(title); };
  const CDocumentFolder folder = {
      kPatternFatture,
      "Avvio importazione fatture...",
      "Importazione fatture terminata con successo.",
      "Importazione fatture fallita.",
      "Continuare con la fattura successiva?",
      " - Importazione fatture interrotta dall'utente",
      true,
      [&](const CString& title) { return StrFormat("fattura %ld", number(title)); },
      [&](const CString& title, const CString& path) {
        return StrFormat("Fattura %ld - file %s errata: file ignorato!", number(title), path.c_str());
      },
      [this](const CString&, const CFixedWidthLine& header, CFixedWidthReader& lines) {
        return ImportFattura(header, lines);
      },
  };
  return RunDocumentFolder(
      *this, folder,
      [this] {
        m_nPrecisionePrezzi = static_cast<int>(TextToLong(CConfigAdministrator::GetParam("precisione/prezzi")));
        m_nPrecisioneTotali = static_cast<int>(TextToLong(CConfigAdministrator::GetParam("precisione/totali")));
        m_pSets = std::make_unique<CRecordSets>(m_pInDatabase);
      },
      [this] { m_pSets.reset(); });
}
