// A logarithmic axis of a drawing.
#pragma once

#include <string>
#include <vector>

namespace marrow {

class LogAxis {
 public:
  // From the value `least` at the place `begin` to `most` at `end`; both values above 0.
  LogAxis(double least, double most, double begin, double end);

  double at(double value) const;
  double most() const { return _most; }

  // Powers of ten, and twice and five times these where the axis is short.
  std::vector<double> ticks() const;

 private:
  double _least;
  double _most;
  double _begin;
  double _end;
};

// The next value, downwards or upwards, that is one, two or five times a power of ten.
double roundDown(double value);
double roundUp(double value);

// "0.05", "20", "1,000": as many digits as a round value needs.
std::string tickText(double value);

}  // namespace marrow
