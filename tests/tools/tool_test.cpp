// The command line as a whole, in this process, on a fake J2534 library of either field width.
#include "commands/tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace passbridge::tool {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class ToolTest : public testing::TestWithParam<const char*> {
 protected:
  int Run(std::vector<const char*> arguments) {
    out_.str("");
    err_.str("");
    std::vector<const char*> argv = {"passbridge", "--library", GetParam()};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    // What never comes makes a test fail, not wait for ever.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    Console console{out_, err_, [this, end] {
                      return (stop_ && stop_()) || std::chrono::steady_clock::now() > end;
                    }};
    return RunTool(static_cast<int>(argv.size()), argv.data(), console);
  }

  std::string Out() const { return out_.str(); }
  std::string Err() const { return err_.str(); }
  std::string OpenedName() const { return Fake<const char*>("FakeName"); }
  std::string LastCall() const { return Fake<const char*>("FakeCall"); }
  std::string SetupSteps() const { return Fake<const char*>("FakeSetup"); }
  bool IsClosed() const { return Fake<int>("FakeIsClosed") != 0; }

  void CancelDialog() const { Fake<void>("FakeCancelDialog"); }

  std::function<bool()> stop_;

 private:
  template <typename Result>
  Result Fake(const char* name) const {
    return reinterpret_cast<Result (*)()>(fake_.Symbol(name))();
  }

  SharedLibrary fake_{GetParam()};  // keeps the state of the library that the tool loads
  std::ostringstream out_;
  std::ostringstream err_;
};

INSTANTIATE_TEST_SUITE_P(Widths, ToolTest, testing::Values(FAKE_J2534, FAKE_J2534_U32),
                         [](const auto& test) { return test.index == 0 ? "native" : "u32"; });

TEST_P(ToolTest, InfoShowsVersionsAndBattery) {
  ASSERT_EQ(Run({"info"}), 0) << Err();
  EXPECT_THAT(Out(), HasSubstr("firmware  " + std::string(80, '7') + "\n"));
  EXPECT_THAT(Out(), HasSubstr("DLL       1.2.3\nAPI       04.04\nbattery   12.34 V\n"));
  EXPECT_EQ(OpenedName(), "(null)");
  EXPECT_TRUE(IsClosed());

  ASSERT_EQ(Run({"info", "--device", "NOBATTERY"}), 0);
  EXPECT_THAT(Out(), HasSubstr("battery   not available (ERR_NOT_SUPPORTED (0x01))"));
}

TEST_P(ToolTest, ExplorerShowsWhatTheUserChose) {
  ASSERT_EQ(Run({"explorer"}), 0) << Err();
  EXPECT_EQ(OpenedName(), "J2534-2:VQXLIST");
  EXPECT_THAT(Out(), HasSubstr("\nserial    4711\nfirmware  77"));
  EXPECT_THAT(Out(), HasSubstr("battery   12.34 V\n"));
  EXPECT_TRUE(IsClosed());

  CancelDialog();
  EXPECT_EQ(Run({"explorer"}), 1);
  EXPECT_EQ(Out(), "");
  EXPECT_THAT(Err(), StartsWith("passbridge: no VCI was chosen: PassThruOpen failed: "
                                "ERR_DEVICE_NOT_CONNECTED (0x08)"));
  EXPECT_THAT(Err(), HasSubstr("strategy 3"));
}

TEST_P(ToolTest, SerialAndInterfaceMakeTheDeviceName) {
  ASSERT_EQ(Run({"--serial", "4711", "--interface", "usb", "info"}), 0);
  EXPECT_EQ(OpenedName(), "J2534-2:SN='4711' CXN='USB'");
  ASSERT_EQ(Run({"info", "-s", "12", "-i", "Ethernet,USB"}), 0);
  EXPECT_EQ(OpenedName(), "J2534-2:SN='12' CXN='ETHERNET,USB'");
  ASSERT_EQ(Run({"info", "-s", "12"}), 0);
  EXPECT_EQ(OpenedName(), "J2534-2:SN='12' CXN='USB,ETHERNET,WIRELESS,BLUETOOTH,LOCAL'");
  ASSERT_EQ(Run({"info", "--device", "as it is"}), 0);
  EXPECT_EQ(OpenedName(), "as it is");
}

