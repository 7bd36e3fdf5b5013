#pragma once
// The calibration schedule: for the coastdown, the parasitic loss and the two calibrations, the
// last passing run in the history, the interval, the date it falls due and its state (ok, due
// within 24 hours, overdue, never run). A failed coastdown makes the parasitic-loss check due at
// the moment it failed. With the lock-out on, the target-controlled tests are refused while the
// coastdown is overdue (or was never run); warm-up, parasitics, coastdown and the calibrations
// stay allowed, so the station can recover by itself.

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "history/HistoryStore.hpp"

namespace tavkelo {

class KeloContext;
struct ProfileEnvironment;

// Section "Schedule" of the INI file.
struct ScheduleConfig {
  double coastdownDays = 7.0;
  double parasiticsDays = 30.0;
  double loadCellDays = 180.0;
  double weightScalesDays = 180.0;
  double coastdownTolerancePercent = 7.0;
  bool lockOutWhenOverdue = false;

  static constexpr const char* kSection = "Schedule";
  // Reads the section; missing keys are written back with their defaults.
  static ScheduleConfig Load(const ProfileEnvironment& profile);
};

struct ScheduleItem {
  std::string kind;  // coastdown, parasitics, load_cell, weight_scales
  double intervalDays = 0.0;
  std::optional<double> lastPass;  // unix seconds
  std::optional<double> due;       // unix seconds
  std::string state;               // ok, due, overdue, never_run
  std::string note;                // why it is due early
};

class CalibrationSchedule {
 public:
  CalibrationSchedule(HistoryStore& store, ScheduleConfig config)
      : store_(store), config_(config) {}

  const ScheduleConfig& Config() const { return config_; }
  void SetConfig(const ScheduleConfig& config) { config_ = config; }

  // Runs written so far are counted (the store is flushed first).
  std::vector<ScheduleItem> Items(double nowUnix);
  nlohmann::json Json(double nowUnix);
  // What the station's state shows: by kind its state, last pass and due date (UTC), and the
  // note; nothing that changes with every second, so that it changes only when a state does.
  nlohmann::json StateJson(double nowUnix);
  // Why a target-controlled test may not start now ("" when it may).
  std::string LockOutReason(double nowUnix);
  // Answers the context's start refusal from the loop's clock; the destructor does not remove it,
  // so the schedule must outlive the context's use (Uninstall removes it).
  void Install(KeloContext& ctx);
  static void Uninstall(KeloContext& ctx);

  static constexpr double kDueWindowSeconds = 24.0 * 3600.0;

 private:
  HistoryStore& store_;
  ScheduleConfig config_;
};

}  // namespace tavkelo
