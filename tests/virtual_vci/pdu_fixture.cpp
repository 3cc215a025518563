#include "tests/virtual_vci/pdu_fixture.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace virtual_vci_test {

namespace {

using Clock = std::chrono::steady_clock;

Bytes Copy(UNUM32 count, const UNUM8* bytes) {
  return count == 0 ? Bytes{} : Bytes(bytes, bytes + count);
}

void CopyResult(const PDU_RESULT_DATA& result, Event& event) {
  event.flags = Copy(result.RxFlag.NumFlagBytes, result.RxFlag.pFlagData);
  event.data = Copy(result.NumDataBytes, result.pDataBytes);
  if (result.pExtraInfo != nullptr)
    event.header = Copy(result.pExtraInfo->NumHeaderBytes, result.pExtraInfo->pHeaderBytes);
  event.uniqueRespId = result.UniqueRespIdentifier;
  event.acceptanceId = result.AcceptanceId;
  event.startTimestamp = result.StartMsgTimestamp;
}

constexpr UNUM8 kIndications = 0x0B;  // loopback, start of message, TX_DONE

}  // namespace

Event TakeEvent(PduLibrary& library, PDU_EVENT_ITEM* item) {
  Event event;
  event.type = item->ItemType;
  event.cop = item->hCop;
  event.tag = item->pCoPTag;
  event.timestamp = item->Timestamp;
  if (item->ItemType == PDU_IT_STATUS) event.status = *static_cast<T_PDU_STATUS*>(item->pData);
  if (item->ItemType == PDU_IT_ERROR) event.error = *static_cast<PDU_ERROR_DATA*>(item->pData);
  if (item->ItemType == PDU_IT_INFO) event.info = *static_cast<PDU_INFO_DATA*>(item->pData);
  if (item->ItemType == PDU_IT_RESULT)
    CopyResult(*static_cast<PDU_RESULT_DATA*>(item->pData), event);
  EXPECT_EQ(library.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(item)), PDU_STATUS_NOERROR);
  return event;
}

std::vector<Event> Unpacked(const Event& event) {
  if (!event.Has(3, 0x20)) return {event};
  std::vector<Event> records;
  UNUM32 count = 0;
  std::memcpy(&count, event.data.data(), sizeof(count));
  EXPECT_EQ(event.data.size(), 4 + 17 * std::size_t{count});
  for (UNUM32 i = 0; i < count && 4 + 17 * std::size_t{i + 1} <= event.data.size(); ++i) {
    const UNUM8* record = event.data.data() + 4 + 17 * std::size_t{i};
    Event one = event;
    one.flags[3] = static_cast<UNUM8>(one.flags[3] & ~0x20);
    std::memcpy(&one.timestamp, record, sizeof(one.timestamp));
    EXPECT_LE(record[4], 12);
    one.data = Bytes(record + 5, record + 5 + record[4]);
    records.push_back(one);
  }
  return records;
}

Bytes Message(UNUM32 id, std::initializer_list<int> data) {
  Bytes bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<UNUM8>(id >> shift));
  for (const int byte : data) bytes.push_back(static_cast<UNUM8>(byte));
  return bytes;
}

TestLink::TestLink(PduLibrary& library, UNUM32 module, const Setup& setup)
    : library_(library), module_(module) {
  std::vector<PDU_PIN_DATA> pins;
  for (const UNUM32 pin : setup.pins) pins.push_back({pin, 0});
  PDU_RSC_DATA resource{0, 0, static_cast<UNUM32>(pins.size()), pins.data()};
  std::string busType = setup.busType;
  std::string protocol = setup.protocol;
  library_.PDUGetObjectId(PDU_OBJT_BUSTYPE, busType.data(), &resource.BusTypeId);
  library_.PDUGetObjectId(PDU_OBJT_PROTOCOL, protocol.data(), &resource.ProtocolId);
  Bytes flagBytes{static_cast<UNUM8>(setup.rawMode ? 0xA0 : 0x00), 0x01, 0x00, 0x00};
  PDU_FLAG_DATA flags{static_cast<UNUM32>(flagBytes.size()), flagBytes.data()};
  created_ =
      library_.PDUCreateComLogicalLink(module_, &resource, PDU_ID_UNDEF, this, &handle_, &flags);
  if (created_ != PDU_STATUS_NOERROR) return;
  EXPECT_EQ(library_.PDURegisterEventCallback(module_, handle_, &OnEvent), PDU_STATUS_NOERROR);
}

