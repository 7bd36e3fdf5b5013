#pragma once
// Operator commands as text lines ("weights 3", "device on", "scale left 60", "fault motor",
// "status", ...), carried out on a simulated controller's operator surface. kelo-sim reads them
// from its standard input; tests and demos can feed them directly.

#include <string>
#include <string_view>

namespace tavkelo {

class KeloController;

class OperatorConsole {
 public:
  struct Result {
    bool ok = true;     // false: the line was not understood (text says why)
    bool quit = false;  // "quit" or "exit"
    std::string text;   // what to show the operator (may be empty)
  };

  explicit OperatorConsole(KeloController& controller) : controller_(controller) {}
  Result Execute(std::string_view line);
  static std::string HelpText();

 private:
  std::string StatusText();
  KeloController& controller_;
};

}  // namespace tavkelo
