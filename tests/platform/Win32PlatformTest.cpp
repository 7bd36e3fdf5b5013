// The Win32 kernel objects behind NamedSemaphore and SingleInstanceLock (Windows build only).
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "platform/NamedSemaphore.hpp"
#include "platform/SingleInstanceLock.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

TEST(Win32NamedSemaphore, IsAKernelSemaphoreOfTheDocumentedNameThatKeepsToItsMaximum) {
  const std::string name = "KeloInterfaceLock" + test::UniqueSuffix();
  NamedSemaphore first("/" + name, 1, 1);  // the POSIX form's "/" is dropped
  // Another program on the station opens it by the plain name.
  std::wstring wide(name.begin(), name.end());
  HANDLE other = ::OpenSemaphoreW(SEMAPHORE_ALL_ACCESS, FALSE, wide.c_str());
  ASSERT_NE(other, nullptr);
  EXPECT_FALSE(first.Release()) << "a release beyond the maximum is refused";
  EXPECT_EQ(first.Value(), 1);
  EXPECT_EQ(::WaitForSingleObject(other, 0), WAIT_OBJECT_0);
  EXPECT_FALSE(first.TryAcquire()) << "the other holder took it";
  EXPECT_EQ(first.Value(), 0);
  EXPECT_TRUE(::ReleaseSemaphore(other, 1, nullptr));
  EXPECT_TRUE(first.TryAcquire());
  EXPECT_TRUE(first.Release());
  ::CloseHandle(other);
}

TEST(Win32SingleInstanceLock, ANamedMutexRefusesASecondHolderUntilTheFirstEnds) {
  test::TempDir dir;
  for (const std::string& path :
       {SingleInstanceLock::DefaultPath("TavKeloASM" + test::UniqueSuffix()),
        dir.File("TavKeloASM.lock")}) {
    {
      SingleInstanceLock first(path);
      ASSERT_TRUE(first.TryAcquire()) << path;
      SingleInstanceLock second(path);
      EXPECT_FALSE(second.TryAcquire()) << path;
      EXPECT_EQ(second.Error(), 0) << "held by another is not a failure: " << path;
    }
    SingleInstanceLock later(path);
    EXPECT_TRUE(later.TryAcquire()) << "free once its holder ended: " << path;
  }
}

}  // namespace
}  // namespace tavkelo
