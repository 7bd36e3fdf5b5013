// The form models: design-time layout, instruction texts, the button protocol and the registry
// through which a viewer finds the open form and presses its buttons.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/Notices.hpp"
#include "link/SharedTestState.hpp"
#include "wizards/WizardForms.hpp"

namespace tavkelo {
namespace {

using Captions = std::vector<std::pair<std::string, std::string>>;

Captions CommonLayout(const char* nominalValue, const char* nominalCaption, const std::array<const char*, 6>& steps) {
  return {{"cmdHelp", "&Help"},       {"cmdAbort", "&Abort"},       {"cmdContinue", "&Continue"},
          {"lblInstLine9", "Line9"},  {"lblInstLine8", "Line8"},    {"lblInstLine7", "Line7"},
          {"lblInstLine6", "Line6"},  {"lblInstLine5", "Line5"},    {"lblInstLine4", "Line4"},
          {"lblInstLine3", "Line3"},  {"lblInstLine2", "Line2"},    {"lblInstLine1", "Line1"},
          {"lblInstFrame", ""},       {"lblNVVal", nominalValue},   {"lblNV", nominalCaption},
          {"lblST6", steps[5]},       {"lblSL6", ""},               {"lblST5", steps[4]},
          {"lblSL5", ""},             {"lblST4", steps[3]},         {"lblSL4", ""},
          {"lblST3", steps[2]},       {"lblSL3", ""},               {"lblST2", steps[1]},
          {"lblSL2", ""},             {"lblST1", steps[0]},         {"lblSL1", ""}};
}

class Forms : public ::testing::Test {
 protected:
  Forms() { notices.SetEchoToStderr(false); }
  SharedTestState test;
  Notices notices;
  WizardForms forms{test, notices};
};

TEST_F(Forms, DesignTimeLayoutOfBothForms) {
  struct Case {
    WizardForm* form;
    const char* name;
    const char* caption;
    Captions controls;
  };
  Captions lc = CommonLayout("144.6 ft-lb", "Rough/Exact calibration nominal value:",
                             {"Offset adjustment", "Compensate calibration device", "Rough calibration",
                              "Offset adjustment", "Exact calibration", "Offset adjustment"});
  lc.push_back({"lblLoadVal", "0.00 ft-lb"});
  Captions ws = CommonLayout("441 lbs", "Calibration nominal value:",
                             {"Lift up", "Compensate cal. device (Left)", "Calibrate (Left)",
                              "Compensate cal. device (Right)", "Calibrate (Right)", "Lift down"});
  ws.insert(ws.end(), {{"lbl01", "Scale Weight (lbs)"}, {"lbl02", "Left"}, {"lbl03", "Right"}});
  const Case cases[] = {
      {&forms.LoadCellForm(), "frmLCCal", "Kelo Dynamometer Load Cell Calibration", lc},
      {&forms.WeightScaleForm(), "frmWSCal", "Kelo Dynamometer Left and Right Weight Scale Calibration", ws},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.form->Name(), c.name);
    EXPECT_EQ(c.form->Caption(), c.caption);
    EXPECT_STREQ(c.form->FontName(), "MS Sans Serif");
    const auto& controls = c.form->Controls();
    ASSERT_GE(controls.size(), c.controls.size());
    for (size_t i = 0; i < c.controls.size(); ++i) {
      EXPECT_EQ(controls[i]->Name(), c.controls[i].first) << "position " << i;
      EXPECT_EQ(controls[i]->Caption(), c.controls[i].second) << c.controls[i].first;
    }
    for (const WizardControl* control : controls) {
      EXPECT_EQ(control->FontName(), "MS Sans Serif") << control->Name();
      EXPECT_TRUE(control->Visible()) << control->Name();
      const bool button = control->Name().rfind("cmd", 0) == 0;
      EXPECT_EQ(control->Kind(), button ? WizardControlKind::Button : WizardControlKind::Label) << control->Name();
    }
  }
  // The live values beyond the shared layout.
  EXPECT_EQ(forms.LoadCellForm().Controls().size(), 28u);
  ASSERT_EQ(forms.WeightScaleForm().Controls().size(), 32u);
  EXPECT_EQ(forms.WeightScaleForm().Controls()[30]->Name(), "lblLeftWSVal");
  EXPECT_EQ(forms.WeightScaleForm().Controls()[31]->Name(), "lblRightWSVal");
}

// Every line starts as "old<n>" so that a line left alone can be told from one cleared.
struct SetterCase {
  const char* name;
  std::function<void(WizardForm&)> apply;
  std::array<const char*, 9> lines;
  std::optional<bool> continueVisible;  // nullopt: left as it was
  bool abortVisible = true;
};

TEST_F(Forms, EveryInstructionSetterWritesItsExactLines) {
  const char* o[] = {"", "old1", "old2", "old3", "old4", "old5", "old6", "old7", "old8", "old9"};
  const char* sel = "Select 'Continue' when";
  const char* rdy = " ready.";
  const SetterCase cases[] = {
      {"ClearInstructions", [](WizardForm& f) { f.ClearInstructions(); }, {"", "", "", "", "", "", "", "", ""}, std::nullopt},
      {"ShowContinuePrompt(true)", [](WizardForm& f) { f.ShowContinuePrompt(true); },
       {o[1], o[2], o[3], o[4], o[5], o[6], o[7], sel, rdy}, true},
      {"ShowContinuePrompt(false)", [](WizardForm& f) { f.ShowContinuePrompt(false); },
       {o[1], o[2], o[3], o[4], o[5], o[6], o[7], "", ""}, false},
      {"ShowLiftRaiseCaution", [](WizardForm& f) { f.ShowLiftRaiseCaution(); },
       {"      *** CAUTION ***", "  Dyne lift will be raised.", o[3], o[4], o[5], o[6], o[7], sel, rdy}, true},
      {"ShowLiftLowerCaution", [](WizardForm& f) { f.ShowLiftLowerCaution(); },
       {"      *** CAUTION ***", "  Dyne lift will be lowered.", o[3], o[4], o[5], o[6], o[7], sel, rdy}, true},
      {"ShowProcessing", [](WizardForm& f) { f.ShowProcessing(); },
       {"Processing...", "", "", "", "", "", "", "", "Please wait..."}, false},
      {"ShowClearDynePrompt", [](WizardForm& f) { f.ShowClearDynePrompt(); },
       {"Clear dyne of vehicle and", " all calibration devices.", "", "", "", "", "", sel, rdy}, true},
      {"ShowConnectDevicesPrompt(true)", [](WizardForm& f) { f.ShowConnectDevicesPrompt(true); },
       {"Connect calibration", " devices including", " weight tray.", "", "DO NOT place weights.", "", "", sel, rdy}, true},
      {"ShowConnectDevicesPrompt(false)", [](WizardForm& f) { f.ShowConnectDevicesPrompt(false); },
       {"Connect calibration", " devices including", " weight tray.", "", "DO NOT place weights.", "", "", "", ""}, false},
      {"ShowPlace3WeightsPrompt(true)", [](WizardForm& f) { f.ShowPlace3WeightsPrompt(true); },
       {"Place 3 calibration", " weights on the", " calibration device.", "", "", "", "", sel, rdy}, true},
      {"ShowPlace5WeightsPrompt(false)", [](WizardForm& f) { f.ShowPlace5WeightsPrompt(false); },
       {"Place 5 calibration", " weights on the", " calibration device.", "", "", "", "", "", ""}, false},
      {"ShowRemoveWeightsPrompt(true)", [](WizardForm& f) { f.ShowRemoveWeightsPrompt(true); },
       {"Remove the calibration", " weights from the", " calibration device.", "", "", "", "", sel, rdy}, true},
      {"ShowRemoveAllPrompt(false)", [](WizardForm& f) { f.ShowRemoveAllPrompt(false); },
       {"Remove the calibration", " weights and devices.", "", "", "", "", "", "", ""}, false},
      {"ShowConnectLeftScalePrompt(true)", [](WizardForm& f) { f.ShowConnectLeftScalePrompt(true); },
       {"Connect calibration", " devices including", " weight tray to the", " left weight scale.", "",
        "DO NOT place weights.", "", sel, rdy},
       true},
      {"ShowConnectRightScalePrompt(false)", [](WizardForm& f) { f.ShowConnectRightScalePrompt(false); },
       {"Connect calibration", " devices including", " weight tray to the", " right weight scale.", "",
        "DO NOT place weights.", "", "", ""},
       false},
      {"ShowCalibrationCompletePrompt", [](WizardForm& f) { f.ShowCalibrationCompletePrompt(); },
       {"Calibration complete.", "", "Remove AC power from", "the dyne then", "restore AC power to the",
        "dyne before continuing.", "", sel, rdy},
       true, false},
  };
  for (const SetterCase& c : cases) {
    for (bool continueBefore : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (continueBefore ? ", Continue shown before" : ", Continue hidden before"));
      forms.UnloadLoadCellForm();
      WizardForm& form = forms.LoadCellForm();
      for (int n = 1; n <= 9; ++n) form.InstLine(n).SetCaption(o[n]);
      form.cmdContinue.SetVisible(continueBefore);
      c.apply(form);
      for (int n = 1; n <= 9; ++n) EXPECT_EQ(form.InstLine(n).Caption(), c.lines[static_cast<size_t>(n - 1)]) << "line " << n;
      EXPECT_EQ(form.cmdContinue.Visible(), c.continueVisible.value_or(continueBefore));
      EXPECT_EQ(form.cmdAbort.Visible(), c.abortVisible);
      EXPECT_TRUE(form.cmdHelp.Visible());
    }
  }
}

