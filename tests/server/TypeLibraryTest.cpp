// The type library the server answers on GET /automation/typelib, compared with the checked-in
// tests/data/golden/typelib.json to the character (printed with two-space indents). It is the
// one list of the members and enumerations the tests keep. After a change meant to alter it,
// regenerate the file with
//   cmake --build --preset default --target regenerate-typelib
// (TAVKELO_UPDATE_GOLDEN=1 for this test) and review the difference before committing it.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ServerRig.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

TEST(TypeLibrary, TheServerAnswersTheGoldenFile) {
  test::ServerRig rig;
  test::Reply library = rig.Request("GET", "/automation/typelib");
  ASSERT_EQ(library.status, 200) << library.text;
  const std::string answer = library.json.dump(2) + "\n";
  const std::string path = std::string(TAVKELO_TEST_DATA_DIR) + "/golden/typelib.json";
  const char* update = std::getenv("TAVKELO_UPDATE_GOLDEN");
  if (update != nullptr && std::string(update) == "1") {
    test::WriteFile(path, answer);
    std::printf("golden file written: %s\n", path.c_str());
    return;
  }
  ASSERT_TRUE(test::FileExists(path)) << path << " is missing; build the target regenerate-typelib";
  EXPECT_EQ(answer, test::ReadFile(path));  // a multi-line diff on failure
}

}  // namespace
}  // namespace tavkelo
