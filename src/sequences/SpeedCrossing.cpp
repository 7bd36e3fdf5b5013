#include "sequences/SpeedCrossing.hpp"

#include <cmath>

#include "link/KeloContext.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

std::optional<int32_t> SpeedCrossing::CrossingTime(float y1, float y2, int32_t x1, int32_t x2,
                                                   float speed) {
  if (x1 == x2) return 0;
  // The slope is kept in single precision; the intercept and the crossing in double.
  const float m = static_cast<float>(static_cast<double>(y1 - y2) /
                                     (static_cast<double>(x1) - static_cast<double>(x2)));
  if (m == 0.0f || !std::isfinite(m)) return std::nullopt;  // division by zero
  const double b = static_cast<double>(y1) - static_cast<double>(m) * static_cast<double>(x1);
  const double at = (static_cast<double>(speed) - b) / static_cast<double>(m);
  try {
    return VbCLng(at);
  } catch (const VbRuntimeError&) {
    return std::nullopt;  // overflow
  }
}

int32_t SpeedCrossing::Mark(KeloContext& ctx, float speed, int pass) {
  const ReadingsStore& s = ctx.store;
  const std::optional<int32_t> at = CrossingTime(s.PreviousDyneSpeed, s.DyneSpeed,
                                                 s.PreviousDyneSpeedTick, s.DyneSpeedTick, speed);
  const int32_t mark = at ? *at : s.DyneSpeedTick;
  if (ctx.log.DynTst()) {
    ctx.log.WriteLog(
        "PP-Pas:" + VbFormat(pass, "00") + "  Y1,2:" + VbFormat(s.PreviousDyneSpeed, "00.0") + "," +
        VbFormat(s.DyneSpeed, "00.0") +
        "  X1,2:" + VbFormat(static_cast<int>(s.PreviousDyneSpeedTick), "00000000") + "," +
        VbFormat(static_cast<int>(s.DyneSpeedTick), "00000000") +
        "  Tgt:" + VbFormat(speed, "00.0") + " TT:" + VbFormat(static_cast<int>(mark), "00000000"));
  }
  return mark;
}

}  // namespace tavkelo
