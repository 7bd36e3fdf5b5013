#pragma once
// What the simulator tool takes from its process: the request to stop (SIGINT or SIGTERM; on
// Windows Ctrl+C, Ctrl+Break or the console closing), turned into a stop of the loop between
// handlers, and the operator's command lines from standard input.

#include <memory>

namespace tavkelo {

class EventLoop;
class OperatorConsole;

class SimProcessIo {
 public:
  explicit SimProcessIo(EventLoop& loop);
  ~SimProcessIo();
  SimProcessIo(const SimProcessIo&) = delete;
  SimProcessIo& operator=(const SimProcessIo&) = delete;

  // Runs each line of standard input on the console and prints its answer. At the end of input
  // the tool quits when the input was a terminal or a pipe (the operator or the program driving
  // it is gone); after a file or the null device it keeps serving.
  void ReadCommands(OperatorConsole& console);
  static bool InputIsTerminal();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tavkelo
