// Without arguments, or with those of Google Benchmark, times every case.
//
//   --list          the names of all cases at the sizes of the report
//   --check         does every case at a small size: contenders must tell the same result
//   --once NAME     does one case once and prints what it took, and what came of it, as JSON
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>
#include <valgrind/callgrind.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <map>
#include <string>
#include <string_view>

#include "bench/cases.h"

namespace qvx::bench {
namespace {

constexpr std::string_view kPeak = "VmHWM:";
constexpr std::string_view kResident = "VmRSS:";

std::vector<size_t> SizesOf(const Case& one) {
  return one.sizes.empty() ? std::vector<size_t>{0} : one.sizes;
}

void ListCases() {
  for (const Case& one : AllCases()) {
    for (const size_t size : SizesOf(one)) {
      std::puts(one.Name(size).c_str());
    }
  }
}

std::string ResultOf(const Case& one, size_t size) {
  const Prepared prepared = one.prepare(size);
  DoMeasuredWork(prepared);
  return prepared.result();
}

int CheckResults() {
  std::map<std::string, std::string> results;
  int status = EXIT_SUCCESS;
  for (const Case& one : AllCases()) {
    const std::string result = ResultOf(one, one.small_size);
    if (result.empty()) {
      continue;
    }
    const auto [place, is_first] = results.try_emplace(one.subject + '/' + one.input, result);
    if (place->second != result) {
      std::fprintf(stderr, "%s\n  wanted: %s\n  found:  %s\n", one.Name(one.small_size).c_str(),
                   place->second.c_str(), result.c_str());
      status = EXIT_FAILURE;
    }
  }
  return status;
}

// Kilobytes, from the process's own status.
long StatusOf(std::string_view field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field)) {
      return std::strtol(line.c_str() + field.size(), nullptr, 10);
    }
  }
  return 0;
}

long PageFaults() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt + usage.ru_majflt;
}

// What the preparation used and returned goes back to the system, and the peak starts anew.
void ForgetPeak() {
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5";
}

int DoOnce(std::string_view name) {
  const std::vector<Case> cases = AllCases();
  const auto [chosen, size] = FindCase(cases, name);
  if (chosen == nullptr) {
    std::fprintf(stderr, "no such case: %s\n", std::string(name).c_str());
    return EXIT_FAILURE;
  }
  const Prepared prepared = chosen->prepare(size);
  ForgetPeak();
  const long resident = StatusOf(kResident);
  const long faults = PageFaults();
  CALLGRIND_START_INSTRUMENTATION;
  DoMeasuredWork(prepared);
  CALLGRIND_STOP_INSTRUMENTATION;
  const long faults_taken = PageFaults() - faults;
  const long peak = StatusOf(kPeak) - resident;
  std::printf(R"({"peak": %ld, "faults": %ld, "result": "%s"})"
              "\n",
              peak * 1024, faults_taken, prepared.result().c_str());
  return EXIT_SUCCESS;
}

void Time(benchmark::State& state, const Case& one, size_t size) {
  using Clock = std::chrono::steady_clock;
  for (auto iteration : state) {
    static_cast<void>(iteration);
    const Prepared prepared = one.prepare(size);
    const Clock::time_point start = Clock::now();
    DoMeasuredWork(prepared);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
}

int TimeCases(int argument_count, char* arguments[]) {
  for (const Case& one : AllCases()) {
    for (const size_t size : SizesOf(one)) {
      benchmark::RegisterBenchmark(one.Name(size).c_str(), Time, one, size)
          ->UseManualTime()
          ->Unit(benchmark::kMicrosecond);
    }
  }
  benchmark::Initialize(&argument_count, arguments);
  if (benchmark::ReportUnrecognizedArguments(argument_count, arguments)) {
    return EXIT_FAILURE;
  }
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
}

int Run(int argument_count, char* arguments[]) {
  const std::string_view option = argument_count > 1 ? arguments[1] : "";
  if (option == "--list") {
    ListCases();
    return EXIT_SUCCESS;
  }
  if (option == "--check") {
    return CheckResults();
  }
  if (option == "--once" && argument_count == 3) {
    return DoOnce(arguments[2]);
  }
  return TimeCases(argument_count, arguments);
}

}  // namespace
}  // namespace qvx::bench

int main(int argument_count, char* arguments[]) {
  try {
    return qvx::bench::Run(argument_count, arguments);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench: %s\n", failure.what());
    return EXIT_FAILURE;
  }
}
