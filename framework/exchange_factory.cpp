#include "framework/exchange_factory.h"

#include "dialogs/dlg_parser_esportazione_articolo.h"
#include "platform/host_ui.h"
#include "platform/records/esportazione_set.h"

CTarvoImport* CExchangeFactory::GetExchangeProcedure(long number) {
  CString descrizione, tipo, parametri, parser;
  long flag = 0, flag2 = 0, flag3 = 0;
  try {
    CEsportazioneSet set(m_pDatabase);
    set.m_strFilter = tarvo::StrFormat("NUMERO = %ld", number);
    set.Open();
    if (!set.IsEOF()) {
      descrizione = set.m_DESCRIZIONE;
      tipo = set.m_TIPO;
      parametri = set.m_PARAMETRI;
      parser = set.m_PARSER;
      flag = set.m_PARSER_FLAG;
      flag2 = set.m_PARSER_FLAG2;
      flag3 = set.m_PARSER_FLAG3;
    }
    set.Close();
  } catch (const CDBException& e) {
    AfxMessageBox(e.m_strError, MB_ICONEXCLAMATION);
    return nullptr;
  }

  CTarvoImport* procedure = nullptr;
  if (tipo == "xmlexport" || tipo == "xmlimport") {
    procedure = CreateDriverProcedure();
  } else if (tipo == "custom") {
    const ProcedureEntry* entry = FindProcedure(number);
    if (entry && entry->create) procedure = entry->create();
  }
  if (!procedure) return nullptr;
  procedure->SetExchangeParam(parametri);
  procedure->SetStrParser(parser);
  procedure->SetParserFlag(flag);
  procedure->SetParserFlag2(flag2);
  procedure->SetParserFlag3(flag3);
  procedure->SetDescrizione(descrizione);
  return procedure;
}

namespace {
template <class T>
CTarvoParserDialog* MakeDialog(CWnd* parent, CDatabase* database) {
  return new T(parent, database);
}

// Dialog constructors by lower-case name; null while the dialog is not built.
struct DialogEntry {
  const char* name;
  CTarvoParserDialog* (*create)(CWnd* parent, CDatabase* database);
};
const DialogEntry kDialogs[] = {
    {"parserarticoli", MakeDialog<CDlgParserEsportazioneArticolo>},
    {"parserdocumenti", nullptr},
};

// The dialogs a new procedure table names for the hard-coded procedures.
struct DefaultParser {
  long number;
  const char* name;
};
const DefaultParser kDefaultParsers[] = {
    {1, "parserarticoli"},
    {1002, "parserarticoli"},
};
}  // namespace

const char* DefaultParserName(long number) {
  for (const DefaultParser& p : kDefaultParsers)
    if (p.number == number) return p.name;
  return "";
}

CTarvoParserDialog* CExchangeParserFactory::GetParser(CTarvoImport* procedure, CWnd* parent) {
  if (!procedure) return nullptr;
  CString name = tarvo::ToLower(procedure->GetStrParser());
  const DialogEntry* entry = nullptr;
  for (const DialogEntry& d : kDialogs)
    if (name == d.name) entry = &d;
  if (!entry) return nullptr;
  if (!procedure->OpenOutDatabase(false)) return nullptr;
  if (!entry->create) return nullptr;
  CTarvoParserDialog* dialog = entry->create(parent, procedure->GetOutDatabase());
  dialog->SetParserFlag(procedure->GetParserFlag());
  dialog->SetReportTitle(procedure->GetDescrizione());
  return dialog;
}
