#include "benchmarks/links/roudi.h"

#include <iceoryx_hoofs/log/logmanager.hpp>
#include <iceoryx_posh/runtime/posh_runtime.hpp>

#include "benchmarks/support/stage.h"

namespace bench {
namespace {

constexpr const char* kConfigFile = "/tmp/roudi.toml";
// Room for what is under way to 20 receivers and for what they hold.
constexpr const char* kConfig =
    "[general]\nversion = 1\n[[segment]]\n[[segment.mempool]]\nsize = 512\ncount = 2000\n"
    "[[segment.mempool]]\nsize = 8192\ncount = 500\n";

}  // namespace

void startRouDi(int processor) {
  writeFile(kConfigFile, kConfig);
  startDaemon(processor,
              {"iox-roudi", "--monitoring-mode", "off", "--log-level", "error", "--config-file", kConfigFile});
}

void enterIceoryx(const std::string& name) {
  iox::log::LogManager::GetLogManager().SetDefaultLogLevel(iox::log::LogLevel::kError,
                                                           iox::log::LogLevelOutput::kHideLogLevel);
  iox::runtime::PoshRuntime::initRuntime(iox::RuntimeName_t(iox::cxx::TruncateToCapacity, name));
}

}  // namespace bench
