#ifndef PASSBRIDGE_UI_EXPLORER_RECORD_H_
#define PASSBRIDGE_UI_EXPLORER_RECORD_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"
#include "server/device_info_list.h"
#include "ui/explorer_texts.h"

namespace passbridge {

class DefaultDeviceSettings;
class PreferredDevicesSettings;

/// One entry of a D-PDU module list, and what was asked about it.
struct ModuleEntry {
  UNUM32 handle = 0;
  std::string name;  ///< begins with the serial number
  std::string info;  ///< names the interface, the address, the Wi-Fi signal quality
  bool available = false;
  UNUM32 notReadyInfo = 0;  ///< extra information of a module that is not ready
};

/// The modules that the D-PDU library sees now; nothing if it does not tell.
std::optional<std::vector<ModuleEntry>> AskForModules();
/// The entries that have a name and additional information; asks for the status of those that are
/// not ready, and destroys the list.
std::vector<ModuleEntry> ReadModules(pdu::Item<PDU_MODULE_ITEM> list);

/// Why a VCI cannot be used; the values are the D-PDU library's.
enum class NotReadyReason : std::uint32_t { Other = 0, OldPcSoftware = 0xA4, OldFirmware = 0xA5 };

/// One VCI as the dialog shows it. What the first module of a serial number says of availability
/// and reason stays.
struct ExplorerRecord {
  VciRecord vci;
  bool isDefault = false;
  bool isPreferred = false;
  NotReadyReason reason = NotReadyReason::Other;  ///< known only of one that is not available
  std::optional<std::uint32_t> wifiQuality;       ///< 0 to 4 have pictures
};

/// By serial number.
using ExplorerRecords = std::map<std::uint32_t, ExplorerRecord>;

ExplorerRecords MakeRecords(const std::vector<ModuleEntry>& modules,
                            const DefaultDeviceSettings& defaultDevice,
                            const PreferredDevicesSettings& preferredDevices);

/// What is drawn over the picture of a VCI: the number of an overlay image.
enum class Overlay : std::uint32_t {
  None = 0,
  DefaultDevice = 1,
  NotAvailable = 2,
  NoVci = 3,
  WifiQuality4 = 4,
  WifiQuality3 = 5,
  WifiQuality2 = 6,
  WifiQuality1 = 7,
  WifiQuality0 = 8,
};

Overlay OverlayOf(const ExplorerRecord& record);
/// Below the picture; may have several lines.
std::string LabelOf(const ExplorerRecord& record, const ExplorerTexts& texts);
std::string ToolTipOf(const ExplorerRecord& record, const ExplorerTexts& texts);

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_EXPLORER_RECORD_H_
