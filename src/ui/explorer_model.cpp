#include "ui/explorer_model.h"

#include <algorithm>
#include <utility>

namespace passbridge {

ExplorerModel::ExplorerModel(ExplorerTexts texts) : texts_(std::move(texts)) {
  interfaceOrder_.Load();
}

void ExplorerModel::Fill(const std::vector<ModuleEntry>& modules) {
  DefaultDeviceSettings defaultDevice;
  defaultDevice.Load();
  PreferredDevicesSettings preferredDevices;
  preferredDevices.Load();
  const ExplorerRecord* const selected = SelectedRecord();
  const bool wasSelected = selected != nullptr;
  const std::uint32_t serialNumber = wasSelected ? selected->vci.serialNumber : 0;
  records_ = MakeRecords(modules, defaultDevice, preferredDevices);
  ShowRecords();
  selected_ = wasSelected ? ItemOf(serialNumber) : std::nullopt;
}

void ExplorerModel::ShowRecords() {
  items_.clear();
  for (const auto& [serialNumber, record] : records_) {
    items_.push_back({serialNumber, LabelOf(record, texts_), OverlayOf(record)});
  }
  if (items_.empty()) items_.push_back({std::nullopt, "", Overlay::NoVci});
}

const ExplorerRecord* ExplorerModel::RecordOf(std::size_t item) const {
  if (item >= items_.size() || !items_[item].serialNumber) return nullptr;
  return &records_.at(*items_[item].serialNumber);
}

const ExplorerRecord* ExplorerModel::SelectedRecord() const {
  return selected_ ? RecordOf(*selected_) : nullptr;
}

const ExplorerRecord* ExplorerModel::SelectedAvailable() const {
  const ExplorerRecord* const record = SelectedRecord();
  return record != nullptr && record->vci.available ? record : nullptr;
}

std::optional<std::size_t> ExplorerModel::ItemOf(std::uint32_t serialNumber) const {
  const auto item = std::find_if(
      items_.begin(), items_.end(),
      [serialNumber](const ExplorerItem& each) { return each.serialNumber == serialNumber; });
  if (item == items_.end()) return std::nullopt;
  return static_cast<std::size_t>(item - items_.begin());
}

void ExplorerModel::Select(std::optional<std::size_t> item) {
  selected_ = item && *item < items_.size() ? item : std::nullopt;
}

bool ExplorerModel::CanConnect() const { return SelectedAvailable() != nullptr; }

std::string ExplorerModel::ToolTip(std::size_t item) const {
  const ExplorerRecord* const record = RecordOf(item);
  return record != nullptr ? ToolTipOf(*record, texts_) : std::string();
}

InterfaceType ExplorerModel::PreferredInterface(const ExplorerRecord& record) const {
  for (std::size_t i = 0; i < interfaceOrder_.Count(); ++i) {
    const auto type = static_cast<InterfaceType>(interfaceOrder_.Number(i));
    if (interfaceOrder_.Enabled(i) == 1 && record.vci.HandleOn(type) != 0) return type;
  }
  return InterfaceType::None;
}

std::vector<ExplorerMenuItem> ExplorerModel::Menu() const {
  const ExplorerRecord* const record = SelectedAvailable();
  if (record == nullptr) return {};
  const InterfaceType preferred = PreferredInterface(*record);
  std::vector<ExplorerMenuItem> menu{
      {Command::SetAsDefault, texts_[TextId::SetAsDefault], true, record->isDefault}};
  for (const InterfaceText& each : kInterfaceTexts) {
    menu.push_back({each.connect, texts_[each.name], record->vci.HandleOn(each.type) != 0,
                    each.type == preferred});
  }
  return menu;
}

ExplorerModel::Outcome ExplorerModel::Run(Command command) {
  if (command == Command::Cancel) {
    result_ = {};
    return Outcome::Cancelled;
  }
  if (command == Command::SetAsDefault) SetAsDefault();
  if (command == Command::Connect && ConnectByOrder()) return Outcome::Chosen;
  for (const InterfaceText& each : kInterfaceTexts) {
    if (each.connect == command && ConnectOver(each.type)) return Outcome::Chosen;
  }
  return Outcome::Stays;
}

bool ExplorerModel::ConnectByOrder() {
  const ExplorerRecord* const record = SelectedAvailable();
  return record != nullptr && ConnectOver(PreferredInterface(*record));
}

bool ExplorerModel::ConnectOver(InterfaceType type) {
  const ExplorerRecord* const record = SelectedAvailable();
  const UNUM32 handle = record != nullptr ? record->vci.HandleOn(type) : 0;
  if (handle == 0) return false;
  result_ = {handle, record->vci.serialNumber, type};
  return true;
}

/// The labels stay until the list is filled anew.
void ExplorerModel::SetAsDefault() {
  const ExplorerRecord* const selected = SelectedRecord();
  if (selected == nullptr) return;
  const std::uint32_t serialNumber = selected->vci.serialNumber;
  for (auto& [number, record] : records_) {
    if (record.isDefault && number != serialNumber) items_[*ItemOf(number)].overlay = Overlay::None;
    record.isDefault = number == serialNumber;
  }
  items_[*selected_].overlay = Overlay::DefaultDevice;
  DefaultDeviceSettings setting;
  setting.Load();
  setting.SetSerialNumber(serialNumber);
  setting.SaveForUser();
}

}  // namespace passbridge