TestLink::~TestLink() {
  if (created_ == PDU_STATUS_NOERROR) library_.PDUDestroyComLogicalLink(module_, handle_);
}

void PDUAPI TestLink::OnEvent(T_PDU_EVT_DATA event, UNUM32, UNUM32 link, void* linkTag, void*) {
  auto& self = *static_cast<TestLink*>(linkTag);
  EXPECT_EQ(link, self.handle_);
  const std::lock_guard<std::mutex> lock(self.lock_);
  self.signalled_ = true;
  ++self.callbacks_;
  if (event == PDU_EVT_DATA_LOST) ++self.losses_;
  self.called_.notify_all();
}

int TestLink::Callbacks() {
  const std::lock_guard<std::mutex> lock(lock_);
  return callbacks_;
}

int TestLink::Losses() {
  const std::lock_guard<std::mutex> lock(lock_);
  return losses_;
}

bool TestLink::AwaitLosses(int count, milliseconds patience) {
  std::unique_lock<std::mutex> lock(lock_);
  return called_.wait_for(lock, patience, [&] { return losses_ >= count; });
}

void TestLink::Open() {
  ASSERT_EQ(library_.PDUConnect(module_, handle_), PDU_STATUS_NOERROR);
  ASSERT_EQ(Pass({0}, {0}), PDU_STATUS_NOERROR);
  ASSERT_NE(Receive(), PDU_HANDLE_UNDEF);
}

T_PDU_ERROR TestLink::Set(const char* comParam, UNUM32 value) {
  std::string name = comParam;
  UNUM32 id = 0;
  library_.PDUGetObjectId(PDU_OBJT_COMPARAM, name.data(), &id);
  PDU_PARAM_ITEM* item = nullptr;
  if (const T_PDU_ERROR error = library_.PDUGetComParam(module_, handle_, id, &item)) return error;
  std::memcpy(item->pComParamData, &value, sizeof(value));
  const T_PDU_ERROR result = library_.PDUSetComParam(module_, handle_, item);
  library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(item));
  return result;
}

UNUM32 TestLink::Get(const char* comParam) {
  std::string name = comParam;
  UNUM32 id = 0;
  library_.PDUGetObjectId(PDU_OBJT_COMPARAM, name.data(), &id);
  PDU_PARAM_ITEM* item = nullptr;
  EXPECT_EQ(library_.PDUGetComParam(module_, handle_, id, &item), PDU_STATUS_NOERROR);
  if (item == nullptr) return 0;
  UNUM32 value = 0;
  std::memcpy(&value, item->pComParamData, sizeof(value));
  library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(item));
  return value;
}

void TestLink::Update() {
  EXPECT_NE(Start({.type = PDU_COPT_UPDATEPARAM, .sendCycles = 0}), PDU_HANDLE_UNDEF);
}

