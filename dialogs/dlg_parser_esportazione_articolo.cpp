#include "dialogs/dlg_parser_esportazione_articolo.h"

#include <cstdlib>

#include "platform/host_ui.h"
#include "platform/odbc.h"
#include "platform/records/categoria_set.h"

namespace {
constexpr const char* kTipoArticoli = "TipoArticoli";
const char* const kChoices[] = {
    "Articoli appartenenti alle categoria selezionate nella lista sotto",
    "Articoli appartenenti alle categorie \"Pubblicate\"",
    "Articoli appartenenti a tutte le categorie",
    "Tutti gli articoli",
};
constexpr int kColumnPubblica = 2;

CDialogTemplate ArticleTemplate() {
  using K = CDialogItem::Kind;
  using D = CDlgParserEsportazioneArticolo;
  return {D::IDD,
          "Seleziona articoli ...",
          281,
          279,
          {
              {K::kStatic, -1, "Filtro articoli", 7, 7, 267, 8},
              {K::kComboBox, D::IDC_PAREXPART_FILTRO_ARTICOLI, "Tutti gli articoli", 7, 16, 267, 88},
              {K::kListView, D::IDC_PAREXPART_LISTA, "List1", 7, 32, 267, 223},
              {K::kButton, IDC_OK, "OK", 7, 258, 50, 14, true},
              {K::kButton, IDC_CANCEL, "Annulla", 224, 258, 50, 14},
          }};
}
}  // namespace

CDlgParserEsportazioneArticolo::CDlgParserEsportazioneArticolo(CWnd* parent, CDatabase* database)
    : CTarvoParserDialog(parent, database, "CDlgParserEsportazioneArticolo"), m_pDatabase(database) {
  template_ = ArticleTemplate();
  m_cmbFiltro.AddString(kChoices[kTuttiGliArticoli]);
  CString stored;
  if (LoadRegistryValueForClass(kTipoArticoli, stored)) {
    // A value edited by hand into something that is no choice is ignored.
    int choice = std::atoi(stored.c_str());
    if (choice >= kSelezionate && choice <= kTuttiGliArticoli) m_nChoice = choice;
  }
}

void CDlgParserEsportazioneArticolo::OnCommand(int id, int notification) {
  if (id == IDC_PAREXPART_FILTRO_ARTICOLI && notification == CBN_SELCHANGE) OnCbnSelchangeParexpartFiltroArticoli();
}

bool CDlgParserEsportazioneArticolo::OnEventPreLoad() {
  m_lstCategorie.SetExtendedStyle(m_lstCategorie.GetExtendedStyle() | LVS_EX_CHECKBOXES);
  m_cmbFiltro.ResetContent();
  for (const char* text : kChoices) m_cmbFiltro.AddString(text);
  m_cmbFiltro.SetCurSel(m_nChoice);
  m_lstCategorie.InsertColumn(0, "Codice", LVCFMT_LEFT, 80);
  m_lstCategorie.InsertColumn(1, "Descrizione", LVCFMT_LEFT, 250);
  m_lstCategorie.InsertColumn(2, "Pubblica", LVCFMT_CENTER, 50);
  AddAnchor(IDC_PAREXPART_FILTRO_ARTICOLI, ANCHOR_TOP | ANCHOR_LEFT | ANCHOR_RIGHT);
  AddAnchor(IDC_PAREXPART_LISTA, ANCHOR_ALL);
  return true;
}

bool CDlgParserEsportazioneArticolo::OnEventLoad() {
  m_lstCategorie.DeleteAllItems();
  try {
    CCategoriaSet set(m_pDatabase);
    set.m_strSort = "DESCRIZIONE";
    set.Open();
    for (; !set.IsEOF(); set.MoveNext()) {
      int row = m_lstCategorie.InsertItem(m_lstCategorie.GetItemCount(), set.m_ID);
      m_lstCategorie.SetItemText(row, 1, set.m_DESCRIZIONE);
      m_lstCategorie.SetItemText(row, kColumnPubblica, set.m_F_PUBBLICA ? "Si" : "No");
    }
    set.Close();
    m_lstCategorie.SortItems(1, true);
  } catch (const CDBException& e) {
    AfxMessageBox(e.m_strError, MB_ICONEXCLAMATION);
  }
  return true;
}

bool CDlgParserEsportazioneArticolo::OnEventPostLoad() {
  OnCbnSelchangeParexpartFiltroArticoli();
  return true;
}

void CDlgParserEsportazioneArticolo::OnCbnSelchangeParexpartFiltroArticoli() {
  m_nChoice = m_cmbFiltro.GetCurSel();
  ResetChecks();
  switch (m_nChoice) {
    case kSelezionate:
      m_lstCategorie.EnableWindow(true);
      break;
    case kPubblicate:
      m_lstCategorie.EnableWindow(true);
      for (int i = 0; i < m_lstCategorie.GetItemCount(); ++i)
        if (m_lstCategorie.GetItemText(i, kColumnPubblica) == "Si") m_lstCategorie.SetCheck(i, true);
      break;
    case kTutteLeCategorie:
      m_lstCategorie.EnableWindow(true);
      for (int i = 0; i < m_lstCategorie.GetItemCount(); ++i) m_lstCategorie.SetCheck(i, true);
      break;
    case kTuttiGliArticoli:
      m_lstCategorie.EnableWindow(false);
      break;
    default:
      break;
  }
}

void CDlgParserEsportazioneArticolo::ResetChecks() {
  for (int i = 0; i < m_lstCategorie.GetItemCount(); ++i) m_lstCategorie.SetCheck(i, false);
}

bool CDlgParserEsportazioneArticolo::OnEventOK() {
  if (m_nChoice == kTuttiGliArticoli) {
    // Deliberately not "parametro": the exchange then finds no category list and takes every
    // article. Nor is this choice remembered.
    AddParam("paramentro", "");
    return true;
  }
  CString list;
  int checked = 0;
  for (int i = 0; i < m_lstCategorie.GetItemCount(); ++i) {
    if (m_lstCategorie.GetCheck(i)) {
      ++checked;
      if (!list.empty()) list += ",";
      list += "'" + m_lstCategorie.GetItemText(i, 0) + "'";
    }
    AddParam("parametro", list);
  }
  if (checked > 0) {
    StoreRegistryValueForClass(kTipoArticoli, tarvo::StrFormat("%d", m_nChoice));
    return true;
  }
  AfxMessageBox("Selezionare almeno una categoria", MB_ICONINFORMATION);
  GotoDlgCtrl(IDC_PAREXPART_LISTA);
  return false;
}
