#include "server/WizardPanel.hpp"

#include <cstdio>

namespace tavkelo {

std::string CssColor(int32_t color) {
  unsigned value = static_cast<unsigned>(color);
  char css[8];
  std::snprintf(css, sizeof css, "#%02x%02x%02x", value & 0xFFu, (value >> 8) & 0xFFu, (value >> 16) & 0xFFu);
  return css;
}

nlohmann::json WizardFormJson(const WizardForm::Snapshot& form) {
  nlohmann::json controls = nlohmann::json::array();
  for (const WizardControlState& c : form.Controls) {
    controls.push_back({{"name", c.Name},
                        {"kind", WizardControl::KindName(c.Kind)},
                        {"caption", c.Caption},
                        {"visible", c.Visible},
                        {"foreColor", c.ForeColor},
                        {"backColor", c.BackColor},
                        {"foreCss", CssColor(c.ForeColor)},
                        {"backCss", CssColor(c.BackColor)},
                        {"fontName", c.FontName}});
  }
  return {{"name", form.Name},         {"caption", form.Caption},  {"fontName", form.FontName},
          {"visible", form.Visible},   {"shown", form.Shown},      {"changeCount", form.ChangeCount},
          {"controls", controls}};
}

}  // namespace tavkelo
