#pragma once
// A whole link on the virtual-time loop: host services with every log family on, the process
// state, and an in-process line to a device end that a test drives.

#include <memory>
#include <string>
#include <vector>

#include "host/HostContext.hpp"
#include "link/KeloContext.hpp"
#include "platform/InProcessLine.hpp"
#include "runtime/VirtualTimeLoop.hpp"
#include "support/TempDir.hpp"

namespace tavkelo::test {

class LinkFixture {
 public:
  explicit LinkFixture(int16_t logControl = 63);
  ~LinkFixture();

  // Attaches the host end of the line as the port and marks the link connected.
  void ConnectLink();
  // The log written after the fixture was built, stamps and all.
  std::string LogText() const;
  bool LogContains(const std::string& text) const;
  int LogCount(const std::string& text) const;

  TempDir dir;
  VirtualTimeLoop loop;
  std::unique_ptr<HostContext> host;
  std::unique_ptr<KeloContext> ctx;
  std::unique_ptr<InProcessLine> line;

 private:
  size_t logStart_ = 0;
};

}  // namespace tavkelo::test
