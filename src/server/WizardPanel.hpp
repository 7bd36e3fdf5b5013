#pragma once
// The open calibration form for the dashboard: GET /api/wizard, the form as JSON, and
// POST /api/wizard/{continue,abort,help}, its three buttons.

#include <string>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "server/ApiRequest.hpp"
#include "wizards/WizardForm.hpp"
#include "wizards/WizardForms.hpp"

namespace tavkelo {

void AddWizardRoutes(httplib::Server& http, RouteContext& context);

// A colour kept as 0x00BBGGRR, as the browser writes it: "#rrggbb".
std::string CssColor(int32_t color);
// {"name", "caption", "fontName", "visible", "shown", "changeCount", "controls": [...]}.
nlohmann::json WizardFormJson(const WizardForm::Snapshot& form);
// {"open", "revision"}: whether a form is open, and the forms' revision (loop thread); every
// readings snapshot carries it, so the dashboard knows when to fetch the form.
nlohmann::json WizardSummaryJson(const WizardForms& forms);

}  // namespace tavkelo
