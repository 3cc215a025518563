// A virtual VCI with the bus and the protocol of own_bus.cpp: what a new bus gets from its rows in
// the tables.
#include <cstdio>
#include <fstream>

#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {
namespace {

using testing::ElementsAre;

TestLink::Setup KLine(std::vector<UNUM32> pins) {
  return {"ISO_9141_2_UART", "SAE_J2190_on_ISO_9141", std::move(pins), true};
}

std::string ScenarioFile() { return testing::TempDir() + "virtual_vci_own_bus.json"; }

class OwnBusTest : public PduTest {
 protected:
  OwnBusTest() : PduTest("Clock='instant' Scenario='" + ScenarioFile() + "'") {}
  void SetUp() override {
    std::ofstream(ScenarioFile(), std::ios::binary) << R"({
      "vcis": [{ "serial": 4711, "interfaces": [{ "type": "USB" }] }],
      "buses": [{ "type": "ISO_9141_2_UART", "pins": [7] }, { "type": "ISO_9141_2_UART", "pins": [1] }],
      "ecus": [{ "ports": [{ "bus": 0, "address": 17 }, { "bus": 1, "address": 18 }],
                 "rules": [{ "request": "01", "response": "41 05" }] }] })";
    PduTest::SetUp();
    module_ = Connect();
  }
  void TearDown() override {
    PduTest::TearDown();
    std::remove(ScenarioFile().c_str());
  }

  UNUM32 module_ = 0;
};

TEST_F(OwnBusTest, LinksMeetTheEcuWithTheirFirstPins) {
  TestLink link(library_, module_, KLine({7, 15}));
  ASSERT_EQ(link.Created(), PDU_STATUS_NOERROR);
  EXPECT_EQ(link.Get("CP_Baudrate"), 10400u);
  EXPECT_EQ(TestLink(library_, module_, KLine({7})).Created(), PDU_ERR_RESOURCE_BUSY);
  EXPECT_EQ(TestLink(library_, module_, KLine({15})).Created(), PDU_ERR_RESOURCE_BUSY);
  TestLink second(library_, module_, KLine({1}));
  ASSERT_EQ(second.Created(), PDU_STATUS_NOERROR);
  link.Open();
  second.Open();
  const auto ask = [](TestLink& asking, const Bytes& request) {
    asking.Send(request);
    const auto answer = asking.AwaitResult();
    return answer ? answer->data : Bytes{};
  };
  EXPECT_THAT(ask(link, {17, 0x01}), ElementsAre(17, 0x41, 0x05));
  EXPECT_THAT(ask(second, {18, 0x01}), ElementsAre(18, 0x41, 0x05)) << "its other port";
  EXPECT_THAT(ask(link, {17, 0x02}), ElementsAre(17, 0x7F, 0x02, 0x11));
}

TEST_F(OwnBusTest, CommunicationIsStartedWhenTheBusIsInitialised) {
  TestLink link(library_, module_, KLine({7}));
  link.Open();
  const auto start = [&](UNUM8 address) {
    const UNUM32 cop = link.Start({.type = PDU_COPT_STARTCOMM, .data = {address}});
    std::vector<UNUM32> told;
    const auto ended = link.Await([&](const Event& event) {
      if (event.type == PDU_IT_ERROR) told.push_back(event.error.ErrorCodeId);
      if (event.type == PDU_IT_RESULT) told.push_back(PDU_IT_RESULT);
      if (event.type == PDU_IT_STATUS && !(event.status == PDU_CLLST_ONLINE))
        told.push_back(event.status);
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    });
    EXPECT_TRUE(ended);
    return told;
  };
  link.Drain();
  EXPECT_THAT(start(0x34),
              ElementsAre(PDU_COPST_EXECUTING, PDU_ERR_EVT_INIT_ERROR, PDU_COPST_FINISHED));
  T_PDU_ERROR stopped = PDU_STATUS_NOERROR;
  link.Start({.type = PDU_COPT_STOPCOMM, .sendCycles = 0}, &stopped);
  EXPECT_EQ(stopped, PDU_ERR_CLL_NOT_STARTED);
  EXPECT_THAT(start(0x33), ElementsAre(PDU_COPST_EXECUTING, PDU_IT_RESULT, PDU_CLLST_COMM_STARTED,
                                       PDU_COPST_FINISHED));
  link.Start({.type = PDU_COPT_STOPCOMM, .sendCycles = 0}, &stopped);
  EXPECT_EQ(stopped, PDU_STATUS_NOERROR);
  EXPECT_TRUE(link.Await([](const Event& event) { return event.IsStatus(PDU_CLLST_ONLINE); }));
}

TEST_F(OwnBusTest, ProtocolsHaveIoControlsOfTheirOwn) {
  TestLink link(library_, module_, KLine({7}));
  const UNUM32 sendBreak = Id(PDU_OBJT_IO_CTRL, "PDU_IOCTL_SEND_BREAK");
  PDU_DATA_ITEM* output = nullptr;
  ASSERT_EQ(library_.PDUIoCtl(module_, link.Handle(), sendBreak, nullptr, &output),
            PDU_STATUS_NOERROR);
  ASSERT_NE(output, nullptr);
  EXPECT_EQ(*static_cast<UNUM32*>(output->pData), 1u);
  library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(output));
  EXPECT_EQ(link.IoCtl("PDU_IOCTL_SEND_BREAK"), PDU_STATUS_NOERROR) << "nobody wants the output";
  EXPECT_EQ(link.IoCtl("PDU_IOCTL_GENERIC"), PDU_ERR_ID_NOT_SUPPORTED);
}

TEST_F(OwnBusTest, ControlSendsBytesAsAnEcuDoes) {
  TestLink link(library_, module_, KLine({7, 15}));
  link.Open();
  const Bytes bytes{0x48, 0x6B, 0x10, 0xC3};
  const auto send = [&](UNUM32 pin, std::size_t size) {
    return library_.VirtualVciSendBytes(module_, pin, 0, 0, bytes.data(),
                                        static_cast<UNUM32>(size));
  };
  EXPECT_EQ(send(7, bytes.size()), PDU_STATUS_NOERROR);
  const auto heard = link.AwaitResult();
  ASSERT_TRUE(heard);
  EXPECT_EQ(heard->data, bytes);
  EXPECT_EQ(send(7, 0), PDU_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(send(9, bytes.size()), PDU_ERR_PIN_NOT_CONNECTED);
}

}  // namespace
}  // namespace virtual_vci_test
