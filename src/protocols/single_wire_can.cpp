#include "protocols/single_wire_can.h"

#include <utility>

#include "channel/config_list.h"
#include "channel/link.h"
#include "platform/memory_probe.h"
#include "protocols/can_common.h"
#include "protocols/channel_can.h"
#include "protocols/channel_iso15765.h"
#include "protocols/resource_names.h"

namespace passbridge {

namespace {

constexpr const char* kNoSingleWireRate = "Error getting SW_CAN_HS_DATA_RATE value.";
constexpr const char* kNoRates = "Error finding J2534 SW_CAN_HS_DATA_RATE parameter.";
constexpr const char* kSpeedCtrlFailure = "Error setting CP_CHANGE_SPEED_CTRL.";
constexpr const char* kSpeedRateFailure = "Error setting CP_CHANGE_SPEED_RATE.";
constexpr const char* kBaudRateFailure = "Error setting CP_BAUD_RATE.";
constexpr const char* kSingleWireTerminationFailure = "Error setting CP_TERMINATION_TYPE.";

// CP_ChangeSpeedTxDelay: how long the link is silent after the change.
constexpr UNUM32 kDelayToHighSpeed = 50;
constexpr UNUM32 kDelayToNormalSpeed = 1000;

constexpr UNUM32 kHighVoltageRepetitions = 60;  // nodes that sleep need that long to wake

}  // namespace

template <typename Base>
Status SingleWireCan<Base>::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods_.getPduResourceBusTypeId, this->ProtocolId(), resource);
}

template <typename Base>
Status SingleWireCan<Base>::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods_.getPduResourceProtocolId, this->ProtocolId(), resource);
}

template <typename Base>
Status SingleWireCan<Base>::SetProtocolConnectionComParameters() {
  return Traced(methods_.setProtocolConnectionComParameters, [&](Exits& exit) -> Status {
    return exit.Ended(this->SetComParams(exit, WithSpeedChange(this->ConnectionComParams())));
  });
}

template <typename Base>
Status SingleWireCan<Base>::GetPduPinData(std::vector<PDU_PIN_DATA>& pins) {
  return Traced(methods_.getPduPinData, [&](Exits& exit) -> Status {
    const std::uint32_t high = (this->J1962Pins() >> 8U) & 0xFFU;
    const std::uint32_t low = this->J1962Pins() & 0xFFU;
    pins.clear();
    if (low != 0) pins.push_back({low, 0});
    pins.push_back({high, 0});
    return exit.Normal();
  });
}

template <typename Base>
Status SingleWireCan<Base>::AdjustCop(const AppMessage& msg, CopData& /*data*/,
                                      CopControl& control) {
  return Traced(methods_.adjustCop, [&](Exits& exit) -> Status {
    control.txFlags[0] = kIso15765CopFlags;
    AddCanFlags(control.txFlags, msg.TxFlags());
    if ((msg.TxFlags() & SW_CAN_HV_TX) != 0) {
      control.SetTemporarily({pdu::ComParamId(pdu::ComParam::CP_SwCan_HighVoltage), 1,
                              "Error setting CP_SW_CAN_HIGH_VOLTAGE."});
      control.SetTemporarily({pdu::ComParamId(pdu::ComParam::CP_RepeatReqCountApp),
                              kHighVoltageRepetitions, "Error setting CP_REPEAT_REQ_COUNT_APP."});
    }
    return exit.Normal();
  });
}

// The ioctls.

template <typename Base>
Status SingleWireCan<Base>::PassThruIoctl_SW_CAN_HS() {
  return Traced(methods_.highSpeed, [&](Exits& exit) -> Status {
    return SwitchSpeed(exit, SpeedMode::High, kHighSpeedTermination);
  });
}

template <typename Base>
Status SingleWireCan<Base>::PassThruIoctl_SW_CAN_NS() {
  return Traced(methods_.normalSpeed, [&](Exits& exit) -> Status {
    return SwitchSpeed(exit, SpeedMode::Normal, kNormalTermination);
  });
}

template <typename Base>
Status SingleWireCan<Base>::SwitchSpeed(const Exits& exit, SpeedMode mode, UNUM32 termination) {
  using pdu::ComParam;
  if (!this->HasPins()) {
    return exit.Fail(1, ERR_PIN_INVALID, "Error getting J1962 Pins value to use.");
  }
  {
    const platform::RecursiveMutexLock lock(this->GetLink().ComParams().Lock());
    if (const Status status = Set(
            exit, 2, {ComParam::CP_TerminationType, termination, kSingleWireTerminationFailure})) {
      return status;
    }
    std::uint32_t rate = this->BaudRate();
    if (mode == SpeedMode::High && Read(SW_CAN_HS_DATA_RATE, rate) != STATUS_NOERROR) {
      return exit.PassOn(3, ERR_NOT_SUPPORTED, kNoSingleWireRate);
    }
    if (const Status status = Set(exit, 4, {ComParam::CP_Baudrate, rate, kBaudRateFailure})) {
      return status;
    }
    if (const Status status = SetDataRate(exit, 5, rate)) return status;
    if (const Status status = this->SendUpdateComPrimitive(false)) {
      return exit.PassOn(6, status, "Error committing Parameter Values.");
    }
    SetMode(mode);
  }
  this->GetLink().WaitForUpdates(kUpdateTimeout);
  return exit.Normal();
}

