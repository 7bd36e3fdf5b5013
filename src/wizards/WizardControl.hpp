#pragma once
// One control of a wizard form: a button or a label with its caption, visibility, colours and
// font face. Every change that really changes something is counted by the form that owns the
// control, so a viewer can tell cheaply whether the form needs drawing again.

#include <cstdint>
#include <string>

namespace tavkelo {

class WizardForm;

// Colours as the forms keep them: red, green and blue packed as 0x00BBGGRR.
namespace wizcolor {
inline constexpr int32_t Black = 0x00000000;
inline constexpr int32_t Red = 255;
inline constexpr int32_t Green = 65280;
inline constexpr int32_t Blue = 16711680;
// The classic button face (212, 208, 200), the background of every control at design time.
inline constexpr int32_t ButtonFace = 0x00C8D0D4;
}  // namespace wizcolor

enum class WizardControlKind { Button, Label };

// A plain copy of a control's state, for whoever draws the form elsewhere.
struct WizardControlState {
  std::string Name;
  WizardControlKind Kind = WizardControlKind::Label;
  std::string Caption;
  bool Visible = true;
  int32_t ForeColor = wizcolor::Black;
  int32_t BackColor = wizcolor::ButtonFace;
  std::string FontName;

  bool operator==(const WizardControlState&) const = default;
};

class WizardControl {
 public:
  WizardControl(WizardForm& owner, std::string name, WizardControlKind kind, std::string caption);
  WizardControl(const WizardControl&) = delete;
  WizardControl& operator=(const WizardControl&) = delete;

  const std::string& Name() const { return state_.Name; }
  WizardControlKind Kind() const { return state_.Kind; }
  const std::string& Caption() const { return state_.Caption; }
  bool Visible() const { return state_.Visible; }
  int32_t ForeColor() const { return state_.ForeColor; }
  int32_t BackColor() const { return state_.BackColor; }
  const std::string& FontName() const { return state_.FontName; }
  const WizardControlState& State() const { return state_; }

  void SetCaption(const std::string& caption);
  void SetVisible(bool visible);
  void SetForeColor(int32_t color);
  void SetBackColor(int32_t color);

  static const char* KindName(WizardControlKind kind);

 private:
  WizardForm& owner_;
  WizardControlState state_;
};

}  // namespace tavkelo
