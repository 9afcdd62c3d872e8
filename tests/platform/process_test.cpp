// Child processes: command-line splitting and output piping, with no shell in between.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "platform/process.h"

namespace tarvo {
namespace {

struct SplitCase {
  const char* line;
  std::vector<std::string> args;
};

class SplitCommandLineTest : public testing::TestWithParam<SplitCase> {};

TEST_P(SplitCommandLineTest, SplitsLikeAWindowsProgram) {
  EXPECT_EQ(GetParam().args, SplitCommandLine(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SplitCommandLineTest,
    testing::Values(SplitCase{"\"/bin/echo\" a  b", {"/bin/echo", "a", "b"}},
                    SplitCase{"\"/usr/my tools/x\" \"uno due\" tre", {"/usr/my tools/x", "uno due", "tre"}},
                    SplitCase{"x \"\"", {"x", ""}},
                    SplitCase{"x a\\\"b", {"x", "a\"b"}},
                    SplitCase{"x c:\\dir\\ \"d\\\\\"", {"x", "c:\\dir\\", "d\\"}},
                    SplitCase{"x a;rm -rf", {"x", "a;rm", "-rf"}},
                    SplitCase{"", {}}));

std::string RunAndCollect(const std::string& line, int* exitCode = nullptr) {
  CChildProcess child;
  EXPECT_TRUE(child.Start(line)) << line;
  std::string out;
  child.ReadOutput([&](const char* data, size_t n) { out.append(data, n); });
  int code = child.Wait();
  if (exitCode) *exitCode = code;
  return out;
}

TEST(ChildProcess, OutputAndErrorsArriveOnOnePipe) {
  int code = 0;
  std::string out = RunAndCollect("\"/bin/sh\" -c \"echo uno; echo due >&2; exit 3\"", &code);
  EXPECT_EQ("uno\ndue\n", out);
  EXPECT_EQ(3, code);
}

TEST(ChildProcess, ArgumentsReachTheProgramVerbatimWithoutAShell) {
  EXPECT_EQ("a;echo iniettato|$HOME\n", RunAndCollect("\"printf\" \"%s\\n\" \"a;echo iniettato|$HOME\""));
}

TEST(ChildProcess, LongOutputComesInBlocksOfAtMost511Bytes) {
  CChildProcess child;
  ASSERT_TRUE(child.Start("\"head\" -c 5000 /dev/zero"));
  size_t total = 0, largest = 0;
  child.ReadOutput([&](const char*, size_t n) {
    total += n;
    largest = std::max(largest, n);
  });
  EXPECT_EQ(5000u, total);
  EXPECT_LE(largest, 511u);
  EXPECT_EQ(0, child.Wait());
}

TEST(ChildProcess, StandardInputIsEmptyAndNoOutputEndsCleanly) {
  EXPECT_EQ("0\n", RunAndCollect("\"/bin/sh\" -c \"wc -c\""));
  EXPECT_EQ("", RunAndCollect("\"true\""));
}

// --- error paths ---

TEST(ChildProcess, MissingProgramDoesNotStartAndLeavesTheCauseInErrno) {
  CChildProcess child;
  errno = 0;
  EXPECT_FALSE(child.Start("\"/nessun/programma\" x"));
  EXPECT_EQ(ENOENT, errno);
  EXPECT_EQ(-1, child.Wait());
}

}  // namespace
}  // namespace tarvo
