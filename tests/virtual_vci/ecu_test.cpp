// The diagnostic services of the built-in scenario's ECUs, above all reprogramming.
#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {
namespace {

constexpr UNUM32 kSecret = 0x5EC0DE55;

UNUM32 Crc32(const Bytes& bytes) {
  UNUM32 crc = 0xFFFFFFFF;
  for (const UNUM8 byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
  }
  return ~crc;
}

void Append(Bytes& bytes, UNUM32 value, int count = 4) {
  for (int i = count - 1; i >= 0; --i) bytes.push_back(static_cast<UNUM8>(value >> (8 * i)));
}

UNUM32 Word(const Bytes& bytes, std::size_t at) {
  return UNUM32{bytes[at]} << 24 | UNUM32{bytes[at + 1]} << 16 | UNUM32{bytes[at + 2]} << 8 |
         bytes[at + 3];
}

class EcuTest : public PduTest {
 protected:
  void SetUp() override {
    PduTest::SetUp();
    module_ = Connect();
    library_.VirtualVciSetCyclic(module_, 0);
    link_ = std::make_unique<TestLink>(library_, module_,
                                       TestLink::Setup{.protocol = "SAE_J2190_on_ISO_15765_2"});
    link_->SetTable({{1, 0x7E0, 0x7E8}});
    link_->Open();
  }
  void TearDown() override {
    link_.reset();
    PduTest::TearDown();
  }
  /// The answer to a request to the engine; "response pending" is passed over.
  Bytes Ask(const Bytes& request) {
    Bytes message = Message(0x7E0, {});
    message.insert(message.end(), request.begin(), request.end());
    link_->Send(message);
    while (const auto answer = link_->AwaitResult(milliseconds(2000))) {
      Bytes bytes(answer->data.begin() + 4, answer->data.end());
      if (bytes.size() != 3 || bytes[0] != 0x7F || bytes[2] != 0x78) return bytes;
    }
    return {};
  }
  void Unlock(UNUM8 session) {
    ASSERT_EQ(Ask({0x10, session})[0], 0x50);
    const Bytes seed = Ask({0x27, 0x01});
    ASSERT_EQ(seed.size(), 6u);
    Bytes key{0x27, 0x02};
    Append(key, Word(seed, 2) ^ kSecret);
    ASSERT_EQ(Ask(key), (Bytes{0x67, 0x02}));
  }

