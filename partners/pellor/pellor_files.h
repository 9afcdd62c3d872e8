// The Pellor files as field tables, each declared once: the files of the article package
// ("archivi.zip": categories, articles, availability, photo list), fixed-length records read as
// binary, and the order file that the order export writes. Offsets from 0; positions no field
// covers are unused. Constant tables; thread-safe.
#pragma once

#include "partners/fixed_width.h"

namespace tarvo::pellor {

using partner::CFieldSpec;
using partner::CRecordLayout;

inline constexpr const char* kArchive = "archivi.zip";
inline constexpr const char* kFileSettori = "settori.txt";
inline constexpr const char* kFileArticoli = "articoli.txt";
inline constexpr const char* kFileDisponib = "disponib.txt";
inline constexpr const char* kFileFotoInfo = "fotoinfo.txt";

// settori.txt, 36 bytes a record (CR LF included): numero (3), nome (30), flag (1: "N" in either
// case puts "~ " before the name).
inline constexpr size_t kSettoriRecord = 36;
const CRecordLayout& SettoriLayout();
// articoli.txt, 256 bytes a record: codice (6), codice a barre (13 at 13; blank: "0000000" +
// code), codice alternativo, descrizione, prezzo, prezzo 2, peso, produttore, costo, volume,
// prezzo acquisto, confezione, quantita riordino, categoria (3 at 251). Numbers with a decimal
// comma.
inline constexpr size_t kArticoliRecord = 256;
const CRecordLayout& ArticoliLayout();
// disponib.txt, 55 bytes a record: codice (6), giacenza (16 at 13), ordinato (16), data (DDMMYYYY).
inline constexpr size_t kDisponibRecord = 55;
const CRecordLayout& DisponibLayout();
// fotoinfo.txt, 31 bytes a record: codice (6), data (YYYYMMDDhhmmss), dimensione (9).
inline constexpr size_t kFotoInfoRecord = 31;
const CRecordLayout& FotoInfoLayout();

// The order file ("%02d%06.6ld.ord"), text records ended by CR LF. The header: the customer block
// (order_file_fields.h), DESTINAZIONE (90 at 169, on one line), the terms block with the order
// number at 354. A row (78 characters when every number fits): ID_ARTICOLO (13, right-aligned),
// COLLI (N, two implied zeros), QUANTITA (K as a whole number, two implied zeros), K x N (three
// implied zeros), PREZZO (five implied decimals), SCONTO_1, SCONTO_2 (two), K x N again (three),
// MARCATORE ("*" or a blank).
const CRecordLayout& OrdineTestataLayout();
const CRecordLayout& OrdineRigaLayout();

}  // namespace tarvo::pellor
