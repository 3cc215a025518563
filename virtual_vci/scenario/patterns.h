/// \file
/// The small language in which a scenario writes bytes: requests to match, responses and messages
/// to build, and the values in them that move.
#ifndef VIRTUAL_VCI_SCENARIO_PATTERNS_H_
#define VIRTUAL_VCI_SCENARIO_PATTERNS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_vci/base/time.h"

namespace virtual_vci {

using Bytes = std::vector<std::uint8_t>;

/// A value that an ECU measures.
struct Signal {
  enum class Kind { kConstant, kCounter, kSweep };
  std::string name;
  Kind kind = Kind::kConstant;
  std::uint8_t bytes = 1;  ///< 1 to 4, most significant first
  std::uint32_t min = 0;   ///< the constant; where counter and sweep start
  std::uint32_t max = 0;
  Micros period =
      1000000;  ///< counter: from one number to the next; sweep: from min to max and back

  std::uint32_t At(Micros now) const;
};

/// Bytes to match: "22 F1 90", "??" for any byte, "*" at the end for any further ones.
class Pattern {
 public:
  /// None if the text doesn't follow the rules.
  static std::optional<Pattern> Parse(std::string_view text);
  bool Matches(std::span<const std::uint8_t> bytes) const;

 private:
  std::vector<std::optional<std::uint8_t>> bytes_;
  bool open_ = false;
};

/// Bytes to build: "41 0C {rpm}" with the signal's bytes; "[1]" repeats that byte of the request,
/// counted from 0.
class Template {
 public:
  /// None if the text doesn't follow the rules or names a signal that isn't in `signals`.
  static std::optional<Template> Parse(std::string_view text, const std::vector<Signal>& signals);
  Bytes Build(const std::vector<Signal>& signals, Micros now,
              std::span<const std::uint8_t> request) const;

 private:
  struct Part {
    enum class Kind { kByte, kSignal, kRequest } kind;
    std::size_t value;
  };
  std::vector<Part> parts_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_PATTERNS_H_
