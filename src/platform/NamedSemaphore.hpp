#pragma once
// A counting semaphore with a name that other processes can open (POSIX named semaphores on
// Linux, kernel32 semaphores of the same name without the leading "/" on Windows). It has no owner
// thread, so one call chain can take it and a later one give it back. POSIX semaphores have no
// maximum count; Release() keeps to the maximum given at creation the way the platform's semaphores
// refuse a release beyond their maximum.

#include <memory>
#include <string>

namespace tavkelo {

class NamedSemaphore {
 public:
  // Creates the semaphore with `initial` counts, or opens it when it exists already.
  NamedSemaphore(std::string name, unsigned initial, unsigned maximum);
  ~NamedSemaphore();
  NamedSemaphore(const NamedSemaphore&) = delete;
  NamedSemaphore& operator=(const NamedSemaphore&) = delete;

  // Takes one count when one is free; never blocks.
  bool TryAcquire();
  // Takes one count, blocking the calling thread until one is free.
  void Acquire();
  // Gives one count back; false (and nothing changes) when that would pass the maximum.
  bool Release();
  int Value() const;
  const std::string& Name() const { return name_; }
  // Removes a name left behind by a process that died holding it.
  static void Remove(const std::string& name);

 private:
  std::string name_;
  unsigned maximum_;
  void* handle_;
};

}  // namespace tavkelo
