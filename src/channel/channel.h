#ifndef PASSBRIDGE_CHANNEL_CHANNEL_H_
#define PASSBRIDGE_CHANNEL_CHANNEL_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "channel/cop.h"
#include "channel/event.h"
#include "channel/event_sink.h"
#include "channel/funct_msg_lookup_table.h"
#include "channel/link.h"
#include "channel/periodic_messages.h"
#include "channel/receive_buffer.h"
#include "config/channel_link.h"
#include "config/filter_list.h"
#include "config/parameter_list.h"
#include "j2534/app_memory.h"
#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "pdu/com_param.h"
#include "platform/mutex.h"
#include "trace/method.h"

namespace passbridge {

class CJ2534Channel;

/// Ends the threads of a channel before anything of it goes, its subclass's members included.
struct ChannelDeleter {
  void operator()(CJ2534Channel* channel) const;
};
using OwnedChannel = std::unique_ptr<CJ2534Channel, ChannelDeleter>;

/// Base of every J2534 channel: one ComLogicalLink (CLL) on a vehicle bus, its parameters, filters,
/// receive buffer and event thread. A protocol's subclass names its resource, sets its own
/// ComParams and refines validation and ComPrimitives (CoPs).
///
/// An application connects and disconnects a channel beside no other call but reads and writes that
/// wait: these end at once then, and when the VCI is lost. Everything else may come from any thread
/// at any time. Statuses, texts and locations of failures are part of the contract with
/// applications.
class CJ2534Channel : public CJ2534, protected ChannelLink, protected EventSink {
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
  Status AddResultData(const pdu::SharedEventItem& item) override;

