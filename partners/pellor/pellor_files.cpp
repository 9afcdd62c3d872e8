#include "partners/pellor/pellor_files.h"

#include "partners/layout_catalog.h"
#include "partners/order_file_fields.h"

namespace tarvo::pellor {

using EF = partner::EFieldFormat;

const CRecordLayout& SettoriLayout() {
  static const CRecordLayout layout = {{"numero", 0, 3, EF::kInteger}, {"nome", 3, 30}, {"flag", 33, 1}};
  return layout;
}

const CRecordLayout& ArticoliLayout() {
  static const CRecordLayout layout = {
      {"codice", 0, 6},
      {"codice a barre", 13, 13},
      {"codice alternativo", 26, 13},
      {"descrizione", 39, 60},
      {"prezzo", 100, 17, EF::kDecimal},
      {"prezzo 2", 118, 17, EF::kDecimal},
      {"peso", 135, 7, EF::kDecimal},
      {"produttore", 142, 30},
      {"costo", 173, 17, EF::kDecimal},
      {"volume", 191, 17, EF::kDecimal},
      {"prezzo acquisto", 209, 17, EF::kDecimal},
      {"confezione", 226, 7, EF::kInteger},
      {"quantita riordino", 236, 15, EF::kDecimal},
      {"categoria", 251, 3, EF::kInteger},
  };
  return layout;
}

const CRecordLayout& DisponibLayout() {
  static const CRecordLayout layout = {{"codice", 0, 6},
                                       {"giacenza", 13, 16, EF::kDecimal},
                                       {"ordinato", 29, 16, EF::kDecimal},
                                       {"data", 45, 8, EF::kDate8}};
  return layout;
}

const CRecordLayout& FotoInfoLayout() {
  static const CRecordLayout layout = {
      {"codice", 0, 6}, {"data", 6, 14, EF::kTimestamp}, {"dimensione", 20, 9, EF::kInteger}};
  return layout;
}

const CRecordLayout& OrdineTestataLayout() {
  static const CRecordLayout layout = partner::JoinLayouts(
      partner::JoinLayouts(partner::CustomerBlockLayout(), {{"DESTINAZIONE", 169, 90}}),
      partner::OrderTermsBlockLayout());
  return layout;
}

const CRecordLayout& OrdineRigaLayout() {
  static const CRecordLayout layout = {
      {"ID_ARTICOLO", 0, 13, EF::kText, 0, false, ',', partner::EAlign::kRight},
      {"COLLI", 13, 9, EF::kDigits, 2},
      {"QUANTITA", 22, 9, EF::kDigits, 2},
      {"COLLI x QUANTITA", 31, 10, EF::kDigits, 3},
      {"PREZZO", 41, 14, EF::kImplied, 5},
      {"SCONTO_1", 55, 5, EF::kImplied, 2},
      {"SCONTO_2", 60, 5, EF::kImplied, 2},
      {"COLLI x QUANTITA", 65, 12, EF::kDigits, 3},
      {"MARCATORE", 77, 1},
  };
  return layout;
}

// The files in the catalogue of `tarvo-exchange inspect`.
namespace {
using partner::CLayoutRegistration;
using partner::FixedLengthFile;
const CLayoutRegistration kRegistrations[] = {
    CLayoutRegistration{FixedLengthFile("pellor-settori", "Pellor categories (17)", {kFileSettori}, SettoriLayout(), kSettoriRecord)},
    CLayoutRegistration{FixedLengthFile("pellor-articoli", "Pellor articles (17)", {kFileArticoli}, ArticoliLayout(), kArticoliRecord)},
    CLayoutRegistration{FixedLengthFile("pellor-disponibilita", "Pellor availability (17)", {kFileDisponib}, DisponibLayout(), kDisponibRecord)},
    CLayoutRegistration{FixedLengthFile("pellor-fotoinfo", "Pellor photo list (16)", {kFileFotoInfo}, FotoInfoLayout(), kFotoInfoRecord)},
    CLayoutRegistration{partner::HeaderLinesFile("pellor-ordini", "Pellor orders (1012)", {"*.ord"}, OrdineTestataLayout(), OrdineRigaLayout())},
};
}  // namespace

}  // namespace tarvo::pellor
