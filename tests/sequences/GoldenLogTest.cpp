// Golden logs: one parasitic-loss and one coastdown run against the simulator on the virtual-time
// loop write their log blocks (parameters, stages, crossings, results), which must match the
// checked-in files under tests/data/golden/ to the character, time stamps taken off.
//
// After a change that is meant to alter the log, regenerate the files with
//   TAVKELO_UPDATE_GOLDEN=1 build/<dir>/tests/test_sequences --gtest_filter='GoldenLog.*'
// and review the difference before committing it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "SimRig.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

std::string GoldenPath(const std::string& name) {
  return std::string(TAVKELO_TEST_DATA_DIR) + "/golden/" + name;
}

bool UpdateGolden() {
  const char* v = std::getenv("TAVKELO_UPDATE_GOLDEN");
  return v != nullptr && std::string(v) == "1";
}

// The log text with one line per line ("\n"), stamps off the stamped lines only.
std::string Unstamped(const test::LinkFixture& f) {
  std::string text;
  for (const std::string& line : test::LogLinesWithoutStamps(f)) text += line + "\n";
  return text;
}

void CompareWithGolden(const std::string& actual, const std::string& name) {
  const std::string path = GoldenPath(name);
  if (UpdateGolden()) {
    test::WriteFile(path, actual);
    std::printf("golden file written: %s\n", path.c_str());
    return;
  }
  ASSERT_TRUE(test::FileExists(path)) << path << " is missing; run with TAVKELO_UPDATE_GOLDEN=1";
  const std::string expected = test::ReadFile(path);
  if (actual == expected) return;
  // Name the first line that differs.
  size_t line = 1, i = 0;
  while (i < actual.size() && i < expected.size() && actual[i] == expected[i]) {
    if (actual[i] == '\n') ++line;
    ++i;
  }
  auto lineAt = [](const std::string& text, size_t pos) {
    const size_t begin = text.rfind('\n', pos == 0 ? 0 : pos - 1);
    const size_t from = begin == std::string::npos || pos == 0 ? 0 : begin + 1;
    return text.substr(from, text.find('\n', from) - from);
  };
  FAIL() << name << " differs at line " << line << ":\n  expected: " << lineAt(expected, i)
         << "\n  actual:   " << lineAt(actual, i);
}

TEST(GoldenLog, ParasiticsRun) {
  test::SimRig rig;
  rig.Connect();
  rig.Start(test::Parasitics);
  ASSERT_TRUE(rig.RunToEnd(400.0));
  ASSERT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  CompareWithGolden(Unstamped(rig.f), "parasitics.log");
}

TEST(GoldenLog, CoastdownRun) {
  test::SimRig rig;
  rig.f.ctx->params.InstallDefaults();
  rig.Connect();
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunToEnd(600.0));
  ASSERT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  CompareWithGolden(Unstamped(rig.f), "coastdown.log");
}

}  // namespace
}  // namespace tavkelo