template <typename Base>
Status SingleWireCan<Base>::PassThruIoctl_SET_CONFIG(const AppPointer& input) {
  return Traced(methods_.setConfig, [&](Exits& exit) -> Status {
    if (const Status status = CheckConfigList(exit, input)) return status;
    const Status status = ApplyParameters(exit, AppConfigList(input));
    // What was refused leaves no pins without a link.
    if (status != STATUS_NOERROR && !this->HasLink()) this->SetJ1962Pins(0);
    return exit.Ended(status);
  });
}

template <typename Base>
Status SingleWireCan<Base>::ApplyParameters(const Exits& exit, const AppConfigList& list) {
  {
    // Held while ComParams are set and until their update, for CoPs in between would undo them; not
    // while the link is brought up, which needs the event thread.
    platform::RecursiveMutexLock lock(this->GetLink().ComParams().Lock());
    bool pinsSet = false;
    if (const Status status = StoreParameters(exit, list, pinsSet)) return status;
    if (pinsSet) {
      lock.Unlock();
      const Status status = this->ConnectToVehicle();
      lock.Lock();
      if (status != STATUS_NOERROR) return exit.PassOn(4, status, "Error connecting to vehicle.");
    }
    if (!this->IsVehicleConnected()) return STATUS_NOERROR;
    if (std::exchange(speedChangeIsDue_, false)) {
      if (const Status status = UpdateSpeedChangeComParams()) {
        return exit.PassOn(5, status, "Failed processing speed change com params.");
      }
    }
    if (const Status status = this->DownloadAndCommit(exit, 6)) return status;
  }
  this->GetLink().WaitForUpdates(kUpdateTimeout);
  return STATUS_NOERROR;
}

template <typename Base>
Status SingleWireCan<Base>::StoreParameters(const Exits& exit, const AppConfigList& list,
                                            bool& pinsSet) {
  const AppValue entries = list.Entries();
  for (std::size_t i = 0; i < list.Count(); ++i) {
    const std::uint32_t parameter = entries[2 * i].Load();
    const std::uint32_t value = entries[2 * i + 1].Load();
    const Status status = parameter == J1962_PINS ? this->TakePins(exit, value, pinsSet)
                                                  : StoreParameter(exit, parameter, value);
    if (status != STATUS_NOERROR) return status;
  }
  return STATUS_NOERROR;
}

template <typename Base>
Status SingleWireCan<Base>::StoreParameter(const Exits& exit, std::uint32_t parameter,
                                           std::uint32_t value) {
  if (parameter == SW_CAN_SPEEDCHANGE_ENABLE) return SetSpeedChangeEnable(exit, value);
  if (parameter == DATA_RATE && Mode() != SpeedMode::None) {
    return exit.Fail(8, ERR_FAILED, "Error changing DataRate druing SpeedChange process.");
  }
  const auto parameters = this->Parameters();
  const Status status = parameters != nullptr ? parameters->SetJ2534ParameterValue(parameter, value)
                                              : Status{ERR_FAILED};
  if (status != STATUS_NOERROR) return exit.PassOn(3, status, "Error setting parameter value.");
  if (parameter == DATA_RATE) this->SetBaudRate(value);
  if (parameter == SW_CAN_HS_DATA_RATE || parameter == SW_CAN_RES_SWITCH) speedChangeIsDue_ = true;
  return STATUS_NOERROR;
}

template <typename Base>
Status SingleWireCan<Base>::SetSpeedChangeEnable(const Exits& exit, std::uint32_t enable) {
  speedChangeEnable_ = enable;
  if (enable != 0 || !this->IsVehicleConnected()) return STATUS_NOERROR;
  return Set(exit, 9, {pdu::ComParam::CP_ChangeSpeedCtrl, 0, kSpeedCtrlFailure});
}

