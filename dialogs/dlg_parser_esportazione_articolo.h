// CDlgParserEsportazioneArticolo: the filter dialog of the article exchange (1002 and 1). The
// user picks all articles, or those of all, of the published or of hand-picked categories; OK
// passes the checked categories as "parametro" ('C1','C2') and remembers the choice under
// "TipoArticoli". The database is the procedure's source and is not owned. One thread at a time.
#pragma once

#include "dialogs/parser_dialog.h"

class CDlgParserEsportazioneArticolo : public CTarvoParserDialog {
 public:
  static constexpr int IDD = 5807;
  static constexpr int IDC_PAREXPART_LISTA = 5908;
  static constexpr int IDC_PAREXPART_FILTRO_ARTICOLI = 5909;
  // The choices, in the order of the combo box.
  enum EChoice { kSelezionate = 0, kPubblicate = 1, kTutteLeCategorie = 2, kTuttiGliArticoli = 3 };

  // Starts from "Tutti gli articoli" unless a choice is stored for this class.
  CDlgParserEsportazioneArticolo(CWnd* parent, CDatabase* database);

  int GetChoice() const { return m_nChoice; }
  CComboBox* GetComboBox(int id) override { return id == IDC_PAREXPART_FILTRO_ARTICOLI ? &m_cmbFiltro : nullptr; }
  CTarvoListCtrl* GetListCtrl(int id) override { return id == IDC_PAREXPART_LISTA ? &m_lstCategorie : nullptr; }
  void OnCommand(int id, int notification) override;

  // The choice box changed: takes its index as the choice and sets the checks to match.
  void OnCbnSelchangeParexpartFiltroArticoli();
  void ResetChecks();

 protected:
  bool OnEventPreLoad() override;
  bool OnEventLoad() override;
  bool OnEventPostLoad() override;
  // Refuses ("Selezionare almeno una categoria") a category choice with nothing checked.
  bool OnEventOK() override;

 private:
  CTarvoListCtrl m_lstCategorie;
  CComboBox m_cmbFiltro;
  CDatabase* m_pDatabase;
  int m_nChoice = kTuttiGliArticoli;
};