T_PDU_ERROR TestLink::SetTable(const std::vector<Conversation>& rows) {
  std::deque<UNUM32> values;
  std::deque<std::vector<PDU_PARAM_ITEM>> params;
  std::vector<PDU_ECU_UNIQUE_RESP_DATA> data;
  for (const Conversation& row : rows) {
    auto& list = params.emplace_back();
    const auto add = [&](std::string name, UNUM32 value) {
      UNUM32 id = 0;
      EXPECT_EQ(library_.PDUGetObjectId(PDU_OBJT_COMPARAM, name.data(), &id), PDU_STATUS_NOERROR)
          << name;
      list.push_back(
          {PDU_IT_PARAM, id, PDU_PT_UNUM32, PDU_PC_UNIQUE_ID, &values.emplace_back(value)});
    };
    add("CP_CanRespUSDTId", row.response);
    add("CP_CanRespUSDTFormat", row.format);
    add("CP_CanRespUSDTExtAddr", row.responseExtension);
    add("CP_CanPhysReqId", row.request);
    add("CP_CanPhysReqFormat", row.format);
    add("CP_CanPhysReqExtAddr", row.requestExtension);
    data.push_back({row.uniqueRespId, static_cast<UNUM32>(list.size()), list.data()});
  }
  PDU_UNIQUE_RESP_ID_TABLE_ITEM table{PDU_IT_UNIQUE_RESP_ID_TABLE, static_cast<UNUM32>(data.size()),
                                      data.data()};
  return library_.PDUSetUniqueRespIdTable(module_, handle_, &table);
}

T_PDU_ERROR TestLink::IoCtl(const char* name, PDU_DATA_ITEM* input) {
  std::string text = name;
  UNUM32 id = 0;
  library_.PDUGetObjectId(PDU_OBJT_IO_CTRL, text.data(), &id);
  return library_.PDUIoCtl(module_, handle_, id, input, nullptr);
}

T_PDU_ERROR TestLink::Pass(const Bytes& mask, const Bytes& pattern, T_PDU_FILTER type) {
  PDU_IO_FILTER_DATA filter{type, 1, static_cast<UNUM32>(mask.size()), {}, {}};
  std::copy(mask.begin(), mask.end(), filter.FilterMaskMessage);
  std::copy(pattern.begin(), pattern.end(), filter.FilterPatternMessage);
  PDU_IO_FILTER_LIST list{1, &filter};
  PDU_DATA_ITEM item{PDU_IT_IO_FILTER, &list};
  return IoCtl("PDU_IOCTL_START_MSG_FILTER", &item);
}

UNUM32 TestLink::Start(const Request& request, T_PDU_ERROR* result) {
  Bytes data = request.data;
  Bytes flags = request.flags;
  PDU_EXP_RESP_DATA expected{0, 0x2534, 0, nullptr, nullptr, 0, nullptr};
  Bytes mask;
  Bytes pattern;
  if (request.expect) {
    mask = request.expect->first;
    pattern = request.expect->second;
    expected.NumMaskPatternBytes = static_cast<UNUM32>(mask.size());
    expected.pMaskData = mask.data();
    expected.pPatternData = pattern.data();
  }
  std::vector<UNUM32> from = request.from;
  expected.NumUniqueRespIds = static_cast<UNUM32>(from.size());
  expected.pUniqueRespIds = from.data();
  PDU_COP_CTRL_DATA control{};
  control.Time = request.time;
  control.NumSendCycles = request.sendCycles;
  control.NumReceiveCycles = request.receiveCycles;
  control.TempParamUpdate = request.temporary ? 1 : 0;
  control.TxFlag = {static_cast<UNUM32>(flags.size()), flags.data()};
  control.NumPossibleExpectedResponses = request.receiveCycles == 0 ? 0 : 1;
  control.pExpectedResponseArray = &expected;
  UNUM32 cop = PDU_HANDLE_UNDEF;
  const T_PDU_ERROR error = library_.PDUStartComPrimitive(module_, handle_, request.type,
                                                          static_cast<UNUM32>(data.size()),
                                                          data.data(), &control, request.tag, &cop);
  if (result != nullptr) *result = error;
  return error == PDU_STATUS_NOERROR ? cop : PDU_HANDLE_UNDEF;
}

UNUM32 TestLink::Receive() {
  return Start({.sendCycles = 0, .receiveCycles = PDU_CYCLES_INFINITE});
}

bool TestLink::Fetch() {
  PDU_EVENT_ITEM* item = nullptr;
  if (library_.PDUGetEventItem(module_, handle_, &item) != PDU_STATUS_NOERROR) return false;
  for (const Event& event : Unpacked(TakeEvent(library_, item))) events_.push_back(event);
  return true;
}

