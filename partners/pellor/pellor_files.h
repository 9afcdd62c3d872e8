// The files of Pellor's article package ("archivi.zip"): categories, articles, availability and
// the photo list. Fixed-length records read as binary; offsets from 0. The combined article
// import and the Pellor article import read them; the field tables live here once.
#pragma once

#include "partners/fixed_width.h"

namespace tarvo::pellor {

using partner::CFieldSpec;

inline constexpr const char* kArchive = "archivi.zip";
inline constexpr const char* kFileSettori = "settori.txt";
inline constexpr const char* kFileArticoli = "articoli.txt";
inline constexpr const char* kFileDisponib = "disponib.txt";
inline constexpr const char* kFileFotoInfo = "fotoinfo.txt";

// settori.txt: 36 bytes a record.
inline constexpr size_t kSettoriRecord = 36;
inline const CFieldSpec kSetNumero{"numero", 0, 3};
inline const CFieldSpec kSetNome{"nome", 3, 30};
inline const CFieldSpec kSetFlag{"flag", 33, 1};  // "N" (either case): name prefixed with "~ "

// articoli.txt: 256 bytes a record.
inline constexpr size_t kArticoliRecord = 256;
inline const CFieldSpec kArtCodice{"codice", 0, 6};
inline const CFieldSpec kArtBarre{"codice a barre", 13, 13};  // blank: "0000000" + code
inline const CFieldSpec kArtAlternativo{"codice alternativo", 26, 13};
inline const CFieldSpec kArtDescrizione{"descrizione", 39, 60};
inline const CFieldSpec kArtPrezzo{"prezzo", 100, 17};
inline const CFieldSpec kArtPrezzo2{"prezzo 2", 118, 17};
inline const CFieldSpec kArtPeso{"peso", 135, 7};
inline const CFieldSpec kArtProduttore{"produttore", 142, 30};
inline const CFieldSpec kArtCosto{"costo", 173, 17};
inline const CFieldSpec kArtVolume{"volume", 191, 17};
inline const CFieldSpec kArtAcquisto{"prezzo acquisto", 209, 17};
inline const CFieldSpec kArtConfezione{"confezione", 226, 7};
inline const CFieldSpec kArtRiordino{"quantita riordino", 236, 15};
inline const CFieldSpec kArtCategoria{"categoria", 251, 3};

// disponib.txt: 55 bytes a record.
inline constexpr size_t kDisponibRecord = 55;
inline const CFieldSpec kDispCodice{"codice", 0, 6};
inline const CFieldSpec kDispGiacenza{"giacenza", 13, 16};
inline const CFieldSpec kDispOrdinato{"ordinato", 29, 16};
inline const CFieldSpec kDispData{"data", 45, 8};  // DDMMYYYY

// fotoinfo.txt: 31 bytes a record (code, time stamp YYYYMMDDhhmmss, size, CR LF).
inline constexpr size_t kFotoInfoRecord = 31;
inline const CFieldSpec kFotoCodice{"codice", 0, 6};
inline const CFieldSpec kFotoData{"data", 6, 14};
inline const CFieldSpec kFotoDimensione{"dimensione", 20, 9};

}  // namespace tarvo::pellor
