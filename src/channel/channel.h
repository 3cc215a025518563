#ifndef PASSBRIDGE_CHANNEL_CHANNEL_H_
#define PASSBRIDGE_CHANNEL_CHANNEL_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "channel/com_param_cache.h"
#include "channel/event.h"
#include "channel/event_processor.h"
#include "channel/receive_buffer.h"
#include "config/channel_link.h"
#include "config/filter_list.h"
#include "config/parameter_list.h"
#include "j2534/app_memory.h"
#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "pdu/com_param.h"
#include "pdu/item.h"
#include "pdu/pdu_api.h"
#include "platform/mutex.h"
#include "trace/method.h"

namespace passbridge {

/// How a method of the channel base class names itself.
constexpr Method ChannelMethod(const char* name, std::uint8_t number) {
  return {name, Module::Channel, number};
}

/// How a link is to be created, most significant byte first.
using CllCreateFlags = std::array<UNUM8, 4>;

/// The control data of a ComPrimitive together with the TxFlag bytes that it points to.
struct CopControl {
  CopControl() {
    data.TxFlag.NumFlagBytes = static_cast<UNUM32>(txFlags.size());
    data.TxFlag.pFlagData = txFlags.data();
  }
  CopControl(const CopControl&) = delete;
  CopControl& operator=(const CopControl&) = delete;

  /// Has the ComPrimitive deliver every response.
  void ExpectEveryResponse(UNUM32 numMaskPatternBytes);

  std::array<UNUM8, 4> txFlags{};
  PDU_COP_CTRL_DATA data{};

 private:
  UNUM8 mask_ = 0;
  UNUM8 pattern_ = 0;
  PDU_EXP_RESP_DATA response_{};
};

/// Base of every J2534 channel: one ComLogicalLink (CLL) on a vehicle bus, its parameters, filters,
/// receive buffer and event thread. A protocol's subclass names its resource, sets its own
/// ComParams and refines validation and ComPrimitives (CoPs).
///
/// Connect, disconnect and ioctls run on one application thread at a time; reads and writes on any.
/// Statuses, texts and locations of failures are part of the contract with applications.
class CJ2534Channel : public CJ2534, protected ChannelLink {
 public:
  CJ2534Channel();
  CJ2534Channel(const CJ2534Channel&) = delete;
  CJ2534Channel& operator=(const CJ2534Channel&) = delete;

  // The virtual operations, in the order of their slots; a new one goes to the end.

  /// Checks flags and baud rate, makes the lists and, unless the J1962 pins are yet to be chosen,
  /// connects to the vehicle. Blocks for up to 5 s (start of communication).
  virtual Status PassThruConnect(std::uint32_t protocolId, std::uint32_t flags,
                                 std::uint32_t baudRate);
  virtual Status PassThruDisconnect();

  /// Reads up to *numMsgs messages, which then tells how many were read. With a time-out (ms) it
  /// waits for all of them: ERR_BUFFER_EMPTY when none came, ERR_TIMEOUT when too few; without,
  /// it takes what is there.
  virtual Status PassThruReadMsgs(const AppMessage& msgs, const AppValue& numMsgs,
                                  std::uint32_t timeout);
  /// Sends *numMsgs messages, which then tells how many were handed to the interface. With a
  /// time-out (ms) it waits until they are sent.
  virtual Status PassThruWriteMsgs(const AppMessage& msgs, const AppValue& numMsgs,
                                   std::uint32_t timeout);
  /// The same in one CoP for all messages: all are checked before any is sent.
  virtual Status PassThruWriteMsgsMultiple(const AppMessage& msgs, const AppValue& numMsgs,
                                           std::uint32_t timeout);
  virtual Status PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                          std::uint32_t interval);
  virtual Status PassThruStopPeriodicMsg(std::uint32_t msgId);
  virtual Status PassThruStartMsgFilter(std::uint32_t filterType, const AppMessage& mask,
                                        const AppMessage& pattern, const AppMessage& flowControl,
                                        const AppValue& filterId);
  virtual Status PassThruStopMsgFilter(std::uint32_t filterId);
  virtual Status PassThruIoctl(std::uint32_t ioctlId, const AppPointer& input,
                               const AppPointer& output);
  virtual Status StartPeriodicMsgEx(const AppMessage& msg, const AppValue& msgId,
                                    std::uint32_t interval);
  /// The worker behind PassThruStopPeriodicMsg, on the channel that runs the messages.
  virtual Status StopPeriodicMsgEx(std::uint32_t msgId);

