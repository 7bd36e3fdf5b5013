#include "history/CalibrationSchedule.hpp"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "history/HistoryRecorder.hpp"
#include "host/clsIniProfile.hpp"
#include "link/KeloContext.hpp"

namespace tavkelo {

namespace {

std::string UtcText(double unix) {
  const auto seconds = static_cast<time_t>(unix);
  struct tm t {};
  gmtime_r(&seconds, &t);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", t.tm_year + 1900, t.tm_mon + 1,
                t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
  return text;
}

// An item's state, last pass and due date (UTC), and why it is due early.
nlohmann::json ItemJson(const ScheduleItem& item) {
  auto utc = [](const std::optional<double>& unix) {
    return unix ? nlohmann::json(UtcText(*unix)) : nlohmann::json(nullptr);
  };
  nlohmann::json j = {
      {"state", item.state}, {"lastPass", utc(item.lastPass)}, {"due", utc(item.due)}};
  if (!item.note.empty()) j["note"] = item.note;
  return j;
}

}  // namespace

ScheduleConfig ScheduleConfig::Load(const ProfileEnvironment& profile) {
  clsIniProfile ini(profile);
  ScheduleConfig c;
  auto days = [&](const char* key, double fallback) {
    const double v = ini.GetReal(kSection, key, fallback);
    return v > 0.0 ? v : fallback;
  };
  c.coastdownDays = days("CoastdownDays", c.coastdownDays);
  c.parasiticsDays = days("ParasiticsDays", c.parasiticsDays);
  c.loadCellDays = days("LoadCellDays", c.loadCellDays);
  c.weightScalesDays = days("WeightScalesDays", c.weightScalesDays);
  c.coastdownTolerancePercent = days("CoastdownTolerancePercent", c.coastdownTolerancePercent);
  c.lockOutWhenOverdue = ini.GetBoolean(kSection, "LockOutWhenOverdue", false);
  return c;
}

std::vector<ScheduleItem> CalibrationSchedule::Items(double now) {
  store_.Flush();
  const std::pair<const char*, double> kinds[] = {{"coastdown", config_.coastdownDays},
                                                  {"parasitics", config_.parasiticsDays},
                                                  {"load_cell", config_.loadCellDays},
                                                  {"weight_scales", config_.weightScalesDays}};
  std::vector<ScheduleItem> items;
  for (const auto& [kind, days] : kinds) {
    ScheduleItem item;
    item.kind = kind;
    item.intervalDays = days;
    item.lastPass = store_.LastPass(kind);
    if (item.lastPass) item.due = *item.lastPass + days * 86400.0;
    if (item.kind == "parasitics") {
      // A coastdown that failed after the last passing parasitics check calls for one now.
      const std::optional<double> failed = store_.LastFailure("coastdown");
      const std::optional<double> passed = store_.LastPass("coastdown");
      if (failed && (!passed || *failed > *passed) &&
          (!item.lastPass || *failed > *item.lastPass)) {
        item.due = item.due ? std::min(*item.due, *failed) : *failed;
        item.note = "a coastdown failed at " + UtcText(*failed);
      }
    }
    if (!item.due) {
      item.state = "never_run";
    } else if (now > *item.due) {
      item.state = "overdue";
    } else if (now >= *item.due - kDueWindowSeconds) {
      item.state = "due";
    } else {
      item.state = "ok";
    }
    items.push_back(std::move(item));
  }
  return items;
}

nlohmann::json CalibrationSchedule::Json(double now) {
  nlohmann::json items = nlohmann::json::array();
  bool overdue = false;
  for (const ScheduleItem& item : Items(now)) {
    nlohmann::json j = ItemJson(item);
    j["kind"] = item.kind;
    j["intervalDays"] = item.intervalDays;
    if (item.due) j["secondsToDue"] = *item.due - now;
    overdue = overdue || item.state == "overdue" || item.state == "never_run";
    items.push_back(std::move(j));
  }
  return {{"now", UtcText(now)},
          {"items", items},
          {"attention", overdue},
          {"lockOutWhenOverdue", config_.lockOutWhenOverdue},
          {"coastdownTolerancePercent", config_.coastdownTolerancePercent}};
}

nlohmann::json CalibrationSchedule::StateJson(double now) {
  nlohmann::json kinds = nlohmann::json::object();
  for (const ScheduleItem& item : Items(now)) kinds[item.kind] = ItemJson(item);
  return kinds;
}

std::string CalibrationSchedule::LockOutReason(double now) {
  if (!config_.lockOutWhenOverdue) return "";
  for (const ScheduleItem& item : Items(now)) {
    if (item.kind != "coastdown") continue;
    if (item.state == "never_run")
      return "the coastdown check was never run (LockOutWhenOverdue=True in [Schedule])";
    if (item.state == "overdue")
      return "the coastdown check is overdue since " + UtcText(*item.due) +
             " (LockOutWhenOverdue=True in [Schedule])";
  }
  return "";
}

void CalibrationSchedule::Install(KeloContext& ctx) {
  ctx.startRefusal = [this, &ctx](int16_t) {
    return LockOutReason(LocalOleToUnix(ctx.loop.Now()));
  };
}

void CalibrationSchedule::Uninstall(KeloContext& ctx) {
  ctx.startRefusal = nullptr;
}

}  // namespace tavkelo
