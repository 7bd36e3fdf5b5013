#pragma once
// What both calibration forms share: the three buttons, the nine instruction lines with their
// frame, the nominal value with its caption, and the six step names with their status lamps. The
// form holds no logic of its own: the running calibration writes its lines and colours, and the
// buttons only set the flags that the calibration polls.
//
// There is no screen on a server: the form is a model that a viewer (the dashboard) draws from
// Snapshot() and whose buttons it presses. Everything here runs on the event loop's thread; the
// change counter alone may be read from any thread.

#include <array>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "wizards/WizardControl.hpp"

namespace tavkelo {

class Notices;
struct SharedTestState;

class WizardForm {
 public:
  static constexpr const char* kFontName = "MS Sans Serif";
  static constexpr const char* kHelpText = "Refer to your Operator's Manual";

  // What a form is at design time: its name and caption, the nominal value with its caption and
  // the six step names (step 1 first).
  struct Design {
    const char* name;
    const char* caption;
    const char* nominalValue;    // lblNVVal
    const char* nominalCaption;  // lblNV
    std::array<const char*, 6> stepNames;
  };

  // A plain copy of the whole form, in the forms' control order.
  struct Snapshot {
    std::string Name;
    std::string Caption;
    std::string FontName;
    bool Visible = false;
    bool Shown = false;
    uint64_t ChangeCount = 0;
    std::vector<WizardControlState> Controls;
  };

  virtual ~WizardForm() = default;
  WizardForm(const WizardForm&) = delete;
  WizardForm& operator=(const WizardForm&) = delete;

  const std::string& Name() const { return name_; }
  const std::string& Caption() const { return caption_; }
  const char* FontName() const { return kFontName; }
  bool Visible() const { return visible_; }
  // True once the form has been opened in front of the operator (Form_Load).
  bool Shown() const { return shown_; }
  // Counts every change of the form or of one of its controls.
  uint64_t ChangeCount() const { return changeCount_.load(); }
  const std::vector<WizardControl*>& Controls() const { return controls_; }
  // The control of that name, or nullptr.
  WizardControl* Control(const std::string& name) const;
  Snapshot TakeSnapshot() const;

  // Shows the form modeless; loading it first runs Form_Load.
  void Show();

  // ---- form events ----
  // The form comes up in front of everything else without staying pinned there. Here: it is
  // marked as opened, which is what a viewer goes by to put it in front of the operator.
  void Form_Load();
  void cmdContinue_Click();
  void cmdAbort_Click();
  void cmdHelp_Click();

  // ---- instruction setters ----
  void ClearInstructions();
  void ShowContinuePrompt(bool show);
  void ShowLiftRaiseCaution();
  void ShowLiftLowerCaution();
  void ShowProcessing();
  void ShowClearDynePrompt();
  void ShowConnectDevicesPrompt(bool ready);
  void ShowPlace3WeightsPrompt(bool ready);
  void ShowPlace5WeightsPrompt(bool ready);
  void ShowRemoveWeightsPrompt(bool ready);
  void ShowRemoveAllPrompt(bool ready);
  void ShowConnectLeftScalePrompt(bool ready);
  void ShowConnectRightScalePrompt(bool ready);
  void ShowCalibrationCompletePrompt();

  // Line n (1 to 9), step name n and step lamp n (1 to 6).
  WizardControl& InstLine(int n);
  WizardControl& StepName(int n);
  WizardControl& StepLamp(int n);

  // Called by the controls when they change.
  void Touch();

  WizardControl cmdHelp;
  WizardControl cmdAbort;
  WizardControl cmdContinue;
  WizardControl lblInstLine9, lblInstLine8, lblInstLine7, lblInstLine6, lblInstLine5, lblInstLine4,
      lblInstLine3, lblInstLine2, lblInstLine1;
  WizardControl lblInstFrame;
  WizardControl lblNVVal;
  WizardControl lblNV;
  WizardControl lblST6, lblSL6, lblST5, lblSL5, lblST4, lblSL4, lblST3, lblSL3, lblST2, lblSL2,
      lblST1, lblSL1;

 protected:
  // `revision`, when given, is counted up together with the form's own change counter.
  WizardForm(const Design& design, SharedTestState& test, Notices& notices,
             std::atomic<uint64_t>* revision);
  // Appends a form's own control to the control order.
  void AddControl(WizardControl& control) { controls_.push_back(&control); }

 private:
  void SetLines(std::initializer_list<std::pair<int, const char*>> lines);

  std::string name_;
  std::string caption_;
  SharedTestState& test_;
  Notices& notices_;
  std::atomic<uint64_t>* revision_;
  bool visible_ = false;
  bool loaded_ = false;
  bool shown_ = false;
  std::atomic<uint64_t> changeCount_{0};
  std::vector<WizardControl*> controls_;
};

}  // namespace tavkelo
