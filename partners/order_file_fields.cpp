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

}  // namespace tarvo::partner
