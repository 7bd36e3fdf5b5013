#pragma once
// The dashboard's console: its own clsKeloInterface object for connecting, starting and stopping
// tests and moving the lifts (POST /api/console/{action}).

#include <memory>

#include <httplib.h>

#include "automation/clsKeloInterface.hpp"
#include "server/ApiRequest.hpp"

namespace tavkelo {

class ConsoleRoutes {
 public:
  // Creates the console's object (loop thread); it exists before any client's, so that its
  // creation disturbs nobody.
  explicit ConsoleRoutes(RouteContext& context);

  void AddRoutes(httplib::Server& http);
  clsKeloInterface& Object() { return *console_; }
  // Releases the object (loop thread, top level).
  void Release() { console_.reset(); }

 private:
  RouteContext& context_;
  std::unique_ptr<clsKeloInterface> console_;
};

}  // namespace tavkelo
