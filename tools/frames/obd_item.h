// What can be asked of a vehicle by OBD (SAE J1979), and what the answers say.
#ifndef PASSBRIDGE_TOOLS_FRAMES_OBD_ITEM_H_
#define PASSBRIDGE_TOOLS_FRAMES_OBD_ITEM_H_

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace passbridge::tool {

enum class ObdKind { Number, Status, Text, Faults };

struct ObdItem {
  const char* name;   // as the user writes it
  const char* title;  // as the tool prints it
  ObdKind kind;
  std::uint8_t service;
  std::uint8_t parameter;  // PID or information type; none with Faults
  // Of numbers: value = raw * scale + offset, raw most significant byte first.
  std::uint8_t size = 0;  // bytes
  double scale = 0;
  double offset = 0;
  const char* unit = "";
  int decimals = 0;

  // Live data changes: it is what a view shows.
  bool IsLive() const { return kind == ObdKind::Number || kind == ObdKind::Status; }
};

std::span<const ObdItem> ObdItems();
// Null if there is none of that name.
const ObdItem* FindObdItem(std::string_view name);

std::vector<std::uint8_t> ObdRequest(const ObdItem& item);

struct ObdReading {
  bool refused = false;                  // then the text has the ECU's reason
  std::string text = {};                 // of a number without its unit
  std::vector<std::string> faults = {};  // of Faults, instead of the text
};

// The reading in an answer (from the service on) to a request for `item`; nothing if it answers
// something else, or says that the answer is still to come. Fault codes are as on CAN: a count
// comes before them.
std::optional<ObdReading> DecodeObdAnswer(std::span<const std::uint8_t> answer,
                                          const ObdItem& item);

// "P0301" of 03 01: the two highest bits choose among P, C, B and U.
std::string FormatFaultCode(std::uint8_t high, std::uint8_t low);

// A request for the PIDs `first` + 1 to `first` + 32 (`first`: 0x00, 0x20, ...), and the PIDs that
// an answer names; nothing if it is no answer to it.
std::vector<std::uint8_t> SupportedPidsRequest(std::uint8_t first);
std::optional<std::set<std::uint8_t>> DecodeSupportedPids(std::span<const std::uint8_t> answer,
                                                          std::uint8_t first);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_OBD_ITEM_H_
