#include "config/filter.h"

#include <cstring>
#include <functional>

#include "passbridge/j2534.h"
#include "unit/config/filter_messages.h"
#include "unit/config/recording_link.h"

namespace passbridge::test {

namespace {

const Data kMask{0xFF, 0xFF, 0xFF, 0xFF};
const Data kResponse{0x00, 0x00, 0x07, 0xE8};
const Data kRequest{0x00, 0x00, 0x07, 0xE0};

/// One fault of a request, and how it is refused.
struct Fault {
  std::function<void(FilterRequest&)> add;
  Status status;
  const char* report;
  bool isRecorded;
};

/// Each fault is reported although the request has all later ones, too.
void ExpectInOrder(const FilterRequest& valid, const std::vector<Fault>& faults) {
  for (std::size_t first = 0; first < faults.size(); ++first) {
    FilterRequest request = valid;
    for (std::size_t i = first; i < faults.size(); ++i) faults[i].add(request);
    CJ2534Filter filter;
    const Outcome outcome = Observe([&] { return request.Initialize(filter); });
    ExpectReport(outcome, faults[first].status, faults[first].report);
    EXPECT_EQ(outcome.recorded != 0, faults[first].isRecorded) << faults[first].report;
    EXPECT_EQ(filter.FilterType(), 0u) << "nothing is stored";
  }
}

TEST(FilterTest, ChecksPassAndBlockFiltersInOrder) {
  for (const std::uint32_t type : {PASS_FILTER, BLOCK_FILTER}) {
    ExpectInOrder(
        PassOrBlock(CAN, type, kMask, kResponse),
        {{[](FilterRequest& r) { r.hasMask = false; }, ERR_NULL_PARAMETER,
          "0E030002 NULL Mask Message pointer.", true},
         {[](FilterRequest& r) { r.hasPattern = false; }, ERR_NULL_PARAMETER,
          "0E030003 NULL Pattern Message pointer.", true},
         {[](FilterRequest& r) { r.hasFlowControl = true; }, ERR_INVALID_MSG,
          "0E030004 Valid Flow Control pointer.", true},
         {[](FilterRequest& r) { r.mask.dataSize = 13; }, ERR_INVALID_MSG,
          "0E030005 Mask Data Size is too big.", false},
         {[](FilterRequest& r) { r.protocolId = ISO15765; }, ERR_FAILED,
          "0E030006 Pass and Block Filters are not used for ISO15765.", true},
         {[](FilterRequest& r) { r.pattern.txFlags ^= CAN_29BIT_ID; }, ERR_INVALID_MSG,
          "0E030007 Mask and Pattern TxFlags differ.", false},
         {[](FilterRequest& r) { r.pattern.dataSize = 3; }, ERR_INVALID_MSG,
          "0E030008 Mask and Pattern Data Sizes differ.", false},
         {[](FilterRequest& r) { r.mask.protocolId = CAN_PS; }, ERR_MSG_PROTOCOL_ID,
          "0E030009 Mask ProtocolID differs from ProtocolID used during PassThruConnect().", false},
         {[](FilterRequest& r) { r.pattern.protocolId = CAN_PS; }, ERR_MSG_PROTOCOL_ID,
          "0E03000A Pattern ProtocolID differs from ProtocolID used during PassThruConnect().",
          false}});
  }
}

TEST(FilterTest, ChecksFlowControlFiltersInOrder) {
  ExpectInOrder(
      FlowControl(ISO15765, kResponse, kRequest),
      {{[](FilterRequest& r) { r.protocolId = CAN; }, ERR_INVALID_FILTER_ID,
        "0E03000B FlowControl Filters are only used for ISO15765.", false},
       {[](FilterRequest& r) { r.hasMask = false; }, ERR_NULL_PARAMETER,
        "0E03000C NULL Mask Message pointer.", true},
       {[](FilterRequest& r) { r.hasPattern = false; }, ERR_NULL_PARAMETER,
        "0E03000D NULL Pattern Message pointer.", true},
       {[](FilterRequest& r) { r.hasFlowControl = false; }, ERR_NULL_PARAMETER,
        "0E03000E NULL FlowControl Message pointer.", true},
       {[](FilterRequest& r) { r.mask.dataSize = 0xFFFFFFFF; }, ERR_INVALID_MSG,
        "0E03000F Mask Data Size is too big.", false},
       {[](FilterRequest& r) { r.pattern.txFlags = 1; }, ERR_INVALID_MSG,
        "0E030010 Mask and Pattern TxFlags differ.", false},
       {[](FilterRequest& r) { r.flowControl.txFlags = 2; }, ERR_INVALID_MSG,
        "0E030011 Mask and FlowControl TxFlags differ.", false},
       {[](FilterRequest& r) { r.pattern.dataSize = 5; }, ERR_INVALID_MSG,
        "0E030012 Mask and Pattern Data Sizes differ.", false},
       {[](FilterRequest& r) { r.flowControl.dataSize = 4129; }, ERR_INVALID_MSG,
        "0E030013 Mask and FlowControl Data Sizes differ.", false},
       {[](FilterRequest& r) { r.mask.protocolId = CAN; }, ERR_MSG_PROTOCOL_ID,
        "0E030014 Mask ProtocolID differs from ProtocolID used during PassThruConnect().", false},
       {[](FilterRequest& r) { r.pattern.protocolId = CAN; }, ERR_MSG_PROTOCOL_ID,
        "0E030015 Pattern ProtocolID differs from ProtocolID used during PassThruConnect().",
        false},
       {[](FilterRequest& r) { r.flowControl.protocolId = CAN; }, ERR_MSG_PROTOCOL_ID,
        "0E030016 FlowControl ProtocolID differs from ProtocolID used during PassThruConnect().",
        false}});
}

TEST(FilterTest, RefusesUnknownTypesAndProtocols) {
  CJ2534Filter filter;
  for (const std::uint32_t type : {0u, 4u, 0x80000001u}) {
    FilterRequest request = PassOrBlock(CAN, type, kMask, kResponse);
    ExpectReport(Observe([&] { return request.Initialize(filter); }), ERR_INVALID_FILTER_ID,
                 "0E030017 Invalid Filter Type");
  }
  FilterRequest request = PassOrBlock(0x8FFF, 0, kMask, kResponse);
  const Outcome outcome = Observe([&] { return request.Initialize(filter); });
  ExpectReport(outcome, ERR_INVALID_PROTOCOL_ID, "0E030001 Error getting Protocol Type.");
  EXPECT_EQ(outcome.recorded, 0x0E030001u);
}

TEST(FilterTest, MixedFormatAdmitsRawCanMessages) {
  const struct {
    std::uint32_t channel;
    std::uint32_t message;
    bool noMixedFormat;
    Status status;
  } rows[] = {
      {ISO15765, CAN, false, STATUS_NOERROR},
      {ISO15765, ISO15765, false, STATUS_NOERROR},
      {ISO15765, CAN_PS, false, ERR_MSG_PROTOCOL_ID},
      {ISO15765, CAN_CH1, false, STATUS_NOERROR},
      {ISO15765_PS, CAN_PS, false, STATUS_NOERROR},
      {ISO15765_PS, CAN, false, ERR_MSG_PROTOCOL_ID},
      {FGA7274, CAN_PS, false, STATUS_NOERROR},
      {SW_ISO15765_PS, SW_CAN_PS, false, STATUS_NOERROR},
      {SW_ISO15765_PS, CAN, false, ERR_MSG_PROTOCOL_ID},
      {FT_ISO15765_PS, FT_CAN_PS, false, STATUS_NOERROR},
      {FT_FGA7274, FT_CAN_PS, false, STATUS_NOERROR},
      {FT_FGA7274, CAN_PS, false, ERR_MSG_PROTOCOL_ID},
      {CAN, CAN_CH1, true, ERR_MSG_PROTOCOL_ID},
      {CAN, CAN, true, STATUS_NOERROR},
  };
  for (const auto& row : rows) {
    FilterRequest request = PassOrBlock(row.channel, PASS_FILTER, kMask, kResponse);
    request.mask.protocolId = row.message;
    request.pattern.protocolId = row.message;
    request.noMixedFormat = row.noMixedFormat;
    CJ2534Filter filter;
    EXPECT_EQ(request.Initialize(filter), row.status)
        << std::hex << row.message << " on " << row.channel;
  }
}

TEST(FilterTest, UnreadableMessagesCountAsNull) {
  PassThruMsg mask = Message(CAN, kMask);
  const AppMessage unreadable(reinterpret_cast<void*>(std::uintptr_t{8}), FieldWidth::k32);
  CJ2534Filter filter;
  ExpectReport(Observe([&] {
                 return filter.Initialize(CAN, PASS_FILTER, AppMessage(mask), unreadable, {}, true);
               }),
               ERR_NULL_PARAMETER, "0E030003 NULL Pattern Message pointer.");
  EXPECT_EQ(
      filter.Initialize(CAN, PASS_FILTER, AppMessage(mask), AppMessage(mask), unreadable, true),
      STATUS_NOERROR);
}

TEST(FilterTest, ReadsNoMoreThanTheBytesInUse) {
  // Memory that ends after the bytes in use, with fields of 64 bits: a sanitizer sees any overrun.
  const auto makeMessage = [](const Data& data) {
    std::vector<std::uint8_t> memory(6 * sizeof(std::uint64_t) + data.size());
    const std::uint64_t fields[] = {CAN, 0, CAN_29BIT_ID, 0, data.size(), 0};
    std::memcpy(memory.data(), fields, sizeof fields);
    std::copy(data.begin(), data.end(), memory.begin() + sizeof fields);
    return memory;
  };
  auto mask = makeMessage(kMask);
  auto pattern = makeMessage(kResponse);
  CJ2534Filter filter;
  ASSERT_EQ(filter.Initialize(CAN, BLOCK_FILTER, AppMessage(mask.data(), FieldWidth::k64),
                              AppMessage(pattern.data(), FieldWidth::k64), {}, true),
            STATUS_NOERROR);
  UNUM8 bytes[kFilterBytes];
  EXPECT_EQ(filter.GetPduFilterPattern(bytes), STATUS_NOERROR);
  EXPECT_EQ(RenderBytes(bytes, kFilterBytes), "00 00 07 E8 00 00 00 00 00 00 00 00");
  UNUM32 format = 0;
  filter.GetPduRespCanFormat(&format);
  EXPECT_EQ(format, 2u);
}

TEST(FilterTest, OnlyFlowControlFiltersCollide) {
  const auto held = MakeFilter(FlowControl(ISO15765, kResponse, kRequest));
  FilterRequest otherMask = FlowControl(ISO15765, kResponse, {0, 0, 7, 0xE1});
  otherMask.mask = Message(ISO15765, {0, 0, 0xFF, 0xFF});
  FilterRequest mixed = PassOrBlock(ISO15765, PASS_FILTER, kMask, kResponse);
  mixed.noMixedFormat = false;
  const struct {
    FilterRequest request;
    Status status;
    const char* report;
  } rows[] = {
      {otherMask, ERR_NOT_UNIQUE, "0E040001 Pattern data is not unique."},
      {FlowControl(ISO15765, {0, 0, 7, 0xE9}, kRequest), ERR_NOT_UNIQUE,
       "0E040002 FlowControl data is not unique."},
      {FlowControl(ISO15765, {0, 0, 7, 0xE9}, {0, 0, 7, 0xE1}), STATUS_NOERROR, ""},
      {FlowControl(ISO15765, {0, 0, 7, 0xE8, 1}, {0, 0, 7, 0xE0, 1}), STATUS_NOERROR, ""},
      {mixed, STATUS_NOERROR, ""},
  };
  for (const auto& row : rows) {
    const auto other = MakeFilter(row.request);
    ExpectReport(Observe([&] { return held->IsUnique(*other); }), row.status, row.report);
  }
}

TEST(FilterTest, GivesItsFormatAndAddressesToTheDpduApi) {
  const Data response{0x18, 0xDA, 0xF1, 0x10, 0x55};
  const Data request{0x18, 0xDA, 0x10, 0xF1, 0x66};
  constexpr std::uint32_t kAll = ISO15765_ADDR_TYPE | ISO15765_FRAME_PAD | CAN_29BIT_ID;
  const struct {
    FilterRequest filter;
    UNUM32 format;
    UNUM32 respExtAddr;
    UNUM32 flowControlExtAddr;
  } rows[] = {
      {FlowControl(ISO15765, response, request), 0x05, 0, 0},
      {FlowControl(ISO15765, response, request, ISO15765_ADDR_TYPE | ISO15765_FRAME_PAD), 0x3D,
       0x55, 0x66},
      {FlowControl(SW_ISO15765_PS, response, request, CAN_29BIT_ID), 0x07, 0, 0},
      {FlowControl(FGA7274, response, request, kAll), 0x3F, 0x55, 0x66},
      {PassOrBlock(CAN, PASS_FILTER, request, response, kAll), 0x3A, 0x55, 0},
      {PassOrBlock(SW_CAN_PS, PASS_FILTER, request, response, kAll), 0x3A, 0, 0},
      {PassOrBlock(J1850VPW, PASS_FILTER, request, response, kAll), 0, 0, 0},
  };
  for (const auto& row : rows) {
    const auto filter = MakeFilter(row.filter);
    UNUM32 canId = 0;
    UNUM32 format = 99;
    UNUM32 respExtAddr = 99;
    UNUM32 flowControlExtAddr = 99;
    EXPECT_EQ(filter->GetPduRespCanId(&canId), STATUS_NOERROR);
    EXPECT_EQ(canId, 0x18DAF110u);
    EXPECT_EQ(filter->GetPduFlowControlCanId(&canId), STATUS_NOERROR);
    EXPECT_EQ(canId, filter->IsFlowControl() ? 0x18DA10F1u : 0u);
    filter->GetPduRespCanFormat(&format);
    filter->GetPduRespCanExtAddr(&respExtAddr);
    filter->GetPduFlowControlExtAddr(&flowControlExtAddr);
    EXPECT_EQ(format, row.format) << std::hex << row.filter.protocolId;
    EXPECT_EQ(respExtAddr, row.respExtAddr) << std::hex << row.filter.protocolId;
    EXPECT_EQ(flowControlExtAddr, row.flowControlExtAddr) << std::hex << row.filter.protocolId;
  }
}

TEST(FilterTest, IsADpduFilterOnlyWhereTheProtocolHasThem) {
  FilterRequest mixed = PassOrBlock(ISO15765, BLOCK_FILTER, kMask, kResponse);
  mixed.noMixedFormat = false;
  const struct {
    FilterRequest request;
    Status status;
    T_PDU_FILTER type;
    const char* report;
  } rows[] = {
      {PassOrBlock(CAN, PASS_FILTER, kMask, kResponse), STATUS_NOERROR, PDU_FLT_PASS, ""},
      {PassOrBlock(CAN, BLOCK_FILTER, kMask, kResponse), STATUS_NOERROR, PDU_FLT_BLOCK, ""},
      {mixed, STATUS_NOERROR, PDU_FLT_BLOCK, ""},
      {FlowControl(ISO15765, kResponse, kRequest), ERR_FAILED, 99,
       "0E050002 Invalid Filter Type for ISO15765 Protocol."},
  };
  for (const auto& row : rows) {
    const auto filter = MakeFilter(row.request);
    T_PDU_FILTER type = 99;
    ExpectReport(Observe([&] { return filter->GetPduFilterType(&type); }), row.status, row.report);
    EXPECT_EQ(type, row.type);
  }
}

TEST(FilterTest, GettersRefuseNullPointers) {
  const CJ2534Filter filter;
  const std::pair<std::function<Status()>, const char*> rows[] = {
      {[&] { return filter.GetPduFilterMask(nullptr); }, "0E080001 Null Filter Mask pointer."},
      {[&] { return filter.GetPduFilterPattern(nullptr); },
       "0E090001 Null Filter Pattern pointer."},
      {[&] { return filter.GetPduRespCanId(nullptr); }, "0E0A0001 Null Response CAN ID pointer."},
      {[&] { return filter.GetPduFlowControlCanId(nullptr); },
       "0E0B0001 Null Response CAN ID pointer."},
      {[&] { return filter.GetPduRespCanFormat(nullptr); },
       "0E0C0001 Null Response CAN Format pointer."},
      {[&] { return filter.GetPduRespCanExtAddr(nullptr); },
       "0E0D0001 Null Response CAN ID pointer."},
      {[&] { return filter.GetPduFlowControlExtAddr(nullptr); },
       "0E0D0003 Null FlowControl CAN ID pointer."},
  };
  for (const auto& [call, report] : rows) {
    const Outcome outcome = Observe(call);
    ExpectReport(outcome, ERR_NULL_PARAMETER, report);
    EXPECT_NE(outcome.recorded, 0u) << report;
  }
}

}  // namespace

}  // namespace passbridge::test
