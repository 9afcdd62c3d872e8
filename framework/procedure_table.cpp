// The numbers of the hard-coded procedures. A procedure's number is fixed: outside tools and the
// procedure tables of installed databases refer to it. Add the constructor when the class lands.
#include "framework/exchange_factory.h"
#include "xmlengine/tarvo_exchange_xml.h"

#include "dbexchange/exchange_articoli.h"
#include "dbexchange/exchange_fatture.h"
#include "dbexchange/exchange_ordini.h"
#include "dbexchange/exchange_provvigioni.h"
#include "dbexchange/exchange_stato_ordini.h"
#include "dbexchange/export_web_clienti.h"
#include "dbexchange/import_agente_clienti.h"
#include "dbexchange/import_giacenze.h"
#include "partners/pellor/export_pellor_ordini.h"
#include "partners/pellor/import_pellor_articoli.h"
#include "partners/pellor/import_solvar_pellor_articoli.h"
#include "partners/solvar/export_solvar_articoli.h"
#include "partners/solvar/export_solvar_ordini.h"
#include "partners/solvar/import_solvar_articoli.h"
#include "partners/solvar/import_solvar_azienda.h"
#include "partners/solvar/import_solvar_classificazione_articoli.h"
#include "partners/solvar/import_solvar_fatture.h"
#include "partners/solvar/import_solvar_provvigioni.h"
#include "partners/solvar/import_solvar_stato_ordini.h"
#include "publishing/export_media_catalogo.h"
#include "publishing/ftp_download.h"
#include "publishing/ftp_upload.h"
#include "publishing/http_download.h"
#include "publishing/http_upload.h"

namespace {
template <class T>
CTarvoImport* Make() {
  return new T;
}
}  // namespace

CTarvoImport* CreateDriverProcedure() { return new CTarvoExchangeXML; }

const std::vector<ProcedureEntry>& KnownProcedures() {
  static const std::vector<ProcedureEntry> table = {
      {1, "CTarvoImportWebArticoli", "Importazione articoli da database web/agente", Make<CTarvoImportWebArticoli>},
      {2, "CTarvoImportSolvarArticoli", "Importazione anagrafica articoli Solvar", Make<CTarvoImportSolvarArticoli>},
      {3, "CTarvoImportSolvarAzienda", "Importazione clienti Solvar", Make<CTarvoImportSolvarAzienda>},
      {4, "CTarvoImportWebOrdini", "Importazione ordini da database web/agente", Make<CTarvoImportWebOrdini>},
      {5, "CTarvoHttpDownload", "Scaricamento foto articoli via HTTP", Make<CTarvoHttpDownload>},
      {6, "CTarvoImportSolvarStatoOrdini", "Importazione stato ordini Solvar", Make<CTarvoImportSolvarStatoOrdini>},
      {9, "CTarvoImportWebStatoOrdini", "Importazione stato ordini da database web", Make<CTarvoImportWebStatoOrdini>},
      {10, "CTarvoImportAgenteFatture", "Importazione fatture da database agente", Make<CTarvoImportAgenteFatture>},
      {11, "CTarvoImportAgenteProvvigioni", "Importazione provvigioni da database agente", Make<CTarvoImportAgenteProvvigioni>},
      {12, "CTarvoImportSolvarFatture", "Importazione fatture Solvar", Make<CTarvoImportSolvarFatture>},
      {13, "CTarvoImportSolvarProvvigioni", "Importazione provvigioni Solvar", Make<CTarvoImportSolvarProvvigioni>},
      {14, "CTarvoImportAgenteClienti", "Importazione clienti inseriti dall'agente", Make<CTarvoImportAgenteClienti>},
      {15, "CTarvoImportGiacenze", "Importazione giacenze di magazzino", Make<CTarvoImportGiacenze>},
      {16, "CTarvoImportPellorArticoli", "Importazione articoli Pellor con foto", Make<CTarvoImportPellorArticoli>},
      {17, "CTarvoImportSolvarPellorArticoli", "Importazione combinata articoli", Make<CTarvoImportSolvarPellorArticoli>},
      {21, "CTarvoImportSolvarArticoliNuovi", "Importazione nuovi articoli Solvar", Make<CTarvoImportSolvarArticoliNuovi>},
      {1001, "CTarvoExportMediaCatalogo", "Esportazione catalogo multimediale XML", Make<CTarvoExportMediaCatalogo>},
      {1002, "CTarvoExportWebArticoli", "Esportazione articoli verso database web/agente", Make<CTarvoExportWebArticoli>},
      {1003, "CTarvoExportWebClienti", "Esportazione clienti verso database web", Make<CTarvoExportWebClienti>},
      {1004, "CTarvoExportWebOrdini", "Esportazione ordini verso database web/agente", Make<CTarvoExportWebOrdini>},
      {1005, "CTarvoHttpUpload", "Pubblicazione foto articoli via HTTP", Make<CTarvoHttpUpload>},
      {1006, "CTarvoExportWebStatoOrdini", "Esportazione stato ordini verso database web", Make<CTarvoExportWebStatoOrdini>},
      {1007, "CTarvoExportSolvarOrdini", "Esportazione ordini Solvar", Make<CTarvoExportSolvarOrdini>},
      {1008, "CTarvoExportSolvarArticoli", "Esportazione anagrafica articoli Solvar", Make<CTarvoExportSolvarArticoli>},
      {1009, "CTarvoExportWebFatture", "Esportazione fatture verso database agente", Make<CTarvoExportWebFatture>},
      {1010, "CTarvoExportWebProvvigioni", "Esportazione provvigioni verso database agente", Make<CTarvoExportWebProvvigioni>},
      {1012, "CTarvoExportPellorOrdini", "Esportazione ordini Pellor", Make<CTarvoExportPellorOrdini>},
  };
  return table;
}

