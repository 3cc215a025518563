#include "server/device_selection.h"

#include <array>
#include <cstdio>
#include <string>
#include <utility>

#include "j2534/settings.h"
#include "platform/process_info.h"
#include "platform/registry.h"
#include "server/server.h"
#include "server/vci_name.h"

namespace passbridge {

namespace {

using platform::RegistryKey;
using platform::RegistryRoot;
namespace last_used = settings::last_used;

/// The strategies' numbers in the connection order; others are passed over. Strategy 5, by name,
/// has no name to go by when the strategies run.
enum class Strategy : std::uint32_t {
  OnlyUsb = 1,
  DefaultDevice = 2,
  AskUser = 3,
  AskUserAlways = 4,
};

VciChoice ChooseIfOffered(const VciRecord& record, InterfaceType type) {
  const UNUM32 handle = record.HandleOn(type);
  return handle != 0 ? VciChoice{handle, record.serialNumber, type} : VciChoice{};
}

const VciRecord* Find(const VqxInfoList& list, std::uint32_t serialNumber) {
  const auto found = list.find(serialNumber);
  return found != list.end() ? &found->second : nullptr;
}

VciChoice ChooseByToken(const VqxInfoList& list, const VciNameToken& token) {
  if (!token.serialNumber) return {};
  const VciRecord* const record = Find(list, *token.serialNumber);
  if (record == nullptr || !record->available) return {};
  for (const InterfaceType type : token.interfaces) {
    if (const VciChoice choice = ChooseIfOffered(*record, type); choice.IsMade()) return choice;
  }
  return {};
}

/// The record of this process. Its creation time tells it from a later one with the same number.
struct LastUsedKey {
  std::string path;
  std::uint32_t lowDateTime;
  std::uint32_t highDateTime;
};

std::optional<LastUsedKey> OwnLastUsedKey() {
  const platform::ProcessId process = platform::CurrentProcessId();
  const std::optional<std::uint64_t> created = platform::ProcessCreationTime(process);
  if (!created) return std::nullopt;
  return LastUsedKey{settings::PathOf(last_used::kKeyStem) + std::to_string(process),
                     static_cast<std::uint32_t>(*created),
                     static_cast<std::uint32_t>(*created >> 32U)};
}

void WriteLastUsed(std::uint32_t serialNumber, InterfaceType type) {
  const std::optional<LastUsedKey> own = OwnLastUsedKey();
  if (!own) return;
  std::optional<RegistryKey> key =
      RegistryKey::Create(RegistryRoot::User, own->path, platform::RegistryLife::Volatile);
  if (!key) return;
  key->WriteDword(last_used::kLowDateTime, own->lowDateTime);
  key->WriteDword(last_used::kHighDateTime, own->highDateTime);
  key->WriteDword(last_used::kSerialNumber, serialNumber);
  key->WriteDword(last_used::kInterfaceType, static_cast<std::uint32_t>(type));
}

}  // namespace

void DeviceSelection::Load() {
  const platform::MutexLock lock(lock_);
  defaultDevice_.Load();
  connectionOrder_.Load();
  interfaceOrder_.Load();
}

void DeviceSelection::SetDialog(Dialog dialog) {
  const platform::MutexLock lock(lock_);
  dialog_ = std::move(dialog);
}

void DeviceSelection::AllowDialog(bool allowed) {
  const platform::MutexLock lock(lock_);
  for (std::size_t i = 0; i < connectionOrder_.Count(); ++i) {
    if (connectionOrder_.Number(i) == static_cast<std::uint32_t>(Strategy::AskUser)) {
      connectionOrder_.SetEnabled(i, allowed ? 1 : 0);
    }
  }
}

VqxInfoList DeviceSelection::ListVcis() {
  VqxInfoList list;
  if (server_.PopulateDeviceInfoList(&list)) list.clear();
  return list;
}

OrderList DeviceSelection::ConnectionOrder() const {
  const platform::MutexLock lock(lock_);
  return connectionOrder_;
}

VciChoice DeviceSelection::FindVciByName(std::string_view name) {
  const VqxInfoList list = ListVcis();
  if (list.empty()) return {};
  for (const VciNameToken& token : ParseVciName(name)) {
    const VciChoice choice = token.asksUser ? AskUserForVci() : ChooseByToken(list, token);
    if (choice.IsMade() || choice.IsCancelled()) return choice;
  }
  return {};
}

VciChoice DeviceSelection::FindLastUsedVci() {
  const std::optional<LastUsedKey> own = OwnLastUsedKey();
  if (!own) return {};
  const std::optional<RegistryKey> key =
      RegistryKey::Open(RegistryRoot::User, own->path, platform::RegistryAccess::Read);
  if (!key || key->ReadDword(last_used::kLowDateTime).value_or(0) != own->lowDateTime ||
      key->ReadDword(last_used::kHighDateTime).value_or(0) != own->highDateTime) {
    return {};
  }
  const auto serialNumber = key->ReadDword(last_used::kSerialNumber).value_or(0);
  const auto type =
      static_cast<InterfaceType>(key->ReadDword(last_used::kInterfaceType).value_or(0));
  const VqxInfoList list = ListVcis();
  const VciRecord* const record = Find(list, serialNumber);
  return record != nullptr ? ChooseIfOffered(*record, type) : VciChoice{};
}

void DeviceSelection::StoreLastUsedVci(std::uint32_t serialNumber, InterfaceType type) {
  try {
    WriteLastUsed(serialNumber, type);
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; the open that it follows is good
  }
}

VciChoice DeviceSelection::FindVciByStrategies() {
  const OrderList order = ConnectionOrder();
  for (std::size_t i = 0; i < order.Count(); ++i) {
    if (order.Enabled(i) != 1) continue;
    const VciChoice choice = RunStrategy(order.Number(i));
    if (choice.IsMade() || choice.IsCancelled()) return choice;
  }
  return {};
}

VciChoice DeviceSelection::RunStrategy(std::uint32_t number) {
  switch (static_cast<Strategy>(number)) {
    case Strategy::OnlyUsb:
      return FindOnlyUsbVci();
    case Strategy::DefaultDevice:
      return FindDefaultDeviceVci();
    case Strategy::AskUser:
      return AskUserForVci();
    case Strategy::AskUserAlways:
      return AskUserForVciAlways();
    default:
      return {};
  }
}

VciChoice DeviceSelection::FindOnlyUsbVci() {
  VciChoice only;
  for (const auto& [serialNumber, record] : ListVcis()) {
    const VciChoice choice = ChooseIfOffered(record, InterfaceType::Usb);
    if (!record.available || !choice.IsMade()) continue;
    if (only.IsMade()) return {};
    only = choice;
  }
  return only;
}

VciChoice DeviceSelection::FindDefaultDeviceVci() {
  const VqxInfoList list = ListVcis();
  const platform::MutexLock lock(lock_);
  defaultDevice_.Load();  // the user may have set another meanwhile
  const VciRecord* const record = Find(list, defaultDevice_.SerialNumber());
  if (record == nullptr) return {};
  for (std::size_t i = 0; i < interfaceOrder_.Count(); ++i) {
    if (interfaceOrder_.Enabled(i) != 1) continue;
    const auto type = static_cast<InterfaceType>(interfaceOrder_.Number(i));
    if (const VciChoice choice = ChooseIfOffered(*record, type); choice.IsMade()) return choice;
  }
  return {};
}

VciChoice DeviceSelection::AskUserForVci() {
  const OrderList order = ConnectionOrder();
  for (std::size_t i = 0; i < order.Count(); ++i) {
    const bool asksUser = order.Number(i) == static_cast<std::uint32_t>(Strategy::AskUser);
    if (!asksUser || order.Enabled(i) != 1) continue;
    {
      const platform::MutexLock lock(lock_);
      defaultDevice_.Load();
    }
    return ShowDialog();
  }
  return {};
}

VciChoice DeviceSelection::AskUserForVciAlways() {
  const VciChoice choice = ShowDialog();
  return choice.IsCancelled() ? VciChoice{} : choice;  // a cancel lets the walk go on
}

VciChoice DeviceSelection::ShowDialog() {
  Dialog dialog;
  {
    const platform::MutexLock lock(lock_);
    dialog = dialog_;
  }
  return dialog ? dialog() : VciChoice{};
}

}  // namespace passbridge