// The buttons only set flags (Help shows its message box), and only a visible button of a shown
// form can be pressed.
TEST_F(Forms, ButtonsSetTheirFlagsAndNothingElse) {
  EXPECT_FALSE(forms.Press(WizardButton::Continue)) << "no form";
  frmLCCal& form = forms.LoadCellForm();
  EXPECT_FALSE(forms.Press(WizardButton::Abort)) << "loaded, not shown";
  form.Show();
  form.ShowProcessing();
  const uint64_t changes = form.ChangeCount();
  EXPECT_FALSE(forms.Press(WizardButton::Continue)) << "Continue is hidden";
  EXPECT_FALSE(test.WizardContinuePressed);
  EXPECT_TRUE(forms.Press(WizardButton::Abort));
  EXPECT_TRUE(forms.Press(WizardButton::Abort));
  EXPECT_TRUE(test.TestAbortRequest);
  test.TestAbortRequest = false;
  form.ShowCalibrationCompletePrompt();
  EXPECT_FALSE(forms.Press(WizardButton::Abort)) << "Abort is hidden after the closing prompt";
  EXPECT_TRUE(forms.Press(WizardButton::Continue));
  EXPECT_TRUE(test.WizardContinuePressed);
  EXPECT_FALSE(test.TestAbortRequest);
  const uint64_t noticesBefore = notices.LastSequence();
  const uint64_t afterPrompt = form.ChangeCount();
  EXPECT_GT(afterPrompt, changes);
  EXPECT_TRUE(forms.Press(WizardButton::Help));
  const auto shown = notices.Since(noticesBefore);
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].text, "Refer to your Operator's Manual");
  EXPECT_EQ(shown[0].style, 0) << "an OK button only";
  EXPECT_EQ(form.ChangeCount(), afterPrompt) << "no button changes the form";
}

