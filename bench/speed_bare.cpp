// The loop on the D-PDU API: what an application would do without the library in between.

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <span>

#include "bench/speed_side.h"

namespace bench {

namespace {

using virtual_vci_test::PduLibrary;

constexpr UNUM8 kPackedFlag = 0x20;       // in the last flag byte
constexpr UNUM8 kIndicationFlags = 0x0A;  // TX_DONE and START_OF_MESSAGE
constexpr std::size_t kRecordSize = 17;   // of a packed result: time stamp, length, data

void Must(const char* what, T_PDU_ERROR error) {
  if (error != PDU_STATUS_NOERROR) Fail(what, static_cast<long>(error));
}

UNUM32 IdOf(PduLibrary& library, T_PDU_OBJT type, std::string name) {
  UNUM32 id = 0;
  Must(name.c_str(), library.PDUGetObjectId(type, name.data(), &id));
  return id;
}

/// A link that receives everything.
class BareLink {
 public:
  BareLink(PduLibrary& library, const Plan& plan) : library_(library) {
    Create(plan);
    if (plan.iso15765) {
      SetConversation();
      SetComParam("CP_TransmitIndEnable", 1);
      SetComParam("CP_StartMsgIndEnable", 1);
    }
    Must("connect link", library_.PDUConnect(kModule, link_));
    if (!plan.iso15765) {
      for (unsigned i = 0; i < plan.filters; ++i) AddFilter(i);
    }
    PDU_COP_CTRL_DATA control{};
    control.NumReceiveCycles = PDU_CYCLES_INFINITE;
    PDU_EXP_RESP_DATA expected{};
    control.NumPossibleExpectedResponses = 1;
    control.pExpectedResponseArray = &expected;
    UNUM32 cop = 0;
    Must("receive", library_.PDUStartComPrimitive(kModule, link_, PDU_COPT_SENDRECV, 0, nullptr,
                                                  &control, nullptr, &cop));
  }
  ~BareLink() {
    library_.PDUDisconnect(kModule, link_);
    library_.PDUDestroyComLogicalLink(kModule, link_);
  }
  BareLink(const BareLink&) = delete;
  BareLink& operator=(const BareLink&) = delete;

  void Receive(std::uint64_t count) {
    wanted_ += count;
    while (received_ < wanted_) FetchOrWait();
  }

  void Send(const Message& message, std::uint32_t count, bool wait) {
    std::array<UNUM8, 4> flags{iso15765_ ? UNUM8{0x20} : UNUM8{0}, 0, 0,
                               count > 1 ? kPackedFlag : UNUM8{0}};
    std::vector<UNUM8> data = count > 1 ? Packed(message, count) : message;
    PDU_COP_CTRL_DATA control{};
    control.NumSendCycles = 1;
    control.TxFlag = {4, flags.data()};
    UNUM32 cop = PDU_HANDLE_UNDEF;
    finished_ = PDU_HANDLE_UNDEF;
    Must("send", library_.PDUStartComPrimitive(kModule, link_, PDU_COPT_SENDRECV,
                                               static_cast<UNUM32>(data.size()), data.data(),
                                               &control, nullptr, &cop));
    while (wait && finished_ != cop) FetchOrWait();
  }

 private:
  static std::vector<UNUM8> Packed(const Message& message, std::uint32_t count) {
    std::vector<UNUM8> data;
    data.reserve(4 + count * (message.size() + 1));
    for (unsigned shift = 0; shift < 32; shift += 8) {
      data.push_back(static_cast<UNUM8>(count >> shift));
    }
    for (std::uint32_t i = 0; i < count; ++i) {
      data.push_back(static_cast<UNUM8>(message.size()));
      data.insert(data.end(), message.begin(), message.end());
    }
    return data;
  }