TEST_P(ToolTest, FailureShowsStatusAndLastErrorText) {
  EXPECT_EQ(Run({"info", "--serial", "9"}), 1);
  EXPECT_EQ(Out(), "");
  EXPECT_EQ(Err(),
            "passbridge: PassThruOpen failed: ERR_DEVICE_NOT_CONNECTED (0x08): "
            "(14060002:00000000) Unable to communicate with device.\n");
  EXPECT_EQ(Run({"monitor", "--bitrate", "12345"}), 1);
  EXPECT_EQ(Err(), "passbridge: PassThruConnect failed: ERR_INVALID_BAUDRATE (0x19)\n");
  EXPECT_TRUE(IsClosed());
}

TEST_P(ToolTest, MonitorShowsFramesOfTheWidthAskedFor) {
  const std::string firstLine = "(0000000012.345678) can0 100#0102\n";
  const std::string secondLine = "(0000000012.348678) can0 7E8#027E00\n";
  const std::string extended = "(0000000012.347678) can0 18DAF110#AA\n";
  ASSERT_EQ(Run({"monitor", "--count", "2"}), 0) << Err();
  EXPECT_EQ(Out(), firstLine + secondLine);
  EXPECT_THAT(Err(), StartsWith("2 frames in "));
  EXPECT_EQ(LastCall(), "connect 71 5 0 500000");

  ASSERT_EQ(Run({"monitor", "--29bit", "--count", "1", "--bitrate", "250k"}), 0);
  EXPECT_EQ(Out(), extended);
  EXPECT_EQ(LastCall(), "connect 71 5 100 250000");

  ASSERT_EQ(Run({"monitor", "--both", "--count", "3"}), 0);
  EXPECT_EQ(Out(), firstLine + extended + secondLine);
  EXPECT_EQ(LastCall(), "connect 71 5 800 500000");
  EXPECT_TRUE(IsClosed());
}

TEST_P(ToolTest, MonitorFiltersByIdentifier) {
  ASSERT_EQ(Run({"monitor", "--id", "7E8", "--count", "1"}), 0);
  EXPECT_EQ(Out(), "(0000000012.348678) can0 7E8#027E00\n");
  ASSERT_EQ(Run({"monitor", "--id", "18DAF110", "--id", "100", "--count", "2"}), 0);
  EXPECT_EQ(Out(), "(0000000012.345678) can0 100#0102\n(0000000012.347678) can0 18DAF110#AA\n");
  ASSERT_EQ(Run({"monitor", "--id", "101", "--seconds", "0.05"}), 0);
  EXPECT_EQ(Out(), "");
  EXPECT_THAT(Err(), StartsWith("0 frames in 0.1 s, 0 frames/s"));
}

TEST_P(ToolTest, MonitorEndsWithASummaryWhenTheUserWantsIt) {
  int asked = 0;
  stop_ = [&] { return ++asked > 3; };
  ASSERT_EQ(Run({"monitor"}), 0);
  EXPECT_THAT(Err(), StartsWith("2 frames in "));
  EXPECT_TRUE(IsClosed());
}

