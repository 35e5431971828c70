// What the benchmark programs share: times of one piece of work, medians, and the line that bench/run collects.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace varnel::bench {

/// Ends the program: a benchmark of something that does not work is worth nothing.
inline void Require(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

/// Nanoseconds of one of `count` that `work` does in one call.
template <typename Work>
double NanosecondsOfOne(std::size_t count, const Work& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - begin;
  return elapsed.count() / static_cast<double>(count);
}

inline double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Medians of two costs that were measured in turns, and of their ratio turn by turn: a change of the machine's speed
/// meets both.
struct Turns {
  double ours = 0;
  double floor = 0;
  double ratio = 0;  // ours to the floor
};

template <typename Ours, typename Floor>
Turns TakeTurns(int count, const Ours& measure_ours, const Floor& measure_floor) {
  std::vector<double> ours;
  std::vector<double> floor;
  std::vector<double> ratio;
  for (int turn = 0; turn < count; ++turn) {
    ours.push_back(measure_ours());
    floor.push_back(measure_floor());
    ratio.push_back(ours.back() / floor.back());
  }
  return {Median(ours), Median(floor), Median(ratio)};
}

inline void PrintFigure(const char* name, const std::string& value, const char* promise, const char* meaning) {
  std::printf("ratio|%s|%s|%s|%s\n", name, value.c_str(), promise, meaning);
  std::fflush(stdout);
}

}  // namespace varnel::bench
