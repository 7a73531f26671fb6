// Runs the benchmarks of a program and sets ours beside their rivals.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace quorvin {

/// What a benchmark program was called with.
struct BenchArguments {
  std::vector<char*> options;      ///< the program's name and what begins with "-"
  std::vector<std::string> files;  ///< the rest

  BenchArguments(int argc, char** argv);
};

/// Two benchmarks of the same work.
struct Comparison {
  std::string work;            ///< what both do
  std::string rival;           ///< what the rival is
  std::optional<double> goal;  ///< the highest ratio that is wanted; none: only reported
};

/// Prints a row of the table for what was found in some other way than by its time, in that unit.
void printFound(const Comparison& comparison, double ours, double rivals, const char* unit);

/// Collects benchmarks in pairs. One thread.
class Report {
 public:
  /// Both callables run a whole benchmark: `for (auto _ : state) …`.
  void compare(Comparison comparison, std::function<void(benchmark::State&)> ours,
               std::function<void(benchmark::State&)> rivals);

  /// Of work that cannot be done again and again: both are done so often, in turn and at once, and
  /// return how many seconds it took.
  void measure(Comparison comparison, const std::function<double()>& ours,
               const std::function<double()>& rivals, int times = 5);

  /// Runs all, repetitions of ours and the rivals' in random order, and prints for each pair the
  /// medians and their ratio, as a row of a table. If QUORVIN_BENCH_ROWS names a file, the rows are
  /// also added to that, with tabs between what they hold. Takes the options of every benchmark
  /// program. The program's status.
  int run(int argc, char** argv) const;
  int run(BenchArguments& arguments) const {
    return run(static_cast<int>(arguments.options.size()), arguments.options.data());
  }

 private:
  std::vector<Comparison> comparisons_;
  std::map<std::string, std::vector<double>> measured_;  // by name, seconds
};

}  // namespace quorvin
