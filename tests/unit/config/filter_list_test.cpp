#include "config/filter_list.h"

#include <gmock/gmock.h>

#include "passbridge/j2534.h"
#include "trace/last_error.h"
#include "unit/config/filter_messages.h"
#include "unit/config/recording_link.h"

namespace passbridge::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Data kWholeId{0xFF, 0xFF, 0xFF, 0xFF};

/// A response identifier 0x700 + n.
Data CanId(std::uint8_t n) { return {0x00, 0x00, 0x07, n}; }

class FilterListTest : public PduFixture {
 protected:
  FilterListTest()
      : clear_("PDUIoCtl(7, 9, " + IoControl("PDU_IOCTL_CLEAR_MSG_FILTER") + ", null, null)") {
    pdu.Calls().Clear();
  }

  std::string IoControl(const std::string& name) {
    return Render(pdu.IdOf(PDU_OBJT_IO_CTRL, name));
  }
  std::string Start(const std::string& filters) {
    return "PDUIoCtl(7, 9, " + IoControl("PDU_IOCTL_START_MSG_FILTER") + ", {0x1003 " + filters +
           "}, null)";
  }
  std::string Param(const std::string& name, const std::string& value) {
    return "{" + Render(pdu.IdOf(PDU_OBJT_COMPARAM, name)) + " = " + value + "}";
  }
  /// A record of the table of unique response identifiers.
  std::string Row(const std::string& response, const std::string& request,
                  const std::string& format, const std::string& responseExt = "0",
                  const std::string& requestExt = "0") {
    return "0:" + Param("CP_CanRespUSDTId", response) + Param("CP_CanRespUSDTFormat", format) +
           Param("CP_CanRespUSDTExtAddr", responseExt) + Param("CP_CanPhysReqId", request) +
           Param("CP_CanPhysReqFormat", format) + Param("CP_CanPhysReqExtAddr", requestExt);
  }

  std::vector<std::string> TakeCalls() {
    std::vector<std::string> calls = pdu.Calls().All();
    pdu.Calls().Clear();
    return calls;
  }

  const std::string clear_;
};

/// Starts a filter and gives its ID; 0 if it is refused.
std::uint32_t StartFilter(CJ2534FilterList& list, const FilterRequest& request) {
  auto filter = MakeFilter(request);
  const CJ2534Filter* const started = filter.get();
  return list.StartJ2534Filter(std::move(filter)) == STATUS_NOERROR ? started->FilterId() : 0;
}

FilterRequest CanPass(std::uint8_t n) { return PassOrBlock(CAN, PASS_FILTER, kWholeId, CanId(n)); }

FilterRequest RawPass(std::uint8_t n) {
  FilterRequest request = PassOrBlock(ISO15765, PASS_FILTER, kWholeId, CanId(n));
  request.noMixedFormat = false;
  return request;
}

FilterRequest Flow(std::uint8_t response, std::uint8_t request) {
  return FlowControl(ISO15765, CanId(response), CanId(request));
}

TEST_F(FilterListTest, GivesTheLowestFreeId) {
  RecordingLink channel(CAN, CAN);
  CJ2534FilterList list(&channel);
  for (std::uint8_t n = 1; n <= 3; ++n) EXPECT_EQ(StartFilter(list, CanPass(n)), n);
  list.StopJ2534Filter(1);
  EXPECT_EQ(StartFilter(list, CanPass(4)), 1u);
  list.StopJ2534Filter(2);
  EXPECT_EQ(StartFilter(list, CanPass(5)), 2u);
  EXPECT_EQ(StartFilter(list, CanPass(6)), 4u);
}