  virtual Status Initialize(UNUM32 moduleHandle, std::uint32_t protocolId, std::uint32_t flags,
                            std::uint32_t baudRate);

  /// Event thread: makes messages of a result item and stores them.
  virtual Status AddResultData(const pdu::SharedEventItem& item);

  /// Puts the ComParams written since the last update in force; waits up to 2 s if asked to.
  virtual Status SendUpdateComPrimitive(bool wait);
  /// Starts the transmission of `count` messages that lie one after the other.
  /// @param interval  ms; 0 sends once, else the interface repeats until cancelled
  /// @param waiter    null, or the event to set when the CoP ends
  /// @param raw       raw CAN frames on an ISO 15765 channel
  virtual Status SendSendOnlyComPrimitive(const AppMessage& msgs, UNUM32* hCop,
                                          std::uint32_t interval, CJ2534Event* waiter, bool raw,
                                          std::uint32_t count);
  /// Starts communication, with an optional message; waits up to 5 s, late or not is success.
  virtual Status SendStartComComPrimitive(const AppMessage& msg, bool expectResponse);
  /// Starts the endless CoP that makes the link deliver what it receives.
  virtual Status SendRecvOnlyPrimitive();

  virtual Status PassThruIoctl_GET_CONFIG(const AppPointer& input);
  virtual Status PassThruIoctl_SET_CONFIG(const AppPointer& input);
  virtual Status PassThruIoctl_FIVE_BAUD_INIT(const AppPointer& input, const AppPointer& output);
  virtual Status PassThruIoctl_FAST_INIT(const AppPointer& input, const AppPointer& output);
  virtual Status PassThruIoctl_CLEAR_TX_BUFFER();
  virtual Status PassThruIoctl_CLEAR_RX_BUFFER();
  virtual Status PassThruIoctl_CLEAR_PERIODIC_MSGS();
  virtual Status PassThruIoctl_CLEAR_MSG_FILTERS();
  virtual Status PassThruIoctl_CLEAR_FUNCT_MSG_LOOKUP_TABLE();
  virtual Status PassThruIoctl_ADD_TO_FUNCT_MSG_LOOKUP_TABLE(const AppPointer& input);
  virtual Status PassThruIoctl_DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE(const AppPointer& input);
  virtual Status PassThruIoctl_SW_CAN_HS();
  virtual Status PassThruIoctl_SW_CAN_NS();
  virtual Status PassThruIoctl_SET_POLL_RESPONSE(const AppPointer& input);
  virtual Status PassThruIoctl_BECOME_MASTER(const AppPointer& input);
  virtual Status PassThruIoctl_START_REPEAT_MESSAGE(const AppPointer& input,
                                                    const AppPointer& output);
  virtual Status PassThruIoctl_QUERY_REPEAT_MESSAGE(const AppPointer& input,
                                                    const AppPointer& output);
  virtual Status PassThruIoctl_STOP_REPEAT_MESSAGE(const AppPointer& input);
  virtual Status PassThruIoctl_PROTECT_J1939_ADDR(const AppPointer& input);
  virtual Status PassThruIoctl_J1850PWM_TERMINATION(const AppPointer& input);

  virtual Status ConnectToVehicle();
  virtual Status DisconnectFromVehicle();