template <typename Base>
Status SingleWireCan<Base>::UpdateSpeedChangeComParams() {
  return Traced(methods_.updateSpeedChangeComParams, [&](Exits& exit) -> Status {
    using pdu::ComParam;
    std::uint32_t dataRate = 0;
    if (const Status status = Read(DATA_RATE, dataRate)) {
      return exit.PassOn(1, status, "Error getting DATA_RATE Parameter value.");
    }
    std::uint32_t target = this->BaudRate();
    const bool toHighSpeed = dataRate == target;
    if (toHighSpeed) {
      if (const Status status = Read(SW_CAN_HS_DATA_RATE, target)) {
        return exit.PassOn(2, status, kNoSingleWireRate);
      }
    }
    const UNUM32 delay = toHighSpeed ? kDelayToHighSpeed : kDelayToNormalSpeed;
    if (const Status status = Set(
            exit, 3,
            {ComParam::CP_ChangeSpeedTxDelay, delay, "Error setting CP_CHANGE_SPEED_TX_DELAY."})) {
      return status;
    }
    if (const Status status =
            Set(exit, 4, {ComParam::CP_ChangeSpeedRate, target, kSpeedRateFailure})) {
      return status;
    }
    return exit.Ended(SetResistors(exit, toHighSpeed));
  });
}

template <typename Base>
Status SingleWireCan<Base>::SetResistors(const Exits& exit, bool toHighSpeed) {
  std::uint32_t resSwitch = 0;
  if (const Status status = Read(SW_CAN_RES_SWITCH, resSwitch)) {
    return exit.PassOn(5, status, "Error getting SW_CAN_RES_SWITCH value.");
  }
  const ResistorSwitch resistors = ResistorsFor(resSwitch, toHighSpeed);
  KeepFromDownload(SW_CAN_RES_SWITCH);
  if (const Status status = Set(exit, 6,
                                {pdu::ComParam::CP_ChangeSpeedResCtrl, resistors.control,
                                 "Error setting CP_CHANGE_SPEED_RES_CTRL."})) {
    return status;
  }
  return Set(
      exit, 7,
      {pdu::ComParam::CP_TerminationType, resistors.termination, kSingleWireTerminationFailure});
}

// Messages that are sent.

template <typename Base>
Status SingleWireCan<Base>::PerformProtocolAdjustments(const AppMessage& msg) {
  return Traced(methods_.examineRequest, [&](Exits& exit) -> Status {
    if (speedChangeEnable_ != 1) return exit.Normal();
    if (!platform::IsReadable(msg.Address(), msg.Size())) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL PASSTHRU_MSG Pointer.");
    }
    const SpeedRequest request = ExamineRequest(msg.Bytes(), msg.TxFlags(), lengthBytes_);
    if (!request.message.empty()) return exit.Ended(Announce(exit, request));
    if (request.mode) SetMode(*request.mode);
    return exit.Normal();
  });
}

template <typename Base>
Status SingleWireCan<Base>::Announce(const Exits& exit, const SpeedRequest& request) {
  using pdu::ComParam;
  {
    const platform::RecursiveMutexLock lock(this->GetLink().ComParams().Lock());
    SetMode(*request.mode);
    if (request.mode == SpeedMode::Normal) {
      if (const Status status =
              Set(exit, 2, {ComParam::CP_ChangeSpeedRate, this->BaudRate(), kSpeedRateFailure})) {
        return status;
      }
    }
    if (const Status status =
            Set(exit, 3,
                {ComParam::CP_ChangeSpeedMessage, std::span<const UNUM8>(request.message),
                 "Error setting CP_CHANGE_SPEED_MESSAGE."})) {
      return status;
    }
    if (const Status status = Set(exit, 4, {ComParam::CP_ChangeSpeedCtrl, 1, kSpeedCtrlFailure})) {
      return status;
    }
    if (const Status status = this->SendUpdateComPrimitive(false)) {
      return exit.PassOn(5, status, "Error updating ComParameters.");
    }
  }
  this->GetLink().WaitForUpdates(kUpdateTimeout);
  return STATUS_NOERROR;
}

// Messages that are received.

template <typename Base>
Status SingleWireCan<Base>::PerformProtocolAdjustments(CJ2534PassThruMsg* msg) {
  return Traced(methods_.hideSpeedChange, [&](Exits& exit) -> Status {
    if (msg == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CJ2534PassThruMsg pointer.");
    }
    speedHasChanged_ = msg->IsSpdChgEvent();
    if (!speedHasChanged_) return exit.Normal();
    if (Mode() == SpeedMode::None) {
      Rates rates;
      if (const Status status = ReadRates(exit, 3, rates)) return status;
    }
    msg->ClrRxStatusBit(RX_SPD_CHG_EVENT);
    return exit.Normal();
  });
}

template <typename Base>
Status SingleWireCan<Base>::PerformPostProcessing(CJ2534PassThruMsg* msg) {
  return Traced(methods_.performPostProcessing, [&](Exits& exit) -> Status {
    if (msg == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CJ2534PassThruMsg pointer.");
    }
    return std::exchange(speedHasChanged_, false) ? exit.Ended(FollowInterface(exit))
                                                  : exit.Normal();
  });
}

