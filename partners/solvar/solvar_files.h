// The Solvar article master files: settori.txt, famiglie.txt, gruppi.txt, aliquiva.txt,
// articoli.txt and albero.txt. The article master export writes them and the Solvar article
// import reads them back, so their layouts live here once. Constant tables; thread-safe.
#pragma once

#include "partners/fixed_width.h"

namespace tarvo::solvar {

inline constexpr const char* kFileCategorie = "settori.txt";
inline constexpr const char* kFileFamiglie = "famiglie.txt";
inline constexpr const char* kFileGruppi = "gruppi.txt";
inline constexpr const char* kFileIva = "aliquiva.txt";
inline constexpr const char* kFileArticoli = "articoli.txt";
inline constexpr const char* kFileAlbero = "albero.txt";

// settori.txt, famiglie.txt, gruppi.txt: code (2) and description (30), 32 bytes a record.
const partner::CRecordLayout& CodeDescriptionLayout();
// aliquiva.txt: code (2), description (30), rate "%04.2f" with a point (4 or more bytes).
const partner::CRecordLayout& IvaLayout();
// articoli.txt: 170 bytes a record when every number fits its width. Values in this order:
// code, description, amount A, whole number B, unit, VAT code, category, family, group, sixth
// classification code, yes/no flag, amount C, amount D, percentages E, F, G, H.
const partner::CRecordLayout& ArticoliLayout();
inline constexpr int kArticoliRecordLength = 170;
// albero.txt: category (2), family (2), four blanks.
const partner::CRecordLayout& AlberoLayout();

// Elapsed seconds as the run summaries print them: "%Hh:%Mm:%Ss", hours within the day
// ("00h:03m:27s").
CString FormatElapsed(long long seconds);

}  // namespace tarvo::solvar
