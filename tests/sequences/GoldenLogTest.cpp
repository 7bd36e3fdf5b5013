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

#include "SequenceRig.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

// The log written since the rig was built, one line per "\n", with the 10-character time stamp
// taken off the stamped lines only: blank-stamped lines and the continuation lines of a
// multi-line entry stay exactly as written.
std::string Unstamped(const test::LinkFixture& f) {
  const std::string text = f.LogText();
  std::string out;
  for (size_t pos = 0; pos < text.size();) {
    size_t end = text.find("\r\n", pos);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(pos, end - pos);
    bool stamped = line.size() >= 10 && line[6] == '.' && line[9] == '-';
    for (size_t i : {0, 1, 2, 3, 4, 5, 7, 8}) stamped = stamped && line[i] >= '0' && line[i] <= '9';
    out += (stamped ? line.substr(10) : line) + "\n";
    pos = end + 2;
  }
  return out;
}

void CompareWithGolden(const test::LinkFixture& f, const std::string& name) {
  const std::string path = std::string(TAVKELO_TEST_DATA_DIR) + "/golden/" + name;
  const char* update = std::getenv("TAVKELO_UPDATE_GOLDEN");
  if (update != nullptr && std::string(update) == "1") {
    test::WriteFile(path, Unstamped(f));
    std::printf("golden file written: %s\n", path.c_str());
    return;
  }
  ASSERT_TRUE(test::FileExists(path)) << path << " is missing; run with TAVKELO_UPDATE_GOLDEN=1";
  EXPECT_EQ(Unstamped(f), test::ReadFile(path)) << name;  // a multi-line diff on failure
}

TEST(GoldenLog, ParasiticsRun) {
  test::SimRig rig;
  rig.Connect();
  rig.Start(test::Parasitics);
  ASSERT_TRUE(rig.RunToEnd(400.0));
  ASSERT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
  CompareWithGolden(rig.f, "parasitics.log");
}

TEST(GoldenLog, CoastdownRun) {
  test::SimRig rig;
  rig.f.ctx->params.InstallDefaults();
  rig.Connect();
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunToEnd(600.0));
  ASSERT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
  CompareWithGolden(rig.f, "coastdown.log");
}

}  // namespace
}  // namespace tavkelo
