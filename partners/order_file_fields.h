// Field rules shared by the partner order files (Pellor's and Solvar's ".ord"): how a locality
// line splits into postal code, place and province, how the tax identifier fills the VAT and
// tax-code fields, which contacts and which descriptive texts of the order are written. Each
// order export lays these values out at its own positions.
//
// Pure functions are thread-safe; the readers query the database they are given and throw
// CDBException on a driver error.
#pragma once

#include <vector>

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

}  // namespace tarvo::partner
