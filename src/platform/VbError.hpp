#pragma once
// Run-time errors in the classic Basic sense: a number, a source and a description. Procedures
// that report through the diagnostic log catch these and name the number and the description.

#include <stdexcept>
#include <string>

namespace tavkelo {

class VbRuntimeError : public std::runtime_error {
 public:
  VbRuntimeError(int number, std::string source, std::string description)
      : std::runtime_error(description),
        number_(number),
        source_(std::move(source)),
        description_(std::move(description)) {}
  int Number() const { return number_; }
  const std::string& Source() const { return source_; }
  const std::string& Description() const { return description_; }

 private:
  int number_;
  std::string source_;
  std::string description_;
};

// The platform's standard error numbers used here.
inline constexpr int kVbErrOverflow = 6;
inline constexpr int kVbErrSubscriptOutOfRange = 9;
inline constexpr int kVbErrDivisionByZero = 11;
inline constexpr int kVbErrTypeMismatch = 13;

inline VbRuntimeError VbOverflow() {
  return VbRuntimeError(kVbErrOverflow, "TavKeloASM", "Overflow");
}
inline VbRuntimeError VbRuntimeErrorTypeMismatch() {
  return VbRuntimeError(kVbErrTypeMismatch, "TavKeloASM", "Type mismatch");
}
inline VbRuntimeError VbDivisionByZero() {
  return VbRuntimeError(kVbErrDivisionByZero, "TavKeloASM", "Division by zero");
}

}  // namespace tavkelo
