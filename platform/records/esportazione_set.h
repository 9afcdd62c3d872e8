// CEsportazioneSet: the procedure table ESPORTAZIONE, one row per exchange procedure.
// Columns: NUMERO (key), DESCRIZIONE, TIPO, PARAMETRI, PARSER, PARSER_FLAG, PARSER_FLAG2,
// PARSER_FLAG3. Read-only, on a database the caller owns; one thread at a time.
// Open and MoveNext throw CDBException.
#pragma once

#include "platform/odbc.h"

class CEsportazioneSet {
 public:
  explicit CEsportazioneSet(CDatabase* db) : rs_(db) {}

  long m_NUMERO = 0;
  CString m_DESCRIZIONE;
  CString m_TIPO;
  CString m_PARAMETRI;
  CString m_PARSER;
  long m_PARSER_FLAG = 0;
  long m_PARSER_FLAG2 = 0;
  long m_PARSER_FLAG3 = 0;

  CString m_strFilter;  // SQL condition, as given (no parameters)
  CString m_strSort;

  bool Open();
  void Close() { rs_.Close(); }
  bool IsEOF() const { return rs_.IsEOF(); }
  void MoveNext();

 private:
  void Load();
  CODBCRecordset rs_;
};
