// Without arguments, or with those of Google Benchmark, times every case at its largest size.
//
//   --list          the names of all cases at the sizes of the report
//   --check         does every case at a small size: contenders must tell the same result
//   --once NAME     does one case once and prints what it took, as JSON
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

#include "bench/cases.h"

namespace qvx::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kSmallSize = 20;

void ListCases() {
  for (const Case& one : AllCases()) {
    for (const size_t size : one.sizes.empty() ? std::vector<size_t>{0} : one.sizes) {
      std::puts(one.Name(size).c_str());
    }
  }
}

int CheckResults() {
  std::map<std::string, std::string> results;
  int status = EXIT_SUCCESS;
  for (const Case& one : AllCases()) {
    const Prepared prepared = one.prepare(kSmallSize);
    DoMeasuredWork(prepared);
    const std::string result = prepared.result();
    const std::string job = one.subject + '/' + one.input;
    if (!result.empty() && results.try_emplace(job, result).first->second != result) {
      std::fprintf(stderr, "%s\n  wanted: %s\n  found:  %s\n", one.Name(kSmallSize).c_str(),
                   results[job].c_str(), result.c_str());
      status = EXIT_FAILURE;
    }
  }
  return status;
}

// Kilobytes, from the process's own status.
long StatusOf(std::string_view field) {
  std::ifstream status("/proc/self/status");
  long kilobytes = 0;
  for (std::string word; word != field && status >> word;) {
  }
  status >> kilobytes;
  return kilobytes;
}

long PageFaults() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt + usage.ru_majflt;
}

// The size of the files that the preparation has written beside the directories of an installation.
uintmax_t ScratchBytes() {
  uintmax_t bytes = 0;
  for (const auto& file : std::filesystem::directory_iterator(ScratchDirectory())) {
    bytes += file.is_regular_file() ? file.file_size() : 0;
  }
  return bytes;
}

// Seconds.
double TimeOf(const Prepared& prepared) {
  const Clock::time_point start = Clock::now();
  DoMeasuredWork(prepared);
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// The size in the name need not be one of the report.
int DoOnce(const std::string& name) {
  const size_t dash = name.rfind('-', name.rfind('/'));
  const size_t size = dash == name.npos ? 0 : std::strtoull(name.c_str() + dash + 1, nullptr, 10);
  const auto chosen = std::find_if(AllCases().begin(), AllCases().end(),
                                   [&](const Case& one) { return one.Name(size) == name; });
  if (chosen == AllCases().end()) {
    throw std::invalid_argument("no such case: " + name);
  }
  const Prepared prepared = chosen->prepare(size);
  // What the preparation used and returned goes back to the system, and the peak starts anew.
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5";
  const long resident = StatusOf("VmRSS:");
  const long faults = PageFaults();
  CALLGRIND_START_INSTRUMENTATION;
  const double seconds = TimeOf(prepared);
  CALLGRIND_STOP_INSTRUMENTATION;
  const long faults_taken = PageFaults() - faults;
  const long peak = StatusOf("VmHWM:") - resident;
  std::printf(R"({"peak": %ld, "faults": %ld, "cold": %.9f, "input": %ju})"
              "\n",
              peak * 1024, faults_taken, seconds, ScratchBytes());
  return EXIT_SUCCESS;
}

// An iteration has its own preparation, so a repetition has but one.
void Time(benchmark::State& state, const Case& one, size_t size) {
  for (auto iteration : state) {
    static_cast<void>(iteration);
    state.SetIterationTime(TimeOf(one.prepare(size)));
  }
}

int TimeCases(int argument_count, char* arguments[]) {
  for (const Case& one : AllCases()) {
    const size_t size = one.sizes.empty() ? 0 : one.sizes.back();
    benchmark::RegisterBenchmark(one.Name(size).c_str(), Time, one, size)
        ->UseManualTime()
        ->Iterations(1);
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
