#include "sequences/CoastdownResultsStore.hpp"

#include <string>

#include "host/clsIniProfile.hpp"
#include "link/KeloContext.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

void CoastdownResultsStore::LoadSaveCoastdownResults(bool save) {
  clsIniProfile ini(ctx_.host.profile);
  for (int w = 1; w <= 2; ++w) {
    CoastdownResult& r = ctx_.results.Coastdown[static_cast<size_t>(w)];
    const std::string p = w == 1 ? "HiWin" : "LoWin";
    if (save) {
      ini.WriteText(kSection, p + "Date", VbFormatDate(r.Date, "yyyy-MM-dd HH:mm:ss"));
      ini.WriteText(kSection, p + "Run", BoolText(r.Run));
      ini.WriteText(kSection, p + "CCDT", VbFormat(r.CCDT, "#0.00"));
      ini.WriteText(kSection, p + "ACDT", VbFormat(r.ACDT, "#0.00"));
      ini.WriteText(kSection, p + "TopSpeed", VbFormat(r.TopSpeed, "#0.00"));
      ini.WriteText(kSection, p + "BotSpeed", VbFormat(r.BotSpeed, "#0.00"));
      ini.WriteText(kSection, p + "HP", VbFormat(r.ActualHP, "#0.00"));
    } else {
      // Missing keys are written back with these defaults: a date 100 days ahead (so it never
      // passes for a recent run), not run, and zero times, speeds and power.
      r.Date = ini.GetDate(kSection, p + "Date", ctx_.loop.Now() + kMissingDateDays);
      r.Run = ini.GetBoolean(kSection, p + "Run", false);
      r.CCDT = static_cast<float>(ini.GetReal(kSection, p + "CCDT", 0.0));
      r.ACDT = static_cast<float>(ini.GetReal(kSection, p + "ACDT", 0.0));
      r.TopSpeed = static_cast<float>(ini.GetReal(kSection, p + "TopSpeed", 0.0));
      r.BotSpeed = static_cast<float>(ini.GetReal(kSection, p + "BotSpeed", 0.0));
      r.ActualHP = static_cast<float>(ini.GetReal(kSection, p + "HP", 0.0));
      // Stopwatch, CoastMs and the deltas are not stored: a load leaves them as they are.
    }
  }
}

std::pair<double, double> CoastdownResultsStore::LoadForStartup() {
  LoadSaveCoastdownResults(false);
  return {ctx_.results.Coastdown[1].Date, ctx_.results.Coastdown[2].Date};
}

}  // namespace tavkelo
