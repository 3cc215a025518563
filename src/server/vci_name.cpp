#include "server/vci_name.h"

#include <algorithm>
#include <string>

#include "server/device_info_list.h"

namespace passbridge {

namespace {

constexpr std::size_t kMaxTokens = 15;

std::string WithoutBlanksInUpperCase(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == ' ') continue;
    result += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return result;
}

/// The pieces between separators; empty ones are none.
std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, text.find(separator));
    if (!piece.empty()) pieces.push_back(piece);
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
  }
  return pieces;
}

std::vector<InterfaceType> ParseInterfaces(std::string_view list) {
  std::vector<InterfaceType> interfaces;
  for (const std::string_view name : Split(list, ',')) {
    const auto* const found =
        std::find_if(kInterfaceNames.begin(), kInterfaceNames.end(),
                     [name](const InterfaceName& row) { return row.keyword == name; });
    if (found != kInterfaceNames.end()) interfaces.push_back(found->type);
  }
  return interfaces;
}

VciNameToken ParseToken(std::string_view text) {
  VciNameToken token;
  token.asksUser = text.find("VQXLIST") != std::string_view::npos;
  if (token.asksUser) return token;
  const std::vector<std::string_view> pieces = Split(text, '\'');
  auto piece = pieces.begin();
  if (piece != pieces.end() && *piece == "SN=") ++piece;
  if (piece == pieces.end()) return token;
  token.serialNumber = ParseDecimal(*piece++);
  if (piece != pieces.end() && *piece == "CXN=") ++piece;
  if (piece != pieces.end()) token.interfaces = ParseInterfaces(*piece);
  return token;
}

}  // namespace

std::vector<VciNameToken> ParseVciName(std::string_view name) {
  const std::string text = WithoutBlanksInUpperCase(name);
  std::vector<VciNameToken> tokens;
  for (const std::string_view token : Split(text, ';')) {
    if (tokens.size() == kMaxTokens) break;
    tokens.push_back(ParseToken(token));
  }
  return tokens;
}

}  // namespace passbridge
