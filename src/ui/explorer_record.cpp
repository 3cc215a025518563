#include "ui/explorer_record.h"

#include <array>
#include <string_view>

#include "server/selection_settings.h"
#include "ui/interface_texts.h"

namespace passbridge {

namespace {

/// The number after WifiSigQuality='; nothing without digits there.
std::optional<std::uint32_t> WifiQualityIn(std::string_view info) {
  constexpr std::string_view kKey = "WifiSigQuality='";
  const std::size_t key = info.find(kKey);
  if (key == std::string_view::npos) return std::nullopt;
  const std::string_view value = info.substr(key + kKey.size());
  const std::size_t first = value.find_first_not_of(' ');
  const bool isNumber =
      first != std::string_view::npos && value[first] >= '0' && value[first] <= '9';
  return isNumber ? std::optional(ParseDecimal(value)) : std::nullopt;
}

NotReadyReason ReasonOf(UNUM32 info) {
  const auto reason = static_cast<NotReadyReason>(info);
  const bool isKnown =
      reason == NotReadyReason::OldPcSoftware || reason == NotReadyReason::OldFirmware;
  return isKnown ? reason : NotReadyReason::Other;
}

/// Extra information of a module that is not ready; 0 if the D-PDU library does not tell.
UNUM32 AskWhyNotReady(UNUM32 moduleHandle) {
  T_PDU_STATUS status = 0;
  UNUM32 timestamp = 0;
  UNUM32 extraInfo = 0;
  const T_PDU_ERROR result = pdu::Api().PDUGetStatus(
      moduleHandle, PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, &status, &timestamp, &extraInfo);
  return result == PDU_STATUS_NOERROR ? extraInfo : 0;
}

std::optional<ModuleEntry> ReadEntry(const PDU_MODULE_DATA& module) {
  std::optional<std::string> name = ModuleName(module);
  if (!name) return std::nullopt;
  std::optional<std::string> info = AdditionalInfo(module);
  if (!info) return std::nullopt;
  const bool isNotReady = module.ModuleStatus == PDU_MODST_NOT_READY;
  return ModuleEntry{module.hMod, std::move(*name), std::move(*info),
                     module.ModuleStatus == PDU_MODST_AVAIL,
                     isNotReady ? AskWhyNotReady(module.hMod) : 0};
}

void AddLine(std::string& label, TextId line, const ExplorerTexts& texts) {
  label += texts[TextId::LineBreak] + texts[line];
}

}  // namespace

std::optional<std::vector<ModuleEntry>> AskForModules() {
  pdu::Item<PDU_MODULE_ITEM> list;
  const T_PDU_ERROR result = list.Checked(pdu::Api().PDUGetModuleIds(list.Out()));
  if (result != PDU_STATUS_NOERROR) return std::nullopt;
  return ReadModules(std::move(list));
}

std::vector<ModuleEntry> ReadModules(pdu::Item<PDU_MODULE_ITEM> list) {
  std::vector<ModuleEntry> entries;
  if (!list) return entries;
  for (const PDU_MODULE_DATA& module : ReadableModules(*list.get())) {
    if (std::optional<ModuleEntry> entry = ReadEntry(module)) entries.push_back(std::move(*entry));
  }
  return entries;
}

ExplorerRecords MakeRecords(const std::vector<ModuleEntry>& modules,
                            const DefaultDeviceSettings& defaultDevice,
                            const PreferredDevicesSettings& preferredDevices) {
  ExplorerRecords records;
  for (const ModuleEntry& module : modules) {
    const std::uint32_t serial = ParseDecimal(module.name);
    const ExplorerRecord fresh{
        VciRecord(serial, module.available), serial == defaultDevice.SerialNumber(),
        preferredDevices.Contains(serial), ReasonOf(module.notReadyInfo), std::nullopt};
    ExplorerRecord& record = records.try_emplace(serial, fresh).first->second;
    AddInterface(module.handle, module.info, record.vci);
    if (const auto quality = WifiQualityIn(module.info)) record.wifiQuality = quality;
  }
  return records;
}

Overlay OverlayOf(const ExplorerRecord& record) {
  constexpr std::array kByQuality{Overlay::WifiQuality0, Overlay::WifiQuality1,
                                  Overlay::WifiQuality2, Overlay::WifiQuality3,
                                  Overlay::WifiQuality4};
  if (!record.vci.available) return Overlay::NotAvailable;
  const bool hasPicture = record.wifiQuality && *record.wifiQuality < kByQuality.size();
  return hasPicture ? kByQuality[*record.wifiQuality] : Overlay::None;
}

std::string LabelOf(const ExplorerRecord& record, const ExplorerTexts& texts) {
  std::string label = texts[TextId::Unknown];
  if (record.vci.serialNumber != 0) {
    label = texts[TextId::SerialNumber] + " " + std::to_string(record.vci.serialNumber);
  }
  if (record.reason == NotReadyReason::OldPcSoftware) AddLine(label, TextId::UpdatePc, texts);
  if (record.reason == NotReadyReason::OldFirmware) AddLine(label, TextId::UpdateVci, texts);
  if (record.isDefault) AddLine(label, TextId::DefaultDevice, texts);
  if (record.isPreferred) AddLine(label, TextId::PreferredDevice, texts);
  return label;
}

std::string ToolTipOf(const ExplorerRecord& record, const ExplorerTexts& texts) {
  std::string names;
  for (const InterfaceText& each : kInterfaceTexts) {
    if (record.vci.HandleOn(each.type) == 0) continue;
    names += (names.empty() ? "" : texts[TextId::Separator]) + texts[each.name];
  }
  std::string tip = names.empty() ? texts[TextId::NoInterfaces] : texts[TextId::Interfaces] + names;
  if (record.isDefault) tip += texts[TextId::Separator] + texts[TextId::DefaultDevice];
  return tip;
}

}  // namespace passbridge
