#include "explorer_fixture.h"

#include "platform/process_info.h"
#include "platform/registry.h"

namespace passbridge::test {

namespace {

using platform::RegistryKey;
using platform::RegistryRoot;

const std::string kProduct = "SOFTWARE\\QUARN\\QUARN_VCI\\";

}  // namespace

ExplorerFixture::ExplorerFixture() {
  EXPECT_EQ(vci.Configure(EXPLORER_SCENARIO, VVCI_CLOCK_INSTANT), T_PDU_ERROR{PDU_STATUS_NOERROR});
  WriteOrder("InterfaceTypeOrder\\InterfaceType", {1, 2, 3, 4, 5});
  WriteStrategies({kStrategyAsk});
  ::SetEnvironmentVariableW(L"PASSBRIDGE_LANGUAGE", L"en");
}

ExplorerFixture::~ExplorerFixture() {
  for (const UNUM32 each : {5001U, 5002U}) vci.SetPresent(each, 1);
  device = Open("J2534-2:SN='5001' CXN='USB'");
  Close();
}

void ExplorerFixture::WriteUser(const std::string& key, const char* value, std::uint32_t number) {
  auto opened = RegistryKey::Create(RegistryRoot::User, kProduct + key);
  EXPECT_TRUE(opened && opened->WriteDword(value, number)) << key;
}

std::uint32_t ExplorerFixture::ReadUser(const std::string& key, const char* value) {
  const auto opened =
      RegistryKey::Open(RegistryRoot::User, kProduct + key, platform::RegistryAccess::Read);
  return opened ? opened->ReadDword(value).value_or(0) : 0;
}

void ExplorerFixture::WriteOrder(const std::string& stem,
                                 const std::vector<std::uint32_t>& numbers) {
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const std::string key = stem + "0" + std::to_string(i);
    WriteUser(key, "Number", numbers[i]);
    WriteUser(key, "Enabled", 1);
  }
}

void ExplorerFixture::WriteStrategies(const std::vector<std::uint32_t>& numbers) {
  WriteOrder("AutoConnectionOrder\\Connection", numbers);
}

std::vector<std::uint32_t> ExplorerFixture::LastUsed() {
  const std::string key = "LastUsed\\PID_" + std::to_string(platform::CurrentProcessId());
  return {ReadUser(key, "SerialNumber"), ReadUser(key, "InterfaceType")};
}

bool ExplorerFixture::HasScreen() {
  const HDC dc = ::GetDC(nullptr);
  const bool has = ::GetDeviceCaps(dc, BITSPIXEL) > 0;
  ::ReleaseDC(nullptr, dc);
  return has;
}

PDU_MODULE_ITEM* ExplorerFixture::AskForList() {
  PDU_MODULE_ITEM* list = nullptr;
  const auto ask = vci.file.Function<FN_PDUGetModuleIds*>("PDUGetModuleIds");
  EXPECT_EQ(ask(&list), T_PDU_ERROR{PDU_STATUS_NOERROR});
  return list;
}

void ExplorerFixture::ExpectOpened(ExplorerDriver& dialog, std::uint32_t serialNumber,
                                   std::uint32_t interfaceType) {
  ASSERT_EQ(dialog.Result(), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(LastUsed(), (std::vector<std::uint32_t>{serialNumber, interfaceType}));
  device = dialog.Device();
  Close();
}

}  // namespace passbridge::test
