#include "platform/NamedSemaphore.hpp"

#include <fcntl.h>
#include <semaphore.h>

#include <cerrno>
#include <system_error>

namespace tavkelo {

namespace {
std::string PosixName(const std::string& name) {
  return name.empty() || name[0] != '/' ? "/" + name : name;
}
sem_t* Sem(void* handle) {
  return static_cast<sem_t*>(handle);
}
}  // namespace

NamedSemaphore::NamedSemaphore(std::string name, unsigned initial, unsigned maximum)
    : name_(std::move(name)), maximum_(maximum) {
  sem_t* sem = ::sem_open(PosixName(name_).c_str(), O_CREAT, 0600, initial);
  if (sem == SEM_FAILED)
    throw std::system_error(errno, std::generic_category(), "sem_open " + name_);
  handle_ = sem;
}

NamedSemaphore::~NamedSemaphore() {
  ::sem_close(Sem(handle_));
}

bool NamedSemaphore::TryAcquire() {
  for (;;) {
    if (::sem_trywait(Sem(handle_)) == 0) return true;
    if (errno != EINTR) return false;
  }
}

void NamedSemaphore::Acquire() {
  while (::sem_wait(Sem(handle_)) != 0) {
    if (errno != EINTR)
      throw std::system_error(errno, std::generic_category(), "sem_wait " + name_);
  }
}

bool NamedSemaphore::Release() {
  if (Value() >= static_cast<int>(maximum_)) return false;
  return ::sem_post(Sem(handle_)) == 0;
}

int NamedSemaphore::Value() const {
  int value = 0;
  ::sem_getvalue(Sem(handle_), &value);
  return value;
}

void NamedSemaphore::Remove(const std::string& name) {
  ::sem_unlink(PosixName(name).c_str());
}

}  // namespace tavkelo