template <typename Base>
Status SingleWireCan<Base>::FollowInterface(const Exits& exit) {
  const platform::RecursiveMutexLock lock(this->GetLink().ComParams().Lock());
  Rates rates;
  if (const Status status = ReadRates(exit, 2, rates)) return status;
  if (const Status status =
          Set(exit, 3, {pdu::ComParam::CP_ChangeSpeedCtrl, 0, kSpeedCtrlFailure})) {
    return status;
  }
  const std::uint32_t rate = RateAfterChange(rates);
  if (const Status status = SetDataRate(exit, 4, rate)) return status;
  if (const Status status = KeepLinkSpeed(exit, 5, rate)) return status;
  SetMode(SpeedMode::None);
  if (speedChangeEnable_ != 1) return STATUS_NOERROR;
  if (const Status status = UpdateSpeedChangeComParams()) {
    return exit.PassOn(6, status, "Failed processing speed change com params.");
  }
  // Not waited for: it is this thread that learns of the end, and it would wait in vain.
  if (const Status status = this->SendUpdateComPrimitive(false)) {
    return exit.PassOn(7, status, "Error committing Parameter Value.");
  }
  return STATUS_NOERROR;
}

template <typename Base>
std::uint32_t SingleWireCan<Base>::RateAfterChange(const Rates& rates) const {
  switch (Mode()) {
    case SpeedMode::None:
      return rates.current == this->BaudRate() ? rates.high : this->BaudRate();
    case SpeedMode::High:
      return rates.high;
    case SpeedMode::Normal:
      break;
  }
  return this->BaudRate();
}

template <typename Base>
Status SingleWireCan<Base>::KeepLinkSpeed(const Exits& exit, std::uint16_t point,
                                          std::uint32_t rate) {
  // The interface may have changed the ComParam with the speed, or not.
  if (const Status status = this->GetPDUComParam(pdu::ComParamId(pdu::ComParam::CP_Baudrate))) {
    return exit.PassOn(point, status, kBaudRateFailure);
  }
  return Set(exit, point, {pdu::ComParam::CP_Baudrate, rate, kBaudRateFailure});
}

template <typename Base>
Status SingleWireCan<Base>::ReadRates(const Exits& exit, std::uint16_t point, Rates& rates) const {
  Status status = Read(SW_CAN_HS_DATA_RATE, rates.high);
  if (status == STATUS_NOERROR) status = Read(DATA_RATE, rates.current);
  return status == STATUS_NOERROR ? Status{STATUS_NOERROR} : exit.PassOn(point, status, kNoRates);
}

// Parameters, ComParams and the mode.

template <typename Base>
Status SingleWireCan<Base>::Set(const Exits& exit, std::uint16_t point,
                                const ComParamSetting& setting) {
  const Status status = this->SetPduComParam(pdu::ComParamId(setting.param), setting.Value(),
                                             static_cast<std::uint32_t>(setting.Size()));
  return status == STATUS_NOERROR ? Status{STATUS_NOERROR}
                                  : exit.PassOn(point, status, setting.failure);
}

template <typename Base>
Status SingleWireCan<Base>::SetDataRate(const Exits& exit, std::uint16_t point,
                                        std::uint32_t rate) {
  const auto parameters = this->Parameters();
  const Status status = parameters != nullptr ? parameters->SetJ2534ParameterValue(DATA_RATE, rate)
                                              : Status{ERR_FAILED};
  return status == STATUS_NOERROR
             ? Status{STATUS_NOERROR}
             : exit.PassOn(point, status, "Error setting DATA_RATE Parameter value.");
}

template <typename Base>
Status SingleWireCan<Base>::Read(std::uint32_t parameter, std::uint32_t& value) const {
  const auto parameters = this->Parameters();
  return parameters != nullptr ? parameters->GetJ2534ParameterValue(parameter, &value)
                               : Status{ERR_FAILED};
}

template <typename Base>
void SingleWireCan<Base>::KeepFromDownload(std::uint32_t parameter) {
  CJ2534Parameter* kept = nullptr;
  const auto parameters = this->Parameters();
  if (parameters == nullptr || parameters->GetJ2534Parameter(parameter, &kept)) return;
  kept->ClearModified();
}

template <typename Base>
SpeedMode SingleWireCan<Base>::Mode() const {
  platform::MutexLock lock(speedLock_);
  return speedMode_;
}

template <typename Base>
void SingleWireCan<Base>::SetMode(SpeedMode mode) {
  platform::MutexLock lock(speedLock_);
  speedMode_ = mode;
}

template class SingleWireCan<CJ2534Channel_CAN>;
template class SingleWireCan<CJ2534Channel_ISO15765>;

}  // namespace passbridge