TEST_F(FilterListTest, HoldsSixtyFiveFiltersOfAllTypesTogether) {
  RecordingLink channel(ISO15765, ISO15765);
  CJ2534FilterList list(&channel);
  for (std::uint8_t n = 0; n < 60; ++n) {
    EXPECT_EQ(StartFilter(list, Flow(n, static_cast<std::uint8_t>(n + 100))), n + 1u);
  }
  for (std::uint32_t n = 61; n <= 65; ++n) EXPECT_EQ(StartFilter(list, RawPass(1)), n);
  auto pass = MakeFilter(RawPass(2));
  ExpectReport(Observe([&] { return list.StartJ2534Filter(std::move(pass)); }), ERR_EXCEEDED_LIMIT,
               "0F050002 Too many non-ISO15765 Filters.");
  auto flow = MakeFilter(Flow(200, 201));
  ExpectReport(Observe([&] { return list.StartJ2534Filter(std::move(flow)); }), ERR_EXCEEDED_LIMIT,
               "0F050003 Too many ISO15765 Filters.");
  EXPECT_NE(flow, nullptr) << "it stays with the caller";
}

TEST_F(FilterListTest, RefusesAFlowControlFilterThatIsNotUnique) {
  RecordingLink channel(ISO15765, ISO15765);
  CJ2534FilterList list(&channel);
  StartFilter(list, Flow(1, 2));
  StartFilter(list, Flow(3, 4));
  auto second = MakeFilter(Flow(3, 5));
  const Outcome outcome = Observe([&] { return list.StartJ2534Filter(std::move(second)); });
  ExpectReport(outcome, ERR_NOT_UNIQUE, "0F050004 Filter is not unique.");
  EXPECT_EQ(outcome.recorded, 0x0E040001u);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->FilterId(), 0u);
}

TEST_F(FilterListTest, RefusesWhatIsNoFilter) {
  CJ2534FilterList list;
  ExpectReport(Observe([&] { return list.StartJ2534Filter(nullptr); }), ERR_NULL_PARAMETER,
               "0F050001 Invalid filter pointer.");
  auto empty = std::make_unique<CJ2534Filter>();
  ExpectReport(Observe([&] { return list.StartJ2534Filter(std::move(empty)); }), ERR_FAILED,
               "0F050005 Invalid Filter Type");
}

TEST_F(FilterListTest, MarksAPassOrBlockFilterThatItHasAlready) {
  const struct {
    FilterRequest request;
    bool isDuplicate;
  } rows[] = {
      {CanPass(1), true},
      {CanPass(2), false},
      {PassOrBlock(CAN, BLOCK_FILTER, kWholeId, CanId(1)), false},
      {PassOrBlock(CAN, PASS_FILTER, {0xFF, 0xFF, 0xFF, 0xFE}, CanId(1)), false},
      {PassOrBlock(CAN, PASS_FILTER, {0xFF, 0xFF}, {0x00, 0x00}), false},
  };
  for (const auto& row : rows) {
    CJ2534FilterList list;
    StartFilter(list, CanPass(1));
    auto filter = MakeFilter(row.request);
    const CJ2534Filter* const started = filter.get();
    EXPECT_EQ(list.StartJ2534Filter(std::move(filter)), STATUS_NOERROR);
    EXPECT_EQ(started->FilterId(), 2u) << "kept either way";
    EXPECT_EQ(started->IsDuplicate(), row.isDuplicate);
  }
}

TEST_F(FilterListTest, SendsNothingWhileNotConnected) {
  for (const std::uint32_t protocolId : {CAN, ISO15765}) {
    RecordingLink channel(protocolId, protocolId);
    channel.connected = false;
    CJ2534FilterList list;
    EXPECT_EQ(list.Initialize(&channel), STATUS_NOERROR);
    const bool isCan = protocolId == CAN;
    StartFilter(list, isCan ? CanPass(1) : RawPass(1));
    EXPECT_EQ(list.DownloadJ2534Filters(true, true, true), STATUS_NOERROR);
    EXPECT_EQ(list.StopJ2534Filter(1), STATUS_NOERROR);
    EXPECT_EQ(list.ClearJ2534PassBlockFilters(), STATUS_NOERROR);
    EXPECT_EQ(list.ClearJ2534Filters(), STATUS_NOERROR);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_EQ(channel.commits, 0);
    // A new link gets its filters before the channel counts as connected.
    EXPECT_EQ(list.DownloadJ2534Filters(true, true, false), STATUS_NOERROR);
    EXPECT_EQ(TakeCalls().size(), 1u);
  }
}

