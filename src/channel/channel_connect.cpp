// The connection lifecycle of a channel: from PassThruConnect to a running link, and back.

#include "channel/channel.h"
#include "config/parameter.h"
#include "j2534/protocol.h"
#include "pdu/com_param.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// The highest byte of the flags is the manufacturer's and not looked at.
constexpr std::uint32_t kCheckedFlags = 0x00FFFFFF;

Status CheckConnectFlags(const Exits& exit, ProtocolType type, std::uint32_t flags) {
  const AdmittedFlags& admitted = AdmittedFlagsOf(type);
  if ((flags & kCheckedFlags & ~admitted.flags) == 0) return STATUS_NOERROR;
  return exit.Fail(admitted.exitPoint, ERR_INVALID_FLAGS, admitted.failure);
}

}  // namespace

Status CJ2534Channel::PassThruConnect(std::uint32_t protocolId, std::uint32_t flags,
                                      std::uint32_t baudRate) {
  return Traced(methods::channel::kPassThruConnect, [&](Exits& exit) -> Status {
    if (const Status status = ValidateChannelProtocolID(protocolId)) {
      return exit.Fail(1, status, "Protocol ID not supported.");
    }
    if (CJ2534Parameter::ValidateValue(protocolId, DATA_RATE, baudRate) != STATUS_NOERROR) {
      return exit.Fail(2, ERR_INVALID_BAUDRATE, "Invalid Baud Rate value.");
    }
    if (const Status status = CheckConnectFlags(exit, Type(), flags)) return status;
    SetConnectFlags(flags);
    if (const Status status = MakeLists(exit)) return status;
    if (IsPinSwitched(protocolId)) {
      return Exits::NormalAs("CJ2534Channel::PassThruConnect() without connecting.");
    }
    return ConnectAndDownload(exit);
  });
}

Status CJ2534Channel::ConnectAndDownload(const Exits& exit) {
  std::uint32_t pins = 0;
  Status status = CJ2534Parameter::GetDefaultValue(ProtocolId(), J1962_PINS, &pins);
  SetJ1962Pins(pins);
  if (status != STATUS_NOERROR) {
    DropLists();
    return exit.PassOn(0x0D, status, "Error connecting to vehicle.");
  }
  status = ConnectToVehicle();
  if (status != STATUS_NOERROR) {
    DropLists();
    return exit.PassOn(0x0E, status, "Error connecting to vehicle.");
  }
  status = DownloadAndCommit(exit, 0x0F);
  if (status != STATUS_NOERROR) {
    GetLink().Abandon();
    return status;
  }
  return exit.Normal();
}

Status CJ2534Channel::DownloadAndCommit(const Exits& exit, std::uint16_t firstPoint) {
  const auto parameters = Parameters();
  const platform::RecursiveMutexLock lock(GetLink().ComParams().Lock());
  const Status downloaded =
      parameters != nullptr ? parameters->DownloadParameters() : Status{ERR_FAILED};
  if (downloaded != STATUS_NOERROR) {
    return exit.PassOn(firstPoint, downloaded, "Error downloanding Parameter Values.");
  }
  if (const Status status = SendUpdateComPrimitive(false)) {
    const auto next = static_cast<std::uint16_t>(firstPoint + 1);
    return exit.PassOn(next, status, "Error committing Parameter Value.");
  }
  return STATUS_NOERROR;
}

namespace {

/// Undoes what was done of a link unless it is told that all went well.
class LinkUndo {
 public:
  explicit LinkUndo(Link& link) : link_(&link) {}
  LinkUndo(const LinkUndo&) = delete;
  LinkUndo& operator=(const LinkUndo&) = delete;
  ~LinkUndo() {
    if (link_ != nullptr) link_->Abandon();
  }
  void Keep() { link_ = nullptr; }

 private:
  Link* link_;
};

}  // namespace

Status CJ2534Channel::ConnectToVehicle() {
  return Traced(methods::channel::kConnectToVehicle, [&](Exits& exit) -> Status {
    if (GetLink().HasLink()) GetLink().Abandon();
    ReopenReads();
    LinkUndo undo(GetLink());
    if (const Status status = CreateLink(exit)) return status;
    if (const Status status = BringUpLink(exit)) return status;
    if (!GetLink().SetConnected()) {
      return exit.Fail(0x0E, ERR_DEVICE_NOT_CONNECTED, "The Device is not connected.");
    }
    undo.Keep();
    return exit.Normal();
  });
}

