// The document files Solvar sends back, as field tables: one ".FAT" file per invoice (a header,
// then one record per invoice line) and one ".tra" file per order with its status (the records
// of the order files the company sends, the header's last fields filled in by the partner).
// Field names are the DOCUMENTO / VOCI_DOCUMENTO columns the fields fill, else a word. Constant
// tables; thread-safe.
//
// Numbers: the invoice carries them with a decimal comma; the order and status files with
// implied decimals (kImplied: "000001050" is 10.50).
#pragma once

#include "partners/fixed_width.h"
#include "partners/solvar/solvar_files.h"

namespace tarvo::solvar {

inline constexpr const char* kPatternFatture = "*.FAT";
inline constexpr const char* kPatternStatoOrdini = "*.tra";

// ".FAT" record 1, 195 bytes: the customer block (partner::CustomerBlockLayout), NUMERO (6),
// DATA_DOCUMENTO (DDMMYY), SCONTO (header value, "005,00"), ID_AGENTE_SEDE_SOCIETA (2),
// CODICE_CLIENTE (6).
const partner::CRecordLayout& FatturaTestataLayout();
// ".FAT" records 2 on, 117 bytes: ID_ARTICOLO (13; empty or "ZZZ": a description line),
// DESCRIZIONE (30), QUANTITA, PREZZO, IMPORTO, SCONTO_1, SCONTO_2, SCONTO_5 (decimal comma), 12
// unused, CODICE_IVA (2), ALIQUOTA_IVA (5, two implied decimals), ID_UNITA_MISURA (read to the
// end of the line).
const partner::CRecordLayout& FatturaRigaLayout();

// ".tra" files are the company's own order files (OrdineTestataLayout, OrdineRigaLayout in
// partners/solvar/solvar_files.h) with the header's last fields filled in by the partner: STATO
// (the status letter), NUMERO_DOCUMENTO (the partner's number) and CODICE_CLIENTE.

// The status letters of a ".tra" header and the order state each sets: "A" 3, "E" 4, "R" 7,
// "P" 8 (upper-cased first); any other letter -1.
long StatoOrdineFromLetter(const CString& letter);

// The text of an implied-decimals field of `line` with its point put back, `precision`
// characters from the right of the field's width ("000001050" -> "0000010.50"); where the line
// ends inside the field the point goes after the characters there are. A blank field gives "".
CString ImpliedDecimalText(const partner::CFixedWidthLine& line, const partner::CFieldSpec& field);

}  // namespace tarvo::solvar
