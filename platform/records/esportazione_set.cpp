#include "platform/records/esportazione_set.h"

bool CEsportazioneSet::Open() {
  CString sql =
      "SELECT NUMERO, DESCRIZIONE, TIPO, PARAMETRI, PARSER, PARSER_FLAG, PARSER_FLAG2, PARSER_FLAG3 FROM ESPORTAZIONE";
  if (!m_strFilter.empty()) sql += " WHERE " + m_strFilter;
  if (!m_strSort.empty()) sql += " ORDER BY " + m_strSort;
  bool ok = rs_.Open(sql);
  Load();
  return ok;
}

void CEsportazioneSet::MoveNext() {
  rs_.MoveNext();
  Load();
}

void CEsportazioneSet::Load() {
  if (rs_.IsEOF()) return;
  m_NUMERO = rs_[0].AsLong();
  m_DESCRIZIONE = rs_[1].AsString();
  m_TIPO = rs_[2].AsString();
  m_PARAMETRI = rs_[3].AsString();
  m_PARSER = rs_[4].AsString();
  m_PARSER_FLAG = rs_[5].AsLong();
  m_PARSER_FLAG2 = rs_[6].AsLong();
  m_PARSER_FLAG3 = rs_[7].AsLong();
}
