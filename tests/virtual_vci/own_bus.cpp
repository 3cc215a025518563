// A type of bus and a protocol that only tests have, in the places of the virtual VCI's own:
// whatever these need beyond their rows in the two tables, the virtual VCI would have to know of
// them.
#include <algorithm>
#include <array>
#include <utility>

#include "virtual_vci/links/cop_engine.h"
#include "virtual_vci/protocols/protocol_table.h"
#include "virtual_vci/scenario/bus_types.h"

namespace virtual_vci {

namespace {

constexpr Micros kByteTime = 1000;
constexpr UNUM8 kInitAddress = 0x33;
constexpr auto kPortMembers = std::to_array<std::string_view>({"address"});

/// An ECU listens to messages that begin with its address, and answers with it.
struct BytePortConfig : PortConfig {
  std::uint8_t address = 0;
};

std::shared_ptr<PortConfig> ReadBytePort(const JsonValue& json, const std::vector<Signal>&) {
  auto port = std::make_shared<BytePortConfig>();
  port->address = static_cast<std::uint8_t>(json.Get("address").Number(0, 0xFF));
  return port;
}

class ByteNode {
 public:
  virtual ~ByteNode() = default;
  virtual void Heard(const Bytes& message, FrameTimes times) = 0;
};

/// Whoever sends is heard by all others after the time of the bytes.
class ByteBus : public Bus {
 public:
  ByteBus(Scheduler& scheduler, std::uint32_t) : scheduler_(scheduler) {}

  void Attach(ByteNode& node) { nodes_.push_back(&node); }
  void Detach(ByteNode& node) { std::erase(nodes_, &node); }
  void Send(const ByteNode* from, Bytes message, std::function<void(FrameTimes)> done) {
    const Micros start = scheduler_.Now();
    scheduler_.After(message.size() * kByteTime, Pace::kProgress,
                     [this, from, message = std::move(message), done = std::move(done), start] {
      const FrameTimes times{start, scheduler_.Now()};
      for (ByteNode* node : std::vector(nodes_)) {
        if (node != from) node->Heard(message, times);
      }
      if (done) done(times);
    });
  }
  std::unique_ptr<EcuPort> MakePort(const PortConfig& config, const PortContext& context) override;
  bool SendBytes(std::span<const std::uint8_t> message, std::uint32_t) override {
    Send(nullptr, Bytes(message.begin(), message.end()), nullptr);
    return !message.empty();
  }

 private:
  Scheduler& scheduler_;
  std::vector<ByteNode*> nodes_;
};

class BytePort : public EcuPort, private ByteNode {
 public:
  BytePort(const BytePortConfig& config, const PortContext& context, ByteBus& bus)
      : config_(config), context_(context), bus_(bus) {
    bus_.Attach(*this);
  }
  ~BytePort() override { bus_.Detach(*this); }
  bool Busy() const override { return busy_; }
  void Respond(Bytes message) override {
    busy_ = true;
    message.insert(message.begin(), config_.address);
    bus_.Send(this, std::move(message), [this](FrameTimes) {
      busy_ = false;
      context_.host.Responded(*this);
    });
  }
  void SetCyclic(bool) override {}

 private:
  void Heard(const Bytes& message, FrameTimes) override {
    if (message.size() < 2 || message[0] != config_.address) return;
    context_.host.Requested(*this, Bytes(message.begin() + 1, message.end()), false, 0);
  }