  /// Puts the ComParams written since the last update in force; waits up to 2 s if asked to.
  virtual Status SendUpdateComPrimitive(bool wait);
  /// Starts the transmission of `count` messages that lie one after the other.
  /// @param interval  ms; 0 sends once, else the interface repeats until cancelled
  /// @param wait      null, or the wait for the end of the CoP
  /// @param raw       raw CAN frames on an ISO 15765 channel
  virtual Status SendSendOnlyComPrimitive(const AppMessage& msgs, UNUM32* hCop,
                                          std::uint32_t interval, CopWait* wait, bool raw,
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
  virtual Status AdjustCop(const AppMessage& msg, CopData& data, CopControl& control);
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
  UNUM32 ModuleHandle() const final { return link_.Module(); }
  UNUM32 CllHandle() const final { return link_.Cll(); }
  bool HasLink() const { return link_.HasLink(); }
  bool IsVehicleConnected() const final { return link_.IsConnected(); }

  /// Any thread, the event thread included; waits for nobody. False ends all traffic for good; what
  /// was received before stays readable. True changes nothing: what was lost stays so.
  void SetVehicleConnected(bool connected);
  /// Ends the channel's threads, and every wait, for good. Not on its event thread.
  void StopThreads();

  /// Makes this channel deliver into another channel's buffer and signal its readers; before it is
  /// connected.
  Status SetJ2534ReceiveBuffer(CJ2534ReceiveBuffer* buffer);
  Status CSingleThreadSync(CJ2534Event* event);
  CJ2534ReceiveBuffer& GetJ2534ReceiveBuffer() { return *receiveBuffer_; }
  CJ2534Event& GetRxEvent() { return *rxEvent_; }

  // ComParams of the link; see ComParamCache.
  Status GetPDUComParam(UNUM32 comParamId) { return link_.FetchComParam(comParamId); }
  Status SetPduComParam(UNUM32 comParamId, const void* value, std::uint32_t size) final {
    return link_.SetComParam(comParamId, value, size);
  }
  Status GetPDUValue(UNUM32 comParamId, UNUM32* value) final {
    return link_.GetComParam(comParamId, value);
  }

 protected:
  /// A ComParam that a protocol sets when it connects, and what is reported when that fails. The
  /// value is a number or, for a byte field, bytes.
  struct ComParamSetting {
    pdu::ComParam param;
    UNUM32 value;
    const char* failure;
    std::span<const UNUM8> bytes = {};  ///< in place of the number where `isBytes` says so
    bool isBytes = false;
  };
  static constexpr ComParamSetting Bytes(pdu::ComParam param, std::span<const UNUM8> bytes,
                                         const char* failure) {
    return {param, 0, failure, bytes, true};
  }

  /// A parameter that the channel of the periodic messages takes over from this one. J1962_PINS is
  /// taken over, and connects it, only where pins are switched.
  struct TakenOver {
    std::uint32_t parameter;
    const char* failure;
  };
  /// How a protocol's second channel for periodic messages is made, and what it takes over from the
  /// first one, in this order.
  struct PeriodicChannelPlan {
    OwnedChannel (*make)();
    std::span<const TakenOver> takenOver;
  };

  /// Sets ComParams in order up to the first failure, which is reported with its message.
  Status SetComParams(const Exits& exit, std::span<const ComParamSetting> settings);

  /// Starts a periodic message on a channel of its own, which shares this one's buffer and receive
  /// event and is made with the first one; it stays until PassThruDisconnect.
  Status StartOnPeriodicChannel(const Exits& exit, const PeriodicChannelPlan& plan,
                                const AppMessage& msg, const AppValue& msgId,
                                std::uint32_t interval) EXCLUDES(operationLock_);

  std::uint32_t ConnectFlags() const { return connectFlags_; }
  /// First pin in bits 8 to 15, second in bits 0 to 7; 0 while they are not set.
  std::uint32_t J1962Pins() const { return j1962Pins_; }
  void SetJ1962Pins(std::uint32_t pins) { j1962Pins_ = pins; }
  /// The channel's DATA_RATE, bit/s.
  std::uint32_t BaudRate() const { return baudRate_; }
  void SetBaudRate(std::uint32_t baudRate) { baudRate_ = baudRate; }
  FunctMsgLookupTable& LookupTable() { return functMsgLookupTable_; }
  Link& GetLink() { return link_; }

  /// Null before PassThruConnect, and after the link was taken down.
  std::shared_ptr<CJ2534FilterList> Filters() const EXCLUDES(listLock_);
  std::shared_ptr<CJ2534ParameterList> Parameters() const EXCLUDES(listLock_);

  // ChannelLink, for the lists.
  std::uint32_t ChannelProtocolId() const override { return protocolId_; }
  ProtocolType ChannelProtocolType() const override { return Type(); }
  Status CommitComParams() override { return SendUpdateComPrimitive(false); }
  std::vector<std::uint8_t> FunctionalAddresses() const override {
    return functMsgLookupTable_.Get();
  }

  // EventSink, on the event thread.
  void NotePduError(UNUM32 code) override { lastPduErrorCode_ = code; }
  void LoseVehicle() override { SetVehicleConnected(false); }

 private:
  class WriteCall;
  class WriteClock;

  /// Whether the pins are set and were connected; until then most operations are refused.
  bool HasPins() const;
  /// Why a channel that is not connected refuses: it ends, or the VCI is lost.
  Status ReportNotConnected(const Exits& exit, std::uint16_t point) const;

  Status CheckConnectFlags(const Exits& exit, std::uint32_t flags);
  Status MakeLists(const Exits& exit) EXCLUDES(listLock_);
  void DropLists() EXCLUDES(listLock_);
  Status ConnectAndDownload(const Exits& exit);
  Status CreateLink(const Exits& exit);
  Status BringUpLink(const Exits& exit);
  Status SetConnectionComParameters();
  /// Ends every wait for messages; those of other channels that share the event only wake up.
  void EndReads();

  /// The data and control data of a CoP that sends `msg`, as the protocol adjusts them.
  Status DescribeSend(const AppMessage& msg, bool raw, CopData& data, CopControl& control);
  /// How many of the messages, from the first on, one CoP can carry.
  std::uint32_t CountForOneCop(const AppMessage& msgs, std::uint32_t count);
  CopEnd WaitForCop(CopWait& wait, UNUM32 hCop);

  Status AddMessage(const pdu::SharedEventItem& item, std::span<const std::uint8_t> payload,
                    std::uint32_t timestamp, bool& stored);
  Status AddPackedRecords(const pdu::SharedEventItem& item, std::span<const std::uint8_t> packed,
                          bool& stored);
  Status FollowLinkSpeed(const Exits& exit);
  bool IsMixedFormat() const;

  Status CheckPeriodic(const Exits& exit, const AppMessage& msg, const AppValue& msgId,
                       std::uint32_t interval);
  Status MakePeriodicChannel(const Exits& exit, const PeriodicChannelPlan& plan)
      REQUIRES(operationLock_);
  Status TakeOver(CJ2534Channel& periodic, const TakenOver& taken);
  void EndPeriodicMessages() REQUIRES(operationLock_);

  Status SetParameters(const Exits& exit, const AppConfigList& list, bool& pinsSet,
                       bool& mixedFormatSet);
  Status ApplyParameters(const Exits& exit, const AppConfigList& list);
  Status DownloadAndCommit(const Exits& exit, std::uint16_t firstPoint);
  Status ClearForMixedFormat(const Exits& exit);
  /// SET_CONFIG of one parameter.
  Status SetOneParameter(std::uint32_t parameter, std::uint32_t value);

  // Constant after the connection.
  const std::uint32_t channelId_;
  std::uint32_t protocolId_ = 0;
  std::uint32_t connectFlags_ = 0;

  // Synchronised by themselves.
  std::atomic<std::uint32_t> baudRate_{0};
  std::atomic<std::uint32_t> j1962Pins_{0};
  std::atomic<UNUM32> lastPduErrorCode_{0};
  CJ2534ReceiveBuffer ownReceiveBuffer_;
  CJ2534Event ownRxEvent_;
  CJ2534ReceiveBuffer* receiveBuffer_ = &ownReceiveBuffer_;  // set before the connection
  CJ2534Event* rxEvent_ = &ownRxEvent_;
  FunctMsgLookupTable functMsgLookupTable_;
  PeriodicMessages periodicMessages_;

  mutable platform::Mutex listLock_;  // held for these members only
  std::shared_ptr<CJ2534ParameterList> parameterList_ GUARDED_BY(listLock_);
  std::shared_ptr<CJ2534FilterList> filterList_ GUARDED_BY(listLock_);

  // One application thread at a time changes the settings, filters and periodic messages. Before
  // every other lock of ours; the event thread and the D-PDU library's threads never take it, so
  // it may be held while one waits for them.
  platform::Mutex operationLock_;
  CJ2534Channel* periodicChannel_ GUARDED_BY(operationLock_) = nullptr;  // this one, or:
  OwnedChannel ownPeriodicChannel_ GUARDED_BY(operationLock_);

  Link link_;  // last: its thread ends first
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_CHANNEL_H_
