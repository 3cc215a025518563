// I/O controls of modules.
#include "virtual_vci/library/module.h"

namespace virtual_vci {

namespace {

constexpr UNUM32 kShortToGround = 0xFFFFFFFE;
constexpr UNUM32 kVoltageOff = 0xFFFFFFFF;
constexpr UNUM32 kLowestVoltage = 5000;
constexpr UNUM32 kHighestVoltage = 20000;
constexpr UNUM32 kShortPin = 15;

bool CarriesVoltage(UNUM32 pin) {
  return pin == 0 || pin == 6 || pin == 9 || (pin >= 11 && pin <= 14);
}

}  // namespace

T_PDU_ERROR Module::SetProgrammingVoltage(const PDU_DATA_ITEM* input) {
  const auto* voltage = DataOf<PDU_IO_PROG_VOLTAGE_DATA>(input, PDU_IT_IO_PROG_VOLTAGE);
  if (voltage == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  if (voltage->PinOnDLC == kShortPin) {
    const bool fits =
        voltage->ProgVoltage_mv == kShortToGround || voltage->ProgVoltage_mv == kVoltageOff;
    return fits ? PDU_STATUS_NOERROR : PDU_ERR_VOLTAGE_NOT_SUPPORTED;
  }
  if (!CarriesVoltage(voltage->PinOnDLC)) return PDU_ERR_MUX_RSC_NOT_SUPPORTED;
  if (voltage->ProgVoltage_mv == kVoltageOff) {
    programming_ = 0;
    return PDU_STATUS_NOERROR;
  }
  if (voltage->ProgVoltage_mv < kLowestVoltage || voltage->ProgVoltage_mv > kHighestVoltage) {
    return PDU_ERR_VOLTAGE_NOT_SUPPORTED;
  }
  programming_ = voltage->ProgVoltage_mv;
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Module::IoControl(IoCtl command, const PDU_DATA_ITEM* input, ItemPtr& out) {
  MutexLock lock(lock_);
  if (stop_) return PDU_ERR_INVALID_HANDLE;
  if (lost_) return PDU_ERR_COMM_PC_TO_VCI_FAILED;
  Kick();
  switch (command) {
    case IoCtl::kReset:
      for (auto& [handle, link] : links_) link->Reset();
      programming_ = 0;
      return PDU_STATUS_NOERROR;
    case IoCtl::kReadVbatt:
      out = MakeUnum32Item(battery_);
      return PDU_STATUS_NOERROR;
    case IoCtl::kReadProgVoltage:
      out = MakeUnum32Item(programming_);
      return PDU_STATUS_NOERROR;
    case IoCtl::kSetProgVoltage:
      return SetProgrammingVoltage(input);
    case IoCtl::kGetCableId:
      if (!vci_.cable) return PDU_ERR_NO_CABLE_DETECTED;
      out = MakeUnum32Item(*vci_.cable);
      return PDU_STATUS_NOERROR;
    case IoCtl::kSetEventQueueProperties:
      return events_.Queue().Configure(input);
    default:
      return PDU_ERR_ID_NOT_SUPPORTED;
  }
}

}  // namespace virtual_vci