TEST_F(FilterListTest, ClearsAndStartsTheFiltersOfTheLink) {
  RecordingLink channel(CAN, CAN);
  CJ2534FilterList list(&channel);
  StartFilter(list, CanPass(1));
  StartFilter(list, PassOrBlock(CAN, BLOCK_FILTER, {0xFF, 0xF0}, {0x00, 0x10}));
  EXPECT_THAT(TakeCalls(), IsEmpty()) << "starting downloads nothing";
  EXPECT_EQ(list.DownloadJ2534Filters(true, false, true), STATUS_NOERROR);
  const std::string block = "{2 2 mask FF F0 pattern 00 10}";
  EXPECT_THAT(TakeCalls(),
              ElementsAre(clear_, Start("{1 1 mask FF FF FF FF pattern 00 00 07 01} " + block)));
  list.StopJ2534Filter(1);
  EXPECT_THAT(TakeCalls(), ElementsAre(clear_, Start(block)));
  list.StopJ2534Filter(2);
  EXPECT_THAT(TakeCalls(), ElementsAre(clear_));
  EXPECT_EQ(list.DownloadJ2534Filters(false, true, true), STATUS_NOERROR);
  EXPECT_THAT(TakeCalls(), IsEmpty()) << "no pass or block filter has changed";
}

TEST_F(FilterListTest, FunctionalAddressesBecomePassFilters) {
  RecordingLink channel(J1850PWM, J1850PWM);
  channel.functionalAddresses = {0x6A, 0x6B};
  CJ2534FilterList list(&channel);
  StartFilter(list, PassOrBlock(J1850PWM, PASS_FILTER, {0xFF}, {0x41}));
  list.DownloadJ2534Filters(true, false, true);
  EXPECT_THAT(TakeCalls(),
              ElementsAre(clear_, Start("{1 1 mask FF pattern 41} {1 2 mask 00 FF pattern 00 6A} "
                                        "{1 3 mask 00 FF pattern 00 6B}")));
}

TEST_F(FilterListTest, FlowControlFiltersBecomeTheTableOfResponses) {
  RecordingLink channel(ISO15765, ISO15765);
  CJ2534FilterList list(&channel);
  StartFilter(list, Flow(0xE8, 0xE0));
  StartFilter(list,
              FlowControl(ISO15765, {0x18, 0xDA, 0xF1, 0x10, 0x55}, {0x18, 0xDA, 0x10, 0xF1, 0x66},
                          CAN_29BIT_ID | ISO15765_ADDR_TYPE | ISO15765_FRAME_PAD));
  StartFilter(list, Flow(0xEA, 0xE2));
  pdu.PDUSetUniqueRespIdTable.Does([&](UNUM32, UNUM32, PDU_UNIQUE_RESP_ID_TABLE_ITEM* table) {
    EXPECT_EQ(table->ItemType, PDU_IT_UNIQUE_RESP_ID_TABLE);
    for (UNUM32 i = 0; i < table->NumEntries * 6; ++i) {
      const PDU_PARAM_ITEM& param = table->pUniqueData[i / 6].pParams[i % 6];
      EXPECT_EQ(param.ItemType, PDU_IT_PARAM);
      EXPECT_EQ(param.ComParamDataType, PDU_PT_UNUM32);
      EXPECT_EQ(param.ComParamClass, PDU_PC_UNIQUE_ID);
    }
    EXPECT_EQ(channel.commits, 0) << "put in force after it is set";
    return PDU_STATUS_NOERROR;
  });
  channel.commitStatus = ERR_FAILED;  // no concern of the download
  EXPECT_EQ(list.DownloadJ2534Filters(false, true, true), STATUS_NOERROR);
  const std::string table = Row("0x7E8", "0x7E0", "5") + " " +
                            Row("0x18DAF110", "0x18DA10F1", "63", "85", "102") + " " +
                            Row("0x7EA", "0x7E2", "5");
  EXPECT_THAT(TakeCalls(), ElementsAre("PDUSetUniqueRespIdTable(7, 9, {" + table + "})"));
  EXPECT_EQ(channel.commits, 1);
}

