#pragma once
// The open calibration form as JSON for the dashboard, and its three buttons.

#include <string>

#include <nlohmann/json.hpp>

#include "wizards/WizardForm.hpp"

namespace tavkelo {

// A colour kept as 0x00BBGGRR, as the browser writes it: "#rrggbb".
std::string CssColor(int32_t color);
// {"name", "caption", "fontName", "visible", "shown", "changeCount", "controls": [...]}.
nlohmann::json WizardFormJson(const WizardForm::Snapshot& form);

}  // namespace tavkelo
