// The Solvar files as field tables, each declared once. The article master files (settori.txt,
// famiglie.txt, gruppi.txt, aliquiva.txt, articoli.txt, albero.txt) are written by the article
// master export and read back by the article import, so one layout serves both: its field names
// are the record columns the fields carry. The customer, discount, payment-terms and commission
// files are only read. Constant tables; thread-safe.
#pragma once

#include <ctime>

#include "partners/fixed_width.h"

namespace tarvo::solvar {

inline constexpr const char* kFileCategorie = "settori.txt";
inline constexpr const char* kFileFamiglie = "famiglie.txt";
inline constexpr const char* kFileGruppi = "gruppi.txt";
inline constexpr const char* kFileIva = "aliquiva.txt";
inline constexpr const char* kFileArticoli = "articoli.txt";
inline constexpr const char* kFileAlbero = "albero.txt";
inline constexpr const char* kFileClienti = "clienti.txt";
inline constexpr const char* kFileSconti = "sconti.txt";
inline constexpr const char* kFilePagamenti = "pagam.txt";
inline constexpr const char* kFileProvvigioni = "provv.txt";

// settori.txt, famiglie.txt, gruppi.txt: ID (2) and DESCRIZIONE (30), 32 bytes a record.
const partner::CRecordLayout& CodeDescriptionLayout();
// The classification files as the classification import reads them: ID of three characters,
// then DESCRIZIONE (30).
const partner::CRecordLayout& CodeDescription3Layout();
// aliquiva.txt: CODICE (2), DESCRIZIONE (30), ALIQUOTA "%04.2f" with a point (4 bytes, 5 from a
// rate of 10 on: the reader takes kIvaRateReadWidth characters).
const partner::CRecordLayout& IvaLayout();
inline constexpr int kIvaRateReadWidth = 5;
// articoli.txt: 170 bytes a record when every number fits its width. Fields (ARTICOLO columns):
// ID, DESCRIZIONE, PREZZO (amount A), CONFEZIONE (whole number B), ID_UNITA_MISURA, CODICE_IVA,
// ID_CATEGORIA, ID_FAMIGLIA, ID_GRUPPO, ID_CLASSE, F_ATTIVO (yes/no), PREZZO_2 (C), COSTO (D),
// SCONTO_1, SCONTO_2, SCONTO_3, PROVVIGIONE (percentages E to H).
const partner::CRecordLayout& ArticoliLayout();
inline constexpr int kArticoliRecordLength = 170;
// albero.txt: ID_CATEGORIA (2), ID of the family (2), four blanks.
const partner::CRecordLayout& AlberoLayout();

// clienti.txt, 181 bytes: CODICE_CLIENTE (6), RAGIONESOCIALE (80), INDIRIZZO (30), LOCALITA (25),
// CAP (5), PROVINCIA (2), PARTITAIVA (11), CODICEFISCALE (16), ID_SCONTO (2), ID_AGENTE (2),
// ID_FORMULA_PAGAMENTO (2).
const partner::CRecordLayout& ClientiLayout();
// sconti.txt: ID (2), SCONTO_1, SCONTO_2, SCONTO_5 (5 each, decimal comma).
const partner::CRecordLayout& ScontiLayout();
// pagam.txt: ID (2, a whole number), DESCRIZIONE (30).
const partner::CRecordLayout& PagamentiLayout();
// provv.txt: NUMERO (invoice, 6), DATA (6, see the commission import), RAGIONESOCIALE (80),
// PARTITAIVA (11), CODICEFISCALE (16), ID_COLLABORATORE (agent, 2), three amounts of 15 (IMPORTO_1,
// PROVVIGIONE, IMPORTO_3) and F_SALDATO ("S" = settled), with unused gaps.
const partner::CRecordLayout& ProvvigioniLayout();

// The order file ("%02ld%06ld.ord", agent and order number) that the order export writes; Solvar
// sends order states back in the same records (".tra"). Text records ended by CR LF.
// The header, 1142 characters when every number fits: the customer block and the terms block
// (partners/order_file_fields.h, with the order's ID as ORDINE at 354), between them the delivery
// DESTINAZIONE (60 at 169), CAP_DESTINAZIONE (5), LOCALITA_DESTINAZIONE (25), and at the end
// ID_AGENTE_SEDE_SOCIETA (2 digits at 1127), STATO (the status letter, a blank in an order),
// NUMERO_DOCUMENTO (6 digits, the partner's document number, "000000" in an order) and
// CODICE_CLIENTE (6, "000000" in an order).
const partner::CRecordLayout& OrdineTestataLayout();
inline constexpr int kOrdineTestataLength = 1142;
// A line, 157 characters when every number fits; the fields are VOCI_DOCUMENTO columns:
// ID_ARTICOLO (13), QUANTITA, PREZZO, PREZZO_NETTO, QUANTITA_EVASA (9 each, two implied
// decimals), IMPORTO (14, five implied decimals), SCONTO_1 to SCONTO_5 (5 each, two implied
// decimals), DESCRIZIONE (60), CODICE_IVA (2), ALIQUOTA_IVA (5, two implied decimals),
// ID_UNITA_MISURA (2).
const partner::CRecordLayout& OrdineRigaLayout();
inline constexpr int kOrdineRigaLength = 157;

// Elapsed seconds as the run summaries print them: "%Hh:%Mm:%Ss", hours within the day
// ("00h:03m:27s").
CString FormatElapsed(long long seconds);
// The summary of a run begun at `start` (wall-clock seconds): "Importazione dati terminata con
// successo: 00h:00m:02s." or, for a failed run, "Importazione dati terminata con errori: ...".
// The exports say "Importazione" too.
CString RunSummary(bool success, std::time_t start);

}  // namespace tarvo::solvar