  static void PDUAPI OnEvent(T_PDU_EVT_DATA, UNUM32, UNUM32, void* tag, void*) {
    auto& self = *static_cast<BareLink*>(tag);
    const std::lock_guard<std::mutex> guard(self.lock_);
    self.signalled_ = true;
    self.called_.notify_one();
  }

  void Create(const Plan& plan) {
    iso15765_ = plan.iso15765;
    PDU_PIN_DATA pins[] = {{6, 0}, {14, 0}};
    PDU_RSC_DATA resource{
        IdOf(library_, PDU_OBJT_BUSTYPE, "ISO_11898_2_DWCAN"),
        IdOf(library_, PDU_OBJT_PROTOCOL, iso15765_ ? "SAE_J2190_on_ISO_15765_2" : "ISO_11898_RAW"),
        2, pins};
    UNUM8 rawMode[] = {0xA0, 0x01, 0x00, 0x00};
    PDU_FLAG_DATA flags{4, rawMode};
    Must("create link",
         library_.PDUCreateComLogicalLink(kModule, &resource, PDU_ID_UNDEF, this, &link_, &flags));
    Must("callback", library_.PDURegisterEventCallback(kModule, link_, &OnEvent));
  }

  void SetConversation() {
    struct Entry {
      const char* name;
      UNUM32 value;
    };
    std::array<Entry, 6> entries{{{"CP_CanRespUSDTId", kResponseId},
                                  {"CP_CanRespUSDTFormat", 5},
                                  {"CP_CanRespUSDTExtAddr", 0},
                                  {"CP_CanPhysReqId", kRequestId},
                                  {"CP_CanPhysReqFormat", 5},
                                  {"CP_CanPhysReqExtAddr", 0}}};
    std::vector<PDU_PARAM_ITEM> params;
    for (Entry& entry : entries) {
      params.push_back({PDU_IT_PARAM, IdOf(library_, PDU_OBJT_COMPARAM, entry.name), PDU_PT_UNUM32,
                        PDU_PC_UNIQUE_ID, &entry.value});
    }
    PDU_ECU_UNIQUE_RESP_DATA row{1, static_cast<UNUM32>(params.size()), params.data()};
    PDU_UNIQUE_RESP_ID_TABLE_ITEM table{PDU_IT_UNIQUE_RESP_ID_TABLE, 1, &row};
    Must("response table", library_.PDUSetUniqueRespIdTable(kModule, link_, &table));
  }

  void SetComParam(const char* name, UNUM32 value) {
    PDU_PARAM_ITEM* item = nullptr;
    Must(name,
         library_.PDUGetComParam(kModule, link_, IdOf(library_, PDU_OBJT_COMPARAM, name), &item));
    std::memcpy(item->pComParamData, &value, item->ComParamDataType == PDU_PT_UNUM8 ? 1 : 4);
    Must(name, library_.PDUSetComParam(kModule, link_, item));
    library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(item));
  }

  /// The first lets everything pass, others what nobody sends.
  void AddFilter(unsigned index) {
    PDU_IO_FILTER_DATA filter{PDU_FLT_PASS, index + 1, 4, {}, {}};
    if (index > 0) {
      std::fill_n(filter.FilterMaskMessage, 4, UNUM8{0xFF});
      filter.FilterPatternMessage[3] = static_cast<UNUM8>(index);
    }
    PDU_IO_FILTER_LIST list{1, &filter};
    PDU_DATA_ITEM item{PDU_IT_IO_FILTER, &list};
    const UNUM32 control = IdOf(library_, PDU_OBJT_IO_CTRL, "PDU_IOCTL_START_MSG_FILTER");
    Must("filter", library_.PDUIoCtl(kModule, link_, control, &item, nullptr));
  }

