#include "bench/report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <utility>

namespace quorvin {
namespace {

using Times = std::map<std::string, std::vector<double>>;  // by name, seconds an iteration

class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(),
                     run.error_message.c_str());
        failed_ = true;
      } else if (run.run_type == Run::RT_Iteration) {
        times_[run.run_name.function_name].push_back(run.real_accumulated_time /
                                                     static_cast<double>(run.iterations));
      }
    }
  }

  bool failed() const { return failed_; }
  const Times& times() const { return times_; }

 private:
  Times times_;
  bool failed_ = false;
};

std::optional<double> median(const Times& times, const std::string& name) {
  const auto found = times.find(name);
  if (found == times.end()) return std::nullopt;
  std::vector<double> sorted = found->second;
  std::ranges::sort(sorted);
  const std::size_t middle = sorted.size() / 2;
  return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

std::string inUnits(double seconds) {
  char text[32];
  if (seconds < 1e-3) {
    std::snprintf(text, sizeof text, "%.2f us", seconds * 1e6);
  } else {
    std::snprintf(text, sizeof text, "%.2f ms", seconds * 1e3);
  }
  return text;
}

std::string nameOfOurs(const Comparison& comparison) {
  return comparison.work + "/quorvin";
}

std::string nameOfRival(const Comparison& comparison) {
  return comparison.work + "/" + comparison.rival;
}

/// For programs: the work, the rival, both numbers, their unit, the ratio and the goal.
void addToFile(const Comparison& comparison, double ours, double rivals, const char* unit) {
  const char* path = std::getenv("QUORVIN_BENCH_ROWS");
  std::FILE* file = path == nullptr ? nullptr : std::fopen(path, "a");
  if (file == nullptr) return;
  std::fprintf(file, "%s\t%s\t%.9g\t%.9g\t%s\t%.4g\t", comparison.work.c_str(),
               comparison.rival.c_str(), ours, rivals, unit, ours / rivals);
  if (comparison.goal) std::fprintf(file, "%.4g", *comparison.goal);
  std::fputc('\n', file);
  std::fclose(file);
}

void printRow(const Comparison& comparison, const std::string& ours, const std::string& rivals,
              double ratio) {
  std::string verdict = "-";
  if (comparison.goal) {
    char text[32];
    std::snprintf(text, sizeof text, "<= %.2g %s", *comparison.goal,
                  ratio <= *comparison.goal ? "met" : "MISSED");
    verdict = text;
  }
  std::printf("%-46s %-24s %11s %11s %7.3g  %s\n", comparison.work.c_str(),
              comparison.rival.c_str(), ours.c_str(), rivals.c_str(), ratio, verdict.c_str());
}

void printTimes(const Comparison& comparison, double ours, double rivals) {
  printRow(comparison, inUnits(ours), inUnits(rivals), ours / rivals);
  addToFile(comparison, ours, rivals, "s");
}

}  // namespace

BenchArguments::BenchArguments(int argc, char** argv) {
  for (int i = 0; i < argc; ++i) {
    if (i == 0 || argv[i][0] == '-') {
      options.push_back(argv[i]);
    } else {
      files.emplace_back(argv[i]);
    }
  }
}

void printFound(const Comparison& comparison, double ours, double rivals, const char* unit) {
  const auto inUnit = [unit](double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f %s", value < 100 ? 2 : 0, value, unit);
    return std::string(text);
  };
  printRow(comparison, inUnit(ours), inUnit(rivals), ours / rivals);
  addToFile(comparison, ours, rivals, unit);
}

void Report::compare(Comparison comparison, std::function<void(benchmark::State&)> ours,
                     std::function<void(benchmark::State&)> rivals) {
  const auto add = [](const std::string& name, std::function<void(benchmark::State&)> body) {
    benchmark::RegisterBenchmark(name.c_str(), std::move(body))->UseRealTime();
  };
  add(nameOfOurs(comparison), std::move(ours));
  add(nameOfRival(comparison), std::move(rivals));
  comparisons_.push_back(std::move(comparison));
}

void Report::measure(Comparison comparison, const std::function<double()>& ours,
                     const std::function<double()>& rivals, int times) {
  for (int i = 0; i < times; ++i) {
    measured_[nameOfOurs(comparison)].push_back(ours());
    measured_[nameOfRival(comparison)].push_back(rivals());
  }
  comparisons_.push_back(std::move(comparison));
}

int Report::run(int argc, char** argv) const {
  // What the caller gives comes later, and so counts.
  std::string options[] = {"--benchmark_enable_random_interleaving=true",
                           "--benchmark_repetitions=9", "--benchmark_min_time=0.2"};
  std::vector<char*> arguments{argv[0]};
  for (std::string& option : options) arguments.push_back(option.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;

  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  std::printf("%-46s %-24s %11s %11s %7s  %s\n", "work (medians)", "rival", "quorvin", "rival",
              "ratio", "goal");
  Times times = collector.times();
  times.insert(measured_.begin(), measured_.end());
  for (const Comparison& comparison : comparisons_) {
    const auto ours = median(times, nameOfOurs(comparison));
    const auto rivals = median(times, nameOfRival(comparison));
    if (ours && rivals) printTimes(comparison, *ours, *rivals);
  }
  return collector.failed() ? 1 : 0;
}

}  // namespace quorvin
