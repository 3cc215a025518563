// The connection lifecycle of a channel: from PassThruConnect to a running link, and back.

#include <algorithm>
#include <array>

#include "channel/channel.h"
#include "config/parameter.h"
#include "pdu/com_param.h"
#include "pdu/pdu_api.h"
#include "pdu/result_map.h"
#include "trace/method.h"

namespace passbridge {

namespace {

constexpr pdu::ResultMap kCreateLinkResults{
    ERR_FAILED,
    {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
     {PDU_ERR_RESOURCE_BUSY, ERR_CHANNEL_IN_USE},
     {PDU_ERR_RESOURCE_ERROR, ERR_INVALID_PROTOCOL_ID},
     {PDU_ERR_INVALID_PARAMETERS, ERR_PIN_INVALID}}};

constexpr pdu::ResultMap kConnectResults{ERR_FAILED,
                                         {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                                          {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
                                          {PDU_ERR_INVALID_HANDLE, ERR_DEVICE_NOT_CONNECTED}}};

constexpr pdu::ResultMap kDisconnectResults{
    ERR_FAILED,
    {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_CLL_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_INVALID_HANDLE, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID}}};

constexpr pdu::ResultMap kDestroyLinkResults{
    ERR_FAILED,
    {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
     {PDU_ERR_INVALID_HANDLE, ERR_INVALID_DEVICE_ID}}};

/// The connect flags that a protocol admits, and what is said about others.
struct ConnectFlagsRow {
  ProtocolType type;
  std::uint32_t allowed;
  std::uint16_t point;
  const char* failure;
};

constexpr std::uint32_t kIso14230Flags = 0x1 | ISO9141_NO_CHECKSUM | ISO9141_K_LINE_ONLY;
constexpr const char* kNoCanFlag = "A non-CAN Connection Flag(s) was set.";
constexpr const char* kNoIso15765Flag = "A non-ISO15765 Connection Flag(s) was set.";
constexpr const char* kNoIso14230Flag = "A non-ISO14230 Connection Flag(s) was set.";

constexpr std::array<ConnectFlagsRow, 8> kConnectFlags{{
    {CAN, CAN_29BIT_ID | CAN_ID_BOTH, 3, kNoCanFlag},
    {SW_CAN_PS, CAN_29BIT_ID | CAN_ID_BOTH, 3, kNoCanFlag},
    {ISO15765, CAN_29BIT_ID | CAN_ID_BOTH, 4, kNoIso15765Flag},
    {SW_ISO15765_PS, CAN_29BIT_ID | CAN_ID_BOTH, 4, kNoIso15765Flag},
    {FGA7274, CAN_29BIT_ID | CAN_ID_BOTH, 4, kNoIso15765Flag},
    {ISO14230, kIso14230Flags, 5, kNoIso14230Flag},
    {UBP_PS, kIso14230Flags, 5, kNoIso14230Flag},
    {ISO9141, ISO9141_NO_CHECKSUM | ISO9141_K_LINE_ONLY, 6,
     "A non-ISO9141 Connection Flag(s) was set."},
}};
constexpr ConnectFlagsRow kNoConnectFlags{0, 0, 7,
                                          "The ProtocolID does not support Connection Flag(s)."};

/// The highest byte of the flags is the manufacturer's and not looked at.
constexpr std::uint32_t kCheckedFlags = 0x00FFFFFF;

/// Protocols whose communication starts with an initialisation ioctl, or needs no start.
bool StartsCommunication(ProtocolType type) {
  return type != ISO9141 && type != ISO14230 && type != GM_UART_PS && type != UBP_PS;
}

struct IdRange {
  std::uint32_t first;
  std::uint32_t last;
  Status status;
};

constexpr std::array<IdRange, 15> kChannelProtocols{{
    {J1850VPW, SCI_B_TRANS, STATUS_NOERROR},
    {J1850VPW_PS, J1850VPW_PS, STATUS_NOERROR},
    {J1850PWM_PS, J1850PWM_PS, ERR_NOT_SUPPORTED},
    {ISO9141_PS, GM_UART_PS, STATUS_NOERROR},
    {UART_ECHO_BYTE_PS, HONDA_DIAGH_PS, ERR_NOT_SUPPORTED},
    {FT_CAN_PS, FT_ISO15765_PS, STATUS_NOERROR},
    {FGA7274, UBP_PS, STATUS_NOERROR},
    {CAN_CH1, J1850VPW_CH128, ERR_NOT_SUPPORTED},
    {J1850PWM_CH1, J1850PWM_CH128, ERR_NOT_SUPPORTED},
    {ISO9141_CH1, ISO9141_CH128, ERR_NOT_SUPPORTED},
    {ISO14230_CH1, ISO14230_CH128, ERR_NOT_SUPPORTED},
    {ISO15765_CH1, SW_CAN_CAN_CH128, ERR_NOT_SUPPORTED},
    {SW_CAN_ISO15765_CH1, SW_CAN_ISO15765_CH128, ERR_NOT_SUPPORTED},
    {J2610_CH1, J2610_CH128, ERR_NOT_SUPPORTED},
    {0xC000, 0xC01F, ERR_NOT_SUPPORTED},  // analogue inputs
}};

}  // namespace

Status CJ2534Channel::PassThruConnect(std::uint32_t protocolId, std::uint32_t flags,
                                      std::uint32_t baudRate) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::PassThruConnect()", 0x23);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    if (const Status status = ValidateChannelProtocolID(protocolId)) {
      return exit.Fail(1, status, "Protocol ID not supported.");
    }
    if (CJ2534Parameter::ValidateValue(protocolId, DATA_RATE, baudRate) != STATUS_NOERROR) {
      return exit.Fail(2, ERR_INVALID_BAUDRATE, "Invalid Baud Rate value.");
    }
    if (const Status status = CheckConnectFlags(exit, flags)) return status;
    connectFlags_ = flags;
    if (const Status status = MakeLists(exit)) return status;
    if (IsPinSwitched(protocolId)) {
      return Exits::NormalAs("CJ2534Channel::PassThruConnect() without connecting.");
    }
    return ConnectAndDownload(exit);
  });
}

