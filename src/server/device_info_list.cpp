#include "server/device_info_list.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "j2534/app_memory.h"
#include "j2534/foreign_text.h"
#include "platform/memory_probe.h"

namespace passbridge {

namespace {

constexpr std::size_t kMaxModuleName = 255;
constexpr std::size_t kMaxAdditionalInfo = 4096;
constexpr std::size_t kMaxAddress = 49;
/// A list that claims to be longer lies about its length.
constexpr UNUM32 kMaxModules = 4096;

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::optional<std::string> AddressIn(std::string_view info) {
  constexpr std::string_view kKey = "IPAddress";
  const std::size_t key = info.find(kKey);
  if (key == std::string_view::npos) return std::nullopt;
  const std::size_t begin =
      std::min(key + kKey.size() + 2, info.size());  // past the =' that follow
  const std::string_view rest = info.substr(begin);
  return std::string(rest.substr(0, std::min(rest.find('\''), kMaxAddress)));
}

}  // namespace

VciInterface* VciRecord::On(InterfaceType type) {
  const auto number = static_cast<std::uint32_t>(type);
  return number >= 1 && number <= interfaces_.size() ? &interfaces_[number - 1] : nullptr;
}

UNUM32 VciRecord::HandleOn(InterfaceType type) const {
  const VciInterface* const found = const_cast<VciRecord*>(this)->On(type);
  return found != nullptr ? found->moduleHandle : 0;
}

std::uint32_t ParseDecimal(std::string_view text) {
  const auto* it = std::find_if_not(text.begin(), text.end(), IsSpace);
  const bool negative = it != text.end() && *it == '-';
  if (it != text.end() && (*it == '-' || *it == '+')) ++it;
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t value = 0;
  for (; it != text.end() && IsDigit(*it); ++it) {
    value = std::min(value * 10 + static_cast<std::uint64_t>(*it - '0'), kMax);
  }
  const auto number = static_cast<std::uint32_t>(value);
  return negative ? ~number + 1 : number;
}

std::vector<PDU_MODULE_DATA> ReadableModules(const PDU_MODULE_ITEM& list) {
  std::vector<PDU_MODULE_DATA> modules;
  const UNUM32 count = std::min(list.NumEntries, kMaxModules);
  for (UNUM32 i = 0; i < count; ++i) {
    const auto* const entry = static_cast<const PDU_MODULE_DATA*>(
        OffsetAddress(list.pModuleData, i * sizeof(PDU_MODULE_DATA)));
    if (platform::IsReadable(entry, sizeof *entry)) modules.push_back(*entry);
  }
  return modules;
}

std::optional<std::string> ModuleName(const PDU_MODULE_DATA& module) {
  return ReadForeignText(module.pVendorModuleName, kMaxModuleName);
}

std::optional<std::string> AdditionalInfo(const PDU_MODULE_DATA& module) {
  return ReadForeignText(module.pVendorAdditionalInfo, kMaxAdditionalInfo);
}

VciRecord* RecordOf(const PDU_MODULE_DATA& module, VqxInfoList& list) {
  const std::optional<std::string> name = ModuleName(module);
  if (!name) return nullptr;
  const std::uint32_t serial = ParseDecimal(*name);
  const bool available = module.ModuleStatus == PDU_MODST_AVAIL;
  return &list.try_emplace(serial, serial, available).first->second;
}

void AddInterface(UNUM32 moduleHandle, std::string_view additionalInfo, VciRecord& record) {
  const auto* const name = std::find_if(kInterfaceNames.begin(), kInterfaceNames.end(),
                                        [&](const InterfaceName& candidate) {
    return additionalInfo.find(candidate.text) != std::string_view::npos;
  });
  if (name == kInterfaceNames.end()) return;
  VciInterface& entry = *record.On(name->type);
  entry.moduleHandle = moduleHandle;
  if (std::optional<std::string> address = AddressIn(additionalInfo)) {
    entry.address = std::move(*address);
  }
}

}  // namespace passbridge
