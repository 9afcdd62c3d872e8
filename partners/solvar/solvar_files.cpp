#include "partners/solvar/solvar_files.h"

#include "partners/layout_catalog.h"
#include "partners/order_file_fields.h"

namespace tarvo::solvar {

using partner::CRecordLayout;
using EF = partner::EFieldFormat;

const CRecordLayout& CodeDescriptionLayout() {
  static const CRecordLayout layout = {{"ID", 0, 2}, {"DESCRIZIONE", 2, 30}};
  return layout;
}

const CRecordLayout& CodeDescription3Layout() {
  static const CRecordLayout layout = {{"ID", 0, 3}, {"DESCRIZIONE", 3, 30}};
  return layout;
}

const CRecordLayout& IvaLayout() {
  static const CRecordLayout layout = {
      {"CODICE", 0, 2}, {"DESCRIZIONE", 2, 30}, {"ALIQUOTA", 32, 4, EF::kDecimal, 2, false, '.'}};
  return layout;
}

const CRecordLayout& ArticoliLayout() {
  static const CRecordLayout layout = {
      {"ID", 0, 13},
      {"DESCRIZIONE", 13, 60},
      {"PREZZO", 73, 18, EF::kDecimal, 5, true},
      {"CONFEZIONE", 91, 7, EF::kInteger},
      {"ID_UNITA_MISURA", 98, 2},
      {"CODICE_IVA", 100, 2},
      {"ID_CATEGORIA", 102, 2},
      {"ID_FAMIGLIA", 104, 2},
      {"ID_GRUPPO", 106, 2},
      {"ID_CLASSE", 108, 2},
      {"F_ATTIVO", 110, 1, EF::kFlag},
      {"PREZZO_2", 111, 18, EF::kDecimal, 5, true},
      {"COSTO", 129, 18, EF::kDecimal, 5, true},
      {"SCONTO_1", 147, 6, EF::kDecimal, 2, true},
      {"SCONTO_2", 153, 6, EF::kDecimal, 2, true},
      {"SCONTO_3", 159, 6, EF::kDecimal, 2, true},
      {"PROVVIGIONE", 165, 5, EF::kDecimal, 2, false},
  };
  return layout;
}

const CRecordLayout& AlberoLayout() {
  static const CRecordLayout layout = {{"ID_CATEGORIA", 0, 2}, {"ID", 2, 2}, {"riempimento", 4, 4, EF::kFiller}};
  return layout;
}

const CRecordLayout& ClientiLayout() {
  static const CRecordLayout layout = {
      {"CODICE_CLIENTE", 0, 6}, {"RAGIONESOCIALE", 6, 80}, {"INDIRIZZO", 86, 30},
      {"LOCALITA", 116, 25},    {"CAP", 141, 5},           {"PROVINCIA", 146, 2},
      {"PARTITAIVA", 148, 11},  {"CODICEFISCALE", 159, 16}, {"ID_SCONTO", 175, 2},
      {"ID_AGENTE", 177, 2, EF::kInteger}, {"ID_FORMULA_PAGAMENTO", 179, 2, EF::kInteger},
  };
  return layout;
}

const CRecordLayout& ScontiLayout() {
  static const CRecordLayout layout = {{"ID", 0, 2},
                                       {"SCONTO_1", 2, 5, EF::kDecimal, 2},
                                       {"SCONTO_2", 7, 5, EF::kDecimal, 2},
                                       {"SCONTO_5", 12, 5, EF::kDecimal, 2}};
  return layout;
}

const CRecordLayout& PagamentiLayout() {
  static const CRecordLayout layout = {{"ID", 0, 2, EF::kInteger}, {"DESCRIZIONE", 2, 30}};
  return layout;
}

const CRecordLayout& ProvvigioniLayout() {
  static const CRecordLayout layout = {
      {"NUMERO", 0, 6, EF::kInteger},
      {"DATA", 6, 6, EF::kDate},
      {"non usato", 12, 6, EF::kFiller},
      {"RAGIONESOCIALE", 18, 80},
      {"PARTITAIVA", 98, 11},
      {"CODICEFISCALE", 109, 16},
      {"ID_COLLABORATORE", 125, 2, EF::kInteger},
      {"IMPORTO_1", 127, 15, EF::kDecimal, 2},
      {"PROVVIGIONE", 142, 15, EF::kDecimal, 2},
      {"IMPORTO_3", 157, 15, EF::kDecimal, 2},
      {"non usato", 172, 6, EF::kFiller},
      {"F_SALDATO", 178, 1},
  };
  return layout;
}

const CRecordLayout& OrdineTestataLayout() {
  static const CRecordLayout layout = partner::JoinLayouts(
      partner::JoinLayouts(partner::JoinLayouts(partner::CustomerBlockLayout(), {{"DESTINAZIONE", 169, 60},
                                                                                {"CAP_DESTINAZIONE", 229, 5},
                                                                                {"LOCALITA_DESTINAZIONE", 234, 25}}),
                           partner::OrderTermsBlockLayout()),
      {{"ID_AGENTE_SEDE_SOCIETA", 1127, 2, EF::kDigits},
       {"STATO", 1129, 1},
       {"NUMERO_DOCUMENTO", 1130, 6, EF::kDigits},
       {"CODICE_CLIENTE", 1136, 6}});
  return layout;
}

const CRecordLayout& OrdineRigaLayout() {
  static const CRecordLayout layout = {
      {"ID_ARTICOLO", 0, 13},
      {"QUANTITA", 13, 9, EF::kImplied, 2},
      {"PREZZO", 22, 9, EF::kImplied, 2},
      {"PREZZO_NETTO", 31, 9, EF::kImplied, 2},
      {"QUANTITA_EVASA", 40, 9, EF::kImplied, 2},
      {"IMPORTO", 49, 14, EF::kImplied, 5},
      {"SCONTO_1", 63, 5, EF::kImplied, 2},
      {"SCONTO_2", 68, 5, EF::kImplied, 2},
      {"SCONTO_3", 73, 5, EF::kImplied, 2},
      {"SCONTO_4", 78, 5, EF::kImplied, 2},
      {"SCONTO_5", 83, 5, EF::kImplied, 2},
      {"DESCRIZIONE", 88, 60},
      {"CODICE_IVA", 148, 2},
      {"ALIQUOTA_IVA", 150, 5, EF::kImplied, 2},
      {"ID_UNITA_MISURA", 155, 2},
  };
  return layout;
}

// The files in the catalogue of `tarvo-exchange inspect`.
namespace {
using partner::CLayoutRegistration;
using partner::OneRecordFile;

// aliquiva.txt: the rate takes a fifth character from 10 on.
partner::CFileLayout IvaFile() {
  static const CRecordLayout wide = [] {
    CRecordLayout layout = IvaLayout();
    layout.back().width = kIvaRateReadWidth;
    return layout;
  }();
  partner::CFileLayout file = OneRecordFile("solvar-aliquote", "Solvar VAT rates (1008, 2)", {kFileIva}, IvaLayout());
  file.records.push_back({"record", &wide});
  file.select = [](int, const CString& line) -> size_t { return line.size() > 36 ? 1 : 0; };
  return file;
}

const std::vector<CString> kClassificationFiles = {kFileCategorie, kFileFamiglie, kFileGruppi};
const CLayoutRegistration kRegistrations[] = {
    CLayoutRegistration{OneRecordFile("solvar-classificazione", "Solvar categories, families, groups (1008, 2)",
                                      kClassificationFiles, CodeDescriptionLayout())},
    CLayoutRegistration{OneRecordFile("solvar-classificazione-3", "Solvar classification with three-character codes",
                                      kClassificationFiles, CodeDescription3Layout())},
    CLayoutRegistration{IvaFile()},
    CLayoutRegistration{OneRecordFile("solvar-articoli", "Solvar articles (1008, 2, 21)", {kFileArticoli}, ArticoliLayout())},
    CLayoutRegistration{OneRecordFile("solvar-albero", "Solvar category-family tree (1008)", {kFileAlbero}, AlberoLayout())},
    CLayoutRegistration{OneRecordFile("solvar-clienti", "Solvar customers (3)", {kFileClienti}, ClientiLayout())},
    CLayoutRegistration{OneRecordFile("solvar-sconti", "Solvar discount bands (3)", {kFileSconti}, ScontiLayout())},
    CLayoutRegistration{OneRecordFile("solvar-pagamenti", "Solvar payment terms (3)", {kFilePagamenti}, PagamentiLayout())},
    CLayoutRegistration{OneRecordFile("solvar-provvigioni", "Solvar commissions (13)", {kFileProvvigioni}, ProvvigioniLayout())},
    CLayoutRegistration{partner::HeaderLinesFile("solvar-ordini", "Solvar orders (1007) and order states (6)",
                                                 {"*.ord", "*.tr?"}, OrdineTestataLayout(),
                                                 OrdineRigaLayout())},
};
}  // namespace

CString FormatElapsed(long long seconds) {
  long long inDay = seconds % 86400;
  return StrFormat("%02lldh:%02lldm:%02llds", inDay / 3600, inDay / 60 % 60, inDay % 60);
}

CString RunSummary(bool success, std::time_t start) {
  const CString elapsed = FormatElapsed(static_cast<long long>(std::time(nullptr) - start));
  return StrFormat(success ? "Importazione dati terminata con successo: %s." : "Importazione dati terminata con errori: %s.",
                   elapsed.c_str());
}

}  // namespace tarvo::solvar
