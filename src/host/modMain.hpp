#pragma once
// The entry routine of the server process: settles the registration switches, refuses a second
// copy of the process, builds the version text, reads the logging control and the link option,
// writes the start-up lines, reloads the stored coastdown results and puts the process-wide
// state into its idle values. It then returns, and the process goes on serving clients.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/SingleInstanceLock.hpp"

namespace tavkelo {

class HostContext;

// What the layers above the host contribute to start-up.
struct MainHooks {
  // Loads the stored coastdown results and returns the dates of the high and the low window.
  std::function<std::pair<double, double>()> loadCoastdownResults;
  // Puts the shared test and sequence state into its idle values.
  std::function<void()> enterIdleState;
};

enum class MainOutcome {
  Serving,             // start-up done; keep serving
  RegistrationSwitch,  // "/REG", "-REG", "/UNREG" or "-UNREG" stood in the command line
  AlreadyRunning,      // another instance holds the lock
  LockUnavailable,     // the lock cannot be taken: InstanceLock()->Error() says why
};

// Which registration switch the command line holds, searched anywhere in its upper-cased text:
// "" when none. The longer "/UNREG" and "-UNREG" are looked for first.
std::string FindRegistrationSwitch(const std::string& commandLine);

// "major.minor(00).revision(00)", for example 1.05.02.
std::string MakeProgramVersionText(int major, int minor, int revision);

class modMain {
 public:
  explicit modMain(HostContext& host) : host_(host) {}
  MainOutcome Main(const std::string& commandLine, const MainHooks& hooks);
  // The one-instance lock taken by Main; held for the life of the process.
  SingleInstanceLock* InstanceLock() { return lock_.get(); }

 private:
  HostContext& host_;
  std::unique_ptr<SingleInstanceLock> lock_;
};

}  // namespace tavkelo
