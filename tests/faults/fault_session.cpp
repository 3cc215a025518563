#include "fault_session.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

namespace passbridge::test {

namespace {

// The answers of a healthy VCI take next to no time, but sanitizers do.
constexpr j2534_ulong kPatience = 5000;
// Beside its time-out, a call may wait for the start of a communication (5 s) and for ComParams to
// take effect (2 s); two channels of a call do so one after the other.
constexpr j2534_ulong kLongestCall = 16000;

constexpr unsigned char kRequest = 0xE0;  // the identifiers 0x7E0 to the engine, 0x7E8 from it
constexpr unsigned char kResponse = 0xE8;

PASSTHRU_MSG Message(j2534_ulong protocol, std::initializer_list<unsigned char> data) {
  PASSTHRU_MSG message{};
  message.ProtocolID = protocol;
  message.DataSize = static_cast<j2534_ulong>(data.size());
  std::copy(data.begin(), data.end(), message.Data);
  return message;
}

PASSTHRU_MSG EngineSpeedRequest(j2534_ulong protocol) {
  return Message(protocol, {0, 0, 0x07, kRequest, 2, 1, 0x0C, 0, 0, 0, 0, 0});
}

}  // namespace

FaultSession::FaultSession(const Library& library, bool healthy, Announce announce)
    : library_(library),
      healthy_(healthy),
      announce_(std::move(announce)),
      timeout_(healthy ? kPatience : 30) {}

std::span<const Stage> FaultSession::Stages() {
  using F = FaultSession;
  static constexpr auto kStages = std::to_array<Stage>({{"open", &F::Open},
                                                        {"versions", &F::Versions},
                                                        {"voltages", &F::Voltages},
                                                        {"connect", &F::Connect},
                                                        {"configuration", &F::Configuration},
                                                        {"filter", &F::Filter},
                                                        {"write", &F::Write},
                                                        {"read", &F::Read},
                                                        {"periodic", &F::Periodic},
                                                        {"ioctls", &F::Ioctls},
                                                        {"pins", &F::Pins},
                                                        {"segments", &F::Segments},
                                                        {"table", &F::Table},
                                                        {"speeds", &F::Speeds},
                                                        {"disconnect", &F::Disconnect},
                                                        {"close", &F::Close}});
  return kStages;
}

void FaultSession::Run(const Stage& stage) {
  stage_ = stage.name;
  (this->*stage.run)();
}

template <typename Function, typename... Arguments>
long FaultSession::Call(const char* name, j2534_ulong timeout, Function function,
                        Arguments... arguments) {
  announce_(name, timeout + kLongestCall);
  const long status = function(arguments...);
  announce_("between calls", kLongestCall);
  const bool good = healthy_ ? status == long{STATUS_NOERROR}
                             : status >= 0 && status <= long{ERR_INVALID_DEVICE_ID};
  if (!good) {
    std::array<char, J2534_TEXT_SIZE> text{};
    library_.PassThruGetLastError(text.data());
    std::array<char, 200> line{};
    std::snprintf(line.data(), line.size(), "%s returned 0x%02lX, last error %s", name,
                  static_cast<unsigned long>(status), text.data());
    Expect(false, line.data());
  }
  return status;
}

void FaultSession::Expect(bool truth, const std::string& what) {
  if (!truth) problems_.push_back(std::string(stage_) + ": " + what);
}

void FaultSession::Open() {
  char name[] = "J2534-2:SN='4711' CXN='USB'";
  const long status = Call("PassThruOpen", 0, library_.PassThruOpen, name, &device_);
  Expect(status != long{STATUS_NOERROR} || device_ != 0, "opened without a DeviceID");
}

void FaultSession::Versions() {
  std::array<char, J2534_TEXT_SIZE> firmware{};
  std::array<char, J2534_TEXT_SIZE> dll{};
  std::array<char, J2534_TEXT_SIZE> api{};
  const long status = Call("PassThruReadVersion", 0, library_.PassThruReadVersion, device_,
                           firmware.data(), dll.data(), api.data());
  if (status != long{STATUS_NOERROR} || !healthy_) return;
  Expect(std::strcmp(firmware.data(), "  2.  3.  4") == 0, "firmware version");
  Expect(std::strcmp(api.data(), "04.04") == 0, "API version");
}

void FaultSession::Voltages() {
  j2534_ulong value = 0;
  Ioctl(device_, READ_VBATT, nullptr, &value);
  Expect(!healthy_ || value == 12600, "battery voltage");
  const auto set = [this](j2534_ulong voltage) {
    Call("PassThruSetProgrammingVoltage", 0, library_.PassThruSetProgrammingVoltage, device_,
         j2534_ulong{12}, voltage);
  };
  set(5000);
  Ioctl(device_, READ_PROG_VOLTAGE, nullptr, &value);
  set(VOLTAGE_OFF);
  Ioctl(device_, GET_VCI_SERIAL_NUMBER, nullptr, &value);
  Expect(!healthy_ || value == 4711, "serial number");
  Ioctl(device_, READ_CABLE_ID, nullptr, &value);
  Expect(!healthy_ || value == 0x100, "cable");
}

void FaultSession::Connect() {
  Call("PassThruConnect", 0, library_.PassThruConnect, device_, j2534_ulong{CAN}, j2534_ulong{0},
       j2534_ulong{500000}, &channel_);
}

void FaultSession::Configuration() {
  Configure(channel_, BIT_SAMPLE_POINT, 75);
  SCONFIG entry{BIT_SAMPLE_POINT, 0};
  SCONFIG_LIST list{1, &entry};
  Ioctl(channel_, GET_CONFIG, &list);
  Expect(!healthy_ || entry.Value == 75, "parameter reads back differently");
}

void FaultSession::Filter() { PassFilter(channel_, CAN, kResponse, &filter_); }

void FaultSession::Write() { Send(channel_, CAN); }

void FaultSession::Read() { Receive(channel_, kResponse); }

j2534_ulong FaultSession::StartPeriodic() {
  PASSTHRU_MSG message = EngineSpeedRequest(CAN);
  j2534_ulong id = 0;
  Call("PassThruStartPeriodicMsg", 0, library_.PassThruStartPeriodicMsg, channel_, &message, &id,
       j2534_ulong{20});
  return id;
}

void FaultSession::Periodic() {
  const j2534_ulong id = StartPeriodic();
  Receive(channel_, kResponse);
  Call("PassThruStopPeriodicMsg", 0, library_.PassThruStopPeriodicMsg, channel_, id);
}

void FaultSession::Ioctls() {
  StartPeriodic();
  Ioctl(channel_, CLEAR_TX_BUFFER);
  Ioctl(channel_, CLEAR_RX_BUFFER);
  Ioctl(channel_, CLEAR_PERIODIC_MSGS);
  Call("PassThruStopMsgFilter", 0, library_.PassThruStopMsgFilter, channel_, filter_);
  PassFilter(channel_, CAN, kResponse, &filter_);
  Ioctl(channel_, CLEAR_MSG_FILTERS);
}

void FaultSession::Pins() {
  Call("PassThruConnect", 0, library_.PassThruConnect, device_, j2534_ulong{CAN_PS}, j2534_ulong{0},
       j2534_ulong{500000}, &pinChannel_);
  Configure(pinChannel_, J1962_PINS, 0x060E);
  Configure(pinChannel_, LOOPBACK, 1);
  j2534_ulong filter = 0;
  PassFilter(pinChannel_, CAN_PS, kRequest, &filter);
  Send(pinChannel_, CAN_PS);
  Receive(pinChannel_, kRequest);
}

void FaultSession::Segments() {
  Call("PassThruConnect", 0, library_.PassThruConnect, device_, j2534_ulong{ISO15765},
       j2534_ulong{0}, j2534_ulong{500000}, &isoChannel_);
  PASSTHRU_MSG mask = Message(ISO15765, {0xFF, 0xFF, 0xFF, 0xFF});
  PASSTHRU_MSG response = Message(ISO15765, {0, 0, 0x07, kResponse});
  PASSTHRU_MSG request = Message(ISO15765, {0, 0, 0x07, kRequest});
  j2534_ulong filter = 0;
  Call("PassThruStartMsgFilter", 0, library_.PassThruStartMsgFilter, isoChannel_,
       j2534_ulong{FLOW_CONTROL_FILTER}, &mask, &response, &request, &filter);
  SendMessage(isoChannel_, Message(ISO15765, {0, 0, 0x07, kRequest, 0x22, 0xF1, 0x90}));
  Receive(isoChannel_, kRequest);   // it is sent,
  Receive(isoChannel_, kResponse);  // an answer begins,
  Receive(isoChannel_, kResponse);  // the answer
  Call("PassThruStopMsgFilter", 0, library_.PassThruStopMsgFilter, isoChannel_, filter);
}

void FaultSession::Table() {
  Call("PassThruConnect", 0, library_.PassThruConnect, device_, j2534_ulong{J1850PWM},
       j2534_ulong{0}, j2534_ulong{41600}, &tableChannel_);
  Configure(tableChannel_, NODE_ADDRESS, 0xF1);
  unsigned char responses = 0x6B;
  SBYTE_ARRAY addresses{1, &responses};
  Ioctl(tableChannel_, ADD_TO_FUNCT_MSG_LOOKUP_TABLE, &addresses);
  SendMessage(tableChannel_, Message(J1850PWM, {0x61, 0x6A, 0xF1, 0x03}));
  Receive(tableChannel_, 0x43);
  Ioctl(tableChannel_, DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE, &addresses);
}

void FaultSession::Speeds() {
  Call("PassThruConnect", 0, library_.PassThruConnect, device_, j2534_ulong{SW_CAN_PS},
       j2534_ulong{0}, j2534_ulong{33333}, &speedChannel_);
  Configure(speedChannel_, J1962_PINS, 0x0100);
  Configure(speedChannel_, SW_CAN_SPEEDCHANGE_ENABLE, 1);
  PASSTHRU_MSG all = Message(SW_CAN_PS, {0});
  j2534_ulong filter = 0;
  Call("PassThruStartMsgFilter", 0, library_.PassThruStartMsgFilter, speedChannel_,
       j2534_ulong{PASS_FILTER}, &all, &all, static_cast<PASSTHRU_MSG*>(nullptr), &filter);
  SendMessage(speedChannel_, Message(SW_CAN_PS, {0, 0, 1, 1, 0xFE, 2, 0xA5, 0x02}));
  Receive(speedChannel_, 0x41);
  Ioctl(speedChannel_, SW_CAN_HS);
}

void FaultSession::Disconnect() {
  for (const j2534_ulong channel :
       {speedChannel_, tableChannel_, isoChannel_, pinChannel_, channel_}) {
    Call("PassThruDisconnect", 0, library_.PassThruDisconnect, channel);
  }
}

void FaultSession::Close() { Call("PassThruClose", 0, library_.PassThruClose, device_); }

void FaultSession::CleanUp() {
  stage_ = "clean-up";
  Disconnect();
  Close();
  device_ = 0;
  char name[] = "J2534-2:SN='4711' CXN='USB'";
  const long opened = Call("PassThruOpen", 0, library_.PassThruOpen, name, &device_);
  Expect(opened == long{STATUS_NOERROR}, "opening again returned " + std::to_string(opened));
  const long closed = Call("PassThruClose", 0, library_.PassThruClose, device_);
  Expect(closed == long{STATUS_NOERROR}, "the last close returned " + std::to_string(closed));
}

void FaultSession::Ioctl(j2534_ulong handle, j2534_ulong ioctl, void* input, void* output) {
  const std::string name = "PassThruIoctl " + std::to_string(ioctl);
  Call(name.c_str(), 0, library_.PassThruIoctl, handle, ioctl, input, output);
}

void FaultSession::Configure(j2534_ulong channel, j2534_ulong parameter, j2534_ulong value) {
  SCONFIG entry{parameter, value};
  SCONFIG_LIST list{1, &entry};
  Ioctl(channel, SET_CONFIG, &list);
}

void FaultSession::PassFilter(j2534_ulong channel, j2534_ulong protocol,
                              unsigned char lastIdentifierByte, j2534_ulong* filter) {
  PASSTHRU_MSG mask = Message(protocol, {0xFF, 0xFF, 0xFF, 0xFF});
  PASSTHRU_MSG pattern = Message(protocol, {0, 0, 0x07, lastIdentifierByte});
  Call("PassThruStartMsgFilter", 0, library_.PassThruStartMsgFilter, channel,
       j2534_ulong{PASS_FILTER}, &mask, &pattern, static_cast<PASSTHRU_MSG*>(nullptr), filter);
}

void FaultSession::Send(j2534_ulong channel, j2534_ulong protocol) {
  SendMessage(channel, EngineSpeedRequest(protocol));
}

void FaultSession::SendMessage(j2534_ulong channel, PASSTHRU_MSG message) {
  j2534_ulong count = 1;
  Call("PassThruWriteMsgs", timeout_, library_.PassThruWriteMsgs, channel, &message, &count,
       timeout_);
  Expect(!healthy_ || count == 1, "message not sent");
}

void FaultSession::Receive(j2534_ulong channel, unsigned char lastIdentifierByte) {
  PASSTHRU_MSG message{};
  j2534_ulong count = 1;
  Call("PassThruReadMsgs", timeout_, library_.PassThruReadMsgs, channel, &message, &count,
       timeout_);
  Expect(!healthy_ || (count == 1 && message.Data[3] == lastIdentifierByte), "another message");
}

}  // namespace passbridge::test
