#include "telemetry/MetricsText.hpp"

#include <charconv>
#include <cmath>

namespace tavkelo {

namespace {

const char* TypeName(MetricsText::Type type) {
  switch (type) {
    case MetricsText::Type::Counter:
      return "counter";
    case MetricsText::Type::Gauge:
      return "gauge";
    case MetricsText::Type::Histogram:
      return "histogram";
  }
  return "untyped";
}

void AppendEscaped(std::string& out, std::string_view text, bool quote) {
  for (char c : text) {
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '"' && quote) {
      out += "\\\"";
    } else {
      out += c;
    }
  }
}

}  // namespace

std::string MetricNumber(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "+Inf" : "-Inf";
  char buffer[32];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc() ? std::string(buffer, end) : "NaN";
}

void MetricsText::Family(std::string_view name, std::string_view help, Type type) {
  text_ += "# HELP ";
  text_ += name;
  text_ += ' ';
  AppendEscaped(text_, help, false);
  text_ += "\n# TYPE ";
  text_ += name;
  text_ += ' ';
  text_ += TypeName(type);
  text_ += '\n';
}

void MetricsText::Sample(std::string_view name, double value, const MetricLabels& labels) {
  text_ += name;
  if (!labels.empty()) {
    text_ += '{';
    for (size_t i = 0; i < labels.size(); ++i) {
      if (i > 0) text_ += ',';
      text_ += labels[i].first;
      text_ += "=\"";
      AppendEscaped(text_, labels[i].second, true);
      text_ += '"';
    }
    text_ += '}';
  }
  text_ += ' ';
  text_ += MetricNumber(value);
  text_ += '\n';
}

Histogram::Histogram(std::vector<double> bounds)
    : bounds_(std::move(bounds)), counts_(bounds_.size() + 1, 0) {}

void Histogram::Observe(double value) {
  size_t bucket = 0;
  while (bucket < bounds_.size() && value > bounds_[bucket]) ++bucket;
  std::lock_guard<std::mutex> lock(mutex_);
  ++counts_[bucket];
  sum_ += value;
  ++count_;
}

void Histogram::Write(MetricsText& out, std::string_view name, const MetricLabels& labels) const {
  std::vector<uint64_t> counts;
  double sum = 0.0;
  uint64_t count = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    counts = counts_;
    sum = sum_;
    count = count_;
  }
  const std::string base(name);
  uint64_t cumulative = 0;
  for (size_t i = 0; i <= bounds_.size(); ++i) {
    cumulative += counts[i];
    MetricLabels withBound = labels;
    withBound.emplace_back("le", i < bounds_.size() ? MetricNumber(bounds_[i]) : "+Inf");
    out.Sample(base + "_bucket", static_cast<double>(cumulative), withBound);
  }
  out.Sample(base + "_sum", sum, labels);
  out.Sample(base + "_count", static_cast<double>(count), labels);
}

}  // namespace tavkelo
