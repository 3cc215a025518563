// GET_CONFIG and SET_CONFIG of a channel.

#include "channel/channel.h"
#include "channel/config_list.h"
#include "platform/memory_probe.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

bool IsReadableList(const AppPointer& input) {
  return platform::IsReadable(input.address, AppConfigList::kSize);
}

std::size_t SizeOfEntries(const AppConfigList& list, const AppValue& entries) {
  return 2 * entries.Size() * std::size_t{list.Count()};
}

}  // namespace

Status CheckConfigList(const Exits& exit, const AppPointer& input) {
  if (!IsReadableList(input)) return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Input pointer.");
  const AppConfigList list(input);
  const AppValue entries = list.Entries();
  if (!platform::IsReadable(entries.Address(), SizeOfEntries(list, entries))) {
    return exit.Fail(2, ERR_NULL_PARAMETER, "NULL SCONFIG pointer.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::PassThruIoctl_GET_CONFIG(const AppPointer& input) {
  return Traced(methods::channel::kPassThruIoctlGetConfig, [&](Exits& exit) -> Status {
    if (!HasPins()) {
      return exit.Fail(1, ERR_PIN_INVALID, "Error getting J1962 Pins value to use.");
    }
    if (!IsReadableList(input)) return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Input pointer.");
    const AppConfigList list(input);
    const AppValue entries = list.Entries();
    if (list.Count() != 0 &&
        !platform::IsWritable(entries.Address(), SizeOfEntries(list, entries))) {
      return exit.Fail(3, ERR_NULL_PARAMETER, "NULL Input pointer.");
    }
    const auto parameters = Parameters();
    for (std::size_t i = 0; i < list.Count(); ++i) {
      const std::uint32_t parameter = entries[2 * i].Load();
      std::uint32_t value = J1962Pins();
      if (parameter != J1962_PINS) {
        const Status status = parameters != nullptr
                                  ? parameters->GetJ2534ParameterValue(parameter, &value)
                                  : Status{ERR_FAILED};
        if (status != STATUS_NOERROR) {
          return exit.PassOn(4, status, "Error reading parameter value.");
        }
      }
      entries[2 * i + 1].Store(value);
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::SetParameters(const Exits& exit, const AppConfigList& list, bool& pinsSet,
                                    bool& mixedFormatSet) {
  const AppValue entries = list.Entries();
  const auto parameters = Parameters();
  for (std::size_t i = 0; i < list.Count(); ++i) {
    const std::uint32_t parameter = entries[2 * i].Load();
    const std::uint32_t value = entries[2 * i + 1].Load();
    if (parameter == J1962_PINS) {
      if (const Status status = TakePins(exit, value, pinsSet)) return status;
      continue;
    }
    if (parameter == CAN_MIXED_FORMAT) mixedFormatSet = IsIso15765Type(Type());
    const Status status = parameters != nullptr
                              ? parameters->SetJ2534ParameterValue(parameter, value)
                              : Status{ERR_FAILED};
    if (status != STATUS_NOERROR) {
      return exit.PassOn(3, status, "Error setting J2534 Parameter value.");
    }
    if (parameter == DATA_RATE) SetBaudRate(value);
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::PassThruIoctl_SET_CONFIG(const AppPointer& input) {
  return Traced(methods::channel::kPassThruIoctlSetConfig, [&](Exits& exit) -> Status {
    if (const Status status = CheckConfigList(exit, input)) return status;
    const Status status = ApplyParameters(exit, AppConfigList(input));
    // What was refused leaves no pins without a link.
    if (status != STATUS_NOERROR && !HasLink()) SetJ1962Pins(0);
    return status;
  });
}

Status CJ2534Channel::ApplyParameters(const Exits& exit, const AppConfigList& list) {
  bool pinsSet = false;
  bool mixedFormatSet = false;
  if (const Status status = SetParameters(exit, list, pinsSet, mixedFormatSet)) return status;
  if (pinsSet) {
    if (const Status status = ConnectToVehicle()) {
      return exit.PassOn(4, status, "Error connecting to vehicle.");
    }
  }
  if (!IsVehicleConnected()) {
    return Exits::NormalAs(
        "CJ2534Channel::PassThruIoctl_SET_CONFIG() without update PDU ComParameters.");
  }
  if (const Status status = DownloadAndCommit(exit, 6)) return status;
  if (mixedFormatSet) {
    if (const Status status = ClearForMixedFormat(exit)) return status;
  }
  return exit.Normal();
}

Status CJ2534Channel::ClearForMixedFormat(const Exits& exit) {
  const auto report = [&exit](Status status, const char* message) {
    return exit.At(methods::channel::kPassThruDisconnect).PassOn(2, status, message);
  };
  if (const auto filters = Filters()) {
    if (const Status status = filters->ClearJ2534PassBlockFilters()) {
      return report(status, "Error clearing Pass/Block Message Filters.");
    }
  }
  if (const Status status = PassThruIoctl_CLEAR_TX_BUFFER()) {
    return report(status, "Error clearing Tx buffer.");
  }
  if (const Status status = PassThruIoctl_CLEAR_RX_BUFFER()) {
    return report(status, "Error clearing Rx Buffer.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::SetOneParameter(std::uint32_t parameter, std::uint32_t value) {
  std::array<std::uint32_t, 2> entry{parameter, value};
  struct {
    alignas(void*) std::uint32_t count = 1;
    void* entries = nullptr;
  } list;
  list.entries = entry.data();
  return PassThruIoctl(SET_CONFIG, {&list, FieldWidth::k32}, {});
}

}  // namespace passbridge
