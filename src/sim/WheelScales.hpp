#pragma once
// The left and right wheel-weight scales. Each side carries a load (a wheel, or anything put on
// it), the scale calibration device (a frame with a tray) and up to five calibration weights.
// The controller shows raw load x amplification scale / true scale, so a side reads right when
// its amplification scale equals the true scale.

#include <array>

namespace tavkelo {

enum class ScaleSide { Left, Right };

class WheelScales {
 public:
  struct Config {
    double trueScale = 1000.0;
    double deviceLb = 57.0;   // the calibration device with its tray
    double weightLb = 88.16;  // each calibration weight; five make 440.8 lb
  };
  static constexpr int kMaxWeights = 5;

  explicit WheelScales(const Config& config) : config_(config) {}

  void ConnectDevice(ScaleSide side, bool connected) { At(side).device = connected; }
  // Puts n weights (0 to 5) on the side's device tray; without the device they have nowhere to go.
  void PlaceWeights(ScaleSide side, int count);
  void SetLoadLb(ScaleSide side, double lb) { At(side).loadLb = lb; }

  bool DeviceConnected(ScaleSide side) const { return At(side).device; }
  int Weights(ScaleSide side) const { return At(side).weights; }
  double LoadLb(ScaleSide side) const { return At(side).loadLb; }
  double RawLb(ScaleSide side) const;
  double DisplayLb(ScaleSide side, double amplificationScale) const;
  double TrueScale() const { return config_.trueScale; }

 private:
  struct Side {
    double loadLb = 0.0;
    bool device = false;
    int weights = 0;
  };
  Side& At(ScaleSide side) { return sides_[side == ScaleSide::Left ? 0 : 1]; }
  const Side& At(ScaleSide side) const { return sides_[side == ScaleSide::Left ? 0 : 1]; }

  Config config_;
  std::array<Side, 2> sides_{};
};

}  // namespace tavkelo
