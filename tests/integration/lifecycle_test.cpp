#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <string>
#include <thread>

#include "library_fixture.h"

namespace passbridge::test {
namespace {

struct Lifecycle : LibraryFixture {};

TEST_F(Lifecycle, OpensByNameInManySpellings) {
  for (const char* name :
       {"J2534-2:SN='4711' CXN='USB'", "J2534-2: sn = '4711' cxn = 'usb'",
        "J2534-2:4711'ETHERNET,USB", "J2534-2:SN='99' CXN='USB';SN='4711'CXN='USB'"}) {
    const j2534_ulong id = Open(name);
    EXPECT_NE(id, 0U) << name;
    EXPECT_EQ(library.PassThruClose(id), long{STATUS_NOERROR});
  }
}

TEST_F(Lifecycle, NamesThatChooseNothingDoNotOpen) {
  for (const char* name : {"ABC", "", "J2534-2:", "J2534-2:SN='99' CXN='USB'", "J2534-2:SN='4711'",
                           "J2534-2:SN='4711' CXN='BLUETOOTH'"}) {
    j2534_ulong id = 0;
    EXPECT_EQ(library.PassThruOpen(const_cast<char*>(name), &id), long{ERR_DEVICE_NOT_CONNECTED})
        << name;
    EXPECT_NE(LastError().find("Unable to communicate with device."), std::string::npos);
  }
  device = Open();  // gives the D-PDU library back when it is closed
  Close();
}

TEST_F(Lifecycle, SecondOpenOfAVciIsRefusedAndLosesNothing) {
  device = Open();
  j2534_ulong second = 0;
  EXPECT_EQ(library.PassThruOpen(const_cast<char*>(kUsbVci), &second),
            long{ERR_DEVICE_NOT_CONNECTED})
      << "a VCI that is open is not available";
  j2534_ulong other = 0;
  EXPECT_EQ(library.PassThruOpen(const_cast<char*>("J2534-2:SN='4712' CXN='WIRELESS'"), &other),
            long{STATUS_NOERROR})
      << LastError();
  EXPECT_NE(other, device);
  EXPECT_EQ(library.PassThruClose(other), long{STATUS_NOERROR});
  EXPECT_EQ(library.PassThruClose(other), long{ERR_INVALID_DEVICE_ID});
  EXPECT_EQ(library.PassThruConnect(device, CAN, 0, 500000, &channel), long{STATUS_NOERROR});
  Close();
  PASSTHRU_MSG message{};
  j2534_ulong count = 1;
  EXPECT_EQ(library.PassThruReadMsgs(channel, &message, &count, 0), long{ERR_INVALID_DEVICE_ID});
}

TEST_F(Lifecycle, TellsItsVersionsAndVoltage) {
  device = Open();
  std::array<char, J2534_TEXT_SIZE> firmware{};
  std::array<char, J2534_TEXT_SIZE> dll{};
  std::array<char, J2534_TEXT_SIZE> api{};
  ASSERT_EQ(library.PassThruReadVersion(device, firmware.data(), dll.data(), api.data()),
            long{STATUS_NOERROR});
  EXPECT_STREQ(firmware.data(), "  2.  3.  4");
  EXPECT_STREQ(api.data(), "04.04");
  EXPECT_NE(std::string(dll.data()), "00.00") << "the library's own version";
  EXPECT_NE(std::string(dll.data()), "");

  std::uint64_t millivolts = ~std::uint64_t{0};
  ASSERT_EQ(library.PassThruIoctl(device, READ_VBATT, nullptr, &millivolts), long{STATUS_NOERROR});
  // All of the cell that the width of the fields makes it, and not a byte more.
  constexpr std::uint64_t kBeyond = sizeof(j2534_ulong) == 8 ? 0 : 0xFFFFFFFF00000000;
  EXPECT_EQ(millivolts, 12600 | kBeyond);
  Close();
}

TEST_F(Lifecycle, LostVciEndsEverythingUntilTheNextOpen) {
  OpenAndConnect();
  StartPassFilter(0x100);
  PASSTHRU_MSG message{};
  j2534_ulong count = 1;
  ASSERT_EQ(library.PassThruReadMsgs(channel, &message, &count, 5000), long{STATUS_NOERROR});
  vci.Unplug(4711);
  long status = STATUS_NOERROR;
  for (int i = 0; i < 2000 && status != ERR_DEVICE_NOT_CONNECTED; ++i) {
    count = 1;
    status = library.PassThruReadMsgs(channel, &message, &count, 10);
  }
  EXPECT_EQ(status, long{ERR_DEVICE_NOT_CONNECTED});
  count = 1;
  message = CanMessage(0x7E0, {1});
  EXPECT_EQ(library.PassThruWriteMsgs(channel, &message, &count, 100),
            long{ERR_DEVICE_NOT_CONNECTED});
  EXPECT_EQ(library.PassThruClose(device), long{ERR_DEVICE_NOT_CONNECTED})
      << "the lost device stays registered";
  vci.Plug(4711);
  device = Open();  // takes its place
  Close();
}

TEST_F(Lifecycle, ComPrimitiveThatTheVciRefusesFailsTheWrite) {
  OpenAndConnect();
  vci.InjectResult("PDUStartComPrimitive", 1, PDU_ERR_TX_QUEUE_FULL);
  PASSTHRU_MSG message = CanMessage(0x7E0, {1});
  j2534_ulong count = 1;
  EXPECT_EQ(library.PassThruWriteMsgs(channel, &message, &count, 100), long{ERR_BUFFER_FULL});
  EXPECT_EQ(count, 0U);
  Close();
}

// A library of its own: what is loaded, used and unloaded over and over leaves nothing.
TEST_F(Lifecycle, LoadWorkUnloadLoop) {
  for (int round = 0; round < 20; ++round) {
    OpenAndConnect();
    StartPassFilter(0x100);
    PASSTHRU_MSG message{};
    j2534_ulong count = 1;
    EXPECT_EQ(library.PassThruReadMsgs(channel, &message, &count, 5000), long{STATUS_NOERROR});
    if (round % 2 == 0) {
      EXPECT_EQ(library.PassThruDisconnect(channel), long{STATUS_NOERROR});
    }
    Close();
    library = Library(LibraryPath());  // unloads the one before when nothing else holds it
  }
}

}  // namespace
}  // namespace passbridge::test
