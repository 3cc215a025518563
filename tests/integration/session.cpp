#include "session.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "platform/registry.h"

namespace passbridge::test {

namespace {

constexpr const char* kSupportKey = "SOFTWARE\\QUARN\\QUARN_VCI\\PDU API Support";

std::string FromEnvironment(const char* name) {
  const char* const value = std::getenv(name);
  EXPECT_NE(value, nullptr) << name << " names the file under test";
  return value != nullptr ? value : "";
}

}  // namespace

#define PASSBRIDGE_FIND(name) name(file.Function<PFN_##name>(#name))

Library::Library(const std::string& path)
    : file(platform::DynamicLibrary::Open(path)),
      PASSBRIDGE_FIND(PassThruOpen),
      PASSBRIDGE_FIND(PassThruClose),
      PASSBRIDGE_FIND(PassThruConnect),
      PASSBRIDGE_FIND(PassThruDisconnect),
      PASSBRIDGE_FIND(PassThruReadMsgs),
      PASSBRIDGE_FIND(PassThruWriteMsgs),
      PASSBRIDGE_FIND(PassThruStartPeriodicMsg),
      PASSBRIDGE_FIND(PassThruStopPeriodicMsg),
      PASSBRIDGE_FIND(PassThruStartMsgFilter),
      PASSBRIDGE_FIND(PassThruStopMsgFilter),
      PASSBRIDGE_FIND(PassThruSetProgrammingVoltage),
      PASSBRIDGE_FIND(PassThruReadVersion),
      PASSBRIDGE_FIND(PassThruGetLastError),
      PASSBRIDGE_FIND(PassThruIoctl) {
  if (!file) throw std::runtime_error("cannot load " + path);
}

#undef PASSBRIDGE_FIND
#define PASSBRIDGE_FIND(name) name(file.Function<PFN_VirtualVci##name>("VirtualVci" #name))

VirtualVci::VirtualVci(const std::string& path)
    : file(platform::DynamicLibrary::Open(path)),
      PASSBRIDGE_FIND(GetLedger),
      PASSBRIDGE_FIND(InjectResult),
      PASSBRIDGE_FIND(Unplug),
      PASSBRIDGE_FIND(Plug),
      PASSBRIDGE_FIND(Reset) {
  if (!file) throw std::runtime_error("cannot load " + path);
}

#undef PASSBRIDGE_FIND

std::string LibraryPath() { return FromEnvironment("PASSBRIDGE_TEST_LIBRARY"); }
std::string VirtualVciPath() { return FromEnvironment("PASSBRIDGE_TEST_VCI"); }

Session::Session() : library(LibraryPath()), vci(VirtualVciPath()) {
  auto key = platform::RegistryKey::Create(platform::RegistryRoot::Machine, kSupportKey);
  EXPECT_TRUE(key && key->WriteText("FunctionLibrary", VirtualVciPath()));
  vci.Reset();
}

Session::~Session() {
  VVCI_LEDGER ledger{};
  vci.GetLedger(&ledger);
  for (int kind = 0; kind < VVCI_ITEM_KINDS; ++kind) {
    EXPECT_EQ(ledger.HandedOut[kind], ledger.Destroyed[kind]) << "items of kind " << kind;
  }
  EXPECT_EQ(ledger.BadDestroys, 0U);
  EXPECT_EQ(ledger.LeftAtDestruct, 0U);
  platform::DeleteRegistryTree(platform::RegistryRoot::Machine, kSupportKey);
}

j2534_ulong Session::Open(const char* name) {
  j2534_ulong id = 0;
  EXPECT_EQ(library.PassThruOpen(const_cast<char*>(name), &id), long{STATUS_NOERROR})
      << LastError();
  return id;
}

void Session::OpenAndConnect() {
  device = Open();
  ASSERT_EQ(library.PassThruConnect(device, CAN, 0, 500000, &channel), long{STATUS_NOERROR})
      << LastError();
}

void Session::Close() {
  EXPECT_EQ(library.PassThruClose(device), long{STATUS_NOERROR}) << LastError();
}

std::string Session::LastError() {
  std::array<char, J2534_TEXT_SIZE> text{};
  library.PassThruGetLastError(text.data());
  return text.data();
}

void Session::StartPassFilter(std::uint32_t identifier, std::uint32_t mask) {
  PASSTHRU_MSG maskMessage = CanMessage(mask, {});
  PASSTHRU_MSG pattern = CanMessage(identifier & mask, {});
  j2534_ulong filter = 0;
  EXPECT_EQ(library.PassThruStartMsgFilter(channel, PASS_FILTER, &maskMessage, &pattern, nullptr,
                                           &filter),
            long{STATUS_NOERROR})
      << LastError();
  EXPECT_NE(filter, 0U);
}

PASSTHRU_MSG Session::CanMessage(std::uint32_t identifier, std::vector<std::uint8_t> data,
                                 j2534_ulong txFlags) {
  PASSTHRU_MSG message{};
  message.ProtocolID = CAN;
  message.TxFlags = txFlags;
  message.DataSize = static_cast<j2534_ulong>(4 + data.size());
  for (unsigned i = 0; i < 4; ++i) {
    message.Data[i] = static_cast<unsigned char>(identifier >> (24 - 8 * i));
  }
  std::copy(data.begin(), data.end(), message.Data + 4);
  return message;
}

std::uint32_t Session::IdentifierOf(const PASSTHRU_MSG& message) {
  std::uint32_t identifier = 0;
  for (unsigned i = 0; i < 4; ++i) identifier = (identifier << 8U) | message.Data[i];
  return identifier;
}

std::vector<std::uint8_t> Session::DataOf(const PASSTHRU_MSG& message) {
  return {message.Data + 4, message.Data + message.DataSize};
}

}  // namespace passbridge::test
