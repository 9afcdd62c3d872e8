#include "partners/solvar/solvar_document_files.h"

#include <algorithm>

namespace tarvo::solvar {

using partner::CFieldSpec;
using partner::CRecordLayout;
using EF = partner::EFieldFormat;

namespace {

CRecordLayout WithCustomerBlock(std::initializer_list<CFieldSpec> rest) {
  CRecordLayout layout = ClienteDocumentoLayout();
  layout.insert(layout.end(), rest);
  return layout;
}

// Implied decimals: the number printed with a point that is then removed.
CFieldSpec Implied(const char* name, int offset, int width, int precision) {
  return {name, offset, width, EF::kDecimal, precision, false, '\0'};
}

}  // namespace

const CRecordLayout& ClienteDocumentoLayout() {
  static const CRecordLayout layout = {
      {"RAGIONESOCIALE", 0, 80}, {"INDIRIZZO", 80, 30},   {"LOCALITA", 110, 25},      {"CAP", 135, 5},
      {"PROVINCIA", 140, 2},     {"PARTITAIVA", 142, 11}, {"CODICEFISCALE", 153, 16},
  };
  return layout;
}

const CRecordLayout& FatturaTestataLayout() {
  static const CRecordLayout layout = WithCustomerBlock({
      {"NUMERO", 169, 6, EF::kInteger},
      {"DATA_DOCUMENTO", 175, 6, EF::kDate},
      {"SCONTO", 181, 6, EF::kDecimal, 2},
      {"ID_AGENTE_SEDE_SOCIETA", 187, 2, EF::kInteger},
      {"CODICE_CLIENTE", 189, 6},
  });
  return layout;
}

const CRecordLayout& FatturaRigaLayout() {
  static const CRecordLayout layout = {
      {"ID_ARTICOLO", 0, 13},
      {"DESCRIZIONE", 13, 30},
      {"QUANTITA", 43, 10, EF::kDecimal, 2},
      {"PREZZO", 53, 10, EF::kDecimal, 2},
      {"IMPORTO", 63, 15, EF::kDecimal, 2},
      {"SCONTO_1", 78, 6, EF::kDecimal, 2},
      {"SCONTO_2", 84, 6, EF::kDecimal, 2},
      {"SCONTO_5", 90, 6, EF::kDecimal, 2},
      {"non usato", 96, 12, EF::kFiller},
      {"CODICE_IVA", 108, 2},
      Implied("ALIQUOTA_IVA", 110, 5, 2),
      {"ID_UNITA_MISURA", 115, 2},
  };
  return layout;
}

const CRecordLayout& StatoOrdineTestataLayout() {
  static const CRecordLayout layout = WithCustomerBlock({
      {"DESTINAZIONE", 169, 60},
      {"DESTINAZIONE_CAP", 229, 5},
      {"DESTINAZIONE_LOCALITA", 234, 25},
      {"TELEFONO_1", 259, 20},
      {"TELEFONO_2", 279, 15},
      {"TELEFONO_3", 294, 15},
      {"TELEFONO_4", 309, 15},
      {"EMAIL", 324, 30},
      {"ID", 354, 6, EF::kInteger},
      {"DATA_DOCUMENTO", 360, 6, EF::kDate},
      {"NOTE", 366, 80},
      {"DATA_CONSEGNA", 446, 6, EF::kDate},
      Implied("SCONTO", 452, 5, 2),
      {"BANCA_CAB", 457, 10},
      {"BANCA_ABI", 467, 10},
      {"BANCA", 477, 200},
      {"FORMULA_PAGAMENTO", 677, 150},
      {"TRASPORTO", 827, 150},
      {"PORTO_MERCI", 977, 150},
      {"ID_AGENTE_SEDE_SOCIETA", 1127, 2, EF::kInteger},
      {"STATO", 1129, 1},
      {"NUMERO_DOCUMENTO", 1130, 6, EF::kInteger},
      {"CODICE_CLIENTE", 1136, 6},
  });
  return layout;
}

const CRecordLayout& StatoOrdineRigaLayout() {
  static const CRecordLayout layout = {
      {"ID_ARTICOLO", 0, 13},
      Implied("QUANTITA", 13, 9, 2),
      Implied("PREZZO", 22, 9, 2),
      Implied("PREZZO_NETTO", 31, 9, 2),
      Implied("QUANTITA_EVASA", 40, 9, 2),
      Implied("IMPORTO", 49, 14, 5),
      Implied("SCONTO_1", 63, 5, 2),
      Implied("SCONTO_2", 68, 5, 2),
      Implied("SCONTO_3", 73, 5, 2),
      Implied("SCONTO_4", 78, 5, 2),
      Implied("SCONTO_5", 83, 5, 2),
      {"DESCRIZIONE", 88, 60},
      {"CODICE_IVA", 148, 2},
      Implied("ALIQUOTA_IVA", 150, 5, 2),
      {"ID_UNITA_MISURA", 155, 2},
  };
  return layout;
}

long StatoOrdineFromLetter(const CString& letter) {
  const CString upper = ToUpper(letter);
  if (upper == "A") return 3;
  if (upper == "E") return 4;
  if (upper == "R") return 7;
  if (upper == "P") return 8;
  return -1;
}

CString ImpliedDecimalText(const partner::CFixedWidthLine& line, const CFieldSpec& field) {
  CString text = line.Raw(field.offset, field.width);
  if (Trim(text, " ").empty()) return CString();
  text.insert(std::min(text.size(), static_cast<size_t>(field.width - field.precision)), 1, '.');
  return Trim(text, " ");
}

}  // namespace tarvo::solvar
