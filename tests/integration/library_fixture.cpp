#include "library_fixture.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/registry.h"

namespace passbridge::test {

namespace {

constexpr const char* kSupportKey = "SOFTWARE\\QUARN\\QUARN_VCI\\PDU API Support";

}  // namespace

LibraryFixture::LibraryFixture() : library(LibraryPath()), vci(VirtualVciPath()) {
  auto key = platform::RegistryKey::Create(platform::RegistryRoot::Machine, kSupportKey);
  EXPECT_TRUE(key && key->WriteText("FunctionLibrary", VirtualVciPath()));
  vci.Reset();
}

LibraryFixture::~LibraryFixture() {
  VVCI_LEDGER ledger{};
  vci.GetLedger(&ledger);
  for (int kind = 0; kind < VVCI_ITEM_KINDS; ++kind) {
    EXPECT_EQ(ledger.HandedOut[kind], ledger.Destroyed[kind]) << "items of kind " << kind;
  }
  EXPECT_EQ(ledger.BadDestroys, 0U);
  EXPECT_EQ(ledger.LeftAtDestruct, 0U);
  platform::DeleteRegistryTree(platform::RegistryRoot::Machine, kSupportKey);
}

j2534_ulong LibraryFixture::Open(const char* name) {
  j2534_ulong id = 0;
  EXPECT_EQ(library.PassThruOpen(const_cast<char*>(name), &id), long{STATUS_NOERROR})
      << LastError();
  return id;
}

void LibraryFixture::OpenAndConnect() {
  device = Open();
  ASSERT_EQ(library.PassThruConnect(device, CAN, 0, 500000, &channel), long{STATUS_NOERROR})
      << LastError();
}

void LibraryFixture::Close() {
  EXPECT_EQ(library.PassThruClose(device), long{STATUS_NOERROR}) << LastError();
}

std::string LibraryFixture::LastError() {
  std::array<char, J2534_TEXT_SIZE> text{};
  library.PassThruGetLastError(text.data());
  return text.data();
}

long LibraryFixture::Read(std::vector<PASSTHRU_MSG>& messages, j2534_ulong timeout) {
  auto count = static_cast<j2534_ulong>(messages.size());
  const long status = library.PassThruReadMsgs(channel, messages.data(), &count, timeout);
  messages.resize(count);
  return status;
}

long LibraryFixture::Write(std::vector<PASSTHRU_MSG> messages, j2534_ulong timeout,
                           j2534_ulong* sent) {
  *sent = static_cast<j2534_ulong>(messages.size());
  return library.PassThruWriteMsgs(channel, messages.data(), sent, timeout);
}

long LibraryFixture::SetConfig(j2534_ulong on, j2534_ulong parameter, j2534_ulong value) {
  SCONFIG entry{parameter, value};
  SCONFIG_LIST list{1, &entry};
  return library.PassThruIoctl(on, SET_CONFIG, &list, nullptr);
}

void LibraryFixture::StartPassFilter(std::uint32_t identifier, std::uint32_t mask) {
  PASSTHRU_MSG maskMessage = CanMessage(mask, {});
  PASSTHRU_MSG pattern = CanMessage(identifier & mask, {});
  j2534_ulong filter = 0;
  EXPECT_EQ(library.PassThruStartMsgFilter(channel, PASS_FILTER, &maskMessage, &pattern, nullptr,
                                           &filter),
            long{STATUS_NOERROR})
      << LastError();
  EXPECT_NE(filter, 0U);
}

PASSTHRU_MSG LibraryFixture::CanMessage(std::uint32_t identifier, std::vector<std::uint8_t> data,
                                        j2534_ulong txFlags) {
  std::vector<std::uint8_t> bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(identifier >> shift));
  }
  bytes.insert(bytes.end(), data.begin(), data.end());
  return Message(CAN, std::move(bytes), txFlags);
}

PASSTHRU_MSG LibraryFixture::Message(j2534_ulong protocol, std::vector<std::uint8_t> bytes,
                                     j2534_ulong txFlags) {
  PASSTHRU_MSG message{};
  message.ProtocolID = protocol;
  message.TxFlags = txFlags;
  message.DataSize = static_cast<j2534_ulong>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), message.Data);
  return message;
}

std::uint32_t LibraryFixture::IdentifierOf(const PASSTHRU_MSG& message) {
  std::uint32_t identifier = 0;
  for (unsigned i = 0; i < 4; ++i) identifier = (identifier << 8U) | message.Data[i];
  return identifier;
}

std::vector<std::uint8_t> LibraryFixture::DataOf(const PASSTHRU_MSG& message) {
  return {message.Data + 4, message.Data + message.DataSize};
}

}  // namespace passbridge::test
