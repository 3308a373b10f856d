// How what something takes grows with the size of what it is done to: measured, printed as a table
// with the exponents of growth, and drawn.
#pragma once

#include "benchmarks/comparison.h"
#include "benchmarks/spread.h"

#include <functional>
#include <string>
#include <vector>

namespace marrow {

struct CurveSize {
  double size;
  std::string label;  // of its row and its tick
};

struct CurveSeries {
  std::string name;
  std::string unit;  // "ms"; empty for a number of times, which is printed but neither drawn nor
                     // given an exponent
  int digits = 2;    // behind the point, in the table
};

// The series of one unit together.
struct CurveFigure {
  std::string file;  // without ".svg"
  std::string title;
  std::string unit;
  std::string valueTitle;  // of the vertical axis: "time, ms"
};

struct CurveText {
  std::string heading;
  std::string sizeTitle;  // of the first column and of the horizontal axis
  std::vector<CurveFigure> figures;
};

class Curve {
 public:
  // One value for each series, of the size at this place among the sizes.
  using Measure = std::function<std::vector<double>(std::size_t at)>;

  Curve(CurveText text, std::vector<CurveSize> sizes, std::vector<CurveSeries> series)
      : _text(std::move(text)), _sizes(std::move(sizes)), _series(std::move(series)) {}

  // In each round all sizes take turns. A short run has one round of the two smallest sizes.
  void measure(const BenchOptions& options, const Measure& once);

  // Prints the table, and writes the figures where the options name a folder for them. Throws
  // std::runtime_error where one cannot be written.
  void present(const BenchOptions& options) const;

  const CurveText& text() const { return _text; }
  const std::vector<CurveSize>& sizes() const { return _sizes; }
  const std::vector<CurveSeries>& series() const { return _series; }
  Spread spread(std::size_t series, std::size_t size) const;

  // The power of the size that the medians grow with between two sizes: 1 is in proportion.
  double exponent(std::size_t series, std::size_t from, std::size_t to) const;

 private:
  void printTable() const;
  std::vector<std::string> exponentRow(const std::string& name, std::size_t from) const;

  CurveText _text;
  std::vector<CurveSize> _sizes;
  std::vector<CurveSeries> _series;
  std::vector<std::vector<std::vector<double>>> _values;  // by series, size and round
};

}  // namespace marrow