// A viewer copies the open form and redraws it when the counters move; only real changes count.
TEST_F(Forms, SnapshotAndChangeCounters) {
  frmWSCal& form = forms.WeightScaleForm();
  EXPECT_FALSE(form.Shown());
  form.Show();
  const uint64_t start = form.ChangeCount(), revision = forms.Revision();
  form.Show();
  form.lblLeftWSVal.SetCaption("57");
  form.lblLeftWSVal.SetBackColor(wizcolor::Blue);
  form.cmdAbort.SetVisible(false);
  form.lblLeftWSVal.SetCaption("57");
  form.lblLeftWSVal.SetBackColor(16711680);
  form.cmdAbort.SetVisible(false);
  EXPECT_EQ(form.ChangeCount(), start + 3);
  EXPECT_EQ(forms.Revision(), revision + 3);
  auto snap = forms.SnapshotOpenForm();
  ASSERT_TRUE(snap.has_value());
  EXPECT_EQ(snap->Name, "frmWSCal");
  EXPECT_TRUE(snap->Visible && snap->Shown);
  EXPECT_EQ(snap->ChangeCount, form.ChangeCount());
  ASSERT_EQ(snap->Controls.size(), form.Controls().size());
  EXPECT_EQ(snap->Controls[30], (WizardControlState{"lblLeftWSVal", WizardControlKind::Label, "57", true, 0, 16711680,
                                                    "MS Sans Serif"}));
  EXPECT_FALSE(snap->Controls[1].Visible) << "cmdAbort";
  forms.UnloadWeightScaleForm();
  EXPECT_FALSE(forms.SnapshotOpenForm().has_value());
  EXPECT_GT(forms.Revision(), revision + 3) << "closing the form is a change too";
}

TEST(WizardButtons, NamesAViewerMayUse) {
  const std::pair<const char*, std::optional<WizardButton>> cases[] = {
      {"continue", WizardButton::Continue}, {"Abort", WizardButton::Abort},   {"HELP", WizardButton::Help},
      {"cmdContinue", WizardButton::Continue}, {"cmdAbort", WizardButton::Abort}, {"cmdHelp", WizardButton::Help},
      {"", std::nullopt},                    {"ok", std::nullopt},           {"continue ", std::nullopt},
  };
  for (const auto& [name, button] : cases) EXPECT_EQ(WizardButtonFromName(name), button) << "'" << name << "'";
}

}  // namespace
}  // namespace tavkelo
