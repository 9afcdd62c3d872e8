// Shared fixture of the driver engine and driver action tests: a root folder with an "exchange"
// folder for the driver, a work folder for data files, a recording window, a scripted host UI, an
// engine whose protected steps the tests may call, and the XML library for the whole program.
#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/tarvo_import.h"
#include "platform/files.h"
#include "platform/host_ui.h"
#include "platform/settings.h"
#include "support/recording_window.h"
#include "support/test_db.h"
#include "xmlengine/tarvo_exchange_xml.h"

namespace tarvo::test {

class XercesPlatform : public testing::Environment {
 public:
  void SetUp() override { CTarvoImport::Xerces_StartPlatform(); }
  void TearDown() override { CTarvoImport::Xerces_StopPlatform(); }
};
inline const auto* const kXercesPlatform = testing::AddGlobalTestEnvironment(new XercesPlatform);

// The engine with its steps opened to the tests.
class TestEngine : public CTarvoExchangeXML {
 public:
  using CTarvoExchangeXML::CreateDataDocument;
  using CTarvoExchangeXML::CreateDOMParser;
  using CTarvoExchangeXML::Process_driverfile_FtpUpload;
  using CTarvoExchangeXML::Process_driverfile_ImportTableXML;
  using CTarvoExchangeXML::WriteDataFile;
};

// A host UI whose answers the test sets; it records what it was shown.
class ScriptedUI : public IHostUI {
 public:
  void MessageBox(const CString& text, int icon) override { boxes.push_back(text); }
  bool AskYesNo(const CString& text, bool) override {
    questions.push_back(text);
    return answerYes;
  }
  bool EditParameters(const CString& title, std::vector<HostParam>& params) override {
    dialogTitle = title;
    for (HostParam& p : params) {
      shownParams.push_back(p.name + "=" + *p.value);
      auto it = edits.find(p.name);
      if (it != edits.end()) *p.value = it->second;
    }
    return answerOk;
  }
  std::vector<CString> boxes, questions, shownParams;
  std::map<CString, CString> edits;
  CString dialogTitle;
  bool answerYes = true;
  bool answerOk = true;
};

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
}

inline std::string DataFile(const std::string& name) { return std::string(TARVO_TEST_DATA_DIR) + "/xmlengine/" + name; }

// Root folder, work folder, window and UI of one test; restores the current folder at the end.
class EngineEnvironment {
 public:
  EngineEnvironment() : startDir_(tarvo::GetCurrentDirectory()) {
    std::filesystem::create_directories(root_.Path() + "/exchange");
    std::filesystem::create_directories(root_.Path() + "/work");
    CRegistryAdministrator::SetApplicationSetting("RootDirectory", root_.Path());
    SetHostUI(&ui);
  }
  ~EngineEnvironment() {
    SetHostUI(nullptr);
    tarvo::SetCurrentDirectory(startDir_);
  }
  std::string Work(const std::string& name = "") const { return root_.Path() + "/work" + (name.empty() ? "" : "/" + name); }
  std::string Root() const { return root_.Path(); }

  // Writes `driver` as exchange/<name> and prepares `engine` to run it, non-interactively.
  void Prepare(CTarvoExchangeXML& engine, const std::string& driver, const std::string& name = "driver.xml") {
    WriteBytes(root_.Path() + "/exchange/" + name, driver);
    engine.SetExchangeParam("DRVFILE=" + name);
    engine.SetParentWnd(&window);
    engine.SetVerbose(false);
    engine.SetOutDir(Work());
    engine.SetInDir(Work());
  }
  // Runs a new engine over the driver made of `steps`, from `source` to `destination`; `configure`
  // may set more before the run.
  int RunSteps(const std::string& steps, const std::string& source, const std::string& destination = "",
               const std::function<void(CTarvoExchangeXML&)>& configure = {}) {
    CTarvoExchangeXML engine;
    Prepare(engine, Driver(steps));
    engine.SetSrcConfig(source);
    engine.SetDestConfig(destination);
    if (configure) configure(engine);
    return engine.Run();
  }
  // Wraps step elements into a driver document.
  static std::string Driver(const std::string& steps) {
    return "<?xml version=\"1.0\" encoding=\"iso8859-1\"?>\n<exchangedriver>\n" + steps + "\n</exchangedriver>\n";
  }
  std::vector<std::string> Lines() {
    window.Drain();
    return window.Texts();
  }
  std::vector<std::string> LinesWith(int status) {
    window.Drain();
    std::vector<std::string> out;
    for (const auto& l : window.Lines())
      if (l.status == status) out.push_back(l.text);
    return out;
  }
  bool HasLine(const std::string& line) {
    window.Drain();
    return window.HasLine(line);
  }

  RecordingWindow window;
  ScriptedUI ui;

 private:
  std::string startDir_;
  TempDir root_;
};

// One engine prepared in its own environment; `prelude` opens every driver it runs.
class EngineRun {
 public:
  explicit EngineRun(std::string prelude = "") : prelude_(std::move(prelude)) {
    env.Prepare(engine, EngineEnvironment::Driver(""));
  }
  // Runs the driver made of the prelude and `steps`; returns Run's result.
  int Run(const std::string& steps) {
    env.Prepare(engine, EngineEnvironment::Driver(prelude_ + steps));
    return engine.Run();
  }
  std::vector<std::string> Lines() { return env.Lines(); }
  std::vector<std::string> LinesWith(int status) { return env.LinesWith(status); }
  bool HasLine(const std::string& line) { return env.HasLine(line); }
  std::string Work(const std::string& name = "") const { return env.Work(name); }

  EngineEnvironment env;
  TestEngine engine;

 private:
  std::string prelude_;
};

// A run whose drivers start in the work folder.
class DriverRun : public EngineRun {
 public:
  DriverRun() : EngineRun("<cd directory=\"@destfolder\"/>\n") {}
};

// The sample drivers of the repository.
inline std::string SampleDriver(const std::string& name) {
  return ReadText(std::string(TARVO_SOURCE_DIR) + "/xmlengine/drivers/" + name);
}

// Rows of a query as text, one line per row, columns separated by "|", NULL as "<null>".
inline std::vector<std::string> Rows(CDatabase& db, const std::string& sql) {
  std::vector<std::string> rows;
  CODBCRecordset rs(&db);
  rs.Open(sql);
  while (!rs.IsEOF()) {
    std::string row;
    for (int i = 0; i < rs.GetFieldCount(); ++i) {
      if (i) row += "|";
      row += rs.Field(i).IsNull() ? "<null>" : rs.Field(i).AsString();
    }
    rows.push_back(row);
    rs.MoveNext();
  }
  return rows;
}

// The article tables of the sample drivers, each with its key.
inline const std::vector<std::pair<std::string, std::string>> kArticleTables = {
    {"IVA", "CODICE"}, {"UNITA_MISURA", "ID"}, {"CATEGORIA", "ID"}, {"FAMIGLIA", "ID"}, {"GRUPPO", "ID"}, {"ARTICOLO", "ID"}};

// Every article table holds rows and the same rows in both databases.
inline void ExpectSameArticles(CDatabase& expected, CDatabase& actual) {
  for (const auto& [table, key] : kArticleTables) {
    const std::string sql = "SELECT * FROM " + table + " ORDER BY " + key;
    auto rows = Rows(expected, sql);
    EXPECT_FALSE(rows.empty()) << table;
    EXPECT_EQ(Rows(actual, sql), rows) << table;
  }
}

}  // namespace tarvo::test