std::optional<Event> TestLink::Next(milliseconds patience) {
  const auto deadline = Clock::now() + patience;
  while (events_.empty() && !Fetch()) {
    std::unique_lock<std::mutex> lock(lock_);
    if (!called_.wait_until(lock, deadline, [this] { return signalled_; })) return std::nullopt;
    signalled_ = false;
  }
  Event event = events_.front();
  events_.pop_front();
  return event;
}

std::optional<Event> TestLink::Await(const std::function<bool(const Event&)>& wanted,
                                     milliseconds patience) {
  const auto deadline = Clock::now() + patience;
  while (true) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    const auto event = Next(std::max(left, milliseconds(0)));
    if (!event || wanted(*event)) return event;
  }
}

std::optional<Event> TestLink::AwaitStatus(UNUM32 cop, T_PDU_STATUS status) {
  return Await([&](const Event& event) { return event.cop == cop && event.IsStatus(status); });
}

std::optional<Event> TestLink::AwaitResult(milliseconds patience) {
  return Await([](const Event& event) { return event.IsResult() && !event.Has(3, kIndications); },
               patience);
}

std::vector<Event> TestLink::Drain() {
  while (Fetch()) {
  }
  std::vector<Event> events(events_.begin(), events_.end());
  events_.clear();
  return events;
}

void PduTest::SetUp() {
  ASSERT_TRUE(library_.Loaded()) << "VIRTUAL_VCI_LIBRARY='" << LibraryPath() << "'";
  library_.VirtualVciReset();
  ASSERT_EQ(library_.PDUConstruct(options_.data(), nullptr), PDU_STATUS_NOERROR);
  constructed_ = true;
}

void PduTest::TearDown() {
  if (!library_.Loaded()) return;
  if (constructed_) {
    EXPECT_EQ(library_.PDUDestruct(), PDU_STATUS_NOERROR);
  }
  VVCI_LEDGER ledger{};
  library_.VirtualVciGetLedger(&ledger);
  EXPECT_THAT(ledger.Destroyed, testing::ElementsAreArray(ledger.HandedOut));
  EXPECT_EQ(ledger.LeftAtDestruct, 0u);
  EXPECT_EQ(ledger.BadDestroys, 0u);
}

UNUM32 PduTest::ModuleNamed(const std::string& serial, const std::string& interface) {
  PDU_MODULE_ITEM* list = nullptr;
  EXPECT_EQ(library_.PDUGetModuleIds(&list), PDU_STATUS_NOERROR);
  UNUM32 handle = PDU_HANDLE_UNDEF;
  for (UNUM32 i = 0; list != nullptr && i < list->NumEntries; ++i) {
    const PDU_MODULE_DATA& module = list->pModuleData[i];
    const bool fits =
        serial == module.pVendorModuleName &&
        std::string(module.pVendorAdditionalInfo).find(interface) != std::string::npos;
    if (fits) handle = module.hMod;
  }
  if (list != nullptr) library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(list));
  return handle;
}

void PduTest::UseScenario(const char* json) {
  EXPECT_EQ(library_.PDUDestruct(), PDU_STATUS_NOERROR);
  const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
  const std::string path = testing::TempDir() + "virtual_vci_" + test->name() + ".json";
  std::ofstream(path, std::ios::binary) << json;
  std::string options = "Clock='instant' Scenario='" + path + "'";
  EXPECT_EQ(library_.PDUConstruct(options.data(), nullptr), PDU_STATUS_NOERROR);
  std::remove(path.c_str());
}

UNUM32 PduTest::Connect() {
  const UNUM32 module = ModuleNamed("4711", "USB");
  EXPECT_EQ(library_.PDUModuleConnect(module), PDU_STATUS_NOERROR);
  return module;
}

UNUM32 PduTest::Id(T_PDU_OBJT type, const char* name) {
  std::string text = name;
  UNUM32 id = PDU_ID_UNDEF;
  EXPECT_EQ(library_.PDUGetObjectId(type, text.data(), &id), PDU_STATUS_NOERROR) << name;
  return id;
}

}  // namespace virtual_vci_test