  UNUM32 module_ = 0;
  std::unique_ptr<TestLink> link_;
};

TEST_F(EcuTest, EmissionServices) {
  EXPECT_EQ(Ask({0x01, 0x00}), (Bytes{0x41, 0x00, 0x98, 0x1A, 0x80, 0x03}));
  EXPECT_EQ(Ask({0x01, 0x20}), (Bytes{0x41, 0x20, 0x00, 0x00, 0x00, 0x01}));
  EXPECT_EQ(Ask({0x01, 0x40}), (Bytes{0x41, 0x40, 0x40, 0x00, 0x00, 0x00}));
  const Bytes several = Ask({0x01, 0x0F, 0x99, 0x42});
  EXPECT_EQ(several, (Bytes{0x41, 0x0F, 65, 0x42, 0x31, 0x38}));
  EXPECT_EQ(Ask({0x01, 0x99}), (Bytes{0x7F, 0x01, 0x12}));
  EXPECT_EQ(Ask({0x01}), (Bytes{0x7F, 0x01, 0x13}));
  EXPECT_EQ(Ask({0x03}), (Bytes{0x43, 2, 0x03, 0x01, 0x04, 0x20}));
  EXPECT_EQ(Ask({0x04}), (Bytes{0x44}));
  EXPECT_EQ(Ask({0x03}), (Bytes{0x43, 0}));
  EXPECT_EQ(Ask({0x09, 0x00}), (Bytes{0x49, 0x00, 0x50, 0x40, 0x00, 0x00}));
  EXPECT_EQ(Ask({0x09, 0x0A}).size(), 3u + 20u);
}

TEST_F(EcuTest, RefusalsByCondition) {
  const std::pair<Bytes, UNUM8> cases[] = {
      {{0x10, 0x04}, 0x12},                    // unknown session
      {{0x10}, 0x13},                          // too short
      {{0x22, 0xAB, 0xCD}, 0x31},              // unknown identifier
      {{0x22, 0xF1}, 0x13},                    // half an identifier
      {{0x27, 0x01}, 0x7F},                    // not in the default session
      {{0x2E, 0x02, 0x00, 1, 2, 3, 4}, 0x7F},  // likewise
      {{0x2E, 0x01, 0x00, 1, 2}, 0x31},        // not writable
      {{0x34, 0x00, 0x44, 0, 0, 0, 0, 0, 0, 0, 1}, 0x33},
      {{0x36, 0x01, 0x55}, 0x24},
      {{0x37}, 0x24},
      {{0x3E, 0x01}, 0x12},
      {{0x85, 0x01}, 0x11},
  };
  for (const auto& [request, code] : cases)
    EXPECT_EQ(Ask(request), (Bytes{0x7F, request[0], code}));
  EXPECT_EQ(Ask({0x10, 0x03})[0], 0x50);
  EXPECT_EQ(Ask({0x27, 0x02, 1, 2, 3, 4}), (Bytes{0x7F, 0x27, 0x24})) << "no seed was asked for";
  for (const UNUM8 code : Bytes{0x35, 0x35, 0x36}) {
    Ask({0x27, 0x01});
    EXPECT_EQ(Ask({0x27, 0x02, 1, 2, 3, 4}), (Bytes{0x7F, 0x27, code}));
  }
  EXPECT_EQ(Ask({0x27, 0x01}), (Bytes{0x7F, 0x27, 0x37}));
  library_.VirtualVciAdvance(module_, 11000000);
  Ask({0x10, 0x03});
  EXPECT_EQ(Ask({0x27, 0x01})[0], 0x67) << "the delay is over";
}

TEST_F(EcuTest, SuppressedPositiveResponses) {
  link_->Send(Message(0x7E0, {0x3E, 0x80}));
  EXPECT_FALSE(link_->AwaitResult(milliseconds(50)));
  EXPECT_EQ(Ask({0x3E, 0x00}), (Bytes{0x7E, 0x00}));
  EXPECT_EQ(Ask({0x3E, 0x85}), (Bytes{0x7F, 0x3E, 0x12})) << "refusals are not suppressed";
}

TEST_F(EcuTest, SessionEndsFiveSecondsAfterTheLastRequest) {
  ASSERT_EQ(Ask({0x10, 0x03})[0], 0x50);
  for (int i = 0; i < 3; ++i) {
    library_.VirtualVciAdvance(module_, 4900000);
    EXPECT_EQ(Ask({0x3E, 0x00}), (Bytes{0x7E, 0x00}));
  }
  EXPECT_EQ(Ask({0x27, 0x01})[0], 0x67);
  library_.VirtualVciAdvance(module_, 5100000);
  EXPECT_EQ(Ask({0x27, 0x01}), (Bytes{0x7F, 0x27, 0x7F}));
  link_->Send(Message(0x7DF, {0x27, 0x01}));
  EXPECT_FALSE(link_->AwaitResult(milliseconds(50))) << "who can't help all is silent";
}

TEST_F(EcuTest, WrittenIdentifierIsReadBack) {
  Unlock(0x03);
  EXPECT_EQ(Ask({0x2E, 0x02, 0x00, 1, 2, 3}), (Bytes{0x7F, 0x2E, 0x13}));
  EXPECT_EQ(Ask({0x2E, 0x02, 0x00, 1, 2, 3, 4}), (Bytes{0x6E, 0x02, 0x00}));
  EXPECT_EQ(Ask({0x22, 0x02, 0x00}), (Bytes{0x62, 0x02, 0x00, 1, 2, 3, 4}));
  EXPECT_EQ(Ask({0x27, 0x01}), (Bytes{0x67, 0x01, 0, 0, 0, 0})) << "unlocked already";
  EXPECT_EQ(Ask({0x11, 0x01}), (Bytes{0x51, 0x01}));
  EXPECT_EQ(Ask({0x2E, 0x02, 0x00, 1, 2, 3, 4}), (Bytes{0x7F, 0x2E, 0x7F}))
      << "the reset ended the session";
}

TEST_F(EcuTest, DownloadOfAMegabyteIsCheckedBlockByBlock) {
  Unlock(0x02);
  EXPECT_EQ(Ask({0x31, 0x01, 0xFF, 0x00}), (Bytes{0x71, 0x01, 0xFF, 0x00, 0x00}));
  constexpr UNUM32 kSize = 1024 * 1024;
  Bytes image(kSize);
  for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<UNUM8>(i * 31 + (i >> 10));
  Bytes tooMuch{0x34, 0x00, 0x44, 0, 0, 0, 0};
  Append(tooMuch, kSize + 1);
  EXPECT_EQ(Ask(tooMuch), (Bytes{0x7F, 0x34, 0x70}));
  Bytes begin{0x34, 0x00, 0x44, 0, 0, 0, 0};
  Append(begin, kSize);
  EXPECT_EQ(Ask(begin), (Bytes{0x74, 0x20, 0x0F, 0xFF}));
  UNUM8 number = 1;
  for (std::size_t at = 0; at < image.size(); ++number) {
    const std::size_t count = std::min<std::size_t>(4093, image.size() - at);
    Bytes block{0x36, number};
    block.insert(block.end(), image.begin() + static_cast<std::ptrdiff_t>(at),
                 image.begin() + static_cast<std::ptrdiff_t>(at + count));
    ASSERT_EQ(Ask(block), (Bytes{0x76, number})) << at;
    if (at == 0) {
      EXPECT_EQ(Ask(block), (Bytes{0x76, number})) << "the same block again does no harm";
      EXPECT_EQ(Ask({0x36, 9, 1}), (Bytes{0x7F, 0x36, 0x73}));
      EXPECT_EQ(Ask({0x37}), (Bytes{0x7F, 0x37, 0x24})) << "there is more to come";
    }
    at += count;
  }
  EXPECT_EQ(Ask({0x36, number, 1}), (Bytes{0x7F, 0x36, 0x71})) << "more than announced";
  Bytes end{0x37};
  Append(end, Crc32(image));
  Bytes done{0x77};
  Append(done, Crc32(image));
  EXPECT_EQ(Ask(end), done);
  Bytes check{0x31, 0x01, 0x02, 0x02};
  Append(check, Crc32(image));
  EXPECT_EQ(Ask(check), (Bytes{0x71, 0x01, 0x02, 0x02, 0x00}));
  check.back() ^= 1;
  EXPECT_EQ(Ask(check), (Bytes{0x71, 0x01, 0x02, 0x02, 0x01}));
  EXPECT_EQ(Ask({0x31, 0x01, 0xFF, 0x01}), (Bytes{0x71, 0x01, 0xFF, 0x01, 0x00}));
}

TEST_F(EcuTest, DownloadWithAWrongChecksumFails) {
  Unlock(0x02);
  EXPECT_EQ(Ask({0x34, 0x00, 0x11, 0x00, 0x03}), (Bytes{0x74, 0x20, 0x0F, 0xFF}));
  EXPECT_EQ(Ask({0x36, 0x01, 1, 2, 3}), (Bytes{0x76, 0x01}));
  EXPECT_EQ(Ask({0x37, 1, 2, 3, 4}), (Bytes{0x7F, 0x37, 0x72}));
}

}  // namespace
}  // namespace virtual_vci_test
