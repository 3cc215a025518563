// What was read of a vehicle, as text and as JSON.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_OBD_REPORT_H_
#define PASSBRIDGE_TOOLS_COMMANDS_OBD_REPORT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "frames/obd_item.h"

namespace passbridge::tool {

class ObdReport {
 public:
  void Add(const std::string& ecu, const ObdItem& item, const ObdReading& reading);
  void AddSupported(const std::map<std::string, std::set<std::uint8_t>>& supported);

  // A line each: "7E8  engine speed: 1726 rpm".
  std::string Text() const;
  std::size_t Lines() const { return lines_.size(); }
  // Whether there is anything but refusals.
  bool HasValues() const { return hasValues_; }
  // {"answers":[{"ecu":"7E8","name":"engine-speed","value":1726,"unit":"rpm"}]}; fault codes and
  // supported PIDs are arrays of texts; a refusal has "refused" instead of "value".
  std::string Json() const;

 private:
  struct Line {
    std::string text;
    std::string json;
  };
  std::vector<Line> lines_;
  bool hasValues_ = false;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_OBD_REPORT_H_