  const BytePortConfig& config_;
  const PortContext context_;
  ByteBus& bus_;
  bool busy_ = false;
};

std::unique_ptr<EcuPort> ByteBus::MakePort(const PortConfig& config, const PortContext& context) {
  return std::make_unique<BytePort>(static_cast<const BytePortConfig&>(config), context, *this);
}

/// Initialises with an address byte: one ECU at 0x33 answers it with key bytes, others don't.
class ByteProtocol : public Protocol, private ByteNode {
 public:
  ByteProtocol(const LinkContext& link, ByteBus& bus) : link_(link), bus_(bus) {}
  ~ByteProtocol() override { bus_.Detach(*this); }
  void GoOnline(const ComParamSet&) override { bus_.Attach(*this); }
  void GoOffline() override { bus_.Detach(*this); }
  void ParamsChanged(const ComParamSet&) override {}
  T_PDU_ERROR Check(const Cop&) const override { return PDU_STATUS_NOERROR; }
  void Send(const Cop& cop) override {
    if (cop.type == PDU_COPT_STARTCOMM) {
      // Its data has been sent to initialise.
      link_.cops.SendFailed(cop.handle, PDU_ERR_EVT_TX_ERROR, 0);
      return;
    }
    Transmit(cop, [this, handle = cop.handle](FrameTimes) { link_.cops.SendDone(handle); });
  }
  void StopSending() override {}
  void StartCommunication(const Cop& cop) override {
    Transmit(cop, [this, handle = cop.handle](FrameTimes times) { Initialised(handle, times); });
  }
  void StopCommunication(const Cop& cop) override { link_.cops.CommunicationDone(cop.handle); }
  T_PDU_ERROR IoControl(IoCtl command, const PDU_DATA_ITEM*, ItemPtr& output) override {
    if (command != IoCtl::kSendBreak) return PDU_ERR_ID_NOT_SUPPORTED;
    output = MakeUnum32Item(++breaks_);
    return PDU_STATUS_NOERROR;
  }

 private:
  void Transmit(const Cop& cop, std::function<void(FrameTimes)> done) {
    bus_.Send(this, cop.data, std::move(done));
  }
  void Initialised(UNUM32 handle, FrameTimes times) {
    const Cop* cop = link_.cops.Find(handle);
    if (cop == nullptr) return;
    if (cop->data[0] != kInitAddress) {
      link_.cops.SendFailed(handle, PDU_ERR_EVT_INIT_ERROR, 0);
      return;
    }
    constexpr std::array<UNUM8, 2> kKeyBytes{0x08, 0x08};
    Deliver(*cop, kKeyBytes, times);
    link_.cops.CommunicationDone(handle, true);
  }
  void Heard(const Bytes& message, FrameTimes times) override {
    if (const auto receiver = link_.cops.ReceiverOf(message, PDU_ID_UNDEF)) {
      const UNUM32 handle = receiver->cop->handle;
      Deliver(*receiver->cop, message, times);
      link_.cops.Received(handle);
    }
  }
  void Deliver(const Cop& cop, std::span<const UNUM8> bytes, FrameTimes times) {
    link_.events.Push(
        MakeResultItem({cop.handle, cop.tag, static_cast<UNUM32>(times.end)}, {}, bytes));
  }

  const LinkContext link_;
  ByteBus& bus_;
  UNUM32 breaks_ = 0;
};

constexpr auto kTypes =
    std::to_array<BusTypeInfo>({{BusType::kIso9141Uart, 1, 2, 10400, kPortMembers, ReadBytePort}});

constexpr auto kBaudrate = std::to_array<ComParamDefault>({{ComParam::CP_Baudrate, 10400}});
constexpr auto kProtocols = std::to_array<ProtocolOnBus>(
    {{ProtocolId::kIso9141, BusType::kIso9141Uart, false,
      [](Scheduler& scheduler, std::uint32_t bitRate) -> std::unique_ptr<Bus> {
        return std::make_unique<ByteBus>(scheduler, bitRate);
      },
      [](const LinkContext& link, Bus& bus) -> std::unique_ptr<Protocol> {
        return std::make_unique<ByteProtocol>(link, static_cast<ByteBus&>(bus));
      },
      kBaudrate}});

}  // namespace

std::span<const BusTypeInfo> BusTypes() { return kTypes; }

std::span<const ProtocolOnBus> ProtocolTable() { return kProtocols; }

}  // namespace virtual_vci
