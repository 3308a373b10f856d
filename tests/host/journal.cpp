#include "tests/host/journal.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace marrow {

namespace {

std::vector<std::string> callsOf(const std::vector<Journal::Entry>& entries) {
  std::vector<std::string> calls;
  std::transform(entries.begin(), entries.end(), std::back_inserter(calls),
                 [](const Journal::Entry& entry) { return entry.call; });
  return calls;
}

}  // namespace

void Journal::add(std::string call) {
  const std::string queue = _queueSource ? _queueSource() : std::string();
  const std::lock_guard lock(_mutex);
  _entries.push_back({std::move(call), queue});
}

std::vector<std::string> Journal::calls() const { return calls(""); }

std::vector<std::string> Journal::calls(std::initializer_list<std::string_view> prefixes) const {
  std::vector<std::string> kept;
  for (const std::string& call : calls()) {
    if (std::any_of(prefixes.begin(), prefixes.end(),
                    [&](std::string_view prefix) { return call.starts_with(prefix); })) {
      kept.push_back(call);
    }
  }
  return kept;
}

std::vector<std::string> Journal::calls(std::string_view prefix) const {
  return callsOf(entries(prefix));
}

bool Journal::inOrder(std::string_view first, std::string_view second) const {
  const auto all = calls();
  const auto find = [&](std::string_view prefix) {
    return std::find_if(all.begin(), all.end(),
                        [&](const std::string& call) { return call.starts_with(prefix); });
  };
  return find(second) != all.end() && find(first) < find(second);
}

std::vector<std::string> Journal::queuesOf(std::string_view prefix) const {
  std::vector<std::string> queues;
  for (const Entry& entry : entries(prefix)) {
    queues.push_back(entry.queue);
  }
  return queues;
}

void Journal::clear() {
  const std::lock_guard lock(_mutex);
  _entries.clear();
}

void Journal::setQueueSource(std::function<std::string()> source) {
  _queueSource = std::move(source);
}

std::vector<Journal::Entry> Journal::entries(std::string_view prefix) const {
  const std::lock_guard lock(_mutex);
  std::vector<Entry> kept;
  std::copy_if(_entries.begin(), _entries.end(), std::back_inserter(kept),
               [&](const Entry& entry) { return entry.call.starts_with(prefix); });
  return kept;
}

}  // namespace marrow
