#include "partners/solvar/solvar_document_files.h"

#include <algorithm>

#include "partners/layout_catalog.h"
#include "partners/order_file_fields.h"

namespace tarvo::solvar {

using partner::CFieldSpec;
using partner::CRecordLayout;
using EF = partner::EFieldFormat;

namespace {

CRecordLayout WithCustomerBlock(std::initializer_list<CFieldSpec> rest) {
  CRecordLayout layout = partner::CustomerBlockLayout();
  layout.insert(layout.end(), rest);
  return layout;
}

}  // namespace

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
      {"ALIQUOTA_IVA", 110, 5, EF::kImplied, 2},
      {"ID_UNITA_MISURA", 115, 2},
  };
  return layout;
}

// The invoices in the catalogue of `tarvo-exchange inspect` (the ".tra" files are order files).
namespace {
const partner::CLayoutRegistration kFatture{partner::HeaderLinesFile(
    "solvar-fatture", "Solvar invoices (12)", {kPatternFatture, "*.FA?"}, FatturaTestataLayout(), FatturaRigaLayout())};
}  // namespace

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
