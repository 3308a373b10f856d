#include "benchmarks/spread.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace marrow {

namespace {

// Between two values, the straight line.
double quantile(const std::vector<double>& sorted, double share) {
  const double place = share * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(std::floor(place));
  const auto above = std::min(below + 1, sorted.size() - 1);
  return sorted[below] + (sorted[above] - sorted[below]) * (place - std::floor(place));
}

}  // namespace

Spread spreadOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {quantile(values, 0.25), quantile(values, 0.5), quantile(values, 0.75)};
}

std::vector<double> ratios(const std::vector<double>& values,
                           const std::vector<double>& references) {
  std::vector<double> quotients;
  for (std::size_t round = 0; round < std::min(values.size(), references.size()); ++round) {
    quotients.push_back(values[round] / references[round]);
  }
  return quotients;
}

std::string numberText(double value, int digits) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.*f", digits, value);
  return text.data();
}

std::string spreadText(const Spread& spread, int digits) {
  return numberText(spread.median, digits) + " (" + numberText(spread.low, digits) + " to " +
         numberText(spread.high, digits) + ")";
}

}  // namespace marrow
