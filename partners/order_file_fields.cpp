#include "partners/order_file_fields.h"

#include "platform/records/banca_set.h"
#include "platform/records/documento_set.h"
#include "platform/records/formula_pagamento_set.h"
#include "platform/records/porto_merci_set.h"
#include "platform/records/recapito_completo_set.h"
#include "platform/records/trasporto_set.h"

namespace tarvo::partner {

CLocality SplitLocality(const CString& line, int tailLength) {
  CLocality locality;
  locality.postalCode = line.substr(0, 5);
  CString rest = line.size() > 5 ? Trim(line.substr(5)) : CString();
  size_t keep = rest.size() > static_cast<size_t>(tailLength) ? rest.size() - tailLength : 0;
  locality.place = TrimRight(rest.substr(0, keep));
  locality.province = rest.size() > 2 ? rest.substr(rest.size() - 2) : rest;
  return locality;
}

CTaxFields SplitTaxIdentifier(const CString& identifier) {
  return {identifier.size() == 11 ? identifier : CString(11, ' '), identifier.substr(0, 16)};
}

CString OneLine(const CString& text) {
  CString line;
  line.reserve(text.size());
  for (char c : text) {
    if (c == '\r') continue;
    line += c == '\n' ? ' ' : c;
  }
  return line;
}

CString BlankLineBreaks(const CString& text) {
  CString line = text;
  for (char& c : line)
    if (c == '\r' || c == '\n') c = ' ';
  return line;
}

CContacts ReadContacts(CDatabase* db, long customerBranch) {
  CContacts contacts;
  CRecapitoCompletoSet set(db);
  set.m_strFilter = StrFormat("IDSEDE = %ld AND NOMETIPORECAPITO LIKE '%%TEL%%'", customerBranch);
  set.Open();
  for (; !set.IsEOF() && contacts.telephones.size() < 4; set.MoveNext()) contacts.telephones.push_back(set.m_VALORE);
  set.m_strFilter = StrFormat("IDSEDE = %ld AND NOMETIPORECAPITO LIKE '%%MAIL%%'", customerBranch);
  set.Requery();
  if (!set.IsEOF()) contacts.email = set.m_VALORE;
  return contacts;
}

namespace {
// The current row of `set` filtered by "ID = %ld", or the empty record when there is none.
template <class Set>
void OpenById(Set& set, long id) {
  set.m_strFilter = StrFormat("ID = %ld", id);
  set.Open();
}
}  // namespace

COrderTerms ReadOrderTerms(CDatabase* db, const CDocumentoSet& order) {
  COrderTerms terms;
  CBancaSet bank(db);
  OpenById(bank, order.m_ID_BANCA);
  if (!bank.IsEOF()) terms = {bank.m_CAB, bank.m_ABI, bank.m_DESCRIZIONE, {}, {}, {}};
  CFormulaPagamentoSet payment(db);
  OpenById(payment, order.m_ID_FORMULA_PAGAMENTO);
  if (!payment.IsEOF()) terms.payment = payment.m_DESCRIZIONE;
  CTrasportoSet transport(db);
  OpenById(transport, order.m_ID_TRASPORTO);
  if (!transport.IsEOF()) terms.transport = transport.m_DESCRIZIONE;
  CPortoMerciSet carriage(db);
  OpenById(carriage, order.m_ID_PORTO_MERCI);
  if (!carriage.IsEOF()) terms.carriage = carriage.m_DESCRIZIONE;
  return terms;
}

std::vector<long> ConfirmedOrderIds(CDatabase* db) {
  std::vector<long> ids;
  CDocumentoSet orders(db);
  orders.m_strFilter = "( CLI_FAT_ID IS NOT NULL ) AND ID_STATO_ORDINE = 5";
  orders.m_strSort = "ID";
  for (orders.Open(); !orders.IsEOF(); orders.MoveNext()) ids.push_back(orders.m_ID);
  return ids;
}

bool OpenConfirmedOrder(CDocumentoSet& order, long id) {
  order.m_strFilter = StrFormat("ID = %ld AND ID_STATO_ORDINE = 5", id);
  order.Open();
  return !order.IsEOF();
}

using EF = EFieldFormat;

const CRecordLayout& CustomerBlockLayout() {
  static const CRecordLayout layout = {
      {"RAGIONESOCIALE", 0, 80}, {"INDIRIZZO", 80, 30},  {"LOCALITA", 110, 25},      {"CAP", 135, 5},
      {"PROVINCIA", 140, 2},     {"PARTITAIVA", 142, 11}, {"CODICEFISCALE", 153, 16},
  };
  return layout;
}

const CRecordLayout& OrderTermsBlockLayout() {
  static const CRecordLayout layout = {
      {"TELEFONO_1", 259, 20},
      {"TELEFONO_2", 279, 15},
      {"TELEFONO_3", 294, 15},
      {"TELEFONO_4", 309, 15},
      {"EMAIL", 324, 30},
      {"ORDINE", 354, 6, EF::kDigits},
      {"DATA_DOCUMENTO", 360, 6, EF::kDate},
      {"NOTE", 366, 80},
      {"DATA_CONSEGNA", 446, 6, EF::kDate},
      {"SCONTO", 452, 5, EF::kImplied, 2},
      {"CAB", 457, 10},
      {"ABI", 467, 10},
      {"BANCA", 477, 200},
      {"PAGAMENTO", 677, 150},
      {"TRASPORTO", 827, 150},
      {"PORTO", 977, 150},
  };
  return layout;
}

std::vector<CString> CustomerBlockValues(const CDocumentoSet& order) {
  const CLocality locality = SplitLocality(order.m_CLI_FAT_LOCALITA);
  const CTaxFields tax = SplitTaxIdentifier(order.m_CLI_FAT_PARTITAIVA);
  return {order.m_CLI_FAT_RAGIONESOCIALE, order.m_CLI_FAT_INDIRIZZO, locality.place, locality.postalCode,
          locality.province, tax.vatNumber, tax.taxCode};
}

std::vector<CString> OrderTermsValues(CDatabase* db, const CDocumentoSet& order, long orderNumber,
                                      const CString& notes) {
  CContacts contacts = ReadContacts(db, order.m_CLI_FAT_SEDE_ID);
  contacts.telephones.resize(4);
  const COrderTerms terms = ReadOrderTerms(db, order);
  return {contacts.telephones[0], contacts.telephones[1], contacts.telephones[2], contacts.telephones[3],
          contacts.email, StrFormat("%ld", orderNumber), order.m_DATA_DOCUMENTO.ToString(), notes,
          order.m_DATA_CONSEGNA.ToString(), order.m_SCONTO, terms.bankCab, terms.bankAbi, terms.bank,
          terms.payment, terms.transport, terms.carriage};
}

}  // namespace tarvo::partner
