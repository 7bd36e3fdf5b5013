#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/NamedSemaphore.hpp"
#include "platform/SingleInstanceLock.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

// The exit status of `child` run in a process of its own.
template <class F>
int InAnotherProcess(F child) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(child());
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(NamedSemaphore, KeepsToItsMaximumAndIsSharedByName) {
  std::string name = "KeloInterfaceLock" + test::UniqueSuffix();
  NamedSemaphore::Remove(name);
  NamedSemaphore first(name, 1, 1);
  NamedSemaphore second(name, 1, 1);  // opens the existing one; the initial count is ignored
  EXPECT_FALSE(first.Release()) << "a release beyond the maximum is refused";
  EXPECT_TRUE(first.TryAcquire());
  EXPECT_FALSE(second.TryAcquire());
  EXPECT_TRUE(second.Release());  // no owner: any holder of the name gives it back
  EXPECT_TRUE(second.TryAcquire());
  EXPECT_TRUE(first.Release());
  NamedSemaphore::Remove(name);
}

TEST(NamedSemaphore, IsVisibleToAnotherProcess) {
  std::string name = "KeloReadingsLock" + test::UniqueSuffix();
  NamedSemaphore::Remove(name);
  NamedSemaphore sem(name, 1, 1);
  ASSERT_TRUE(sem.TryAcquire());
  EXPECT_EQ(InAnotherProcess([&] { return NamedSemaphore(name, 1, 1).TryAcquire() ? 1 : 0; }), 0)
      << "it must find it taken";
  sem.Release();
  NamedSemaphore::Remove(name);
}

TEST(SingleInstanceLock, ASecondHolderIsRefusedUntilTheFirstEnds) {
  test::TempDir dir;
  std::string path = dir.File("TavKeloASM.lock");
  {
    SingleInstanceLock first(path);
    ASSERT_TRUE(first.TryAcquire());
    // Refused because another holds it, which is not a failure to take it.
    EXPECT_EQ(InAnotherProcess([&] {
                SingleInstanceLock second(path);
                return second.TryAcquire() ? 1 : second.Error() != 0 ? 2 : 0;
              }),
              0);
  }
  EXPECT_FALSE(test::FileExists(path)) << "the holder removes the file as it ends";
  SingleInstanceLock again(path);
  EXPECT_TRUE(again.TryAcquire());
  SingleInstanceLock nowhere(dir.File("missing/TavKeloASM.lock"));
  EXPECT_FALSE(nowhere.TryAcquire());
  EXPECT_EQ(nowhere.Error(), ENOENT);
}

TEST(SingleInstanceLock, TheMachineFolderIsTheFirstCandidateThatTakesFiles) {
  test::TempDir dir;
  const std::string open = dir.MakeDir("open");
  const std::string other = dir.MakeDir("other");
  const std::string closed = dir.MakeDir("closed");
  ::chmod(closed.c_str(), 0555);
  const std::string missing = dir.File("missing");
  const std::string file = dir.File("file");
  test::WriteFile(file, "");
  struct Case {
    std::vector<std::string> candidates;
    std::string chosen;
  };
  std::vector<Case> cases = {
      {{open, other}, open},
      {{missing, open}, open},
      {{file, open}, open},
      {{missing, dir.File("missing2")}, dir.File("missing2")},
  };
  if (::geteuid() != 0) cases.push_back({{closed, open}, open});  // root may write anywhere
  for (const Case& c : cases) {
    EXPECT_EQ(SingleInstanceLock::MachineFolder(c.candidates), c.chosen) << c.candidates.front();
  }
  ::chmod(closed.c_str(), 0755);
  // The user's environment does not move it (the e2e test's second server with another
  // XDG_RUNTIME_DIR and TMPDIR is refused).
  const std::string path = SingleInstanceLock::DefaultPath("TavKeloASM.x");
  EXPECT_TRUE(path == "/run/lock/TavKeloASM.x.lock" || path == "/var/tmp/TavKeloASM.x.lock")
      << path;
}

}  // namespace
}  // namespace tavkelo
