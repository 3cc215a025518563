#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "library_fixture.h"
#include "platform/registry.h"
#include "trace_capture.h"

namespace passbridge::test {
namespace {

constexpr const char* kMonitoringKey = "SOFTWARE\\QUARN\\QUARN_VCI\\Monitoring";

void SetTrace(std::uint32_t value) {
  auto key = platform::RegistryKey::Create(platform::RegistryRoot::User, kMonitoringKey);
  ASSERT_TRUE(key && key->WriteDword("VCI Logging", value));
}

struct CaptureFirst {
  TraceCapture capture;
};

/// The capture is there before the library is loaded.
struct Trace : CaptureFirst, LibraryFixture {
  ~Trace() override { platform::DeleteRegistryTree(platform::RegistryRoot::User, kMonitoringKey); }

  void Work() {
    OpenAndConnect();
    PASSTHRU_MSG message = CanMessage(0x7E0, {2, 1, 0x0C});
    j2534_ulong count = 1;
    EXPECT_EQ(library.PassThruWriteMsgs(channel, &message, &count, 1000), long{STATUS_NOERROR});
    count = 1;
    EXPECT_EQ(library.PassThruReadMsgs(channel, &message, &count, 0), long{ERR_BUFFER_EMPTY});
    EXPECT_EQ(library.PassThruDisconnect(channel), long{STATUS_NOERROR});
    Close();
  }

  /// Whether the lines occur in this order, others between them.
  static std::string FirstMissing(const std::vector<std::string>& lines,
                                  const std::vector<std::string>& expected) {
    auto from = lines.begin();
    for (const std::string& line : expected) {
      from = std::find(from, lines.end(), line);
      if (from == lines.end()) return line;
      ++from;
    }
    return "";
  }
};

TEST_F(Trace, TellsTheCallsOfASession) {
  SetTrace(2);  // any value but 0
  Work();
  const std::vector<std::string> lines = capture.Lines();
  EXPECT_EQ(FirstMissing(lines,
                         {
                             "Entering CJ2534Server::PassThruOpen()",
                             "Entering CJ2534Device::PassThruOpen()",
                             "Leaving CJ2534Device::PassThruOpen()",
                             "Leaving CJ2534Server::PassThruOpen()",
                             "Entering CJ2534Server::PassThruConnect()",
                             "Entering CJ2534Device::PassThruConnect()",
                             "Entering CJ2534Channel::PassThruConnect()",
                             "Entering CJ2534Channel::ConnectToVehicle()",
                             "Entering CJ2534EventProcessor::Initialize()",
                             "Leaving CJ2534EventProcessor::Initialize()",
                             "Entering CJ2534Channel::SetConnectionComParameters()",
                             "Leaving CJ2534Channel::SetConnectionComParameters()",
                             "Leaving CJ2534Channel::ConnectToVehicle()",
                             "Leaving CJ2534Channel::PassThruConnect()",
                             "Leaving CJ2534Device::PassThruConnect()",
                             "Leaving CJ2534Server::PassThruConnect()",
                             "Entering CJ2534Server::PassThruWriteMsgs()",
                             "Entering CJ2534Device::PassThruWriteMsgs()",
                             "Entering CJ2534Channel::PassThruWriteMsgsMultiple()",
                             "Entering CJ2534Channel::SendSendOnlyComPrimitive()",
                             "Leaving CJ2534Channel::SendSendOnlyComPrimitive()",
                             "Leaving CJ2534Server::PassThruWriteMsgs()",
                             "Entering CJ2534Server::PassThruReadMsgs()",
                             "CJ2534ReceiveBuffer::ReadPassThruMsg() - 13040001:00000000 Receive "
                             "Buffer was empty. ",
                             "CJ2534Channel::PassThruReadMsgs() - 02250009:00000000 Error reading "
                             "message from Receive Buffer. ",
                             "Entering CJ2534Server::PassThruDisconnect()",
                             "Entering CJ2534Channel::DisconnectFromVehicle()",
                             "Leaving CJ2534Channel::DisconnectFromVehicle()",
                             "Leaving CJ2534Server::PassThruDisconnect()",
                             "Entering CJ2534Server::PassThruClose()",
                             "Leaving CJ2534Server::PassThruClose()",
                         }),
            "");
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    return line.starts_with("In CJ2534Channel::PassThruClose(): Closed");
  }));
}

TEST_F(Trace, IsSilentWhenItIsOff) {
  SetTrace(0);
  Work();
  EXPECT_EQ(capture.Lines(), std::vector<std::string>());
}

}  // namespace
}  // namespace passbridge::test
