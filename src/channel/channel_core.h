#ifndef PASSBRIDGE_CHANNEL_CHANNEL_CORE_H_
#define PASSBRIDGE_CHANNEL_CHANNEL_CORE_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "channel/event.h"
#include "channel/event_sink.h"
#include "channel/funct_msg_lookup_table.h"
#include "channel/link.h"
#include "channel/receive_buffer.h"
#include "config/channel_link.h"
#include "config/filter_list.h"
#include "config/parameter_list.h"
#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "platform/mutex.h"
#include "trace/method.h"

namespace passbridge {

/// What every channel is made of: its link, its lists, where received messages go, its pins and
/// other numbers. Any thread may use all of it at any time, unless it is said otherwise.
class ChannelCore : public CJ2534, protected ChannelLink, protected EventSink {
 public:
  ChannelCore(const ChannelCore&) = delete;
  ChannelCore& operator=(const ChannelCore&) = delete;

  std::uint32_t ChannelId() const { return channelId_; }
  std::uint32_t ProtocolId() const { return protocolId_; }
  UNUM32 ModuleHandle() const final { return link_.Handles().module; }
  UNUM32 CllHandle() const final { return link_.Handles().cll; }
  bool HasLink() const { return link_.HasLink(); }
  bool IsVehicleConnected() const final { return link_.IsConnected(); }

  /// Waits for nobody. False ends all traffic for good; what was received before stays readable.
  /// True changes nothing: what was lost stays so.
  void SetVehicleConnected(bool connected);

  /// Makes this channel deliver into another channel's buffer and signal its readers; before it is
  /// connected.
  Status SetJ2534ReceiveBuffer(CJ2534ReceiveBuffer* buffer);
  Status CSingleThreadSync(CJ2534Event* event);
  CJ2534ReceiveBuffer& GetJ2534ReceiveBuffer() { return *receiveBuffer_; }
  CJ2534Event& GetRxEvent() { return *rxEvent_; }

  // ComParams of the link; see ComParamCache.
  Status GetPDUComParam(UNUM32 id) { return link_.ComParams().Fetch(link_.Handles(), id); }
  Status SetPduComParam(UNUM32 id, const void* value, std::uint32_t size) final {
    return link_.ComParams().Set(link_.Handles(), id, value, size);
  }
  Status GetPDUValue(UNUM32 id, UNUM32* value) final {
    return link_.ComParams().Get(link_.Handles(), id, value);
  }

 protected:
  ChannelCore();
  ~ChannelCore() = default;

  /// Before the channel is known to anyone else.
  Status SetIdentity(UNUM32 module, std::uint32_t protocolId, std::uint32_t flags,
                     std::uint32_t baudRate);
  void SetConnectFlags(std::uint32_t flags) { connectFlags_ = flags; }

  std::uint32_t ConnectFlags() const { return connectFlags_; }
  /// First pin in bits 8 to 15, second in bits 0 to 7; 0 while they are not set.
  std::uint32_t J1962Pins() const { return j1962Pins_; }
  void SetJ1962Pins(std::uint32_t pins) { j1962Pins_ = pins; }
  /// Takes the pins of a SET_CONFIG over; `pinsSet` tells if there is something to connect now. The
  /// pins of a link that is up cannot change: that is reported at exit 3.
  Status TakePins(const Exits& exit, std::uint32_t pins, bool& pinsSet);
  /// Whether the pins are set and were connected; until then most operations are refused.
  bool HasPins() const;
  /// The channel's DATA_RATE, bit/s.
  std::uint32_t BaudRate() const { return baudRate_; }
  void SetBaudRate(std::uint32_t baudRate) { baudRate_ = baudRate; }
  /// T_PDU_ERR_EVT of the last error item of the link since it was cleared; 0 for none.
  UNUM32 LastPduErrorCode() const { return lastPduErrorCode_; }
  void ClearLastPduErrorCode() { lastPduErrorCode_ = 0; }
  FunctMsgLookupTable& LookupTable() { return functMsgLookupTable_; }
  Link& GetLink() { return link_; }

  /// Why a channel that is not connected refuses: it ends, or the VCI is lost.
  Status ReportNotConnected(const Exits& exit, std::uint16_t point) const;

  /// Makes the lists of the channel's protocol; a failure is reported, and leaves none.
  Status MakeLists(const Exits& exit) EXCLUDES(listLock_);
  /// Whoever uses a list just now keeps it until then.
  void DropLists() EXCLUDES(listLock_);
  /// Null before MakeLists and after DropLists.
  std::shared_ptr<CJ2534FilterList> Filters() const EXCLUDES(listLock_);
  std::shared_ptr<CJ2534ParameterList> Parameters() const EXCLUDES(listLock_);
  bool IsMixedFormat() const;

  /// Ends every wait for messages, until ReopenReads; those of another channel that share its event
  /// only wake up.
  void EndReads();
  void ReopenReads() { ownRxEvent_.Reopen(); }
  /// Gives the items of the channel's own buffer back.
  void DropReceived() { ownReceiveBuffer_.Clear(); }

  // ChannelLink, for the lists.
  std::uint32_t ChannelProtocolId() const override { return protocolId_; }
  ProtocolType ChannelProtocolType() const override { return Type(); }
  std::vector<std::uint8_t> FunctionalAddresses() const override {
    return functMsgLookupTable_.Get();
  }

  // EventSink, on the event thread.
  void NotePduError(UNUM32 code) override { lastPduErrorCode_ = code; }
  void LoseVehicle() override { SetVehicleConnected(false); }

 private:
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

  mutable platform::Mutex listLock_;  // held for these members only
  std::shared_ptr<CJ2534ParameterList> parameterList_ GUARDED_BY(listLock_);
  std::shared_ptr<CJ2534FilterList> filterList_ GUARDED_BY(listLock_);

  Link link_;  // last: its thread ends first
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_CHANNEL_CORE_H_
