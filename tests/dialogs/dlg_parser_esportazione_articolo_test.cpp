#include "dialogs/dlg_parser_esportazione_articolo.h"

#include <gtest/gtest.h>

#include <memory>

#include "framework/exchange_factory.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/settings.h"
#include "support/recording_window.h"
#include "support/test_db.h"

using namespace tarvo;
using namespace tarvo::test;

namespace {
using Dlg = CDlgParserEsportazioneArticolo;

class BoxRecorder : public IHostUI {
 public:
  void MessageBox(const CString& text, int) override { boxes.push_back(text); }
  bool AskYesNo(const CString&, bool d) override { return d; }
  bool EditParameters(const CString&, std::vector<HostParam>&) override { return true; }
  std::vector<CString> boxes;
};

class Procedure : public CTarvoImport {
 public:
  int Run() override { return 1; }
};

// The dialog as the factory gives it for a procedure whose source holds the categories below.
class ArticleDialog : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped() || HasFailure()) return;
    db_ = &NewDatabase();
    db_->LoadSchema("company.sql");
    CRegistryAdministrator::SetSettingsFile(settings_);
  }
  void TearDown() override { CRegistryAdministrator::SetSettingsFile(""); }

  // Sorted by description (case ignored): alfa C2, Beta C'3, Zeta C1.
  void AddCategories() {
    db_->Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE, F_PUBBLICA) VALUES ('C1', 'Zeta', 1)");
    db_->Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE, F_PUBBLICA) VALUES ('C2', 'alfa', 0)");
    db_->Execute("INSERT INTO CATEGORIA (ID, DESCRIZIONE, F_PUBBLICA) VALUES ('C''3', 'Beta', 7)");
  }

  // A new dialog, loaded; the procedure keeps its source database open meanwhile.
  std::unique_ptr<Dlg> Open() {
    procedure_ = std::make_unique<Procedure>();
    procedure_->SetParentWnd(&window_);
    procedure_->SetSrcConfig(db_->Config());
    procedure_->SetStrParser("ParserArticoli");
    procedure_->SetParserFlag(4);
    procedure_->SetDescrizione("Esportazione articoli");
    std::unique_ptr<CTarvoParserDialog> d(CExchangeParserFactory().GetParser(procedure_.get(), nullptr));
    auto* dialog = dynamic_cast<Dlg*>(d.get());
    EXPECT_NE(dialog, nullptr);
    if (!dialog) return nullptr;
    d.release();
    EXPECT_EQ(dialog->GetParserFlag(), 4);
    EXPECT_EQ(dialog->GetReportTitle(), "Esportazione articoli");
    EXPECT_TRUE(dialog->Load());
    return std::unique_ptr<Dlg>(dialog);
  }

  static void Choose(Dlg& d, int choice) {
    d.GetComboBox(Dlg::IDC_PAREXPART_FILTRO_ARTICOLI)->SetCurSel(choice);
    d.OnCommand(Dlg::IDC_PAREXPART_FILTRO_ARTICOLI, CBN_SELCHANGE);
  }
  static CTarvoListCtrl& List(Dlg& d) { return *d.GetListCtrl(Dlg::IDC_PAREXPART_LISTA); }
  static std::string Checks(Dlg& d) {
    std::string marks;
    for (int i = 0; i < List(d).GetItemCount(); ++i) marks += List(d).GetCheck(i) ? 'x' : '.';
    return marks;
  }
  CString Stored() {
    CString value;
    return CRegistryAdministrator::GetClassValue("CDlgParserEsportazioneArticolo", "TipoArticoli", value) ? value
                                                                                                           : "<none>";
  }

  ScratchDatabase* db_ = nullptr;
  TempDir dir_;
  std::string settings_ = dir_.File("settings.ini");
  RecordingWindow window_;
  std::unique_ptr<Procedure> procedure_;
  BoxRecorder ui_;
  ScopedHostUI ui_scope_{ui_};
};
}  // namespace

