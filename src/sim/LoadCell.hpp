#pragma once
// The torque load cell behind the absorber, in pounds-force at the roll surface.
//
// What the cell feels is the machine's reaction force plus whatever hangs on the calibration arm
// (the calibration device with its weight tray, and up to five calibration weights). Its
// amplifier adds a bias. The controller shows (raw - zero) x gain, where zero and gain are the
// results of its zero-point and amplification calibrations; with automatic offset adjustment on,
// the zero follows the raw value so the reading settles to 0.

#include <random>

namespace tavkelo {

class LoadCell {
 public:
  struct Config {
    double biasLbf = 6.0;  // raw value with nothing on the cell
    double gain = 1.03;    // amplification before calibration (3 % high)
    double zeroLbf = 0.0;  // zero point before calibration
    double deviceLbf =
        126.0;               // calibration device with its tray (about 45 ft-lb on 8.555 in rolls)
    double weightLbf = 0.0;  // each calibration weight; 0: three make exactly CAL_WEIGHT
    double autoOffsetTimeS = 0.5;
    double noiseLbf = 0.0;  // amplitude of uniform noise on each reading
    unsigned noiseSeed = 1;
  };
  enum class OffsetMode { Normal, AutoAdjust, Off };
  static constexpr int kMaxWeights = 5;

  explicit LoadCell(const Config& config);

  void SetMachineForceLbf(double lbf) { machineLbf_ = lbf; }
  void ConnectDevice(bool connected) { deviceConnected_ = connected; }
  bool DeviceConnected() const { return deviceConnected_; }
  // Hangs n weights (0 to 5) on the arm; they hang on the tray, so only with the device connected.
  void PlaceWeights(int count);
  int Weights() const { return weights_; }

  double RawLbf() const;
  // The displayed force without noise.
  double ReadingLbf() const { return (RawLbf() - zeroLbf_) * gain_; }
  // The displayed force as one sample of the amplifier (with noise when configured).
  double SampleLbf();

  void Advance(double dtS);
  // "Calibrate Zero Point": the present raw value becomes the zero.
  void CalibrateZero() { zeroLbf_ = RawLbf(); }
  // "Calibrate Amplification": the gain that makes the present load read calForceLbf. Refused
  // (false, nothing changed) when the load is under a tenth of calForceLbf.
  bool CalibrateAmplification(double calForceLbf);
  void SetOffsetMode(OffsetMode mode) { offsetMode_ = mode; }
  OffsetMode GetOffsetMode() const { return offsetMode_; }

  double ZeroLbf() const { return zeroLbf_; }
  double Gain() const { return gain_; }

 private:
  Config config_;
  double zeroLbf_;
  double gain_;
  double machineLbf_ = 0.0;
  bool deviceConnected_ = false;
  int weights_ = 0;
  OffsetMode offsetMode_ = OffsetMode::Normal;
  std::mt19937 noise_;
};

}  // namespace tavkelo
