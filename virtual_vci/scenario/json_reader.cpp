#include "virtual_vci/scenario/json_reader.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace virtual_vci {

namespace {

std::optional<std::uint64_t> HexNumber(std::string_view text) {
  if (!text.starts_with("0x") && !text.starts_with("0X")) return std::nullopt;
  text.remove_prefix(2);
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

void JsonValue::RequireObject(std::span<const std::string_view> known) const {
  for (const auto& [name, value] : Members()) {
    if (std::find(known.begin(), known.end(), name) != known.end()) continue;
    std::string names;
    for (const std::string_view each : known)
      names += (names.empty() ? "" : ", ") + std::string(each);
    value.Fail("one of these members: " + names);
  }
}

std::optional<JsonValue> JsonValue::Find(std::string_view member) const {
  if (!value_->is_object()) Fail("an object");
  const auto found = value_->find(std::string(member));
  if (found == value_->end()) return std::nullopt;
  return JsonValue(*found, place_ + "/" + std::string(member));
}

JsonValue JsonValue::Get(std::string_view member) const {
  auto found = Find(member);
  if (!found) Fail("a member \"" + std::string(member) + "\"");
  return *std::move(found);
}

std::vector<JsonValue> JsonValue::Elements() const {
  if (!value_->is_array()) Fail("an array");
  std::vector<JsonValue> elements;
  for (const auto& element : *value_)
    elements.emplace_back(element, place_ + "/" + std::to_string(elements.size()));
  return elements;
}

std::vector<std::pair<std::string, JsonValue>> JsonValue::Members() const {
  if (!value_->is_object()) Fail("an object");
  std::vector<std::pair<std::string, JsonValue>> members;
  for (const auto& [name, value] : value_->items())
    members.emplace_back(name, JsonValue(value, place_ + "/" + name));
  return members;
}

std::string JsonValue::Text() const {
  if (!value_->is_string()) Fail("a text");
  return value_->get<std::string>();
}

bool JsonValue::Bool() const {
  if (!value_->is_boolean()) Fail("true or false");
  return value_->get<bool>();
}

std::uint32_t JsonValue::Number(std::uint32_t min, std::uint32_t max) const {
  std::optional<std::uint64_t> number;
  if (value_->is_number_unsigned()) number = value_->get<std::uint64_t>();
  if (value_->is_string()) number = HexNumber(value_->get_ref<const std::string&>());
  if (!number || *number < min || *number > max) {
    Fail("a number from " + std::to_string(min) + " to " + std::to_string(max) +
         ", or such a text as \"0x7E0\"");
  }
  return static_cast<std::uint32_t>(*number);
}

std::string JsonValue::TextOr(std::string_view member, const std::string& otherwise) const {
  const auto value = Find(member);
  return value ? value->Text() : otherwise;
}

bool JsonValue::BoolOr(std::string_view member, bool otherwise) const {
  const auto value = Find(member);
  return value ? value->Bool() : otherwise;
}

std::uint32_t JsonValue::NumberOr(std::string_view member, std::uint32_t otherwise,
                                  std::uint32_t min, std::uint32_t max) const {
  const auto value = Find(member);
  return value ? value->Number(min, max) : otherwise;
}

}  // namespace virtual_vci
