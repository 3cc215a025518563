// A download through UDS on an ISO 15765 channel, as a reprogramming application does it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "channels_fixture.h"

namespace passbridge::test {
namespace {

constexpr std::uint32_t kSecret = 0x5EC0DE55;  // of the virtual VCI's ECUs
constexpr std::size_t kBlockHead = 2;          // service and number

std::uint32_t Crc32(const Bytes& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1U) != 0 ? crc >> 1U ^ 0xEDB88320U : crc >> 1U;
  }
  return ~crc;
}

Bytes WithWord(Bytes bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }
  return bytes;
}

std::uint32_t WordAt(const Bytes& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8U | bytes.at(at + i);
  return value;
}

struct Reprogramming : LibraryFixture {
  void Begin(UNUM32 clock) {
    vci.Configure(nullptr, clock);
    device = Open();
    vci.SetCyclic(static_cast<UNUM32>(device), 0);
    ASSERT_EQ(library.PassThruConnect(device, ISO15765, 0, 500000, &channel), long{STATUS_NOERROR})
        << LastError();
    PASSTHRU_MSG mask = Message(ISO15765, {0xFF, 0xFF, 0xFF, 0xFF});
    PASSTHRU_MSG from = Message(ISO15765, {0, 0, 7, 0xE8});
    PASSTHRU_MSG to = Message(ISO15765, {0, 0, 7, 0xE0});
    j2534_ulong filter = 0;
    ASSERT_EQ(
        library.PassThruStartMsgFilter(channel, FLOW_CONTROL_FILTER, &mask, &from, &to, &filter),
        long{STATUS_NOERROR})
        << LastError();
  }

  /// The engine's answer to a request; "response pending" is waited out.
  Bytes Ask(const Bytes& request) {
    Bytes bytes{0, 0, 7, 0xE0};
    bytes.insert(bytes.end(), request.begin(), request.end());
    j2534_ulong sent = 0;
    EXPECT_EQ(Write({Message(ISO15765, bytes, ISO15765_FRAME_PAD)}, 5000, &sent),
              long{STATUS_NOERROR})
        << LastError();
    for (;;) {
      std::vector<PASSTHRU_MSG> answer(1);
      if (Read(answer, 5000) != long{STATUS_NOERROR}) return {};
      Bytes data = DataOf(answer[0]);
      const bool pending = data.size() == 3 && data[0] == 0x7F && data[2] == 0x78;
      if (answer[0].RxStatus == 0 && !pending) return data;
    }
  }

  void Unlock() {
    ASSERT_EQ(Ask({0x10, 2}).at(0), 0x50);
    const Bytes seed = Ask({0x27, 1});
    ASSERT_EQ(seed.size(), 6U);
    ASSERT_EQ(Ask(WithWord({0x27, 2}, WordAt(seed, 2) ^ kSecret)), (Bytes{0x67, 2}));
    ASSERT_EQ(Ask({0x31, 1, 0xFF, 0}), (Bytes{0x71, 1, 0xFF, 0, 0}));
  }

  /// Downloads in the largest blocks that the ECU takes, and has it compare the checksum.
  void Download(const Bytes& image) {
    Unlock();
    const auto size = static_cast<std::uint32_t>(image.size());
    const Bytes accepted = Ask(WithWord({0x34, 0, 0x44, 0, 0, 0, 0}, size));
    ASSERT_EQ(accepted, (Bytes{0x74, 0x20, 0x0F, 0xFF})) << "blocks of 4095 bytes";
    const std::size_t most = 4095 - kBlockHead;
    std::uint8_t number = 1;
    for (std::size_t at = 0; at < image.size(); at += most, ++number) {
      const auto begin = image.begin() + static_cast<std::ptrdiff_t>(at);
      const auto count = static_cast<std::ptrdiff_t>(std::min(most, image.size() - at));
      Bytes block{0x36, number};
      block.insert(block.end(), begin, begin + count);
      ASSERT_EQ(Ask(block), (Bytes{0x76, number})) << at;
    }
    EXPECT_EQ(Ask(WithWord({0x37}, Crc32(image))), WithWord({0x77}, Crc32(image)));
    EXPECT_EQ(Ask(WithWord({0x31, 1, 2, 2}, Crc32(image))), (Bytes{0x71, 1, 2, 2, 0}));
    EXPECT_EQ(Ask(WithWord({0x31, 1, 2, 2}, ~Crc32(image))), (Bytes{0x71, 1, 2, 2, 1}));
  }

  static Bytes Image(std::size_t size) {
    Bytes image(size);
    for (std::size_t i = 0; i < size; ++i)
      image[i] = static_cast<std::uint8_t>(i * 31 + (i >> 10U));
    return image;
  }
};

TEST_F(Reprogramming, AMegabyteArrivesWhole) {
  Begin(VVCI_CLOCK_INSTANT);
  Download(Image(1024 * 1024));
  Close();
}

TEST_F(Reprogramming, InRealtimeItTakesTheTimeOfItsFrames) {
  Begin(VVCI_CLOCK_REALTIME);
  const auto start = std::chrono::steady_clock::now();
  Download(Image(std::size_t{4} * 4093));
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  // 585 consecutive frames a block, of 111 bits each at 500 kbit/s.
  EXPECT_GT(time.count(), 4 * 585 * 111 / 500e3);
  Close();
}

TEST_F(Reprogramming, AWrongChecksumIsFoundByTheEcu) {
  Begin(VVCI_CLOCK_INSTANT);
  Unlock();
  EXPECT_EQ(Ask({0x34, 0, 0x11, 0, 3}), (Bytes{0x74, 0x20, 0x0F, 0xFF}));
  EXPECT_EQ(Ask({0x36, 1, 1, 2, 3}), (Bytes{0x76, 1}));
  EXPECT_EQ(Ask({0x37, 1, 2, 3, 4}), (Bytes{0x7F, 0x37, 0x72}));
  Close();
}

}  // namespace
}  // namespace passbridge::test
