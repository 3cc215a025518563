#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "passbridge/j2534.h"
#include "pdu/com_param.h"
#include "server/server.h"
#include "support.h"
#include "support/scripted_pdu.h"
#include "trace/last_error.h"

namespace passbridge {
namespace {

using platform::testing::Pages;
using platform::testing::Protection;

/// The exports over the process's server, with a device on module 7 and a CAN channel on it.
struct ExportsTest : testing::Test {
  static constexpr UNUM32 kModule = 7;
  static constexpr std::uint32_t kSerial = 4711;

  ExportsTest() {
    pdu::ResolvePduObjectIds();
    LastErrorRecord::Instance().SetLastStatus(STATUS_NOERROR);
    std::uint32_t id = 0;
    EXPECT_EQ(CJ2534Server::Instance().PassThruOpen(&kModule, &kSerial, AppValue(id)),
              STATUS_NOERROR);
    EXPECT_EQ(PassThruConnect(kModule, CAN, 0, 500000, &channel), long{STATUS_NOERROR});
    pages.Protect(1, Protection::ReadOnly);
    pages.Protect(2, Protection::None);
  }
  ~ExportsTest() override {
    LastErrorRecord::Instance().SetLastStatus(STATUS_NOERROR);
    EXPECT_EQ(CJ2534Server::Instance().PassThruClose(kModule), STATUS_NOERROR);
    EXPECT_EQ(pdu.Items().Alive(), 0U);
  }

