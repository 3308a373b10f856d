#include "benchmarks/curves/curve.h"

#include "benchmarks/curves/drawing.h"
#include "benchmarks/text_table.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace marrow {

namespace {

constexpr std::size_t kSizesOfAShortRun = 2;

void writeText(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) {
    throw std::runtime_error("Cannot write " + path);
  }
}

std::string headOf(const CurveSeries& series) {
  return series.unit.empty() ? series.name : series.name + ", " + series.unit;
}

}  // namespace

void Curve::measure(const BenchOptions& options, const Measure& once) {
  if (options.isShort && _sizes.size() > kSizesOfAShortRun) {
    _sizes.resize(kSizesOfAShortRun);
  }
  _values.assign(_series.size(), std::vector<std::vector<double>>(_sizes.size()));
  const int rounds = options.isShort ? 1 : options.rounds;
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t size = 0; size < _sizes.size(); ++size) {
      const auto values = once(size);
      for (std::size_t series = 0; series < _series.size(); ++series) {
        _values[series][size].push_back(values.at(series));
      }
    }
  }
}

void Curve::present(const BenchOptions& options) const {
  printTable();
  if (options.curves.empty()) {
    return;
  }
  std::filesystem::create_directories(options.curves);
  for (const auto& figure : _text.figures) {
    writeText(options.curves + '/' + figure.file + ".svg", drawing(*this, figure));
  }
}

void Curve::printTable() const {
  std::cout << "## " << _text.heading << "\n\n";
  std::vector<std::string> head = {_text.sizeTitle};
  for (const auto& series : _series) {
    head.push_back(headOf(series));
  }
  TextTable table(std::move(head));
  for (std::size_t size = 0; size < _sizes.size(); ++size) {
    std::vector<std::string> row = {_sizes[size].label};
    for (std::size_t series = 0; series < _series.size(); ++series) {
      const Spread values = spread(series, size);
      const int digits = _series[series].digits;
      row.push_back(_series[series].unit.empty() ? numberText(values.median, digits)
                                                 : spreadText(values, digits));
    }
    table.add(std::move(row));
  }
  table.add(exponentRow("exponent, the largest two", _sizes.size() - 2));
  table.add(exponentRow("exponent, overall", 0));
  table.print(std::cout);
  std::cout << std::endl;
}

std::vector<std::string> Curve::exponentRow(const std::string& name, std::size_t from) const {
  std::vector<std::string> row = {name};
  for (std::size_t series = 0; series < _series.size(); ++series) {
    row.push_back(_series[series].unit.empty()
                      ? std::string()
                      : numberText(exponent(series, from, _sizes.size() - 1), 2));
  }
  return row;
}

Spread Curve::spread(std::size_t series, std::size_t size) const {
  return spreadOf(_values[series][size]);
}

double Curve::exponent(std::size_t series, std::size_t from, std::size_t to) const {
  return std::log(spread(series, to).median / spread(series, from).median) /
         std::log(_sizes[to].size / _sizes[from].size);
}

}  // namespace marrow
