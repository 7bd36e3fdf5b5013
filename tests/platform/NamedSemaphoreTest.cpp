#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include "platform/NamedSemaphore.hpp"
#include "platform/SingleInstanceLock.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

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
  pid_t child = ::fork();
  if (child == 0) {
    NamedSemaphore other(name, 1, 1);
    ::_exit(other.TryAcquire() ? 1 : 0);  // must find it taken
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  sem.Release();
  NamedSemaphore::Remove(name);
}

TEST(SingleInstanceLock, ASecondHolderIsRefusedUntilTheFirstEnds) {
  test::TempDir dir;
  std::string path = dir.File("TavKeloASM.lock");
  {
    SingleInstanceLock first(path);
    ASSERT_TRUE(first.TryAcquire());
    pid_t child = ::fork();
    if (child == 0) {
      SingleInstanceLock second(path);
      ::_exit(second.TryAcquire() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
  }
  SingleInstanceLock again(path);
  EXPECT_TRUE(again.TryAcquire());
}

}  // namespace
}  // namespace tavkelo
