#pragma once
// A whole engine on the virtual-time loop: the process state with the test sequences and the
// calibration wizards installed, the in-process controller simulator on the line's device end,
// and interface objects that connect to it as port 1.

#include <memory>
#include <string>
#include <vector>

#include "automation/clsKeloInterface.hpp"
#include "sequences/TestSequencer.hpp"
#include "sim/KeloController.hpp"
#include "support/LinkFixture.hpp"
#include "wizards/CalibrationSequencer.hpp"

namespace tavkelo::test {

class InterfaceFixture : public LinkFixture {
 public:
  explicit InterfaceFixture(KeloSimOptions options = {}, int16_t logControl = 63);
  ~InterfaceFixture();

  // A new interface object, Init(True, 1, 9600, "N") done.
  std::unique_ptr<clsKeloInterface> NewInterface();
  // The requests the controller received since `from`, written "E001", "D", "F000=4127.00", "5".
  std::vector<std::string> RequestNames(size_t from = 0) const;
  size_t RequestCount() const { return sim.Requests().size(); }

  KeloController sim;
  TestSequencer tests;
  CalibrationSequencer calibrations;
};

}  // namespace tavkelo::test
