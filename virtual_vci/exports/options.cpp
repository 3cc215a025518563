#include "virtual_vci/exports/options.h"

#include <cstdlib>
#include <map>

#include "virtual_vci/exports/recorder.h"

namespace virtual_vci {

namespace {

using Pairs = std::map<std::string, std::string, std::less<>>;

std::optional<Pairs> ReadPairs(std::string_view text) {
  Pairs pairs;
  while (true) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos) return pairs;
    text.remove_prefix(begin);
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals + 1 >= text.size() || text[equals + 1] != '\'')
      return std::nullopt;
    const std::size_t close = text.find('\'', equals + 2);
    if (close == std::string_view::npos) return std::nullopt;
    pairs.emplace(text.substr(0, equals), text.substr(equals + 2, close - equals - 2));
    text.remove_prefix(close + 1);
  }
}

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string Chosen(const Pairs& pairs, std::string_view key, const std::string& configured,
                   const char* variable) {
  const auto found = pairs.find(key);
  if (found != pairs.end()) return found->second;
  return configured.empty() ? Environment(variable) : configured;
}

std::string ConfiguredClock() {
  switch (Recorder::Instance().Clock()) {
    case VVCI_CLOCK_REALTIME:
      return "realtime";
    case VVCI_CLOCK_INSTANT:
      return "instant";
    default:
      return "";
  }
}

}  // namespace

std::optional<StartOptions> ReadStartOptions(std::string_view optionText) {
  const auto pairs = ReadPairs(optionText);
  if (!pairs) return std::nullopt;
  StartOptions options;
  options.scenarioFile =
      Chosen(*pairs, "Scenario", Recorder::Instance().ScenarioFile(), "VIRTUAL_VCI_SCENARIO");
  const std::string clock = Chosen(*pairs, "Clock", ConfiguredClock(), "VIRTUAL_VCI_CLOCK");
  if (clock == "realtime") {
    options.clock = ClockKind::kRealtime;
  } else if (clock == "instant") {
    options.clock = ClockKind::kInstant;
  } else if (!clock.empty()) {
    return std::nullopt;
  }
  return options;
}

}  // namespace virtual_vci
