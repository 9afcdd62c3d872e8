#include "partners/solvar/solvar_files.h"

namespace tarvo::solvar {

using partner::CRecordLayout;
using EF = partner::EFieldFormat;

const CRecordLayout& CodeDescriptionLayout() {
  static const CRecordLayout layout = {{"codice", 0, 2}, {"descrizione", 2, 30}};
  return layout;
}

const CRecordLayout& IvaLayout() {
  static const CRecordLayout layout = {
      {"codice", 0, 2}, {"descrizione", 2, 30}, {"aliquota", 32, 4, EF::kDecimal, 2, false, '.'}};
  return layout;
}

const CRecordLayout& ArticoliLayout() {
  static const CRecordLayout layout = {
      {"codice", 0, 13},
      {"descrizione", 13, 60},
      {"importo A", 73, 18, EF::kDecimal, 5, true},
      {"intero B", 91, 7, EF::kInteger},
      {"unita di misura", 98, 2},
      {"codice IVA", 100, 2},
      {"categoria", 102, 2},
      {"famiglia", 104, 2},
      {"gruppo", 106, 2},
      {"classe", 108, 2},
      {"flag", 110, 1, EF::kFlag},
      {"importo C", 111, 18, EF::kDecimal, 5, true},
      {"importo D", 129, 18, EF::kDecimal, 5, true},
      {"percentuale E", 147, 6, EF::kDecimal, 2, true},
      {"percentuale F", 153, 6, EF::kDecimal, 2, true},
      {"percentuale G", 159, 6, EF::kDecimal, 2, true},
      {"percentuale H", 165, 5, EF::kDecimal, 2, false},
  };
  return layout;
}

const CRecordLayout& AlberoLayout() {
  static const CRecordLayout layout = {{"categoria", 0, 2}, {"famiglia", 2, 2}, {"riempimento", 4, 4, EF::kFiller}};
  return layout;
}

CString FormatElapsed(long long seconds) {
  long long inDay = seconds % 86400;
  return StrFormat("%02lldh:%02lldm:%02llds", inDay / 3600, inDay / 60 % 60, inDay % 60);
}

}  // namespace tarvo::solvar