TEST_P(ToolTest, MonitorShowsMessagesOfBytesAndWhatRxStatusSaysOfThem) {
  ASSERT_EQ(Run({"monitor", "--protocol", "j1850vpw", "--seconds", "0.05"}), 0) << Err();
  EXPECT_EQ(LastCall(), "connect 71 1 0 10400");
  EXPECT_EQ(Out(),
            "(0000000012.345678) j1850vpw [start]\n"
            "(0000000012.346678) j1850vpw 08 25 10 01\n"
            "(0000000012.347678) j1850vpw 08 F1 10 02\n"
            "(0000000012.348678) j1850vpw [break]\n"
            "(0000000012.349678) j1850vpw 08 25 F1 [echo]\n"
            "(0000000012.350678) j1850vpw [echo] [sent]\n");
  EXPECT_THAT(Err(), StartsWith("2 messages in "));

  ASSERT_EQ(Run({"monitor", "-p", "iso9141", "--begin", "09", "--begin", "08F1", "-n", "1"}), 0);
  EXPECT_EQ(Out(), "(0000000012.347678) iso9141 08 F1 10 02\n");
}

TEST_P(ToolTest, PinsAreSetBeforeAnythingElse) {
  ASSERT_EQ(Run({"monitor", "-p", "sw-can-ps", "--pins", "1", "--count", "1"}), 0) << Err();
  EXPECT_EQ(LastCall(), "connect 71 32776 0 33333");
  EXPECT_EQ(SetupSteps(), "pins 100");
  EXPECT_EQ(Out(), "(0000000012.345678) can0 100#0102\n");
  ASSERT_EQ(Run({"send", "-p", "iso14230-ps", "--pins", "6,14", "-b", "9600", "C1 33 F1 3E"}), 0);
  EXPECT_EQ(SetupSteps(), "pins 60E");
  ASSERT_EQ(Run({"monitor", "-p", "gm-uart-ps", "--pins", "9", "--become-master", "F0", "-n", "1"}),
            0)
      << Err();
  EXPECT_EQ(LastCall(), "connect 71 32777 0 8192");
  EXPECT_EQ(SetupSteps(), "pins 900, master F0");
}

TEST_P(ToolTest, SingleWireCanHasHighVoltageAndHighSpeed) {
  ASSERT_EQ(Run({"send", "-p", "sw-can-ps", "--pins", "1", "--high-voltage", "100#"}), 0) << Err();
  EXPECT_EQ(LastCall(), "write 1 timeout 1000 flags 400");
  EXPECT_EQ(SetupSteps(), "pins 100");
  ASSERT_EQ(Run({"monitor", "-p", "sw-can-ps", "--pins", "1", "--high-speed", "-n", "1"}), 0);
  EXPECT_EQ(SetupSteps(), "pins 100, high speed 1");
  ASSERT_EQ(Run({"isotp", "-p", "sw-iso15765-ps", "--pins", "1", "--high-speed", "--high-voltage",
                 "7E0#010C"}),
            0)
      << Err();
  EXPECT_EQ(SetupSteps(), "pins 100, high speed 1");
  EXPECT_EQ(LastCall(), "write 1 timeout 90000 flags 400");
  EXPECT_EQ(Out(), "7E8#410C1AF8\n");
}

TEST_P(ToolTest, PwmChannelIsANodeWithFunctionalAddresses) {
  ASSERT_EQ(Run({"monitor", "-p", "j1850pwm", "--begin", "08", "-n", "1"}), 0);
  EXPECT_EQ(LastCall(), "connect 71 2 0 41600");
  EXPECT_EQ(SetupSteps(), "node F1, functional 6B");
  EXPECT_EQ(Out(), "(0000000012.347678) j1850pwm 08 F1 10 02\n");
  ASSERT_EQ(Run({"send", "-p", "j1850pwm", "--functional", "25", "--functional", "6A", "616AF23F",
                 "--expect", "08"}),
            0)
      << Err();
  EXPECT_EQ(SetupSteps(), "node F2, functional 25, functional 6A");
  EXPECT_EQ(Out(), "(0000000012.346678) j1850pwm 08 25 10 01\n");
}

