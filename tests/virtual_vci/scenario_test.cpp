// Scenario files: what they make, and what is said about bad ones.
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {
namespace {

std::string ExampleFile() {
  const char* path = std::getenv("VIRTUAL_VCI_EXAMPLE");
  return path == nullptr ? "" : path;
}

const TestLink::Setup kIso{.protocol = "SAE_J2190_on_ISO_15765_2"};

class ScenarioTest : public PduTest {
 protected:
  ScenarioTest() : PduTest("Clock='instant' Scenario='" + ExampleFile() + "'") {}
  void SetUp() override {
    PduTest::SetUp();
    module_ = ModuleNamed("5001", "USB");
    ASSERT_EQ(library_.PDUModuleConnect(module_), PDU_STATUS_NOERROR);
  }
  Bytes Ask(TestLink& link, const Bytes& request, const Bytes& flags = {0, 0, 0, 0}) {
    link.Start({.data = request, .flags = flags});
    const auto answer = link.AwaitResult();
    return answer ? answer->data : Bytes{};
  }

  UNUM32 module_ = 0;
};

TEST_F(ScenarioTest, ExampleHasItsThreeEcus) {
  EXPECT_NE(ModuleNamed("5001", "IPAddress='192.168.1.50'"), PDU_HANDLE_UNDEF);
  {
    TestLink link(library_, module_, kIso);
    link.SetTable({{1, 0x7E0, 0x7E8}, {2, 0x18DA10F1, 0x18DAF110, 7}});
    link.Open();
    EXPECT_EQ(Ask(link, Message(0x7E0, {0x01, 0x00})),
              Message(0x7E8, {0x41, 0x00, 0x08, 0x18, 0x00, 0x00}));
    EXPECT_EQ(Ask(link, Message(0x7DF, {0x03})), Message(0x7E8, {0x43, 2, 0x03, 0x01, 0x04, 0x20}));
    const Bytes extended{0, 0, 1, 0};
    EXPECT_EQ(Ask(link, Message(0x18DA10F1, {0x22, 0xF1, 0x95}), extended),
              Message(0x18DAF110, {0x62, 0xF1, 0x95, 1, 2, 3}));
    EXPECT_EQ(Ask(link, Message(0x18DA10F1, {0x31, 0x01, 0xAB, 0xCD}), extended),
              Message(0x18DAF110, {0x7F, 0x31, 0x78}));
    link.AwaitResult();
    EXPECT_EQ(link.AwaitResult()->data, Message(0x18DAF110, {0x71, 0x01, 0xAB, 0xCD, 0x00}));
    EXPECT_EQ(Ask(link, Message(0x18DA10F1, {0x22, 0xF1, 0x96}), extended),
              Message(0x18DAF110, {0x7F, 0x22, 0x11}));
  }
  TestLink body(library_, module_, {.protocol = kIso.protocol, .pins = {3, 11}});
  body.SetTable({{3, 0x6F1, 0x640, 0xD, 0x40, 0xF1}});
  body.Set("CP_Baudrate", 125000);
  body.Open();
  const Bytes answer = Ask(body, Message(0x6F1, {0x40, 0x22, 0xD0, 0x01}), {0, 0, 0, 0x80});
  ASSERT_EQ(answer.size(), 9u);
  EXPECT_EQ(Bytes(answer.begin(), answer.begin() + 8), Message(0x640, {0xF1, 0x62, 0xD0, 0x01}));
}

TEST_F(ScenarioTest, BadFilesAreNamedWithPlaceAndExpectation) {
  ASSERT_EQ(library_.PDUDestruct(), PDU_STATUS_NOERROR);
  constructed_ = false;
  const std::string vci =
      R"("vcis":[{"serial":1,"interfaces":[{"type":"USB"}]}],"buses":[{"pins":[6,14]}])";
  const auto ecu = [&](const std::string& members) {
    return "{" + vci + R"(,"ecus":[{"request":"0x7E0","response":"0x7E8")" + members + "}]}";
  };
  const std::pair<std::string, const char*> cases[] = {
      {"", "line 1, column 1: expected JSON"},
      {"{\n \"vcis\": [,]}", "line 2, column 11: expected JSON"},
      {"[]", "/: expected an object"},
      {"{}", "/: expected a member \"vcis\""},
      {R"({"vcis":[],"color":1})",
       "/color: expected one of these members: clock, vcis, buses, ecus"},
      {R"({"vcis":[],"clock":"sundial"})", "/clock: expected one of \"realtime\", \"instant\""},
      {R"({"vcis":[{"serial":0,"interfaces":[]}]})", "/vcis/0/serial: expected a number from 1"},
      {R"({"vcis":[{"serial":1,"interfaces":[]}]})",
       "/vcis/0/interfaces: expected at least one interface"},
      {R"({"vcis":[{"serial":1,"interfaces":[{"type":"RS232"}]}]})",
       "/vcis/0/interfaces/0/type: expected one of"},
      {R"({"vcis":[],"buses":[{"pins":[6]}]})", "/buses/0/pins: expected two pins"},
      {R"({"vcis":[],"buses":[{"pins":[6,14],"bitRate":true}]})",
       "/buses/0/bitRate: expected a number"},
      {R"({"vcis":[],"buses":[{"pins":[6,14]},{"pins":[3,11]},{"pins":[6,14]}]})",
       "/buses/2/pins: expected pins that no other bus of its type begins with"},
      {R"({"vcis":[],"ecus":[{}]})", "/ecus/0: expected a bus for this ECU in /buses"},
      {ecu(R"(,"bus":1)"), "/ecus/0/bus: expected a number from 0 to 0"},
      {ecu(R"(,"rules":[{"request":"22 F1","response":"{rpm}"}])"),
       "/ecus/0/rules/0/response: expected bytes"},
      {ecu(R"(,"rules":[{"request":"2 F1","response":""}])"),
       "/ecus/0/rules/0/request: expected bytes"},
      {ecu(R"(,"signals":{"x":{"kind":"saw"}})"), "/ecus/0/signals/x/kind: expected"},
      {ecu(R"(,"cyclic":[{"id":1,"data":"00 00 00 00 00 00 00 00 00","period":1}])"),
       "/ecus/0/cyclic/0/data: expected at most 8 bytes"},
      {ecu(R"(,"ports":[])"), "/ecus/0/request: expected one of these members: name,"},
      {ecu(R"(,"color":1)"), "/ecus/0/color: expected one of these members: name,"},
      {ecu(R"(,"obd":{"faults":["X0301"]})"),
       "/ecus/0/obd/faults/0: expected a fault code like \"P0301\""},
      {ecu(R"(,"obd":{"vin":"short"})"), "/ecus/0/obd/vin: expected 17 characters"},
      {ecu(R"(,"uds":{"identifiers":{"F19":{"data":"00"},"zz":{"data":"00"}}})"),
       "/ecus/0/uds/identifiers/zz: expected"},
  };
  const std::string path = testing::TempDir() + "virtual_vci_bad_scenario.json";
  for (const auto& [text, message] : cases) {
    std::ofstream(path, std::ios::binary) << text;
    std::string options = "Scenario='" + path + "'";
    testing::internal::CaptureStderr();
    const T_PDU_ERROR result = library_.PDUConstruct(options.data(), nullptr);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, PDU_ERR_INVALID_PARAMETERS) << text;
    EXPECT_THAT(said, testing::StartsWith(path + ": " + message)) << text;
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    library_.PDUDestruct();
  }
  std::remove(path.c_str());
}

TEST_F(ScenarioTest, LowestIdentifierWinsWhenTwoAnswerAtOnce) {
  UseScenario(
      R"({"vcis":[{"serial":5001,"interfaces":[{"type":"USB"}]}],"buses":[{"pins":[6,14]}],)"
      R"("ecus":[{"request":"0x7E1","functional":"0x7DF","response":"0x7E9","uds":{}},)"
      R"({"request":"0x7E0","functional":"0x7DF","response":"0x7E8","uds":{}},)"
      R"({"request":"0x7E2","functional":"0x7DF","response":"0x7EA","uds":{},"bitRate":250000}]})");
  module_ = ModuleNamed("5001", "USB");
  ASSERT_EQ(library_.PDUModuleConnect(module_), PDU_STATUS_NOERROR);
  TestLink link(library_, module_);
  link.Open();
  link.Send(Message(0x7DF, {2, 0x3E, 0}));
  for (const UNUM32 from : {0x7E8u, 0x7E9u}) {
    const auto answer = link.AwaitResult();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->data, Message(from, {2, 0x7E, 0}));
  }
  EXPECT_FALSE(link.AwaitResult(milliseconds(20))) << "an ECU of another bit rate hears nothing";
}