  platform::testing::SettingsSandbox sandbox;
  test::ScriptedPdu pdu;
  Pages pages{3};
  j2534_ulong channel = 0;
  j2534_ulong number = 1;
  PASSTHRU_MSG message{};
  std::array<char, 80> text{};
};

struct PointerCase {
  const char* argument;
  bool written;  ///< a read-only page won't do, either
  std::function<long(ExportsTest&, void* bad)> call;
};

template <typename T>
T* As(void* address) {
  return static_cast<T*>(address);
}
PASSTHRU_MSG* Msg(void* address) { return As<PASSTHRU_MSG>(address); }
j2534_ulong* Cell(void* address) { return As<j2534_ulong>(address); }

const PointerCase kPointers[] =
    {
        {"Connect pChannelID", true,
         [](ExportsTest& t, void* p) {
  return PassThruConnect(t.kModule, CAN_PS, 0, 0, Cell(p));
         }},
        {"ReadMsgs pMsg", true,
         [](ExportsTest& t, void* p) { return PassThruReadMsgs(t.channel, Msg(p), &t.number, 0); }},
        {"ReadMsgs pNumMsgs", true,
         [](ExportsTest& t, void* p) {
  return PassThruReadMsgs(t.channel, &t.message, Cell(p), 0);
         }},
                  {"WriteMsgs pMsg", false,
                   [](ExportsTest& t, void* p) {
  return PassThruWriteMsgs(t.channel, Msg(p), &t.number, 0);
                   }},
    {"WriteMsgs pNumMsgs", true,
     [](ExportsTest& t, void* p) { return PassThruWriteMsgs(t.channel, &t.message, Cell(p), 0); }},
    {"StartPeriodicMsg pMsg", false,
     [](ExportsTest& t, void* p) {
  return PassThruStartPeriodicMsg(t.channel, Msg(p), &t.number, 10);
     }},
    {"StartPeriodicMsg pMsgID", true,
     [](ExportsTest& t, void* p) {
  return PassThruStartPeriodicMsg(t.channel, &t.message, Cell(p), 10);
     }},
    {"StartMsgFilter pMaskMsg", false,
     [](ExportsTest& t, void* p) {
  return PassThruStartMsgFilter(t.channel, PASS_FILTER, Msg(p), &t.message, nullptr, &t.number);
     }},
    {"StartMsgFilter pPatternMsg", false,
     [](ExportsTest& t, void* p) {
  return PassThruStartMsgFilter(t.channel, PASS_FILTER, &t.message, Msg(p), nullptr, &t.number);
     }},
    {"StartMsgFilter pFilterID", true,
     [](ExportsTest& t, void* p) {
  return PassThruStartMsgFilter(t.channel, PASS_FILTER, &t.message, &t.message, nullptr, Cell(p));
     }},
    {"ReadVersion pFirmwareVersion", true,
     [](ExportsTest& t, void* p) {
  return PassThruReadVersion(t.kModule, As<char>(p), t.text.data(), t.text.data());
     }},
    {"ReadVersion pDllVersion", true,
     [](ExportsTest& t, void* p) {
  return PassThruReadVersion(t.kModule, t.text.data(), As<char>(p), t.text.data());
     }},
    {"ReadVersion pApiVersion", true,
     [](ExportsTest& t, void* p) {
  return PassThruReadVersion(t.kModule, t.text.data(), t.text.data(), As<char>(p));
     }},
    {"GetLastError pErrorDescription", false,
     [](ExportsTest&, void* p) { return PassThruGetLastError(As<char>(p)); }},
    {"Ioctl READ_VBATT pOutput", true,
     [](ExportsTest& t, void* p) { return PassThruIoctl(t.kModule, READ_VBATT, nullptr, p); }},
    {"Ioctl GET_CONFIG pInput", false,
     [](ExportsTest& t, void* p) { return PassThruIoctl(t.channel, GET_CONFIG, p, nullptr); }},
    {"Ioctl SET_CONFIG pInput", false,
     [](ExportsTest& t, void* p) { return PassThruIoctl(t.channel, SET_CONFIG, p, nullptr); }},
    {"Ioctl SUPPRESS_VCI_DIALOG pInput", false,
     [](ExportsTest&, void* p) { return PassThruIoctl(0, SUPPRESS_VCI_DIALOG, p, nullptr); }},
    };

TEST_F(ExportsTest, ABadPointerIsANullParameter) {
  for (const PointerCase& test : kPointers) {
    std::vector<void*> addresses{nullptr, pages.At(2), reinterpret_cast<void*>(8),
                                 reinterpret_cast<void*>(~std::uintptr_t{0} - 2)};
    if (test.written) addresses.push_back(pages.At(1));
    for (void* const address : addresses) {
      number = 1;
      EXPECT_EQ(test.call(*this, address), long{ERR_NULL_PARAMETER})
          << test.argument << " " << address;
    }
  }
}

TEST_F(ExportsTest, OutputsAreWrittenAtTheirFullWidth) {
  j2534_ulong value = std::numeric_limits<j2534_ulong>::max();
  pdu.SetIoValue("PDU_IOCTL_READ_VBATT", 12000);
  EXPECT_EQ(PassThruIoctl(kModule, READ_VBATT, nullptr, &value), long{STATUS_NOERROR});
  EXPECT_EQ(value, 12000U);
  value = std::numeric_limits<j2534_ulong>::max();
  EXPECT_EQ(PassThruConnect(kModule, CAN_PS, 0, 500000, &value), long{STATUS_NOERROR});
  EXPECT_LT(value, 0xFFFFFFFFU);
  EXPECT_EQ(PassThruDisconnect(value), long{STATUS_NOERROR});
}

TEST_F(ExportsTest, HandlesCountWithTheirLower32Bits) {
  auto upper = std::numeric_limits<j2534_ulong>::max();
  upper <<= 16;
  upper <<= 16;  // 0 where there are 32 bits
  j2534_ulong value = 0;
  EXPECT_EQ(PassThruIoctl(upper | kModule, upper | READ_VBATT, nullptr, &value),
            long{STATUS_NOERROR});
  EXPECT_EQ(PassThruDisconnect(upper | channel), long{STATUS_NOERROR});
}

TEST_F(ExportsTest, StatusesOfEveryExportAreTheServers) {
  EXPECT_EQ(PassThruClose(99), long{ERR_INVALID_DEVICE_ID});
  EXPECT_EQ(PassThruDisconnect(0xFFFFFF), long{ERR_INVALID_CHANNEL_ID});
  EXPECT_EQ(PassThruStopPeriodicMsg(0xFFFFFF, 1), long{ERR_INVALID_CHANNEL_ID});
  EXPECT_EQ(PassThruStopMsgFilter(channel, 0), long{ERR_INVALID_FILTER_ID});
  EXPECT_EQ(PassThruSetProgrammingVoltage(kModule, 1, 12000), long{ERR_PIN_INVALID});
  EXPECT_EQ(PassThruIoctl(0, GET_CONFIG, nullptr, nullptr), long{ERR_INVALID_CHANNEL_ID});
  EXPECT_EQ(PassThruReadMsgs(channel, &message, &number, 0), long{ERR_BUFFER_EMPTY});
  EXPECT_EQ(number, 0U);
}

}  // namespace
}  // namespace passbridge
