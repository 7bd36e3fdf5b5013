#include "wizards/WizardControl.hpp"

#include "wizards/WizardForm.hpp"

namespace tavkelo {

WizardControl::WizardControl(WizardForm& owner, std::string name, WizardControlKind kind,
                             std::string caption)
    : owner_(owner) {
  state_.Name = std::move(name);
  state_.Kind = kind;
  state_.Caption = std::move(caption);
  state_.FontName = WizardForm::kFontName;
}

void WizardControl::SetCaption(const std::string& caption) {
  if (state_.Caption == caption) return;
  state_.Caption = caption;
  owner_.Touch();
}

void WizardControl::SetVisible(bool visible) {
  if (state_.Visible == visible) return;
  state_.Visible = visible;
  owner_.Touch();
}

void WizardControl::SetForeColor(int32_t color) {
  if (state_.ForeColor == color) return;
  state_.ForeColor = color;
  owner_.Touch();
}

void WizardControl::SetBackColor(int32_t color) {
  if (state_.BackColor == color) return;
  state_.BackColor = color;
  owner_.Touch();
}

const char* WizardControl::KindName(WizardControlKind kind) {
  return kind == WizardControlKind::Button ? "button" : "label";
}

}  // namespace tavkelo
