// ZIP archives: round trips, and extraction that never writes outside its folder.
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/zip_archive.h"
#include "support/test_db.h"

namespace tarvo {
namespace {

using test::TempDir;

std::string Fixture(const std::string& name) { return std::string(TARVO_TEST_DATA_DIR) + "/zip/" + name; }

// Unpacks `zip` into `folder` and returns how many entries it held.
int Unpack(const std::string& zip, const std::string& folder, bool ignorePaths = false) {
  CUnzipper unzipper;
  EXPECT_TRUE(unzipper.OpenZip(zip)) << unzipper.GetLastErrorText();
  EXPECT_TRUE(unzipper.Unzip(folder, ignorePaths));
  return unzipper.GetFileCount();
}

TEST(Zipper, FilesAddedWithoutPathUnpackFlatAndOthersKeepTheirPathBelowTheRootFolder) {
  TempDir src, out;
  const std::string accented = W("perché.xml");  // Windows-1252 bytes, as the procedures name files
  ::mkdir(src.File("dati").c_str(), 0777);
  WriteFileBytes(src.File("dati/001_ARTICOLO.xml"), "<exchangedata>a</exchangedata>");
  WriteFileBytes(src.File("dati/002_EXECUTE.xml"), std::string("bin\0ary", 7));
  WriteFileBytes(src.File("dati/" + accented), "x");
  WriteFileBytes(src.File("dati/a.txt"), "A");
  CZipper zipper;
  ASSERT_TRUE(zipper.OpenZip(src.File("dati.zip"), src.Path()));
  for (const std::string& name : {std::string("001_ARTICOLO.xml"), std::string("002_EXECUTE.xml"), accented})
    EXPECT_TRUE(zipper.AddFileToZip(src.File("dati/" + name), true)) << name;
  EXPECT_TRUE(zipper.AddFileToZip(src.File("dati/a.txt"), false));
  ASSERT_TRUE(zipper.CloseZip()) << zipper.GetLastErrorText();

  EXPECT_EQ(4, Unpack(src.File("dati.zip"), out.Path()));
  EXPECT_EQ("<exchangedata>a</exchangedata>", ReadFileBytes(out.File("001_ARTICOLO.xml")));
  EXPECT_EQ(std::string("bin\0ary", 7), ReadFileBytes(out.File("002_EXECUTE.xml")));
  EXPECT_EQ("x", ReadFileBytes(out.File(accented)));
  EXPECT_EQ("A", ReadFileBytes(out.File("dati/a.txt")));
  EXPECT_FALSE(FileExists(out.File("a.txt")));
}

TEST(Zipper, ArchiveWithoutEntriesIsStillAValidFile) {
  TempDir dir;
  CZipper zipper;
  ASSERT_TRUE(zipper.OpenZip(dir.File("vuoto.zip")));
  ASSERT_TRUE(zipper.CloseZip());
  EXPECT_EQ(0, Unpack(dir.File("vuoto.zip"), dir.Path()));
}

TEST(Unzipper, NestedFoldersAreCreatedUnlessPathsAreIgnored) {
  TempDir kept, flat;
  Unpack(Fixture("nested_folders.zip"), kept.Path());
  EXPECT_TRUE(DirectoryExists(kept.File("dati")));
  EXPECT_EQ("<exchangedata/>\n", ReadFileBytes(kept.File("dati/sub/001_ARTICOLO.xml")));
  EXPECT_EQ("ciao\n", ReadFileBytes(kept.File("leggimi.txt")));

  Unpack(Fixture("nested_folders.zip"), flat.Path(), true);
  EXPECT_TRUE(FileExists(flat.File("001_ARTICOLO.xml")));
  EXPECT_FALSE(DirectoryExists(flat.File("dati")));
}

// --- error paths: archives that try to write outside the extraction folder ---

struct EscapeCase {
  const char* archive;
  const char* refused;                // the entry that must be refused
  std::vector<std::string> extracted;  // what must still arrive, relative to the folder
  const char* escapedTo;               // where the refused entry would have landed (from the folder)
};

class UnzipperRefuses : public testing::TestWithParam<EscapeCase> {};

TEST_P(UnzipperRefuses, EntryLeavingTheFolderWhileKeepingTheRest) {
  const EscapeCase& c = GetParam();
  TempDir parent;
  std::string folder = parent.File("estrai");
  ::mkdir(folder.c_str(), 0777);
  std::remove("/tmp/tarvo_escaped.txt");
  CUnzipper unzipper;
  ASSERT_TRUE(unzipper.OpenZip(Fixture(c.archive)));
  EXPECT_FALSE(unzipper.Unzip(folder, false));
  ASSERT_EQ(1u, unzipper.GetErrors().size());
  EXPECT_EQ(0u, unzipper.GetErrors()[0].find(c.refused)) << unzipper.GetErrors()[0];
  for (const std::string& name : c.extracted) EXPECT_TRUE(FileExists(folder + "/" + name)) << name;
  EXPECT_FALSE(FileExists(folder + "/" + c.escapedTo));
  EXPECT_FALSE(FileExists(parent.File("escaped.txt")));
  EXPECT_FALSE(FileExists("/tmp/tarvo_escaped.txt"));
}

INSTANTIATE_TEST_SUITE_P(
    CraftedArchives, UnzipperRefuses,
    testing::Values(EscapeCase{"absolute_path.zip", "/tmp/tarvo_escaped.txt", {"001_ARTICOLO.xml", "002_CLIENTE.xml"},
                               "tmp/tarvo_escaped.txt"},
                    EscapeCase{"dotdot_path.zip", "dati/../../escaped.txt", {"001_ARTICOLO.xml", "dati/002_CLIENTE.xml"},
                               "escaped.txt"},
                    EscapeCase{"backslash_dotdot_path.zip", "..\\escaped.txt", {"001_ARTICOLO.xml"}, "escaped.txt"}),
    [](const testing::TestParamInfo<EscapeCase>& info) {
      std::string n = info.param.archive;
      return n.substr(0, n.find('.'));
    });

// --- error paths: files and archives that are not there ---

TEST(Zipper, MissingFileIsNotAddedAndTheArchiveKeepsTheOthers) {
  TempDir dir;
  WriteFileBytes(dir.File("a.txt"), "A");
  CZipper zipper;
  ASSERT_TRUE(zipper.OpenZip(dir.File("x.zip")));
  EXPECT_TRUE(zipper.AddFileToZip(dir.File("a.txt"), true));
  EXPECT_FALSE(zipper.AddFileToZip(dir.File("manca.txt"), true));
  EXPECT_NE(zipper.GetLastErrorText().find("manca.txt"), std::string::npos);
  ASSERT_TRUE(zipper.CloseZip());
  EXPECT_EQ(1, Unpack(dir.File("x.zip"), dir.Path()));
}

TEST(Zipper, ArchiveInAMissingFolderOrNotAnArchiveDoesNotOpen) {
  TempDir dir;
  CZipper zipper;
  EXPECT_FALSE(zipper.OpenZip(dir.File("manca/x.zip")));
  EXPECT_FALSE(zipper.GetLastErrorText().empty());
  WriteFileBytes(dir.File("x.zip"), "non sono un archivio");
  CUnzipper unzipper;
  EXPECT_FALSE(unzipper.OpenZip(dir.File("x.zip")));
  EXPECT_FALSE(unzipper.Unzip(dir.Path(), false));
}

}  // namespace
}  // namespace tarvo
