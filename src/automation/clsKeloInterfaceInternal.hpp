#pragma once
// Helpers shared by the files that implement clsKeloInterface.

#include "automation/clsKeloInterface.hpp"
#include "link/KeloContext.hpp"

namespace tavkelo {

inline constexpr const char* kClassName = "clsKeloInterface";

// The error constant for a device exchange's outcome.
QRTXErrorConstants DeviceResultToError(int32_t exchangeResult);

template <class T>
T clsKeloInterface::NotImplemented(const char* name, T value) {
  LogCall(std::string(name) + "(Not Implemented)");
  return value;
}

// A locked copy: the readings lock is held only while the value is copied.
template <class T>
T clsKeloInterface::Locked(const std::function<T()>& read) {
  struct Guard {
    NamedSemaphore* lock;
    ~Guard() {
      if (lock != nullptr) lock->Release();
    }
  };
  NamedSemaphore* lock = ctx_.ReadingsLock();
  if (lock != nullptr) lock->Acquire();
  Guard guard{lock};
  return read();
}

}  // namespace tavkelo
