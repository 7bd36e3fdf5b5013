// NamedSemaphore on Windows: a kernel32 semaphore that other processes on the station open by the
// same name ("KeloReadingsLock", "KeloInterfaceLock"). The name given may carry the leading "/"
// of the POSIX form; it is dropped.
#include <windows.h>

#include <string>
#include <system_error>

#include "platform/NamedSemaphore.hpp"
#include "platform/Win32Text.hpp"

namespace tavkelo {

namespace {
std::wstring KernelName(const std::string& name) {
  std::string plain = !name.empty() && name[0] == '/' ? name.substr(1) : name;
  return WideFromUtf8(plain);
}
HANDLE Sem(void* handle) {
  return static_cast<HANDLE>(handle);
}
}  // namespace

NamedSemaphore::NamedSemaphore(std::string name, unsigned initial, unsigned maximum)
    : name_(std::move(name)), maximum_(maximum) {
  // Creates it, or opens the existing one (whose counts stay as they are).
  HANDLE sem = ::CreateSemaphoreW(nullptr, static_cast<LONG>(initial), static_cast<LONG>(maximum),
                                  KernelName(name_).c_str());
  if (sem == nullptr)
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "CreateSemaphore " + name_);
  handle_ = sem;
}

NamedSemaphore::~NamedSemaphore() {
  ::CloseHandle(Sem(handle_));
}

bool NamedSemaphore::TryAcquire() {
  return ::WaitForSingleObject(Sem(handle_), 0) == WAIT_OBJECT_0;
}

void NamedSemaphore::Acquire() {
  if (::WaitForSingleObject(Sem(handle_), INFINITE) != WAIT_OBJECT_0)
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "WaitForSingleObject " + name_);
}

bool NamedSemaphore::Release() {
  // The system refuses a release beyond the maximum (ERROR_TOO_MANY_POSTS) by itself.
  return ::ReleaseSemaphore(Sem(handle_), 1, nullptr) != FALSE;
}

int NamedSemaphore::Value() const {
  // Windows does not tell a semaphore's count directly: take one count and give it back, which
  // reports the count before it was taken.
  if (::WaitForSingleObject(Sem(handle_), 0) != WAIT_OBJECT_0) return 0;
  LONG previous = 0;
  ::ReleaseSemaphore(Sem(handle_), 1, &previous);
  return static_cast<int>(previous) + 1;
}

void NamedSemaphore::Remove(const std::string&) {
  // A kernel object ends with its last handle: a process that died left nothing behind.
}

}  // namespace tavkelo
