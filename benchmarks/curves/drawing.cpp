#include "benchmarks/curves/drawing.h"

#include "benchmarks/curves/log_axis.h"

#include <algorithm>
#include <sstream>

namespace marrow {

namespace {

constexpr double kWidth = 720;
constexpr double kLeft = 84;
constexpr double kRight = 690;
constexpr double kTop = 58;      // of the legend
constexpr double kRow = 20;      // of the legend
constexpr double kHeight = 300;  // of the space for the curves
constexpr double kBelow = 62;    // for the horizontal axis and its title
constexpr double kInset = 18;    // of the first and the last size

// One colour for each series, of about the same lightness; the axes stay behind them.
constexpr const char* kStyle = R"(<style>
text{font:13px system-ui,sans-serif;fill:#3a3a38}.title{font-size:16px;font-weight:600;fill:#111}
.ground{fill:#fff}.grid{stroke:#deddd9}.guide{stroke:#8a8984;stroke-dasharray:3 4}
.line,.bar{fill:none;stroke-width:2}.s0{stroke:#1f6fc9}.s1{stroke:#c2540a}.s2{stroke:#1b8a5a}
.d0{fill:#1f6fc9}.d1{fill:#c2540a}.d2{fill:#1b8a5a}
@media (prefers-color-scheme:dark){text{fill:#c8c7c2}.title{fill:#fff}.ground{fill:#161615}
.grid{stroke:#363633}.s0{stroke:#6aaaf2}.s1{stroke:#f0925a}.s2{stroke:#4cc38a}
.d0{fill:#6aaaf2}.d1{fill:#f0925a}.d2{fill:#4cc38a}}
</style>
)";

std::string escaped(const std::string& text) {
  std::string result;
  for (const char letter : text) {
    result += letter == '<' ? "&lt;" : letter == '&' ? "&amp;" : std::string(1, letter);
  }
  return result;
}

std::string number(double value) { return numberText(value, 1); }

std::string line(const std::string& kind, double x1, double y1, double x2, double y2) {
  return "<line class=\"" + kind + "\" x1=\"" + number(x1) + "\" y1=\"" + number(y1) + "\" x2=\"" +
         number(x2) + "\" y2=\"" + number(y2) + "\"/>\n";
}

// `more` holds further attributes.
std::string words(const std::string& text, double x, double y, const std::string& more = {}) {
  return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\"" + (more.empty() ? "" : " ") +
         more + ">" + escaped(text) + "</text>\n";
}

std::string dot(std::size_t colour, double x, double y) {
  return "<circle class=\"d" + std::to_string(colour) + "\" cx=\"" + number(x) + "\" cy=\"" +
         number(y) + "\" r=\"4\"/>\n";
}

std::vector<std::size_t> seriesOf(const Curve& curve, const std::string& unit) {
  std::vector<std::size_t> drawn;
  for (std::size_t series = 0; series < curve.series().size(); ++series) {
    if (curve.series()[series].unit == unit) {
      drawn.push_back(series);
    }
  }
  return drawn;
}

class Drawing {
 public:
  Drawing(const Curve& curve, const CurveFigure& figure)
      : _curve(curve),
        _figure(figure),
        _drawn(seriesOf(curve, figure.unit)),
        _top(kTop + kRow * static_cast<double>(_drawn.size() + 1)),
        _sizes(curve.sizes().front().size, curve.sizes().back().size, kLeft + kInset,
               kRight - kInset),
        _values(values()) {}

  std::string text() {
    drawHead();
    drawLegend();
    drawAxes();
    for (std::size_t colour = 0; colour < _drawn.size(); ++colour) {
      drawSeries(colour);
    }
    _svg << "</svg>\n";
    return _svg.str();
  }

 private:
  LogAxis values() const {
    double least = _curve.spread(_drawn.front(), 0).low;
    double most = least;
    for (const std::size_t series : _drawn) {
      for (std::size_t size = 0; size < _curve.sizes().size(); ++size) {
        least = std::min(least, _curve.spread(series, size).low);
        most = std::max(most, _curve.spread(series, size).high);
      }
    }
    const double low = roundDown(least);
    return {low, std::max(roundUp(most), low * 10), _top + kHeight, _top};
  }

  void drawHead() {
    const std::string height = number(_top + kHeight + kBelow);
    const std::string width = number(kWidth);
    _svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\""
         << height << "\" viewBox=\"0 0 " << width << ' ' << height
         << "\" role=\"img\" aria-labelledby=\"title\">\n<title id=\"title\">"
         << escaped(_figure.title) << "</title>\n"
         << kStyle << "<clipPath id=\"space\">" << space() << "</clipPath>\n"
         << "<rect class=\"ground\" width=\"100%\" height=\"100%\"/>\n"
         << words(_figure.title, kLeft, 32, "class=\"title\"");
  }

  std::string space() const {
    return "<rect x=\"" + number(kLeft) + "\" y=\"" + number(_top) + "\" width=\"" +
           number(kRight - kLeft) + "\" height=\"" + number(kHeight) + "\"/>";
  }

  void drawLegend() {
    const std::size_t last = _curve.sizes().size() - 1;
    double row = kTop;
    for (std::size_t colour = 0; colour < _drawn.size(); ++colour, row += kRow) {
      const std::size_t series = _drawn[colour];
      _svg << line("line s" + std::to_string(colour), kLeft, row - 4, kLeft + 26, row - 4)
           << dot(colour, kLeft + 13, row - 4)
           << words(_curve.series()[series].name + ": exponent " +
                        numberText(_curve.exponent(series, 0, last), 2) + ", at the end " +
                        numberText(_curve.exponent(series, last - 1, last), 2),
                    kLeft + 34, row);
    }
    _svg << line("guide", kLeft, row - 4, kLeft + 26, row - 4)
         << words("in proportion to the size (exponent 1)", kLeft + 34, row);
  }

  void drawAxes() {
    const double bottom = _top + kHeight;
    for (const double tick : _values.ticks()) {
      const double y = _values.at(tick);
      _svg << line("grid", kLeft, y, kRight, y)
           << words(tickText(tick), kLeft - 8, y + 4, "text-anchor=\"end\"");
    }
    for (const auto& size : _curve.sizes()) {
      const double x = _sizes.at(size.size);
      _svg << line("grid", x, _top, x, bottom)
           << words(size.label, x, bottom + 20, "text-anchor=\"middle\"");
    }
    const double middle = _top + kHeight / 2;
    _svg << words(_curve.text().sizeTitle, (kLeft + kRight) / 2, bottom + 46,
                  "text-anchor=\"middle\"")
         << words(_figure.valueTitle, 22, middle,
                  "text-anchor=\"middle\" transform=\"rotate(-90 22 " + number(middle) + ")\"");
  }

  void drawSeries(std::size_t colour) {
    const std::size_t series = _drawn[colour];
    drawGuide(_curve.spread(series, _curve.sizes().size() - 1).median);
    std::string points;
    std::string marks;
    for (std::size_t at = 0; at < _curve.sizes().size(); ++at) {
      const Spread spread = _curve.spread(series, at);
      const double x = _sizes.at(_curve.sizes()[at].size);
      const double y = _values.at(spread.median);
      points += number(x) + ',' + number(y) + ' ';
      marks += line("bar s" + std::to_string(colour), x, _values.at(spread.low), x,
                    _values.at(spread.high)) +
               dot(colour, x, y);
    }
    _svg << "<polyline class=\"line s" << colour << "\" points=\"" << points << "\"/>\n" << marks;
  }

  // As the value of the largest size would have come about.
  void drawGuide(double value) {
    const double first = _curve.sizes().front().size;
    const double last = _curve.sizes().back().size;
    _svg << "<g clip-path=\"url(#space)\">"
         << line("guide", _sizes.at(first), _values.at(value * first / last), _sizes.at(last),
                 _values.at(value))
         << "</g>\n";
  }

  const Curve& _curve;
  const CurveFigure& _figure;
  const std::vector<std::size_t> _drawn;
  const double _top;  // of the space for the curves
  const LogAxis _sizes;
  const LogAxis _values;
  std::ostringstream _svg;
};

}  // namespace

std::string drawing(const Curve& curve, const CurveFigure& figure) {
  return Drawing(curve, figure).text();
}

}  // namespace marrow