Status CJ2534Channel::CreateLink(const Exits& exit) {
  PDU_RSC_DATA resource{};
  if (const Status status = GetPduResourceProtocolId(&resource)) {
    return exit.PassOn(1, status, "Error getting PDU ProtocolID.");
  }
  if (const Status status = GetPduResourceBusTypeId(&resource)) {
    return exit.PassOn(2, status, "Error getting PDU ProtocolID.");
  }
  std::vector<PDU_PIN_DATA> pins;
  if (const Status status = GetPduPinData(pins)) {
    return exit.PassOn(3, status, "Error getting PDU Pin Data.");
  }
  resource.NumPinData = static_cast<UNUM32>(pins.size());
  resource.pDLCPinData = pins.data();
  CllCreateFlags flags{};
  if (const Status status = GetPduCllCreateFlags(flags)) {
    return exit.PassOn(4, status, "Error getting PDU CLL Create Flags.");
  }
  if (const Status status = GetLink().StartEventProcessor(exit)) return status;
  return GetLink().Create(exit, resource, flags);
}

Status CJ2534Channel::BringUpLink(const Exits& exit) {
  if (const Status status = SetConnectionComParameters()) {
    return exit.PassOn(6, status, "Error setting connection ComParameters.");
  }
  if (const Status status = GetLink().Connect(exit)) return status;
  const auto filters = Filters();
  const Status downloaded =
      filters != nullptr ? filters->DownloadJ2534Filters(true, true, false) : Status{ERR_FAILED};
  if (downloaded != STATUS_NOERROR) {
    return exit.PassOn(13, downloaded, "Could not download filters into PDU API.");
  }
  periodicMessages_.Clear();
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
  return Traced(methods::channel::kSetConnectionComParameters, [&](Exits& exit) -> Status {
    const std::uint32_t baudRate = BaudRate();
    const auto parameters = Parameters();
    const Status set = parameters != nullptr
                           ? parameters->SetJ2534ParameterValue(DATA_RATE, baudRate)
                           : Status{ERR_FAILED};
    if (set != STATUS_NOERROR) return exit.PassOn(1, set, "Failed setting parameter value.");
    constexpr UNUM32 kNoRepetition = 0;
    if (const Status status = SetPduComParam(pdu::ComParamId(pdu::ComParam::CP_Baudrate), &baudRate,
                                             sizeof baudRate)) {
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
    if (const Status status = SetPduComParam(pdu::ComParamId(setting.param), setting.Value(),
                                             static_cast<std::uint32_t>(setting.Size()))) {
      return exit.PassOn(point, status, setting.failure);
    }
    ++point;
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::DisconnectFromVehicle() {
  return Traced(methods::channel::kDisconnectFromVehicle, [&](Exits& exit) -> Status {
    GetLink().StopEvents();  // before the lists, which its thread uses
    DropLists();
    if (const Status status = GetLink().Destroy(exit)) return status;
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruDisconnect() {
  return Traced(methods::channel::kPassThruDisconnect, [&](Exits& exit) -> Status {
    if (!GetLink().HasLink()) return exit.Normal();
    const bool wasConnected = GetLink().BeginEnd();
    EndReads();
    platform::MutexLock lock(operationLock_);
    EndPeriodicMessages();
    GetLink().StopEvents();
    if (!wasConnected) {
      DropReceived();
      return Exits::NormalAs("CJ2534Channel::PassThruDisconnect() return without destroying");
    }
    if (const Status status = DisconnectFromVehicle()) {
      GetLink().ReviveAfterFailedEnd();
      ReopenReads();
      return exit.PassOn(4, status, "Error destroying ComLogicalLink.");
    }
    DropReceived();  // its items are the D-PDU library's, which may go next
    return exit.Normal();
  });
}

Status CJ2534Channel::ValidateChannelProtocolID(std::uint32_t protocolId) {
  return OpeningStatus(protocolId);
}

Status CJ2534Channel::GetPduPinData(std::vector<PDU_PIN_DATA>& pins) {
  return Traced(methods::channel::kGetPduPinData, [&](Exits& exit) -> Status {
    const std::uint32_t both = J1962Pins();
    const std::uint32_t first = (both >> 8U) & 0xFFU;
    const std::uint32_t second = both & 0xFFU;
    pins.assign(1, {first, 0});
    if (second != 0) pins.push_back({second, 0});
    return exit.Normal();
  });
}

Status CJ2534Channel::GetPduCllCreateFlags(CllCreateFlags& flags) {
  return Traced(methods::channel::kGetPduCllCreateFlags, [&](Exits& exit) -> Status {
    flags = {0xA0, 0x01, 0x00, 0x00};  // raw mode: data begin with the bus header
    return exit.Normal();
  });
}

}  // namespace passbridge