TEST_P(ToolTest, SendWritesMessagesOfBytes) {
  ASSERT_EQ(Run({"send", "-p", "j1850vpw", "68 6A F1 01 0C", "--expect", "486B"}), 0) << Err();
  EXPECT_THAT(Out(), HasSubstr(" j1850vpw 48 6B 10 41 0C 1A F8\n"));
  EXPECT_EQ(LastCall(), "write 1 timeout 1000 flags 0");
  ASSERT_EQ(Run({"send", "-p", "sci-a-trans", "10", "2233", "--sci-mode"}), 0) << Err();
  EXPECT_EQ(LastCall(), "write 2 timeout 1000 flags 400000");
  ASSERT_EQ(Run({"send", "-p", "j2610-ps", "--pins", "6,7", "10", "--sci-tx-voltage", "-w", "20"}),
            0);
  EXPECT_EQ(LastCall(), "write 1 timeout 1000 flags 800000");
  EXPECT_THAT(Out(), HasSubstr(" j2610-ps 08 25 10 01\n"));
  EXPECT_EQ(Run({"send", "-p", "j1850vpw", "686AF103", "--expect", "0825F1", "-w", "30"}), 1)
      << "an echo is no answer";
  EXPECT_EQ(Err(), "passbridge: no answer from 0825F1 within 30 ms\n");
  EXPECT_TRUE(IsClosed());
}

TEST_P(ToolTest, SendWritesItsFramesInOneCall) {
  ASSERT_EQ(Run({"send", "123#01", "124#02"}), 0) << Err();
  EXPECT_EQ(LastCall(), "write 2 timeout 1000 flags 0");
  EXPECT_EQ(Out() + Err(), "");
  ASSERT_EQ(Run({"send", "18DA10F1#01"}), 0);
  EXPECT_EQ(LastCall(), "write 1 timeout 1000 flags 100");
}

TEST_P(ToolTest, SendShowsTheExpectedAnswer) {
  ASSERT_EQ(Run({"send", "7E0#02010C0000000000", "--expect", "7E8", "--wait", "50"}), 0) << Err();
  EXPECT_THAT(Out(), HasSubstr("can0 7E8#"));
  ASSERT_EQ(Run({"send", "7E0#02010C0000000000", "--wait", "50"}), 0);
  EXPECT_THAT(Out(), HasSubstr("can0 7E8#04410C1AF8000000\n"));
  EXPECT_EQ(Run({"send", "7E0#3E00", "--expect", "7E9", "--wait", "50"}), 1);
  EXPECT_EQ(Err(), "passbridge: no answer from 7E9 within 50 ms\n");
}

TEST_P(ToolTest, SendReportsHowManyFramesWent) {
  EXPECT_EQ(Run({"send", "123#01", "124#02", "666#00"}), 1);
  EXPECT_EQ(Err(),
            "passbridge: PassThruWriteMsgs (2 of 3 frames sent) failed: ERR_TIMEOUT (0x09): "
            "(0D040001:00000000) Timeout: Can't read/write requested number of msgs.\n");
  EXPECT_TRUE(IsClosed());
}

TEST_P(ToolTest, ObdDecodesAnswersAndRefusals) {
  ASSERT_EQ(Run({"obd", "engine-speed", "--wait", "30", "--frames"}), 0) << Err();
  EXPECT_EQ(Out(),
            "request  7DF#010C\n"
            "answer   7E8#410C1AF8\n"
            "7E8  engine speed: 1726 rpm\n");
  EXPECT_EQ(Run({"obd", "--to", "7E0", "speed", "engine-speed", "--wait", "30"}), 1);
  EXPECT_EQ(Out(),
            "7E8  vehicle speed: refused with code 12 (sub-function not supported)\n"
            "7E8  engine speed: 1726 rpm\n");
  EXPECT_EQ(Run({"obd", "--to", "7E0", "coolant", "--wait", "30"}), 1);
  EXPECT_EQ(Err(), "passbridge: no answer for coolant temperature within 30 ms\n");
}

