// The simulator tool's process on Windows: Ctrl+C, Ctrl+Break and the console closing stop the
// loop; operator lines come from a thread that reads standard input and hands each line to the
// loop.
#include <windows.h>

#include <iostream>
#include <mutex>
#include <string>
#include <thread>

#include "runtime/EventLoop.hpp"
#include "sim/OperatorConsole.hpp"
#include "sim/SimProcessIo.hpp"

namespace tavkelo {

namespace {

// The loop that console events and the reader thread reach; null once the tool is shutting down.
struct Reach {
  std::mutex mutex;
  EventLoop* loop = nullptr;
  void Post(EventLoop::Task task) {
    std::lock_guard<std::mutex> lock(mutex);
    if (loop != nullptr) loop->Post(std::move(task));
  }
  void PostStop() {
    std::lock_guard<std::mutex> lock(mutex);
    if (loop != nullptr) loop->Post([stopping = loop] { stopping->Stop(); });
  }
};

Reach& TheReach() {
  static Reach* reach = new Reach;  // outlives every thread that may still post
  return *reach;
}

BOOL WINAPI OnConsoleEvent(DWORD) {
  TheReach().PostStop();
  return TRUE;
}

}  // namespace

struct SimProcessIo::State {
  EventLoop& loop;
};

SimProcessIo::SimProcessIo(EventLoop& loop) : state_(std::make_unique<State>(State{loop})) {
  {
    std::lock_guard<std::mutex> lock(TheReach().mutex);
    TheReach().loop = &loop;
  }
  ::SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

SimProcessIo::~SimProcessIo() {
  ::SetConsoleCtrlHandler(OnConsoleEvent, FALSE);
  std::lock_guard<std::mutex> lock(TheReach().mutex);
  TheReach().loop = nullptr;
}

void SimProcessIo::ReadCommands(OperatorConsole& console) {
  HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
  DWORD mode = 0;
  const bool quitAtEnd = ::GetConsoleMode(input, &mode) || ::GetFileType(input) == FILE_TYPE_PIPE;
  EventLoop* loop = &state_->loop;
  // The thread may outlive the loop (it waits in a read until the process ends): it reaches the
  // loop only through TheReach, which forgets the loop when the tool shuts down.
  std::thread([&console, loop, quitAtEnd] {
    std::string line;
    while (std::getline(std::cin, line)) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      TheReach().Post([&console, loop, line] {
        OperatorConsole::Result result = console.Execute(line);
        if (!result.text.empty())
          std::cout << result.text << (result.text.back() == '\n' ? "" : "\n");
        std::cout.flush();
        if (result.quit) loop->Stop();
      });
    }
    if (quitAtEnd) TheReach().PostStop();
  }).detach();
}

bool SimProcessIo::InputIsTerminal() {
  DWORD mode = 0;
  return ::GetConsoleMode(::GetStdHandle(STD_INPUT_HANDLE), &mode);
}

}  // namespace tavkelo
