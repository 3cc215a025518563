#ifndef PASSBRIDGE_CHANNEL_CHANNEL_H_
#define PASSBRIDGE_CHANNEL_CHANNEL_H_

#include <cstdint>
#include <span>
#include <vector>

#include "channel/channel_core.h"
#include "channel/com_param_setting.h"
#include "channel/cop.h"
#include "channel/periodic_messages.h"
#include "j2534/app_memory.h"
#include "passbridge/d_pdu_api.h"
#include "platform/mutex.h"
#include "trace/method.h"

namespace passbridge {

/// Base of every J2534 channel: one ComLogicalLink (CLL) on a vehicle bus, its parameters, filters,
/// receive buffer and event thread. A protocol's subclass names its resource, sets its own
/// ComParams and refines validation and ComPrimitives (CoPs).
///
/// An application connects and disconnects a channel beside no other call but reads and writes that
/// wait: these end at once then, and when the VCI is lost. Everything else may come from any thread
/// at any time. Statuses, texts and locations of failures are a contract with applications.
class CJ2534Channel : public ChannelCore {
 public:
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
  Status AddResultData(pdu::SharedEventItem item) override;

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

  /// Ends the channel's threads, and every wait, for good. Not on its event thread.
  void StopThreads();

 protected:
  /// Sets ComParams in order up to the first failure, which is reported with its message.
  Status SetComParams(const Exits& exit, std::span<const ComParamSetting> settings);
  /// Sets a ComParam and waits (2 s) until it is in force; reports at `point` and the next exit.
  Status SetAndCommit(const Exits& exit, std::uint16_t point, const ComParamSetting& setting,
                      const char* commitFailure);
  /// Downloads and commits the parameters in one step; reports at `firstPoint` and the next exit.
  Status DownloadAndCommit(const Exits& exit, std::uint16_t firstPoint);

  /// Starts a periodic message on a channel of its own, which shares this one's buffer and receive
  /// event and is made with the first one; it stays until PassThruDisconnect.
  Status StartOnPeriodicChannel(const Exits& exit, const PeriodicChannelPlan& plan,
                                const AppMessage& msg, const AppValue& msgId,
                                std::uint32_t interval) EXCLUDES(operationLock_);

  // ChannelLink, for the lists.
  Status CommitComParams() override { return SendUpdateComPrimitive(false); }

 private:
  class WriteCall;
  class WriteClock;

  Status ConnectAndDownload(const Exits& exit);
  Status CreateLink(const Exits& exit);
  Status BringUpLink(const Exits& exit);
  Status SetConnectionComParameters();
  /// The data and control data of a CoP that sends `msg`, as the protocol adjusts them.
  Status DescribeSend(const AppMessage& msg, bool raw, CopData& data, CopControl& control);
  /// How many of the messages, from the first on, one CoP can carry.
  std::uint32_t CountForOneCop(const AppMessage& msgs, std::uint32_t count);
  CopEnd WaitForCop(CopWait& wait, UNUM32 hCop);

  Status CheckPeriodic(const Exits& exit, const AppMessage& msg, const AppValue& msgId,
                       std::uint32_t interval);
  Status MakePeriodicChannel(const Exits& exit, const PeriodicChannelPlan& plan)
      REQUIRES(operationLock_);
  Status TakeOver(CJ2534Channel& periodic, const TakenOver& taken);
  void EndPeriodicMessages() REQUIRES(operationLock_);

  bool HasMoreQueued();
  Status AddMessage(pdu::SharedEventItem item, std::span<const std::uint8_t> payload,
                    std::uint32_t timestamp, bool& stored);
  Status AddPackedRecords(const pdu::SharedEventItem& item, std::span<const std::uint8_t> packed,
                          bool& stored);
  Status FollowLinkSpeed(const Exits& exit);
  Status SetParameters(const Exits& exit, const AppConfigList& list, bool& pinsSet,
                       bool& mixedFormatSet);
  Status ApplyParameters(const Exits& exit, const AppConfigList& list);
  Status ClearForMixedFormat(const Exits& exit);
  Status SetOneParameter(std::uint32_t parameter, std::uint32_t value);

  PeriodicMessages periodicMessages_;

  // One application thread at a time changes the settings, filters and periodic messages. Before
  // every other lock of ours; the event thread and the D-PDU library's threads never take it, so
  // it may be held while one waits for them.
  platform::Mutex operationLock_;
  CJ2534Channel* periodicChannel_ GUARDED_BY(operationLock_) = nullptr;  // this one, or:
  OwnedChannel ownPeriodicChannel_ GUARDED_BY(operationLock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_CHANNEL_H_