TEST_P(ToolTest, ObdSpeaksOnBothJ1850Buses) {
  ASSERT_EQ(Run({"obd", "-p", "j1850vpw", "engine-speed", "--wait", "30", "--frames"}), 0) << Err();
  EXPECT_EQ(Out(),
            "request  686AF1010C\n"
            "answer   10#410C1AF8\n"
            "10  engine speed: 1726 rpm\n");
  EXPECT_EQ(SetupSteps(), "");
  ASSERT_EQ(Run({"obd", "-p", "j1850pwm", "engine-speed", "--wait", "30", "--frames"}), 0) << Err();
  EXPECT_THAT(Out(), StartsWith("request  616AF1010C\nanswer   10#410C1AF8\n"));
  EXPECT_EQ(SetupSteps(), "node F1, functional 6B");
  EXPECT_TRUE(IsClosed());
}

TEST_P(ToolTest, ObdFindsJ1850BeforeItTriesTheKLine) {
  ASSERT_EQ(Run({"obd", "-d", "PWMCAR", "-p", "auto", "engine-speed", "--wait", "30"}), 0) << Err();
  EXPECT_EQ(Out(), "10  engine speed: 1726 rpm\n");
  EXPECT_THAT(Err(), HasSubstr("trying SAE J1850 VPW: no answer\n"
                               "trying SAE J1850 PWM: answered\n"));
  EXPECT_THAT(Err(), Not(HasSubstr("ISO 9141")));
}

TEST_P(ToolTest, IsoTpWaitsForAnswersThatAreStillToCome) {
  ASSERT_EQ(Run({"isotp", "7E0#010E", "--padding"}), 0) << Err();
  EXPECT_EQ(Out(), "7E8#7F0178\n7E8#410E80\n");
  EXPECT_THAT(LastCall(), HasSubstr("flags 40"));
  EXPECT_EQ(Run({"isotp", "7E0#0111", "--wait", "20", "--pending", "30"}), 1);
  EXPECT_EQ(Out(), "7E8#7F0178\n");
  EXPECT_EQ(Err(), "passbridge: no final answer in time\n");
  EXPECT_EQ(Run({"isotp", "7E5#010C", "--wait", "20"}), 1) << "7E8 does not answer for it";
  EXPECT_EQ(Run({"isotp", "6F1#010C", "-a", "612", "-x", "12", "F1", "--wait", "20"}), 1);
  EXPECT_THAT(LastCall(), HasSubstr("flags 80"));
  EXPECT_TRUE(IsClosed());
}

