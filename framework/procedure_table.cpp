// The numbers of the hard-coded procedures. A procedure's number is fixed: outside tools and the
// procedure tables of installed databases refer to it. Add the constructor when the class lands.
#include "framework/exchange_factory.h"
#include "xmlengine/tarvo_exchange_xml.h"

#include "dbexchange/exchange_articoli.h"
#include "partners/solvar/export_solvar_articoli.h"
#include "publishing/export_media_catalogo.h"
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
      {2, "CTarvoImportSolvarArticoli", "Importazione anagrafica articoli Solvar", nullptr},
      {3, "CTarvoImportSolvarAzienda", "Importazione clienti Solvar", nullptr},
      {4, "CTarvoImportWebOrdini", "Importazione ordini da database web/agente", nullptr},
      {5, "CTarvoHttpDownload", "Scaricamento foto articoli via HTTP", Make<CTarvoHttpDownload>},
      {6, "CTarvoImportSolvarStatoOrdini", "Importazione stato ordini Solvar", nullptr},
      {9, "CTarvoImportWebStatoOrdini", "Importazione stato ordini da database web", nullptr},
      {10, "CTarvoImportAgenteFatture", "Importazione fatture da database agente", nullptr},
      {11, "CTarvoImportAgenteProvvigioni", "Importazione provvigioni da database agente", nullptr},
      {12, "CTarvoImportSolvarFatture", "Importazione fatture Solvar", nullptr},
      {13, "CTarvoImportSolvarProvvigioni", "Importazione provvigioni Solvar", nullptr},
      {14, "CTarvoImportAgenteClienti", "Importazione clienti inseriti dall'agente", nullptr},
      {15, "CTarvoImportGiacenze", "Importazione giacenze di magazzino", nullptr},
      {16, "CTarvoImportPellorArticoli", "Importazione articoli Pellor con foto", nullptr},
      {17, "CTarvoImportSolvarPellorArticoli", "Importazione combinata articoli", nullptr},
      {21, "CTarvoImportSolvarArticoliNuovi", "Importazione nuovi articoli Solvar", nullptr},
      {1001, "CTarvoExportMediaCatalogo", "Esportazione catalogo multimediale XML", Make<CTarvoExportMediaCatalogo>},
      {1002, "CTarvoExportWebArticoli", "Esportazione articoli verso database web/agente", Make<CTarvoExportWebArticoli>},
      {1003, "CTarvoExportWebClienti", "Esportazione clienti verso database web", nullptr},
      {1004, "CTarvoExportWebOrdini", "Esportazione ordini verso database web/agente", nullptr},
      {1005, "CTarvoHttpUpload", "Pubblicazione foto articoli via HTTP", Make<CTarvoHttpUpload>},
      {1006, "CTarvoExportWebStatoOrdini", "Esportazione stato ordini verso database web", nullptr},
      {1007, "CTarvoExportSolvarOrdini", "Esportazione ordini Solvar", nullptr},
      {1008, "CTarvoExportSolvarArticoli", "Esportazione anagrafica articoli Solvar", Make<CTarvoExportSolvarArticoli>},
      {1009, "CTarvoExportWebFatture", "Esportazione fatture verso database agente", nullptr},
      {1010, "CTarvoExportWebProvvigioni", "Esportazione provvigioni verso database agente", nullptr},
      {1012, "CTarvoExportPellorOrdini", "Esportazione ordini Pellor", nullptr},
  };
  return table;
}

const ProcedureEntry* FindProcedure(long number) {
  for (const ProcedureEntry& e : KnownProcedures())
    if (e.number == number) return &e;
  return nullptr;
}
