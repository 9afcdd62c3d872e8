// Field rules shared by the partner order files (Pellor's and Solvar's ".ord"): how a locality
// line splits into postal code, place and province, how the tax identifier fills the VAT and
// tax-code fields, which contacts and which descriptive texts of the order are written. Each
// order export lays these values out at its own positions.
//
// Pure functions are thread-safe; the readers query the database they are given and throw
// CDBException on a driver error.
#pragma once

#include <vector>

#include "partners/fixed_width.h"
#include "platform/odbc.h"
#include "platform/text.h"

class CDocumentoSet;

namespace tarvo::partner {

// A locality line: the postal code in its first five characters, then the place, ending in
// `tailLength` characters: the province (2) in a customer line, " (MI)" (4, dropped) in a
// delivery line. "20100 Milano MI" gives "20100", "Milano", "MI".
struct CLocality {
  CString postalCode;  // the first five characters
  CString place;       // the rest trimmed, less its tail, trimmed on the right
  CString province;    // the last two characters of the trimmed rest
};
CLocality SplitLocality(const CString& line, int tailLength = 2);

// The tax identifier as the two fields of an order file: the VAT number field holds it when it
// is exactly 11 characters long (else 11 blanks); the tax-code field holds its first 16
// characters whatever its length (an 11-character VAT number is written there too).
struct CTaxFields {
  CString vatNumber;
  CString taxCode;
};
CTaxFields SplitTaxIdentifier(const CString& identifier);

// Notes on one line: carriage returns removed, line feeds turned into blanks.
CString OneLine(const CString& text);
// The same text with every carriage return and line feed turned into a blank (length kept).
CString BlankLineBreaks(const CString& text);

// The contacts of a customer branch: the first four whose type name contains "TEL" (in the
// view's order; fewer when there are fewer) and the first whose type name contains "MAIL"
// ("" when none).
struct CContacts {
  std::vector<CString> telephones;
  CString email;
};
CContacts ReadContacts(CDatabase* db, long customerBranch);

// The descriptive texts behind an order's references; "" where a reference finds no row.
struct COrderTerms {
  CString bankCab;  // written first
  CString bankAbi;  // written second
  CString bank;
  CString payment;
  CString transport;
  CString carriage;
};
COrderTerms ReadOrderTerms(CDatabase* db, const CDocumentoSet& order);

// The orders a partner order export sends: an invoicing customer and order state 5, in key
// order. Throws CDBException.
std::vector<long> ConfirmedOrderIds(CDatabase* db);
// Positions `order` on the order `id` while it is still in state 5 (false when it no longer is),
// read again in the transaction that writes its file. Throws CDBException.
bool OpenConfirmedOrder(CDocumentoSet& order, long id);

// The blocks that the header records of the order files share, with their offsets in the record.
// Both partners' order headers begin with the customer block and carry the terms block at 259,
// after 90 characters of their own; the header of Solvar's invoices (".FAT") and order states
// (".tra") begins with the customer block too.
//
// Customer block, 0 to 169 (the AZIENDA and postal-zone columns a reader fills): RAGIONESOCIALE
// (80), INDIRIZZO (30), LOCALITA (25), CAP (5), PROVINCIA (2), PARTITAIVA (11), CODICEFISCALE (16).
const CRecordLayout& CustomerBlockLayout();
// Terms block, 259 to 1127: TELEFONO_1 (20), TELEFONO_2 to TELEFONO_4 (15), EMAIL (30), ORDINE
// (6 digits), DATA_DOCUMENTO (DDMMYY), NOTE (80), DATA_CONSEGNA (DDMMYY), SCONTO (5, two implied
// decimals), CAB (10), ABI (10), BANCA (200), PAGAMENTO (150), TRASPORTO (150), PORTO (150).
const CRecordLayout& OrderTermsBlockLayout();

// The customer block's values for `order`: its locality line split, its tax identifier in the
// two tax fields.
std::vector<CString> CustomerBlockValues(const CDocumentoSet& order);
// The terms block's values for `order`, with `orderNumber` at 354 and `notes` at 366; contacts
// from the order's customer branch, texts behind its references. Throws CDBException.
std::vector<CString> OrderTermsValues(CDatabase* db, const CDocumentoSet& order, long orderNumber,
                                      const CString& notes);

}  // namespace tarvo::partner