TEST_P(ToolTest, WrongUsageIsNotAFailure) {
  const std::vector<std::pair<std::vector<const char*>, const char*>> cases = {
      {{}, "subcommand is required"},
      {{"mointor"}, "\"mointor\" is no command"},
      {{"send"}, "frames is required"},
      {{"send", "7E0"}, "\"7E0\": a frame is"},
      {{"send", "7E0#01", "--expect", "7E"}, "\"7E\": an identifier has"},
      {{"send", "7E0#01", "--repeat", "0"}, "not in range 1 to"},
      {{"monitor", "--id", "xyz"}, "\"xyz\": an identifier has"},
      {{"monitor", "--count", "0"}, "not in range 1 to"},
      {{"monitor", "--seconds", "-1"}, "not in range"},
      {{"monitor", "--bitrate", "500x"}, "unit not recognized"},
      {{"monitor", "--protocol", "lin"}, "\"lin\" is no protocol"},
      {{"monitor", "--both", "--29bit"}, "excludes"},
      {{"monitor", "extra"}, "extra"},
      {{"monitor", "-p", "gm-uart-ps"}, "gm-uart-ps needs --pins"},
      {{"isotp", "-p", "sw-iso15765-ps", "7E0#01"}, "sw-iso15765-ps needs --pins"},
      {{"isotp", "-p", "can", "7E0#01"}, "\"can\" is no protocol"},
      {{"monitor", "-p", "iso15765"}, "\"iso15765\" is no protocol"},
      {{"send", "--high-voltage", "1#"}, "single-wire CAN: can has none"},
      {{"monitor", "--high-speed"}, "single-wire CAN: can has none"},
      {{"monitor", "--pins", "6,14"}, "the pins of can are given"},
      {{"monitor", "-p", "can-ps", "--pins", "6,17"}, "pins are one number or two, 1 to 16"},
      {{"monitor", "-p", "can-ps", "--pins", "6,6"}, "pins are one number or two"},
      {{"monitor", "-p", "can-ps", "--pins", "1,2,3"}, "pins are one number or two"},
      {{"monitor", "-p", "can-ps", "--pins", "0"}, "pins are one number or two"},
      {{"monitor", "-p", "j1850vpw", "--id", "7E8"}, "--id is for CAN frames: j1850vpw has none"},
      {{"monitor", "-p", "j1850vpw", "--29bit"}, "--29bit is for CAN frames"},
      {{"monitor", "-p", "j1850vpw", "--both"}, "--both is for CAN frames"},
      {{"monitor", "--begin", "48"}, "--begin is for bytes: can has none"},
      {{"monitor", "-p", "j1850vpw", "--begin", "4"}, "pairs of hexadecimal digits"},
      {{"monitor", "-p", "j1850vpw", "--functional", "6B"}, "--functional is for j1850pwm"},
      {{"monitor", "-p", "j1850pwm", "--become-master", "F0"}, "--become-master is for gm-uart-ps"},
      {{"send", "-p", "j1850vpw", "7E0#01"}, "pairs of hexadecimal digits"},
      {{"send", "-p", "j1850vpw", "68", "--expect", "7E8"}, "pairs of hexadecimal digits"},
      {{"send", "-p", "j1850vpw", "68", "--sci-mode"}, "--sci-tx-voltage are for SCI"},
      {{"send", "-p", "j1850pwm", "616AF101", "616AF201"}, "have the same third byte"},
      {{"obd", "horsepower"}, "\"horsepower\" is none of the values"},
      {{"obd", "--to", "123", "speed"}, "OBD requests go to"},
      {{"obd", "--count", "2"}, "requires --watch"},
      {{"obd", "-p", "j1850vpw", "--bitrate", "41600"}, "--bitrate is for ISO 15765: j1850vpw has"},
      {{"obd", "-p", "iso9141", "--to", "7DF"}, "--to is for ISO 15765: iso9141 has one speed"},
      {{"obd", "-p", "auto", "--to", "7DF"}, "--to is for ISO 15765: auto tries"},
      {{"isotp", "7E0#"}, "at least one byte"},
      {{"isotp", "7E0#01", "-x", "12", "F"}, "\"F\": a byte has"},
      {{"info", "--serial", "47x"}, "is no serial number"},
      {{"info", "--interface", "usb"}, "requires --serial"},
      {{"info", "--serial", "1", "--interface", "usb,tin"}, "\"tin\" is no interface"},
      {{"info", "--serial", "1", "--device", "x"}, "excludes"},
      {{"explorer", "--serial", "1"}, "explorer excludes --serial"},
      {{"--device", "x", "explorer"}, "explorer excludes --device"},
  };
  for (const auto& [arguments, complaint] : cases) {
    EXPECT_GT(Run(arguments), 100) << complaint;
    EXPECT_THAT(Err(), HasSubstr(complaint));
    EXPECT_EQ(Out(), "");
  }
}

TEST_P(ToolTest, HelpTeachesEachCommand) {
  for (const char* command : {"info", "explorer", "monitor", "send", "isotp", "obd"}) {
    EXPECT_EQ(Run({command, "--help"}), 0);
    EXPECT_THAT(Out(), HasSubstr("Examples:\n  passbridge " + std::string(command)));
  }
}

}  // namespace
}  // namespace passbridge::tool
