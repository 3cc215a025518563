#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "library_fixture.h"

namespace passbridge::test {
namespace {

struct Unload : LibraryFixture {
  /// Reads one message that comes by itself.
  long Read() {
    PASSTHRU_MSG message{};
    j2534_ulong count = 1;
    return library.PassThruReadMsgs(channel, &message, &count, 5000);
  }
};

TEST_F(Unload, ALibraryWithAnOpenDeviceStaysInTheProcess) {
  OpenAndConnect();
  StartPassFilter(0x100);
  library.file.Close();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // messages go on coming
  library = Library(LibraryPath());
  EXPECT_EQ(Read(), long{STATUS_NOERROR}) << "it is the same library";
  Close();

  library.file.Close();
  library = Library(LibraryPath());
  OpenAndConnect();
  EXPECT_EQ(channel, 2U) << "without a device it went, and a fresh one counts from the beginning";
  Close();
}

TEST_F(Unload, ALibraryThatFoundNoVciFindsOneWhenItIsLoadedAgain) {
  const std::string missing = "J2534-2:SN='99' CXN='USB'";
  EXPECT_EQ(library.PassThruOpen(const_cast<char*>(missing.c_str()), &device),
            long{ERR_DEVICE_NOT_CONNECTED});
  library.file.Close();
  library = Library(LibraryPath());
  OpenAndConnect();
  Close();
}

TEST_F(Unload, AReaderWhoseLastDeviceIsClosedComesBack) {
  vci.file.Close();  // the library's is the only reference to it
  OpenAndConnect();
  std::atomic<bool> reads{false};
  std::atomic<long> status{-1};
  std::thread reader([&] {
    PASSTHRU_MSG message{};
    j2534_ulong count = 1;
    reads = true;
    status = library.PassThruReadMsgs(channel, &message, &count, 1000);
  });
  while (!reads) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  Close();
  reader.join();
  EXPECT_NE(status, long{STATUS_NOERROR});
  EXPECT_NE(status, long{ERR_DEVICE_NOT_CONNECTED}) << "its channel is gone, but no VCI is lost";
  OpenAndConnect();
  StartPassFilter(0x100);
  EXPECT_EQ(Read(), long{STATUS_NOERROR});
  Close();
  vci = VirtualVci(VirtualVciPath());
}

}  // namespace
}  // namespace passbridge::test
