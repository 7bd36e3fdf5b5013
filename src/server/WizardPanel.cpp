#include "server/WizardPanel.hpp"

#include <cstdio>
#include <optional>

#include "server/KeloEngine.hpp"

namespace tavkelo {

std::string CssColor(int32_t color) {
  unsigned value = static_cast<unsigned>(color);
  char css[8];
  std::snprintf(css, sizeof css, "#%02x%02x%02x", value & 0xFFu, (value >> 8) & 0xFFu,
                (value >> 16) & 0xFFu);
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
  return {{"name", form.Name},       {"caption", form.Caption}, {"fontName", form.FontName},
          {"visible", form.Visible}, {"shown", form.Shown},     {"changeCount", form.ChangeCount},
          {"controls", controls}};
}

nlohmann::json WizardSummaryJson(const WizardForms& forms) {
  return {{"open", forms.OpenForm() != nullptr}, {"revision", forms.Revision()}};
}

void AddWizardRoutes(httplib::Server& http, RouteContext& context) {
  http.Get("/api/wizard", [&context](const httplib::Request&, httplib::Response& res) {
    Answer(res, [&] {
      return std::make_pair(200, context.OnLoop(CallKind::NeverWaits, [&] {
        const WizardForms& forms = context.Engine().Calibrations().Forms();
        nlohmann::json answer = WizardSummaryJson(forms);
        if (auto snapshot = forms.SnapshotOpenForm()) answer["form"] = WizardFormJson(*snapshot);
        return answer;
      }));
    });
  });

  http.Post(R"(/api/wizard/([a-zA-Z]+))", [&context](const httplib::Request& req,
                                                     httplib::Response& res) {
    Answer(res, [&] {
      const std::string name = req.matches[1];
      std::optional<WizardButton> button = WizardButtonFromName(name);
      if (!button) throw ApiError(404, "the wizard forms have no button " + name);
      if (!context.OnLoop(CallKind::NeverWaits,
                          [&] { return context.Engine().Calibrations().Forms().Press(*button); })) {
        throw ApiError(409, "no calibration form is open, or its " + name + " button is hidden");
      }
      return std::make_pair(200, nlohmann::json{{"pressed", name}});
    });
  });
}

}  // namespace tavkelo
