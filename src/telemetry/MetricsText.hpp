#pragma once
// The Prometheus text exposition format (version 0.0.4): metric families with their HELP and TYPE
// lines, samples with labels, and histograms with cumulative buckets. A histogram may be observed
// from any thread.

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavkelo {

using MetricLabels = std::vector<std::pair<std::string, std::string>>;

class MetricsText {
 public:
  enum class Type { Counter, Gauge, Histogram };

  // Starts a family: its HELP and TYPE lines. Its samples follow.
  void Family(std::string_view name, std::string_view help, Type type);
  void Sample(std::string_view name, double value, const MetricLabels& labels = {});
  const std::string& Text() const { return text_; }

 private:
  std::string text_;
};

// The value as the format writes it: shortest round-trip decimal, "+Inf", "-Inf", "NaN".
std::string MetricNumber(double value);

class Histogram {
 public:
  // Upper bounds of the buckets, ascending; "+Inf" is added.
  explicit Histogram(std::vector<double> bounds);
  void Observe(double value);
  // The family's samples (the family line is the caller's): _bucket with "le", _sum and _count.
  void Write(MetricsText& out, std::string_view name, const MetricLabels& labels = {}) const;

 private:
  const std::vector<double> bounds_;
  mutable std::mutex mutex_;
  std::vector<uint64_t> counts_;  // per bucket, not cumulative; the last is above every bound
  double sum_ = 0.0;
  uint64_t count_ = 0;
};

}  // namespace tavkelo
