#include "sweep/case_log.h"

#include "rehearsal/problem.h"
#include "sweep/sweep_options.h"

#include <algorithm>
#include <cstdio>

namespace marrow::sweep {
namespace {

constexpr std::size_t kTellEvery = 100;

std::string keyOf(const std::string& series, std::size_t number) {
  return series + " #" + std::to_string(number) + ' ';
}

}  // namespace

std::vector<std::size_t> chooseCases(const SweepOptions& options, std::size_t count) {
  const std::size_t last = std::min(options.to.value_or(count), count);
  std::vector<std::size_t> cases;
  if (options.sample) {
    const std::size_t wanted = std::min(*options.sample, count);
    for (std::size_t i = 0; i < wanted; ++i) {
      cases.push_back(1 + i * count / wanted);
    }
    return cases;
  }
  for (std::size_t number = options.from; number <= last; number += options.every) {
    cases.push_back(number);
  }
  return cases;
}

CaseLog::CaseLog(const std::string& path) {
  if (path.empty()) {
    return;
  }
  std::ifstream earlier(path);
  for (std::string line; std::getline(earlier, line);) {
    const std::size_t end = line.find(": passed");
    if (end != std::string::npos) {
      const std::size_t number = line.find('#');
      _done.insert(line.substr(0, line.find(' ', number) + 1));
    }
  }
  _file.open(path, std::ios::app);
  if (!_file) {
    throw rehearsal::Problem("The file " + path + " cannot be written.");
  }
}

bool CaseLog::isDone(const std::string& series, std::size_t number) const {
  return _done.contains(keyOf(series, number));
}

void CaseLog::add(const std::string& series, std::size_t number, const std::string& place,
                  const Complaints& complaints) {
  ++_cases;
  _failures += complaints.empty() ? 0 : 1;
  const std::string words = keyOf(series, number) + place + ": ";
  for (const std::string& complaint : complaints) {
    std::printf("LOST: %s%s\n", words.c_str(), complaint.c_str());
    _file << words << complaint << '\n';
  }
  if (complaints.empty()) {
    _file << words << "passed\n";
  }
  _file.flush();
  if (_cases % kTellEvery == 0) {
    std::printf("%s#%zu: %zu cases, %zu of them lost something\n", series.c_str(), number, _cases,
                _failures);
  }
  std::fflush(stdout);
}

void CaseLog::addNotTried(const std::string& series, std::size_t number) {
  ++_notTried;
  std::printf("NOT TRIED: %s\n", keyOf(series, number).c_str());
  std::fflush(stdout);
}

}  // namespace marrow::sweep
