// A curve as a picture: SVG, legible on light and on dark pages, a few KB of text.
#pragma once

#include "benchmarks/curves/curve.h"

#include <string>

namespace marrow {

// The series of the figure's unit on two logarithmic axes: medians with a bar from quartile to
// quartile, their exponents of growth, and what growth in proportion would look like.
std::string drawing(const Curve& curve, const CurveFigure& figure);

}  // namespace marrow