TEST_F(ScenarioTest, MessagesWithoutAPeriodWaitForAnApplicationThatTakesNone) {
  UseScenario(
      R"({"vcis":[{"serial":5001,"interfaces":[{"type":"USB"}]}],"buses":[{"pins":[6,14]}],)"
      R"("ecus":[{"request":1,"response":2,"cyclic":[{"id":3,"data":"00","period":0}]}]})");
  module_ = ModuleNamed("5001", "USB");
  ASSERT_EQ(library_.PDUModuleConnect(module_), PDU_STATUS_NOERROR);

  TestLink link(library_, module_);
  PDU_IO_EVENT_QUEUE_PROPERTY_DATA one{1, PDU_QUE_LIMITED};
  PDU_DATA_ITEM limit{PDU_IT_IO_EVENT_QUEUE_PROPERTY, &one};
  EXPECT_EQ(link.IoCtl("PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES", &limit), PDU_STATUS_NOERROR);
  const auto start = std::chrono::steady_clock::now();
  link.Open();
  const auto lost = [&] {
    VVCI_LEDGER ledger{};
    library_.VirtualVciGetLedger(&ledger);
    return ledger.EventItemsLost;
  };
  const auto time = [&] { return std::chrono::steady_clock::now() - start; };
  // It goes on, as somebody may listen later, but slowly.
  while (lost() < 8000 && time() < milliseconds(5000)) std::this_thread::sleep_for(milliseconds(5));
  const auto count = lost();
  EXPECT_GE(count, 8000u);
  EXPECT_LT(count, 1024 * (static_cast<std::uint64_t>(time() / milliseconds(10)) + 5));
}

TEST_F(ScenarioTest, ControlInterfaceAndEnvironmentStandBehindTheOptionText) {
  ASSERT_EQ(library_.PDUDestruct(), PDU_STATUS_NOERROR);
  char empty[] = "";
  EXPECT_EQ(library_.VirtualVciConfigure("no/such/file.json", VVCI_CLOCK_INSTANT),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUConstruct(empty, nullptr), PDU_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(library_.VirtualVciConfigure(nullptr, 7), PDU_ERR_INVALID_PARAMETERS);
  std::string options = options_;
  EXPECT_EQ(library_.PDUConstruct(options.data(), nullptr), PDU_STATUS_NOERROR);
  EXPECT_NE(ModuleNamed("5001", "USB"), PDU_HANDLE_UNDEF);
}

}  // namespace
}  // namespace virtual_vci_test
