// CEsportazioneSet: the procedure table ESPORTAZIONE (key NUMERO), one row per exchange procedure:
// its number, description, type, parameter string, dialog name and dialog settings.
// Usage, ownership and errors: CRecordSetBase.
#pragma once

#include "platform/records/record_set.h"

class CEsportazioneSet : public CRecordSetBase {
 public:
  explicit CEsportazioneSet(CDatabase* db) : CRecordSetBase(db, "ESPORTAZIONE", "NUMERO", "TIPO") {}

  long& m_NUMERO = Long("NUMERO");
  CString& m_DESCRIZIONE = Text("DESCRIZIONE");
  CString& m_TIPO = Text("TIPO");
  CString& m_PARAMETRI = Text("PARAMETRI");
  CString& m_PARSER = Text("PARSER");
  long& m_PARSER_FLAG = Long("PARSER_FLAG");
  long& m_PARSER_FLAG2 = Long("PARSER_FLAG2");
  long& m_PARSER_FLAG3 = Long("PARSER_FLAG3");
};
