#ifndef PASSBRIDGE_SERVER_DEVICE_INFO_LIST_H_
#define PASSBRIDGE_SERVER_DEVICE_INFO_LIST_H_

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "server/interface_type.h"

namespace passbridge {

/// One interface of a VCI.
struct VciInterface {
  UNUM32 moduleHandle = 0;                ///< 0: not seen on this interface
  std::string address = "Not Available";  ///< network address, at most 49 characters
};

/// One VCI, on however many interfaces it can be reached.
class VciRecord {
 public:
  VciRecord(std::uint32_t serial, bool isAvailable)
      : serialNumber(serial), available(isAvailable) {}

  /// Null for InterfaceType::None and for numbers that are no interface.
  VciInterface* On(InterfaceType type);
  /// Module handle on an interface; 0 where the VCI does not offer it.
  UNUM32 HandleOn(InterfaceType type) const;

  std::uint32_t serialNumber;
  bool available;  ///< its module was free when the record was made

 private:
  std::array<VciInterface, kInterfaceNames.size()> interfaces_;  // in the order of InterfaceType
};

/// The VCIs that the D-PDU library sees at one moment, by serial number.
using VqxInfoList = std::map<std::uint32_t, VciRecord>;

/// The number that a text begins with, after optional white space and a sign; 0 without digits.
/// Numbers beyond 32 bits stop at the greatest, negative ones wrap around.
std::uint32_t ParseDecimal(std::string_view text);

/// The entries of a module list that can be read.
std::vector<PDU_MODULE_DATA> ReadableModules(const PDU_MODULE_ITEM& list);
/// A module's name and its additional information; nothing where they are missing or cannot be
/// read.
std::optional<std::string> ModuleName(const PDU_MODULE_DATA& module);
std::optional<std::string> AdditionalInfo(const PDU_MODULE_DATA& module);

/// The record of a module's VCI, whose serial number is the module's name; it is added if the list
/// lacks it. Null if the name cannot be read.
VciRecord* RecordOf(const PDU_MODULE_DATA& module, VqxInfoList& list);

/// Notes the interface, and the address if there is one, that a module's additional information
/// names: "…ConnectionType='Ethernet' IPAddress='10.0.0.7'…".
void AddInterface(UNUM32 moduleHandle, std::string_view additionalInfo, VciRecord& record);

}  // namespace passbridge

#endif  // PASSBRIDGE_SERVER_DEVICE_INFO_LIST_H_