  /// Lets the protocol change a CoP before it is sent: data, size and control data.
  virtual Status AdjustCop(const AppMessage& msg, UNUM32& size, UNUM8* data, CopControl& control);
  /// STATUS_NOERROR for a protocol that can be opened, ERR_NOT_SUPPORTED for one that is known,
  /// ERR_INVALID_PROTOCOL_ID for any other.
  virtual Status ValidateChannelProtocolID(std::uint32_t protocolId);
  virtual Status GetPduPinData(std::vector<PDU_PIN_DATA>& pins);
  virtual Status GetPduCllCreateFlags(CllCreateFlags& flags);
  virtual Status ValidateDataSize(std::uint32_t size, std::uint32_t minimum, std::uint32_t maximum);
  virtual Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                                 std::uint32_t rxStatus);
  virtual Status ValidateMessageRead(std::uint32_t dataSize, const std::uint8_t* data,
                                     std::uint32_t rxStatus);
  virtual Status ValidateMessageWrite(std::uint32_t dataSize, const std::uint8_t* data,
                                      std::uint32_t rxStatus);
  /// Whether a message of `protocolId` may be sent here; `raw` tells that it is a raw CAN frame on
  /// an ISO 15765 channel.
  virtual Status ValidateMessageProtocolID(std::uint32_t protocolId, bool& raw);
  virtual Status PerformProtocolAdjustments(CJ2534PassThruMsg* msg);
  virtual Status PerformProtocolAdjustments(const AppMessage& msg);
  virtual Status PerformPostProcessing(CJ2534PassThruMsg* msg);

  virtual Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) = 0;
  virtual Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) = 0;
  virtual Status SetProtocolConnectionComParameters() = 0;

  virtual ~CJ2534Channel();

  std::uint32_t ChannelId() const { return channelId_; }
  std::uint32_t ProtocolId() const { return protocolId_; }
  UNUM32 ModuleHandle() const final { return moduleHandle_; }
  UNUM32 CllHandle() const final { return cllHandle_; }
  bool HasLink() const { return hasLink_; }
  bool IsVehicleConnected() const final { return vehicleConnected_; }

  /// Any thread, the event thread included. False ends all traffic for good and gives the link's
  /// items back; what was received before stays readable.
  void SetVehicleConnected(bool connected);
  /// Called under PduApiLock.
  void SignalEventProcessor();
  void SetLastPduErrorCode(UNUM32 code) { lastPduErrorCode_ = code; }

  /// Makes this channel deliver into another channel's buffer and signal its readers.
  Status SetJ2534ReceiveBuffer(CJ2534ReceiveBuffer* buffer);
  Status CSingleThreadSync(CJ2534Event* event);
  CJ2534ReceiveBuffer& GetJ2534ReceiveBuffer() { return *receiveBuffer_; }
  CJ2534Event& GetRxEvent() { return *rxEvent_; }

  // ComParams of the link; see ComParamCache.
  Status GetPDUComParam(UNUM32 comParamId);
  Status SetPduComParam(UNUM32 comParamId, const void* value, std::uint32_t size) final;
  Status GetPDUValue(UNUM32 comParamId, UNUM32* value) final;

 protected:
  /// A ComParam that a protocol sets when it connects, and what is reported when that fails.
  struct ComParamSetting {
    pdu::ComParam param;
    UNUM32 value;
    const char* failure;
  };

  /// Sets ComParams in order up to the first failure, which is reported with its message.
  Status SetComParams(const Exits& exit, std::span<const ComParamSetting> settings);

  /// Gives the periodic messages to a channel of their own, which shares this one's buffer and
  /// receive event, settings and pins. Once it is there it stays until PassThruDisconnect.
  Status MakePeriodicChannel(const Exits& exit, std::unique_ptr<CJ2534Channel> channel);
  CJ2534Channel* PeriodicChannel() { return periodicChannel_; }

  std::uint32_t ConnectFlags() const { return connectFlags_; }
  CJ2534FilterList* Filters() { return filterList_.get(); }
  CJ2534ParameterList* Parameters() { return parameterList_.get(); }

  // ChannelLink, for the lists.
  std::uint32_t ChannelProtocolId() const override { return protocolId_; }
  ProtocolType ChannelProtocolType() const override { return Type(); }
  Status CommitComParams() override { return SendUpdateComPrimitive(false); }
  std::span<const std::uint8_t> FunctionalAddresses() const override {
    return functMsgLookupTable_;
  }

 private:
  struct CopStart;
  struct CopOutcome;
  class WriteClock;

  Status MakeLists(const Exits& exit);
  Status CheckConnectFlags(const Exits& exit, std::uint32_t flags);
  Status ConnectAndDownload(const Exits& exit);
  Status DescribeResource(const Exits& exit, PDU_RSC_DATA& resource,
                          std::vector<PDU_PIN_DATA>& pins, CllCreateFlags& flags);
  Status StartEventProcessor(const Exits& exit);
  Status CreateLink(const Exits& exit, PDU_RSC_DATA& resource, CllCreateFlags& flags);
  Status BringUpLink(const Exits& exit);
  Status SetConnectionComParameters();
  /// Undoes what ConnectToVehicle did so far, and reports nothing.
  void AbandonLink();
  void StopEventProcessors();
  void ReleaseLinkItems();

  Status CheckWrite(const Exits& exit, const AppMessage& msgs, const AppValue& numMsgs);
  Status CheckMessageToSend(const Exits& exit, const AppMessage& msg, bool& raw);
  /// Sends messages in one CoP, adds them to `sent`, and waits for the CoP if there is a time-out.
  Status SendAndWait(const Exits& exit, const AppMessage& msgs, std::uint32_t count, bool raw,
                     const WriteClock& clock, const AppValue& sent);
  Status SendBatch(const Exits& exit, const AppMessage& first, std::uint32_t count,
                   const WriteClock& clock, const AppValue& sent);
  Status FinishWrite(const Exits& exit, const WriteClock& clock, bool ended);
  static bool IsSingleFrame(const AppMessage& msg);
  static Status DeviceNotConnected(const Exits& exit, std::uint16_t point);
  static Status ReportReadTimeout(const Exits& exit, std::uint32_t count, bool sawEmptyBuffer);

  /// Starts a CoP and registers its end, both under PduApiLock.
  CopOutcome StartCop(const CopStart& start, UNUM32* hCop);
  static Status ReportCop(const Exits& exit, std::uint16_t point, const CopOutcome& outcome,
                          Status mapped, const char* message, bool firstCause);
  CJ2534EventProcessor* Processor();

  Status AddMessage(const pdu::SharedEventItem& item, std::span<const std::uint8_t> payload,
                    std::uint32_t timestamp);
  Status AddPackedRecords(const pdu::SharedEventItem& item, std::span<const std::uint8_t> packed,
                          std::uint32_t& stored);
  bool IsMixedFormat();

  Status CheckPeriodic(const Exits& exit, const AppMessage& msg, const AppValue& msgId,
                       std::uint32_t interval);
  Status CancelPeriodic(const Exits& exit, UNUM32 hCop);
  /// Makes a filter and puts it into the list; `added` then points to it.
  Status AddFilter(const Exits& exit, std::unique_ptr<CJ2534Filter> filter, CJ2534Filter** added);
  Status SetParameters(const Exits& exit, const AppConfigList& list, bool& pinsSet,
                       bool& mixedFormatSet);
  Status ClearForMixedFormat(const Exits& exit);
  /// SET_CONFIG of one parameter.
  Status SetOneParameter(std::uint32_t parameter, std::uint32_t value);
  void EndPeriodicMessages();

  // Constant after Initialize.
  const std::uint32_t channelId_;
  std::uint32_t protocolId_ = 0;
  UNUM32 moduleHandle_ = 0;

  // The application's thread only.
  std::uint32_t connectFlags_ = 0;
  std::uint32_t baudRate_ = 0;
  std::uint32_t j1962Pins_ = 0;
  std::unique_ptr<CJ2534ParameterList> parameterList_;
  std::unique_ptr<CJ2534FilterList> filterList_;
  std::list<std::unique_ptr<CJ2534EventProcessor>> eventProcessors_;
  UNUM32 recvOnlyCop_ = PDU_HANDLE_UNDEF;
  std::list<UNUM32> periodicMessages_;        // their CoPs, in the order of their start
  CJ2534Channel* periodicChannel_ = nullptr;  // runs the periodic messages: this, or:
  std::unique_ptr<CJ2534Channel> ownPeriodicChannel_;
  bool linkConnected_ = false;  // PDUConnect succeeded
  std::vector<std::uint8_t> functMsgLookupTable_;

  // Synchronised by themselves.
  CJ2534ReceiveBuffer ownReceiveBuffer_;
  CJ2534Event ownRxEvent_;
  CJ2534ReceiveBuffer* receiveBuffer_ = &ownReceiveBuffer_;  // set before the connection
  CJ2534Event* rxEvent_ = &ownRxEvent_;
  ComParamCache comParams_;
  std::atomic<UNUM32> cllHandle_{0};
  std::atomic<bool> hasLink_{false};
  std::atomic<bool> vehicleConnected_{false};
  std::atomic<UNUM32> lastPduErrorCode_{0};

  platform::Mutex startCommLock_;
  UNUM32 startCommCop_ GUARDED_BY(startCommLock_) = PDU_HANDLE_UNDEF;
  platform::Mutex channelLock_;  // one loss of the connection at a time
  CJ2534EventProcessor* eventProcessor_ GUARDED_BY(pdu::PduApiLock()) = nullptr;
};

/// The D-PDU library's event callback of every channel's link. Links whose channel has gone are
/// ignored.
void PDUAPI PduEventCallback(T_PDU_EVT_DATA eventType, UNUM32 hMod, UNUM32 hCll, void* pCllTag,
                             void* pApiTag);

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_CHANNEL_H_