TEST_P(ArticleDialog, ListsTheCategoriesByDescriptionAndEachChoiceResetsTheChecks) {
  AddCategories();
  std::unique_ptr<Dlg> d = Open();
  ASSERT_TRUE(d);
  EXPECT_EQ(d->GetChoice(), Dlg::kTuttiGliArticoli);
  CTarvoListCtrl& list = List(*d);
  ASSERT_EQ(list.GetColumnCount(), 3);
  EXPECT_EQ(list.GetColumn(2).heading, "Pubblica");
  ASSERT_EQ(list.GetItemCount(), 3);
  const char* rows[][3] = {{"C2", "alfa", "No"}, {"C'3", "Beta", "Si"}, {"C1", "Zeta", "Si"}};
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) EXPECT_EQ(list.GetItemText(r, c), rows[r][c]) << r << "," << c;
  EXPECT_FALSE(list.IsWindowEnabled());

  struct Case {
    int choice;
    bool enabled;
    const char* checks;
  };
  // A hand-made check is lost at every switch.
  for (Case c : {Case{0, true, "..."}, Case{1, true, ".xx"}, Case{2, true, "xxx"}, Case{3, false, "..."}}) {
    list.SetCheck(0, !list.GetCheck(0));
    Choose(*d, c.choice);
    EXPECT_EQ(d->GetChoice(), c.choice);
    EXPECT_EQ(list.IsWindowEnabled(), c.enabled) << c.choice;
    EXPECT_EQ(Checks(*d), c.checks) << c.choice;
  }
}

TEST_P(ArticleDialog, OKPassesTheCheckedCategoriesAndRemembersTheChoiceButNotAllArticles) {
  AddCategories();
  std::unique_ptr<Dlg> d = Open();
  ASSERT_TRUE(d);
  Choose(*d, Dlg::kTutteLeCategorie);
  ASSERT_TRUE(d->Confirm());
  EXPECT_EQ(d->GetParams().at("parametro"), "'C2','C'3','C1'");  // quotes inside an identifier stay single
  EXPECT_EQ(d->GetParams().count("paramentro"), 0u);
  EXPECT_NE(ReadFileBytes(settings_).find("[CDlgParserEsportazioneArticolo]\nTipoArticoli = 2\n"), CString::npos);

  // Read back from the file, as the next run does; the stored 1 re-checks the published ones.
  CRegistryAdministrator::SetClassValue("CDlgParserEsportazioneArticolo", "TipoArticoli", "1");
  CRegistryAdministrator::SetSettingsFile(settings_);
  d = Open();
  EXPECT_EQ(d->GetChoice(), Dlg::kPubblicate);
  EXPECT_EQ(Checks(*d), ".xx");

  Choose(*d, Dlg::kTuttiGliArticoli);
  ASSERT_TRUE(d->Confirm());
  EXPECT_EQ(d->GetParams(), (CMapStringToString{{"paramentro", ""}}));
  EXPECT_EQ(Stored(), "1");
  EXPECT_EQ(Open()->GetChoice(), Dlg::kPubblicate);

  // A settings file that cannot be written is said, and the choice still goes to the procedure.
  WriteFileBytes(dir_.File("plain"), "x");
  CRegistryAdministrator::SetSettingsFile(dir_.File("plain/settings.ini"));
  d = Open();
  Choose(*d, Dlg::kSelezionate);
  List(*d).SetCheck(2, true);
  EXPECT_TRUE(d->Confirm());
  EXPECT_EQ(d->GetParams().at("parametro"), "'C1'");
  ASSERT_EQ(ui_.boxes.size(), 1u);
  EXPECT_NE(ui_.boxes[0].find("plain/settings.ini"), CString::npos);
  EXPECT_TRUE(ui_.boxes[0].find("Impossibile scrivere il file") == 0) << ui_.boxes[0];
}

// --- refusals --------------------------------------------------------------------------------
TEST_P(ArticleDialog, OKWithNothingCheckedIsRefusedAndKeepsTheDialogOpenOnTheList) {
  struct Case {
    bool categories;
    int choice;
  };
  // All categories of an empty table; the published ones unchecked by hand.
  for (Case c : {Case{false, Dlg::kTutteLeCategorie}, Case{true, Dlg::kPubblicate}}) {
    if (c.categories) AddCategories();
    std::unique_ptr<Dlg> d = Open();
    ASSERT_TRUE(d);
    Choose(*d, c.choice);
    for (int i = 0; i < List(*d).GetItemCount(); ++i) List(*d).SetCheck(i, false);
    ui_.boxes.clear();
    EXPECT_FALSE(d->Confirm());
    EXPECT_EQ(ui_.boxes, std::vector<CString>{"Selezionare almeno una categoria"});
    EXPECT_EQ(d->GetFocusId(), Dlg::IDC_PAREXPART_LISTA);
    EXPECT_EQ(Stored(), "<none>");
  }
}

INSTANTIATE_TEST_SUITE_P(Drivers, ArticleDialog, testing::ValuesIn(AllDbKinds()), DbKindName);
