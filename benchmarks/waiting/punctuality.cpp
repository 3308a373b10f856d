#include "benchmarks/waiting/punctuality.h"

#include "benchmarks/spread.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace marrow {

namespace {

constexpr double kSame = 0.5;  // seconds
constexpr double kMilliseconds = 1000;

// In seconds, from the first one.
std::vector<double> ticksAmong(const std::vector<std::chrono::steady_clock::time_point>& moments) {
  std::vector<double> ticks;
  for (const auto& moment : moments) {
    const double time = std::chrono::duration<double>(moment - moments.front()).count();
    if (ticks.empty() || time - ticks.back() > kSame) {
      ticks.push_back(time);
    }
  }
  return ticks;
}

double driftOf(const std::vector<double>& delays) {
  const auto quarter = static_cast<std::ptrdiff_t>((delays.size() + 3) / 4);
  const std::vector<double> first(delays.begin(), delays.begin() + quarter);
  const std::vector<double> last(delays.end() - quarter, delays.end());
  return spreadOf(last).median - spreadOf(first).median;
}

}  // namespace

Punctuality punctualityOf(const std::vector<std::chrono::steady_clock::time_point>& moments) {
  const std::vector<double> ticks = ticksAmong(moments);
  if (ticks.size() < 2) {
    throw std::runtime_error("What was to happen each second did not.");
  }
  std::vector<double> delays;
  for (const double tick : ticks) {
    delays.push_back((tick - std::round(tick)) * kMilliseconds);
  }
  const auto [least, most] = std::minmax_element(delays.begin(), delays.end());
  const auto seconds = static_cast<std::uint64_t>(std::round(ticks.back()));
  return {ticks.size(), seconds + 1 - ticks.size(), *most - *least, driftOf(delays)};
}

}  // namespace marrow