Status CJ2534Channel::CheckConnectFlags(const Exits& exit, std::uint32_t flags) {
  const auto* const found =
      std::find_if(kConnectFlags.begin(), kConnectFlags.end(),
                   [this](const ConnectFlagsRow& row) { return row.type == Type(); });
  const ConnectFlagsRow& row = found != kConnectFlags.end() ? *found : kNoConnectFlags;
  if ((flags & kCheckedFlags & ~row.allowed) == 0) return STATUS_NOERROR;
  return exit.Fail(row.point, ERR_INVALID_FLAGS, row.failure);
}

Status CJ2534Channel::MakeLists(const Exits& exit) {
  parameterList_ = std::make_unique<CJ2534ParameterList>();
  if (const Status status = parameterList_->Initialize(this)) {
    parameterList_.reset();
    return exit.Fail(9, status, "Error initializing Parameter List.");
  }
  filterList_ = std::make_unique<CJ2534FilterList>();
  if (const Status status = filterList_->Initialize(this)) {
    parameterList_.reset();
    filterList_.reset();
    return exit.Fail(11, status, "Error initializing Filter List.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::ConnectAndDownload(const Exits& exit) {
  Status status = CJ2534Parameter::GetDefaultValue(protocolId_, J1962_PINS, &j1962Pins_);
  if (status == STATUS_NOERROR) status = ConnectToVehicle();
  if (status != STATUS_NOERROR) {
    parameterList_.reset();
    filterList_.reset();
    return exit.PassOn(13, status, "Error connecting to vehicle.");
  }
  status = parameterList_->DownloadParameters();
  if (status != STATUS_NOERROR) {
    AbandonLink();
    return exit.PassOn(14, status, "Error downloanding Parameter Values.");
  }
  status = SendUpdateComPrimitive(false);
  if (status != STATUS_NOERROR) {
    AbandonLink();
    return exit.PassOn(15, status, "Error committing Parameter Value.");
  }
  return exit.Normal();
}

Status CJ2534Channel::ConnectToVehicle() {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::ConnectToVehicle()", 0x0D);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    PDU_RSC_DATA resource{};
    std::vector<PDU_PIN_DATA> pins;
    CllCreateFlags flags{};
    if (hasLink_) AbandonLink();
    if (const Status status = DescribeResource(exit, resource, pins, flags)) return status;
    if (const Status status = StartEventProcessor(exit)) return status;
    Status status = CreateLink(exit, resource, flags);
    if (status == STATUS_NOERROR) status = BringUpLink(exit);
    if (status != STATUS_NOERROR) {
      AbandonLink();
      return status;
    }
    vehicleConnected_ = true;
    return exit.Normal();
  });
}

