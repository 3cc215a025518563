// The exported functions of the control interface.
#include "virtual_vci/control.h"

#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

#include "virtual_vci/exports/session.h"
#include "virtual_vci/items/item_ledger.h"

using namespace virtual_vci;

namespace {

constexpr std::uint32_t kExtendedBit = 0x80000000;
constexpr std::size_t kLongestPath = 1023;

/// With the library, and nothing thrown out.
template <typename Body>
T_PDU_ERROR Control(Body&& body) {
  try {
    const auto library = CurrentLibrary();
    return library ? body(*library) : T_PDU_ERROR{PDU_ERR_PDUAPI_NOT_CONSTRUCTED};
  } catch (...) {
    return PDU_ERR_FCT_FAILED;
  }
}

template <typename Body>
T_PDU_ERROR ControlModule(UNUM32 handle, Body&& body) {
  return Control([&](Library& library) -> T_PDU_ERROR {
    std::shared_ptr<Module> module;
    if (const T_PDU_ERROR error = library.FindModule(handle, module)) return error;
    return body(*module);
  });
}

T_PDU_ERROR SendBytes(UNUM32 hMod, UNUM32 pin1, UNUM32 pin2, UNUM32 flags,
                      std::span<const UNUM8> message) {
  std::vector<UNUM32> pins{pin1};
  if (pin2 != 0) pins.push_back(pin2);
  return ControlModule(hMod,
                       [&](Module& module) { return module.SendBytes(pins, flags, message); });
}

}  // namespace

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciConfigure(const CHAR8* scenarioFile, UNUM32 clock) {
  if (clock > VVCI_CLOCK_INSTANT) return PDU_ERR_INVALID_PARAMETERS;
  if (scenarioFile != nullptr && std::strlen(scenarioFile) > kLongestPath)
    return PDU_ERR_INVALID_PARAMETERS;
  Recorder::Instance().Configure(scenarioFile, clock);
  return PDU_STATUS_NOERROR;
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciInjectResult(const CHAR8* function, UNUM32 count,
                                                      T_PDU_ERROR result) {
  const bool known = function != nullptr && Recorder::Instance().Inject(function, count, result);
  return known ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_PARAMETERS;
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciGetLedger(VVCI_LEDGER* ledger) {
  if (ledger == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  *ledger = TheItemLedger().Copy();
  return PDU_STATUS_NOERROR;
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciLogCalls(UNUM32 on) {
  Recorder::Instance().LogCalls(on != 0);
  return PDU_STATUS_NOERROR;
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciGetCalls(VVCI_CALL* calls, UNUM32* count) {
  if (count == nullptr || (calls == nullptr && *count != 0)) return PDU_ERR_INVALID_PARAMETERS;
  *count = Recorder::Instance().TakeCalls(calls, *count);
  return PDU_STATUS_NOERROR;
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciUnplug(UNUM32 serialNumber) {
  return Control([&](Library& library) { return library.Plug(serialNumber, false); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciPlug(UNUM32 serialNumber) {
  return Control([&](Library& library) { return library.Plug(serialNumber, true); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciSetPresent(UNUM32 serialNumber, UNUM32 present) {
  return Control([&](Library& library) { return library.SetPresent(serialNumber, present != 0); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciSetStatus(UNUM32 serialNumber, T_PDU_STATUS status,
                                                   UNUM32 extraInfo) {
  if (status < PDU_MODST_READY || status > PDU_MODST_AVAIL) return PDU_ERR_INVALID_PARAMETERS;
  return Control(
      [&](Library& library) { return library.SetStatus(serialNumber, status, extraInfo); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciSetVoltages(UNUM32 serialNumber, UNUM32 battery,
                                                     UNUM32 programming) {
  return Control(
      [&](Library& library) { return library.SetVoltages(serialNumber, battery, programming); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciSendBytes(UNUM32 hMod, UNUM32 pin1, UNUM32 pin2,
                                                   UNUM32 flags, const UNUM8* data, UNUM32 size) {
  if ((flags & VVCI_SEND_BREAK) != 0) return SendBytes(hMod, pin1, pin2, flags, {});
  if (size == 0 || data == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  return SendBytes(hMod, pin1, pin2, flags, {data, size});
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciSendFrame(UNUM32 hMod, UNUM32 pin1, UNUM32 pin2,
                                                   UNUM32 identifier, const UNUM8* data,
                                                   UNUM32 size) {
  if (size > 8 || (size != 0 && data == nullptr)) return PDU_ERR_INVALID_PARAMETERS;
  const bool extended = (identifier & kExtendedBit) != 0;
  const UNUM32 id = identifier & ~kExtendedBit;
  if (id > (extended ? 0x1FFFFFFFu : 0x7FFu)) return PDU_ERR_INVALID_PARAMETERS;
  std::vector<UNUM8> message;
  for (int shift = 24; shift >= 0; shift -= 8) message.push_back(static_cast<UNUM8>(id >> shift));
  if (size != 0) message.insert(message.end(), data, data + size);
  return SendBytes(hMod, pin1, pin2, extended ? kBytesOf29BitId : 0, message);
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciSetEcuFault(UNUM32 hMod, const CHAR8* ecu, UNUM32 fault) {
  if (ecu == nullptr || fault > VVCI_FAULT_LATE_BYTES) return PDU_ERR_INVALID_PARAMETERS;
  return ControlModule(hMod, [&](Module& module) -> T_PDU_ERROR {
    return module.SetFault(ecu, static_cast<EcuFault>(fault)) ? PDU_STATUS_NOERROR
                                                              : PDU_ERR_INVALID_PARAMETERS;
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciTakeHeard(UNUM32 hMod, const CHAR8* ecu, VVCI_BYTE* bytes,
                                                   UNUM32* count) {
  if (ecu == nullptr || count == nullptr || (bytes == nullptr && *count != 0))
    return PDU_ERR_INVALID_PARAMETERS;
  return ControlModule(hMod, [&](Module& module) -> T_PDU_ERROR {
    const auto heard = module.TakeHeard(ecu);
    if (!heard) return PDU_ERR_INVALID_PARAMETERS;
    *count = std::min(*count, static_cast<UNUM32>(heard->size()));
    for (UNUM32 i = 0; i < *count; ++i) {
      const HeardByte& each = (*heard)[i];
      bytes[i] = {each.byte, static_cast<UNUM32>(each.start), static_cast<UNUM32>(each.end)};
    }
    return PDU_STATUS_NOERROR;
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciSetCyclic(UNUM32 hMod, UNUM32 on) {
  return ControlModule(hMod, [&](Module& module) -> T_PDU_ERROR {
    module.SetCyclic(on != 0);
    return PDU_STATUS_NOERROR;
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciAdvance(UNUM32 hMod, UNUM32 microseconds) {
  return ControlModule(hMod, [&](Module& module) -> T_PDU_ERROR {
    module.Advance(microseconds);
    return PDU_STATUS_NOERROR;
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI VirtualVciReset(void) {
  Recorder::Instance().Reset();
  TheItemLedger().Reset();
  return PDU_STATUS_NOERROR;
}

// A signature that drifts from the header doesn't compile.
// NOLINTNEXTLINE(bugprone-macro-parentheses): a type name
#define VVCI_CHECK_CONTROL(name) static_assert(std::is_same_v<decltype(&name), PFN_##name>);
VIRTUAL_VCI_CONTROL_FUNCTIONS(VVCI_CHECK_CONTROL)