TEST_F(FilterListTest, MixedFormatDownloadsBothKinds) {
  RecordingLink channel(ISO15765, ISO15765);
  CJ2534FilterList list(&channel);
  StartFilter(list, Flow(0xE8, 0xE0));
  StartFilter(list, RawPass(0x55));
  const std::string table = "PDUSetUniqueRespIdTable(7, 9, {" + Row("0x7E8", "0x7E0", "5") + "})";
  const std::string start = Start("{1 2 mask FF FF FF FF pattern 00 00 07 55}");
  const struct {
    bool passBlock;
    bool flowControl;
    std::vector<std::string> calls;
  } rows[] = {
      {true, true, {table, clear_, start}},
      {true, false, {clear_, start}},
      {false, true, {table}},
      {false, false, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(list.DownloadJ2534Filters(row.passBlock, row.flowControl, true), STATUS_NOERROR);
    EXPECT_EQ(TakeCalls(), row.calls);
  }
  EXPECT_EQ(list.ClearJ2534PassBlockFilters(), STATUS_NOERROR);
  EXPECT_THAT(TakeCalls(), ElementsAre(clear_));
  EXPECT_EQ(list.ClearJ2534PassBlockFilters(), STATUS_NOERROR);
  EXPECT_THAT(TakeCalls(), IsEmpty()) << "there was none";
  EXPECT_EQ(list.ClearJ2534Filters(), STATUS_NOERROR);
  EXPECT_THAT(TakeCalls(), ElementsAre("PDUSetUniqueRespIdTable(7, 9, {})"));
}

TEST_F(FilterListTest, RefusesTheTableWithAPassFilterOutsideMixedFormat) {
  RecordingLink channel(ISO15765, ISO15765);
  CJ2534FilterList list(&channel);
  StartFilter(list, CanPass(1));  // made for another channel
  ExpectReport(Observe([&] { return list.DownloadJ2534Filters(true, true, true); }),
               ERR_INVALID_FILTER_ID, "0F0A0002 Error setting PDU URID Table.");
  EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(FilterListTest, MapsTheResultsOfTheDpduLibrary) {
  const struct {
    T_PDU_ERROR result;
    Status ofIoCtl;
    Status ofTable;
  } rows[] = {
      {PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_NOT_SUPPORTED, ERR_FAILED},
      {PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED, ERR_FAILED},
      {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED},
      {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID, ERR_INVALID_CHANNEL_ID},
      {PDU_ERR_COMPARAM_NOT_SUPPORTED, ERR_FAILED, ERR_NOT_SUPPORTED},
      {PDU_ERR_FCT_FAILED, ERR_FAILED, ERR_FAILED},
  };
  RecordingLink can(CAN, CAN);
  RecordingLink iso15765(ISO15765, ISO15765);
  for (const auto& row : rows) {
    CJ2534FilterList filters(&can);
    StartFilter(filters, CanPass(1));
    pdu.PDUIoCtl.Next({row.result});
    Outcome outcome = Observe([&] { return filters.StartPduFilters(true); });
    ExpectReport(outcome, row.ofIoCtl, "0F090003 Error clearing filters in PDU API.");
    EXPECT_EQ(LastErrorRecord::Instance().LastPduCode(), row.result);
    pdu.PDUIoCtl.Next({PDU_STATUS_NOERROR, row.result});
    outcome = Observe([&] { return filters.DownloadJ2534Filters(true, false, true); });
    ExpectReport(outcome, row.ofIoCtl, "0F0A0003 Error starting PDU Filters.");
    EXPECT_EQ(outcome.recorded, 0x0F090004u);

    CJ2534FilterList responses(&iso15765);
    pdu.PDUSetUniqueRespIdTable.Next({row.result});
    outcome = Observe([&] { return responses.DownloadJ2534Filters(true, true, true); });
    ExpectReport(outcome, row.ofTable, "0F0A0002 Error setting PDU URID Table.");
    EXPECT_EQ(outcome.recorded, 0x0F080006u);
    EXPECT_EQ(LastErrorRecord::Instance().LastPduCode(), row.result);
    EXPECT_EQ(iso15765.commits, 0);
  }
}

TEST_F(FilterListTest, AFailedDownloadLeavesTheListChanged) {
  RecordingLink channel(CAN, CAN);
  CJ2534FilterList list(&channel);
  StartFilter(list, CanPass(1));
  StartFilter(list, CanPass(2));
  ExpectReport(Observe([&] { return list.StopJ2534Filter(3); }), ERR_INVALID_FILTER_ID,
               "0F060001 Invalid FilterID.");
  pdu.PDUIoCtl.Always(PDU_ERR_FCT_FAILED);
  const std::pair<std::function<Status()>, const char*> rows[] = {
      {[&] { return list.StopJ2534Filter(1); },
       "0F060003 Could not download filters into PDU API."},
      {[&] { return list.ClearJ2534PassBlockFilters(); },
       "0F060006 Could not download filters into PDU API."},
      {[&] { return list.ClearJ2534Filters(); },
       "0F070001 Could not download filters into PDU API."},
      {[&] { return list.Initialize(&channel); }, "0F040002 Error clearing a J2534 Filter List."},
  };
  for (const auto& [call, report] : rows) ExpectReport(Observe(call), ERR_FAILED, report);
  EXPECT_EQ(list.StopJ2534Filter(1), ERR_INVALID_FILTER_ID) << "gone";
}

TEST_F(FilterListTest, NeedsAChannelToDownload) {
  CJ2534FilterList list;
  const std::pair<std::function<Status()>, const char*> rows[] = {
      {[&] { return list.Initialize(nullptr); }, "0F040001 Invalid J2534 Channel pointer."},
      {[&] { return list.SetPduUridTable(true, true); }, "0F080001 Invalid J2534 Channel pointer."},
      {[&] { return list.StartPduFilters(true); }, "0F090001 Invalid J2534 Channel pointer."},
      {[&] { return list.DownloadJ2534Filters(true, true, true); },
       "0F0A0001 Invalid J2534 Channel pointer."},
  };
  for (const auto& [call, report] : rows) {
    const Outcome outcome = Observe(call);
    ExpectReport(outcome, ERR_NULL_PARAMETER, report);
    EXPECT_NE(outcome.recorded, 0u) << report;
  }
}

TEST_F(FilterListTest, FindsTheFlowControlFilterOfAMessage) {
  RecordingLink channel(ISO15765, ISO15765);
  CJ2534FilterList list(&channel);
  StartFilter(list, RawPass(0x10));
  StartFilter(list, Flow(0xE8, 0xE0));
  StartFilter(list, FlowControl(ISO15765, {0, 0, 7, 0xE9, 1}, {0, 0, 7, 0xE1, 2}));
  const std::pair<Data, bool> rows[] = {
      {{0, 0, 7, 0xE0, 0x22}, true},  {{0, 0, 7, 0xE0}, true},
      {{0, 0, 7, 0xE8, 0x22}, false}, {{0, 0, 7, 0xE1, 2, 9}, true},
      {{0, 0, 7, 0xE1, 3}, false},    {{0, 0, 7, 0xE1}, false},
      {{0, 0, 7, 0x10, 0x22}, false}, {{}, false},
  };
  for (const auto& [data, expected] : rows) {
    EXPECT_EQ(list.HasFlowControlFor(data), expected) << RenderBytes(data.data(), data.size());
  }
}

}  // namespace

}  // namespace passbridge::test
