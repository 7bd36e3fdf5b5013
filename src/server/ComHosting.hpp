#pragma once
// COM clients on Windows: the class clsKeloInterface offered for multiple use from this process,
// its objects made on the same engine as the HTTP API's (one link, one readings store), and, when
// COM started the server (-Embedding), the orderly end after the last client has gone.

#include <functional>
#include <memory>
#include <string>

namespace tavkelo {

class EventLoop;
class KeloContext;
class ComServer;

class ComHosting {
 public:
  // `onIdle`: what ends the server once the last COM object is released; null to keep serving
  // (a server started by hand also serves HTTP clients).
  ComHosting(EventLoop& loop, KeloContext& ctx, std::string exePath, std::function<void()> onIdle);
  ~ComHosting();
  // Reads the class from the executable's type library and offers it; false with `error` set.
  bool Start(std::string& error);
  // The end of the server while clients still hold objects: COM lets go of them (their calls then
  // fail as for a server that is gone), and they are released while the engine is still there.
  void DisconnectClients();

 private:
  EventLoop& loop_;
  KeloContext& ctx_;
  std::string exePath_;
  std::function<void()> onIdle_;
  void* dispatchInfo_ = nullptr;  // the dispatch interface's ITypeInfo
  std::unique_ptr<ComServer> server_;
};

// The calling thread as a single-threaded apartment, for the object's lifetime.
class ComApartment {
 public:
  ComApartment();
  ~ComApartment();
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

 private:
  bool initialized_ = false;
};

// The server is a Windows-subsystem program, so that COM starts it without a console window. Run
// by hand from a console, it writes there: when its standard streams lead nowhere, they are
// joined to the parent's console.
void UseParentConsole();

// True when the command line says COM started the process ("-Embedding" or "/Embedding").
bool IsEmbeddingSwitch(const std::string& argument);

}  // namespace tavkelo
