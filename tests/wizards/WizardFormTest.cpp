// The form models: instruction texts, the button protocol and the registry through which a viewer
// finds the open form and presses its buttons.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "host/Notices.hpp"
#include "link/SharedTestState.hpp"
#include "wizards/WizardForms.hpp"

namespace tavkelo {
namespace {

class Forms : public ::testing::Test {
 protected:
  Forms() { notices.SetEchoToStderr(false); }
  SharedTestState test;
  Notices notices;
  WizardForms forms{test, notices};
};

// Every line starts as "old<n>" so that a line left alone can be told from one cleared. (The lift
// caution and the closing prompt are judged whole on the dashboard's wizard test.)
struct SetterCase {
  const char* name;
  std::function<void(WizardForm&)> apply;
  std::array<const char*, 9> lines;
  std::optional<bool> continueVisible;  // nullopt: left as it was
};

TEST_F(Forms, EveryInstructionSetterWritesItsExactLines) {
  const char* o[] = {"", "old1", "old2", "old3", "old4", "old5", "old6", "old7", "old8", "old9"};
  const char* sel = "Select 'Continue' when";
  const char* rdy = " ready.";
  const SetterCase cases[] = {
      {"ClearInstructions",
       [](WizardForm& f) { f.ClearInstructions(); },
       {"", "", "", "", "", "", "", "", ""},
       std::nullopt},
      {"ShowContinuePrompt(true)",
       [](WizardForm& f) { f.ShowContinuePrompt(true); },
       {o[1], o[2], o[3], o[4], o[5], o[6], o[7], sel, rdy},
       true},
      {"ShowContinuePrompt(false)",
       [](WizardForm& f) { f.ShowContinuePrompt(false); },
       {o[1], o[2], o[3], o[4], o[5], o[6], o[7], "", ""},
       false},
      {"ShowConnectDevicesPrompt(true)",
       [](WizardForm& f) { f.ShowConnectDevicesPrompt(true); },
       {"Connect calibration", " devices including", " weight tray.", "", "DO NOT place weights.",
        "", "", sel, rdy},
       true},
      {"ShowRemoveAllPrompt(false)",
       [](WizardForm& f) { f.ShowRemoveAllPrompt(false); },
       {"Remove the calibration", " weights and devices.", "", "", "", "", "", "", ""},
       false},
  };
  for (const SetterCase& c : cases) {
    for (bool continueBefore : {false, true}) {
      SCOPED_TRACE(std::string(c.name) +
                   (continueBefore ? ", Continue shown before" : ", Continue hidden before"));
      forms.UnloadLoadCellForm();
      WizardForm& form = forms.LoadCellForm();
      for (int n = 1; n <= 9; ++n) form.InstLine(n).SetCaption(o[n]);
      form.cmdContinue.SetVisible(continueBefore);
      c.apply(form);
      for (int n = 1; n <= 9; ++n)
        EXPECT_EQ(form.InstLine(n).Caption(), c.lines[static_cast<size_t>(n - 1)]) << "line " << n;
      EXPECT_EQ(form.cmdContinue.Visible(), c.continueVisible.value_or(continueBefore));
      EXPECT_TRUE(form.cmdAbort.Visible());
    }
  }
}

// Only a visible button of a shown form can be pressed; the buttons set their flags (Help shows
// its message box) and change nothing on the form.
TEST_F(Forms, ButtonsSetTheirFlagsAndNothingElse) {
  EXPECT_FALSE(forms.Press(WizardButton::Continue)) << "no form";
  frmLCCal& form = forms.LoadCellForm();
  EXPECT_FALSE(forms.Press(WizardButton::Abort)) << "loaded, not shown";
  form.Show();
  EXPECT_FALSE(forms.Press(WizardButton::Continue)) << "a form opens with Continue hidden";
  form.ShowProcessing();
  EXPECT_FALSE(forms.Press(WizardButton::Continue)) << "Continue is hidden";
  const uint64_t noticesBefore = notices.LastSequence();
  EXPECT_TRUE(forms.Press(WizardButton::Help));
  EXPECT_FALSE(test.WizardContinuePressed);
  EXPECT_FALSE(test.TestAbortRequest) << "Help sets no flag";
  EXPECT_TRUE(forms.Press(WizardButton::Abort));
  EXPECT_TRUE(test.TestAbortRequest);
  form.ShowContinuePrompt(true);
  const uint64_t changes = form.ChangeCount();
  EXPECT_TRUE(forms.Press(WizardButton::Continue));
  EXPECT_TRUE(test.WizardContinuePressed);
  EXPECT_TRUE(forms.Press(WizardButton::Help));
  const auto shown = notices.Since(noticesBefore);
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_EQ(shown[0].text, "Refer to your Operator's Manual");
  EXPECT_EQ(shown[0].style, 0) << "an OK button only";
  EXPECT_EQ(form.ChangeCount(), changes) << "no button changes the form";
}

// A viewer copies the open form and redraws it when the counters move; only real changes count.
TEST_F(Forms, SnapshotAndChangeCounters) {
  frmWSCal& form = forms.WeightScaleForm();
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
  EXPECT_EQ(snap->ChangeCount, form.ChangeCount());
  ASSERT_EQ(snap->Controls.size(), form.Controls().size());
  EXPECT_EQ(snap->Controls[30], (WizardControlState{"lblLeftWSVal", WizardControlKind::Label, "57",
                                                    true, 0, 16711680, "MS Sans Serif"}));
  EXPECT_FALSE(snap->Controls[1].Visible) << "cmdAbort";
  forms.UnloadWeightScaleForm();
  EXPECT_FALSE(forms.SnapshotOpenForm().has_value());
  EXPECT_GT(forms.Revision(), revision + 3) << "closing the form is a change too";
}

TEST(WizardButtons, NamesAViewerMayUse) {
  const std::pair<const char*, std::optional<WizardButton>> cases[] = {
      {"continue", WizardButton::Continue},
      {"Abort", WizardButton::Abort},
      {"HELP", WizardButton::Help},
      {"cmdContinue", WizardButton::Continue},
      {"cmdAbort", WizardButton::Abort},
      {"cmdHelp", WizardButton::Help},
      {"", std::nullopt},
      {"ok", std::nullopt},
      {"continue ", std::nullopt},
  };
  for (const auto& [name, button] : cases)
    EXPECT_EQ(WizardButtonFromName(name), button) << "'" << name << "'";
}

}  // namespace
}  // namespace tavkelo