// Procedures without a number, created by the host from their class name. One line each.
const std::vector<ProcedureEntry>& UnnumberedProcedures() {
  static const std::vector<ProcedureEntry> table = {
      {0, "CTarvoImportSolvarArticoliSenzaClassificazione", "Importazione articoli Solvar senza classificazione",
       Make<CTarvoImportSolvarArticoliSenzaClassificazione>},
      {0, "CTarvoImportSolvarClassificazioneArticoli", "Importazione classificazione articoli Solvar (codici a tre caratteri)",
       Make<CTarvoImportSolvarClassificazioneArticoli>},
      {0, "CTarvoFtpUpload", "Pubblicazione foto articoli via FTP", Make<CTarvoFtpUpload>},
      {0, "CTarvoFtpDownload", "Scaricamento foto articoli via FTP", Make<CTarvoFtpDownload>},
  };
  return table;
}

const ProcedureEntry* FindProcedure(long number) {
  for (const ProcedureEntry& e : KnownProcedures())
    if (e.number == number) return &e;
  return nullptr;
}

const ProcedureEntry* FindProcedureByClass(const CString& className) {
  for (const auto* table : {&UnnumberedProcedures(), &KnownProcedures()})
    for (const ProcedureEntry& e : *table)
      if (className == e.className) return &e;
  return nullptr;
}

// The procedures whose work is a transfer over HTTP or FTP, and the driver engine (see
// EProcedureKind).
EProcedureKind ProcedureKindOf(const CString& className) {
  static const char* const kTransfers[] = {
      "CTarvoHttpDownload", "CTarvoHttpUpload", "CTarvoImportPellorArticoli", "CTarvoFtpUpload", "CTarvoFtpDownload",
  };
  for (const char* name : kTransfers)
    if (className == name) return EProcedureKind::kTransfer;
  return className == "CTarvoExchangeXML" ? EProcedureKind::kDriver : EProcedureKind::kLocal;
}