  void FetchOrWait() {
    PDU_EVENT_ITEM* item = nullptr;
    const T_PDU_ERROR error = library_.PDUGetEventItem(kModule, link_, &item);
    if (error == PDU_ERR_EVENT_QUEUE_EMPTY) {
      std::unique_lock<std::mutex> guard(lock_);
      called_.wait(guard, [this] { return signalled_; });
      signalled_ = false;
      return;
    }
    Must("get event item", error);
    if (item->ItemType == PDU_IT_RESULT) {
      Take(*item, *static_cast<const PDU_RESULT_DATA*>(item->pData));
    } else if (item->ItemType == PDU_IT_STATUS &&
               *static_cast<const T_PDU_STATUS*>(item->pData) == PDU_COPST_FINISHED) {
      finished_ = item->hCop;
    } else if (item->ItemType == PDU_IT_ERROR) {
      Fail("error item", static_cast<const PDU_ERROR_DATA*>(item->pData)->ErrorCodeId);
    }
    Must("destroy item", library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(item)));
  }

  void Take(const PDU_EVENT_ITEM& item, const PDU_RESULT_DATA& result) {
    const UNUM8 flags = result.RxFlag.pFlagData[3];
    if ((flags & kPackedFlag) == 0) {
      if ((flags & kIndicationFlags) == 0) {
        Copy({result.pDataBytes, result.NumDataBytes}, item.Timestamp);
      }
      return;
    }
    UNUM32 count = 0;
    std::memcpy(&count, result.pDataBytes, sizeof count);
    for (UNUM32 i = 0; i < count; ++i) {
      const UNUM8* const record = result.pDataBytes + 4 + i * kRecordSize;
      UNUM32 timestamp = 0;
      std::memcpy(&timestamp, record, sizeof timestamp);
      Copy({record + 5, record[4]}, timestamp);
    }
  }

  void Copy(std::span<const UNUM8> bytes, UNUM32 timestamp) {
    PASSTHRU_MSG& out = out_[static_cast<std::size_t>(received_++ % out_.size())];
    out.ProtocolID = iso15765_ ? ISO15765 : CAN;
    out.RxStatus = 0;
    out.TxFlags = 0;
    out.Timestamp = timestamp;
    out.DataSize = static_cast<j2534_ulong>(bytes.size());
    out.ExtraDataIndex = out.DataSize;
    std::memcpy(out.Data, bytes.data(), bytes.size());
  }

  PduLibrary& library_;
  UNUM32 link_ = 0;
  bool iso15765_ = false;
  std::uint64_t wanted_ = 0;
  std::uint64_t received_ = 0;
  UNUM32 finished_ = PDU_HANDLE_UNDEF;  // the ComPrimitive that did last
  std::vector<PASSTHRU_MSG> out_ = std::vector<PASSTHRU_MSG>(100);

  std::mutex lock_;
  std::condition_variable called_;
  bool signalled_ = false;
};

class BareSide : public Side {
 public:
  explicit BareSide(PduLibrary& library) : library_(library) {}

  void Begin(const Plan& plan) override {
    plan_ = plan;
    std::string options;
    Must("construct", library_.PDUConstruct(options.data(), nullptr));
    Must("connect module", library_.PDUModuleConnect(kModule));
    for (unsigned i = 0; i < plan.channels; ++i) links_.emplace_back(library_, plan);
  }

  void End() override {
    links_.clear();
    Must("disconnect module", library_.PDUModuleDisconnect(kModule));
    Must("destruct", library_.PDUDestruct());
  }

  void ConnectAndDisconnect() override { const BareLink link(library_, plan_); }

  void Receive(unsigned channel, std::uint32_t count, std::uint32_t /*perRead*/) override {
    links_[channel].Receive(count);
  }

  void Send(const Message& message, std::uint32_t count, bool wait) override {
    links_.front().Send(message, count, wait);
  }

 private:
  PduLibrary& library_;
  Plan plan_;
  std::deque<BareLink> links_;
};

}  // namespace

std::unique_ptr<Side> MakeBareSide(PduLibrary& library) {
  return std::make_unique<BareSide>(library);
}

}  // namespace bench
