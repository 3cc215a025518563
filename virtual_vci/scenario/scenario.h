/// \file
/// A scenario: the VCIs that exist, the buses of the vehicle that each is plugged into, the ECUs on
/// them.
#ifndef VIRTUAL_VCI_SCENARIO_SCENARIO_H_
#define VIRTUAL_VCI_SCENARIO_SCENARIO_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/base/objects.h"
#include "virtual_vci/base/time.h"
#include "virtual_vci/scenario/patterns.h"

namespace virtual_vci {

/// One way to reach a VCI: a module of the D-PDU API.
struct InterfaceConfig {
  std::string type;     ///< "USB", "Ethernet", "Wireless", "Bluetooth" or "Local"
  std::string address;  ///< empty if it has none
  std::optional<UNUM32> wifiQuality;
};

struct VciConfig {
  UNUM32 serial = 0;
  std::string name;
  std::vector<InterfaceConfig> interfaces;
  T_PDU_STATUS status = PDU_MODST_AVAIL;
  UNUM32 extraInfo = 0;          ///< what PDUGetStatus gives with the status
  UNUM32 firmware = 0x02030400;  ///< one byte each: major, minor, revision, build
  UNUM32 battery = 12600;        ///< mV
  std::optional<UNUM32> cable;   ///< none: no cable is detected
  bool packedReception = true;   ///< frames that wait are delivered packed
  bool passWithoutFilter =
      false;  ///< a raw link without pass filters receives everything instead of nothing
};

/// Whether what is connected to the ones meets what is connected to the others: they are the same,
/// or one list has further pins behind those of the other.
inline bool PinsMeet(const std::vector<UNUM32>& one, const std::vector<UNUM32>& other) {
  const auto common = static_cast<std::ptrdiff_t>(std::min(one.size(), other.size()));
  return common != 0 && std::equal(one.begin(), one.begin() + common, other.begin());
}

struct BusConfig {
  BusType type = BusType::kDualWireCan;
  std::vector<UNUM32> pins;
  std::uint32_t bitRate = 500000;
};

/// What an ECU does wrong, as far as its bus knows such a thing. VVCI_FAULT_… are the same numbers.
enum class EcuFault : std::uint8_t { kNone, kNoAnswer, kWrongKeyByte, kWrongChecksum, kLateBytes };

/// How an ECU sits on a bus. Every kind of bus has its own.
struct PortConfig {
  PortConfig() = default;
  virtual ~PortConfig() = default;

  std::size_t bus = 0;  ///< index of the bus

 protected:
  PortConfig(const PortConfig&) = default;
  PortConfig& operator=(const PortConfig&) = default;
};

/// A request that is answered as the scenario says, before anything else looks at it.
struct RuleConfig {
  Pattern request;
  Template response;          ///< empty: no answer
  std::uint32_t pending = 0;  ///< how many "response pending" come first
};

/// Emission-related services (SAE J1979): 01, 03, 04, 07, 09 and 0A.
struct ObdConfig {
  struct Pid {
    std::uint8_t number;
    Template data;
  };
  std::vector<Pid> pids;              ///< of service 01; the lists of supported ones come from this
  std::vector<std::uint16_t> faults;  ///< as on the wire: 0x0301 is P0301
  std::string vin;                    ///< 17 characters
  std::string calibration;            ///< up to 16 characters
  std::string name;                   ///< up to 20 characters
};

/// Unified diagnostic services (ISO 14229-1): 10, 11, 22, 27, 2E, 31, 34, 36, 37 and 3E.
struct UdsConfig {
  struct Identifier {
    std::uint16_t id;
    Template data;
    bool writable;  ///< when the ECU is unlocked in an extended or programming session
  };
  std::vector<Identifier> identifiers;
  std::uint32_t secret = 0x5EC0DE55;          ///< key = seed, exclusive or, this
  std::uint32_t downloadLimit = 1024 * 1024;  ///< bytes of one download
};

/// Memory and faults as the commands of UART buses reach them: commands, then an address, most
/// significant byte first, and to write bytes. An empty command doesn't exist.
struct UartConfig {
  Bytes readMemory;
  Bytes writeMemory;
  std::size_t addressBytes = 2;  ///< 1 to 4
  std::size_t count = 1;         ///< bytes that a command reads
  std::uint32_t start = 0;       ///< address of the memory
  Template memory;
  Bytes readFaults;
  Bytes clearFaults;
  Bytes faults;
  Bytes faultsEnd;          ///< behind the faults, of which there may be none
  std::size_t repeats = 0;  ///< how many bytes of its request an answer begins with
};

struct EcuConfig {
  std::string name;
  Micros responseTime = 5000;
  std::vector<Signal> signals;
  std::vector<RuleConfig> rules;
  std::optional<ObdConfig> obd;
  std::optional<UdsConfig> uds;
  std::optional<UartConfig> uart;
  std::vector<std::shared_ptr<const PortConfig>> ports;
};

struct Scenario {
  std::optional<ClockKind> clock;
  std::vector<VciConfig> vcis;
  std::vector<BusConfig> buses;
  std::vector<EcuConfig> ecus;
};

/// What exists if nobody names a scenario file.
Scenario BuiltInScenario();

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_SCENARIO_H_
