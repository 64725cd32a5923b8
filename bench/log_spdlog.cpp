#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>

#include "bench/cases.h"

namespace qvx::bench {
namespace {

constexpr size_t kRing = 200000;
constexpr char kMessage[] = "Certificate was successfully secured via the file system protection.";

// It keeps its file open, and a second file for what came before; each record is written at once.
Prepared LogSpdlog(size_t size) {
  auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_st>(ScratchDirectory() + "/spdlog",
                                                                     kRing, 1);
  auto logger = std::make_shared<spdlog::logger>("bench", sink);
  logger->flush_on(spdlog::level::info);
  return {.work =
              [logger, size] {
                for (size_t record = 0; record < size; ++record) {
                  logger->info(kMessage);
                }
              },
          .result = [] { return std::string(); }};
}

const Addition kAdded({"log", "records", "spdlog", {1, 100, 10000}, LogSpdlog});

}  // namespace
}  // namespace qvx::bench
