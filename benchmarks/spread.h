// What several runs of the same thing took.
#pragma once

#include <string>
#include <vector>

namespace marrow {

// The median, and the quartiles around it.
struct Spread {
  double low = 0;
  double median = 0;
  double high = 0;
};

// Of at least one value.
Spread spreadOf(std::vector<double> values);

// Each value by the one of the same round: what slows a whole round down goes out of the ratio.
std::vector<double> ratios(const std::vector<double>& values,
                           const std::vector<double>& references);

// "12.3" with so many digits behind the point; a ratio as "1.05 (1.01 to 1.10)".
std::string numberText(double value, int digits);
std::string spreadText(const Spread& spread, int digits);

}  // namespace marrow