Status CJ2534Channel::DescribeResource(const Exits& exit, PDU_RSC_DATA& resource,
                                       std::vector<PDU_PIN_DATA>& pins, CllCreateFlags& flags) {
  if (const Status status = GetPduResourceProtocolId(&resource)) {
    return exit.PassOn(1, status, "Error getting PDU ProtocolID.");
  }
  if (const Status status = GetPduResourceBusTypeId(&resource)) {
    return exit.PassOn(2, status, "Error getting PDU ProtocolID.");
  }
  if (const Status status = GetPduPinData(pins)) {
    return exit.PassOn(3, status, "Error getting PDU Pin Data.");
  }
  resource.NumPinData = static_cast<UNUM32>(pins.size());
  resource.pDLCPinData = pins.data();
  if (const Status status = GetPduCllCreateFlags(flags)) {
    return exit.PassOn(4, status, "Error getting PDU CLL Create Flags.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::StartEventProcessor(const Exits& exit) {
  auto processor = std::make_unique<CJ2534EventProcessor>();
  if (const Status status = processor->Initialize(this)) {
    return exit.PassOn(9, status, "Error initializing Event Processor.");
  }
  eventProcessors_.push_back(std::move(processor));
  platform::RecursiveMutexLock lock(pdu::PduApiLock());
  eventProcessor_ = eventProcessors_.back().get();
  return STATUS_NOERROR;
}

Status CJ2534Channel::CreateLink(const Exits& exit, PDU_RSC_DATA& resource, CllCreateFlags& flags) {
  PDU_FLAG_DATA createFlags{static_cast<UNUM32>(flags.size()), flags.data()};
  UNUM32 cll = 0;
  const T_PDU_ERROR result = pdu::Api().PDUCreateComLogicalLink(
      moduleHandle_, &resource, PDU_ID_UNDEF, this, &cll, &createFlags);
  if (const Status status = kCreateLinkResults(result)) {
    return exit.Fail(5, status, "Error creating ComLogicalLink.", result);
  }
  cllHandle_ = cll;
  hasLink_ = true;
  pdu::Api().PDURegisterEventCallback(moduleHandle_, cll, PduEventCallback);
  SignalEventProcessor();  // for what was queued before the callback was there
  return STATUS_NOERROR;
}

Status CJ2534Channel::BringUpLink(const Exits& exit) {
  if (const Status status = SetConnectionComParameters()) {
    return exit.PassOn(6, status, "Error setting connection ComParameters.");
  }
  const T_PDU_ERROR result = pdu::Api().PDUConnect(moduleHandle_, cllHandle_);
  if (const Status status = kConnectResults(result)) {
    return exit.Fail(7, status, "Error connecting to the vehicle.", result);
  }
  linkConnected_ = true;
  periodicMessages_.clear();
  if (const Status status = filterList_->DownloadJ2534Filters(true, true, false)) {
    return exit.PassOn(13, status, "Could not download filters into PDU API.");
  }
  if (const Status status = SendRecvOnlyPrimitive()) {
    return exit.PassOn(10, status, "Creating RecvOnly CoP.");
  }
  if (StartsCommunication(Type())) {
    if (const Status status = SendStartComComPrimitive(AppMessage(), false)) {
      return exit.PassOn(12, status, "Error starting communication.");
    }
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::SetConnectionComParameters() {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::SetConnectionComParameters()", 0x0C);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    if (const Status status = parameterList_->SetJ2534ParameterValue(DATA_RATE, baudRate_)) {
      return exit.PassOn(1, status, "Failed setting parameter value.");
    }
    constexpr UNUM32 kNoRepetition = 0;
    if (const Status status = SetPduComParam(pdu::ComParamId(pdu::ComParam::CP_Baudrate),
                                             &baudRate_, sizeof baudRate_)) {
      return exit.PassOn(2, status, "Error setting CP_BAUD_RATE.");
    }
    if (const Status status = SetPduComParam(pdu::ComParamId(pdu::ComParam::CP_RepeatReqCountApp),
                                             &kNoRepetition, sizeof kNoRepetition)) {
      return exit.PassOn(3, status, "Error setting CP_REPEAT_REQ_COUNT_APP.");
    }
    if (const Status status = SetProtocolConnectionComParameters()) {
      return exit.PassOn(4, status, "Error setting Protocol-specific ComParameters.");
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::SetComParams(const Exits& exit, std::span<const ComParamSetting> settings) {
  std::uint16_t point = 1;
  for (const ComParamSetting& setting : settings) {
    if (const Status status =
            SetPduComParam(pdu::ComParamId(setting.param), &setting.value, sizeof setting.value)) {
      return exit.PassOn(point, status, setting.failure);
    }
    ++point;
  }
  return exit.Normal();
}

void CJ2534Channel::StopEventProcessors() {
  {
    // The callback must not reach a processor that goes; its thread needs the lock to end.
    platform::RecursiveMutexLock lock(pdu::PduApiLock());
    eventProcessor_ = nullptr;
  }
  eventProcessors_.clear();
}

void CJ2534Channel::ReleaseLinkItems() { comParams_.Clear(); }

void CJ2534Channel::AbandonLink() {
  vehicleConnected_ = false;
  StopEventProcessors();
  ReleaseLinkItems();
  if (!hasLink_) return;
  if (linkConnected_) pdu::Api().PDUDisconnect(moduleHandle_, cllHandle_);
  pdu::Api().PDUDestroyComLogicalLink(moduleHandle_, cllHandle_);
  linkConnected_ = false;
  hasLink_ = false;
  cllHandle_ = 0;
}

Status CJ2534Channel::DisconnectFromVehicle() {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::DisconnectFromVehicle()", 0x24);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    filterList_.reset();
    parameterList_.reset();
    StopEventProcessors();
    T_PDU_ERROR result = pdu::Api().PDUDisconnect(moduleHandle_, cllHandle_);
    if (const Status status = kDisconnectResults(result)) {
      return exit.Fail(3, status, "Error disconnecting from vehicle.", result);
    }
    linkConnected_ = false;
    result = pdu::Api().PDUDestroyComLogicalLink(moduleHandle_, cllHandle_);
    if (const Status status = kDestroyLinkResults(result)) {
      return ReportError(exit.Name(), "Error destroying CLL.", status,
                         MakeLocation(Module::Channel, 0x22, 1), result, true);
    }
    hasLink_ = false;
    cllHandle_ = 0;
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruDisconnect() {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::PassThruDisconnect()", 0x24);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    if (!hasLink_) return exit.Normal();
    EndPeriodicMessages();
    ReleaseLinkItems();
    if (!vehicleConnected_) {
      StopEventProcessors();  // nothing more can come, and the channel may be destroyed next
      return Exits::NormalAs("CJ2534Channel::PassThruDisconnect() return without destroying");
    }
    if (const Status status = DisconnectFromVehicle()) {
      return exit.PassOn(4, status, "Error destroying ComLogicalLink.");
    }
    vehicleConnected_ = false;
    return exit.Normal();
  });
}

Status CJ2534Channel::ValidateChannelProtocolID(std::uint32_t protocolId) {
  for (const IdRange& range : kChannelProtocols) {
    if (range.first <= protocolId && protocolId <= range.last) {
      return range.status;
    }
  }
  return ERR_INVALID_PROTOCOL_ID;
}

Status CJ2534Channel::GetPduPinData(std::vector<PDU_PIN_DATA>& pins) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::GetPduPinData()", 0x36);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    const std::uint32_t first = (j1962Pins_ >> 8U) & 0xFFU;
    const std::uint32_t second = j1962Pins_ & 0xFFU;
    pins.assign(1, {first, 0});
    if (second != 0) pins.push_back({second, 0});
    return exit.Normal();
  });
}

Status CJ2534Channel::GetPduCllCreateFlags(CllCreateFlags& flags) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::GetPduCllCreateFlags()", 0x37);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    flags = {0xA0, 0x01, 0x00, 0x00};  // raw mode: data begin with the bus header
    return exit.Normal();
  });
}

}  // namespace passbridge
