#include "benchmarks/curves/log_axis.h"

#include "benchmarks/spread.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace marrow {

namespace {

constexpr std::array<double, 3> kSteps = {1, 2, 5};
constexpr double kLongAxis = 1000;       // most by least: with powers of ten alone
constexpr double kExactness = 1.000001;  // of a power that was computed

double powerBelow(double value) { return std::pow(10, std::floor(std::log10(value * kExactness))); }

}  // namespace

LogAxis::LogAxis(double least, double most, double begin, double end)
    : _least(least), _most(most), _begin(begin), _end(end) {}

double LogAxis::at(double value) const {
  return _begin + (_end - _begin) * std::log(value / _least) / std::log(_most / _least);
}

std::vector<double> LogAxis::ticks() const {
  std::vector<double> values;
  const std::size_t steps = _most / _least > kLongAxis ? 1 : kSteps.size();
  for (double power = powerBelow(_least); power <= _most * kExactness; power *= 10) {
    for (std::size_t step = 0; step < steps; ++step) {
      const double value = power * kSteps[step];
      if (value * kExactness >= _least && value <= _most * kExactness) {
        values.push_back(value);
      }
    }
  }
  return values;
}

double roundDown(double value) {
  const double power = powerBelow(value);
  const double times = value / power * kExactness;
  return power * (times >= 5 ? 5 : times >= 2 ? 2 : 1);
}

double roundUp(double value) {
  const double below = roundDown(value);
  if (below * kExactness >= value) {
    return below;
  }
  const double power = powerBelow(below);
  const double times = below / power * kExactness;
  return power * (times >= 5 ? 10 : times >= 2 ? 5 : 2);
}

std::string tickText(double value) {
  const int digits = std::max(0, static_cast<int>(-std::floor(std::log10(value * kExactness))));
  std::string text = numberText(value, digits);
  if (digits == 0) {
    for (auto at = static_cast<std::ptrdiff_t>(text.size()) - 3; at > 0; at -= 3) {
      text.insert(static_cast<std::size_t>(at), 1, ',');
    }
  }
  return text;
}

}  // namespace marrow
