/// \file
/// Reads JSON values with the place at which each stands, so that an error can name it.
#ifndef VIRTUAL_VCI_SCENARIO_JSON_READER_H_
#define VIRTUAL_VCI_SCENARIO_JSON_READER_H_

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace virtual_vci {

/// What is wrong in a scenario file: "/ecus/0/name: expected a text".
class ScenarioError : public std::runtime_error {
 public:
  ScenarioError(const std::string& place, const std::string& expected)
      : std::runtime_error((place.empty() ? "/" : place) + ": expected " + expected) {}
};

/// Largest number there is.
inline constexpr std::uint32_t kNoLimit = 0xFFFFFFFF;

/// A value and its place. Every reader throws ScenarioError.
class JsonValue {
 public:
  JsonValue(const nlohmann::json& value, std::string place)
      : value_(&value), place_(std::move(place)) {}

  const std::string& Place() const { return place_; }
  [[noreturn]] void Fail(const std::string& expected) const {
    throw ScenarioError(place_, expected);
  }

  bool IsObject() const { return value_->is_object(); }
  /// An object whose members are all among these.
  void RequireObject(std::span<const std::string_view> known) const;
  void RequireObject(std::initializer_list<std::string_view> known) const {
    RequireObject(std::span(known.begin(), known.size()));
  }
  std::optional<JsonValue> Find(std::string_view member) const;
  JsonValue Get(std::string_view member) const;
  /// The elements of an array.
  std::vector<JsonValue> Elements() const;
  /// Names and values of an object.
  std::vector<std::pair<std::string, JsonValue>> Members() const;

  std::string Text() const;
  bool Bool() const;
  /// A number, or a text in hexadecimal with 0x, in these bounds.
  std::uint32_t Number(std::uint32_t min, std::uint32_t max) const;

  // The member's value, or the default if there is no such member.
  std::string TextOr(std::string_view member, const std::string& otherwise) const;
  bool BoolOr(std::string_view member, bool otherwise) const;
  std::uint32_t NumberOr(std::string_view member, std::uint32_t otherwise, std::uint32_t min,
                         std::uint32_t max) const;

 private:
  const nlohmann::json* value_;
  std::string place_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_JSON_READER_H_
