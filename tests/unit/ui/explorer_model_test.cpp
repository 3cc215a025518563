#include "ui/explorer_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "own_settings.h"
#include "platform/registry.h"
#include "support/scripted_pdu.h"

namespace passbridge {
namespace {

using platform::RegistryKey;
using platform::RegistryRoot;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Outcome = ExplorerModel::Outcome;

const std::string kProduct = "SOFTWARE\\QUARN\\QUARN_VCI\\";

/// The texts are their own numbers' names, so that none can stand in for another.
TextTable NamedTexts() {
  return {{158, "<default>"}, {160, "<usb>"},       {161, "<ethernet>"},    {162, "<wireless>"},
          {163, "<none>"},    {164, "<has> "},      {165, "<set>"},         {167, "<unknown>"},
          {168, "/"},         {172, "<sn>"},        {175, "<update YYYY>"}, {177, "<pc>"},
          {179, "\n"},        {180, "<preferred>"}, {189, "<bluetooth>"},   {190, "<local>"}};
}

struct ExplorerModelTest : testing::Test {
  ~ExplorerModelTest() override {
    EXPECT_EQ(pdu.Items().Alive(), 0U);
    EXPECT_EQ(pdu.Items().WrongDestroys(), 0U);
  }

  static void Write(const std::string& key, const char* name, std::uint32_t value) {
    EXPECT_TRUE(RegistryKey::Create(RegistryRoot::User, kProduct + key)->WriteDword(name, value));
  }
  static std::uint32_t Read(const std::string& key, const char* name) {
    const auto opened =
        RegistryKey::Open(RegistryRoot::User, kProduct + key, platform::RegistryAccess::Read);
    return opened ? opened->ReadDword(name).value_or(0xDEAD) : 0xDEAD;
  }
  static void WriteOrder(const std::vector<OrderEntry>& order) {
    for (std::size_t i = 0; i < order.size(); ++i) {
      const std::string key = "InterfaceTypeOrder\\InterfaceType0" + std::to_string(i);
      Write(key, "Number", order[i].number);
      Write(key, "Enabled", order[i].enabled);
    }
  }
  ExplorerModel Opened(std::vector<test::ModuleSpec> modules) {
    ExplorerModel model(ExplorerTexts(NamedTexts(), "<device>"));
    Refill(model, std::move(modules));
    return model;
  }
  void Refill(ExplorerModel& model, std::vector<test::ModuleSpec> modules) {
    pdu.SetModules(std::move(modules));
    model.Fill(AskForModules().value());
  }
  /// All items, "label|overlay".
  static std::vector<std::string> Shown(const ExplorerModel& model) {
    std::vector<std::string> shown;
    for (const ExplorerItem& item : model.Items()) {
      shown.push_back(item.label + "|" + std::to_string(static_cast<std::uint32_t>(item.overlay)));
    }
    return shown;
  }
  /// Of the menu, "number text" with "-" for disabled and "*" for checked.
  static std::vector<std::string> MenuOf(const ExplorerModel& model) {
    std::vector<std::string> shown;
    for (const ExplorerMenuItem& item : model.Menu()) {
      shown.push_back(std::to_string(static_cast<std::uint32_t>(item.command)) + " " + item.text +
                      (item.enabled ? "" : "-") + (item.checked ? "*" : ""));
    }
    return shown;
  }
  static std::string ResultOf(const ExplorerModel& model) {
    const VciChoice& result = model.Result();
    return std::to_string(result.moduleHandle) + " " + std::to_string(result.serialNumber) + " " +
           std::to_string(static_cast<std::uint32_t>(result.interfaceType));
  }

  test::OwnSettings settings;
  test::ScriptedPdu pdu;
};

TEST_F(ExplorerModelTest, ShowsOneItemForEachSerialNumber) {
  const ExplorerModel model = Opened({{7, "4712 Plus", "Wireless WifiSigQuality='2'"},
                                      {8, "4711", "Ethernet IPAddress='10.0.0.7'"},
                                      {9, "4711", "ConnectionType='USB'"},
                                      {10, "none", "USB WifiSigQuality='9'"},
                                      {11, "12", "USB", PDU_MODST_AVAIL, true},
                                      {12, "13", "USB", PDU_MODST_AVAIL, false, true},
                                      {13, "5", "carrier pigeon WifiSigQuality=''"}});
  EXPECT_THAT(Shown(model),
              ElementsAre("<unknown>\n<default>|0", "SN 5|0", "SN 4711|0", "SN 4712|6"));
  EXPECT_EQ(model.ToolTip(2), "<has> <usb>/<ethernet>");
  EXPECT_EQ(model.ToolTip(1), "<none>");
  EXPECT_EQ(model.ToolTip(4), "");
  EXPECT_EQ(model.RecordOf(2)->vci.HandleOn(InterfaceType::Ethernet), 8U);
}

TEST_F(ExplorerModelTest, EachVciHasItsOwnSignalQuality) {
  std::vector<test::ModuleSpec> modules;
  for (UNUM32 quality = 0; quality <= 5; ++quality) {
    modules.push_back({quality + 1, std::to_string(quality + 1),
                       "Wireless WifiSigQuality='" + std::to_string(quality) + "'"});
  }
  modules.push_back({9, "9", "Wireless WifiSigQuality='3'", PDU_MODST_NOT_AVAIL});
  EXPECT_THAT(Shown(Opened(modules)),
              ElementsAre("SN 1|8", "SN 2|7", "SN 3|6", "SN 4|5", "SN 5|4", "SN 6|0", "SN 9|2"));
}

TEST_F(ExplorerModelTest, TellsWhyAVciIsNotReady) {
  const struct {
    UNUM32 handle;
    UNUM32 extraInfo;
    T_PDU_ERROR result;
  } answers[] = {{1, 0xA4, PDU_STATUS_NOERROR},
                 {2, 0xA5, PDU_STATUS_NOERROR},
                 {3, 0xA6, PDU_STATUS_NOERROR},
                 {4, 0xA4, PDU_ERR_SHARING_VIOLATION}};
  pdu.PDUGetStatus.Does([&](UNUM32 hMod, UNUM32 hCll, UNUM32 hCop, T_PDU_STATUS*, UNUM32*,
                            UNUM32* extraInfo) -> T_PDU_ERROR {
    EXPECT_EQ(hCll, PDU_HANDLE_UNDEF);
    EXPECT_EQ(hCop, PDU_HANDLE_UNDEF);
    for (const auto& answer : answers) {
      if (answer.handle != hMod) continue;
      *extraInfo = answer.extraInfo;
      return answer.result;
    }
    ADD_FAILURE() << "asked about module " << hMod;
    return PDU_ERR_FCT_FAILED;
  });
  Write("DefaultDevice", "SerialNumber", 12);
  Write("PreferredDevices\\PreferredDevice00", "SerialNumber", 12);
  Write("PreferredDevices\\PreferredDevice01", "SerialNumber", 15);
  const ExplorerModel model = Opened({{1, "11", "USB", PDU_MODST_NOT_READY},
                                      {2, "12", "USB", PDU_MODST_NOT_READY},
                                      {3, "13", "USB", PDU_MODST_NOT_READY},
                                      {4, "14", "USB", PDU_MODST_NOT_READY},
                                      {5, "15", "USB", PDU_MODST_AVAIL},
                                      {6, "16", "USB", PDU_MODST_NOT_AVAIL},
                                      {2, "15", "Ethernet", PDU_MODST_NOT_READY}});
  EXPECT_THAT(Shown(model),
              ElementsAre("SN 11\n<pc>|2", "SN 12\n<update <device>>\n<default>\n<preferred>|2",
                          "SN 13|2", "SN 14|2", "SN 15\n<preferred>|0", "SN 16|2"))
      << "of several modules of a serial number the first one decides";
  EXPECT_EQ(model.ToolTip(1), "<has> <usb>/<default>");
}

TEST_F(ExplorerModelTest, AnEmptyListHasAPlaceholderOnceItIsFilled) {
  ExplorerModel model{ExplorerTexts()};
  EXPECT_THAT(model.Items(), IsEmpty());
  pdu.PDUGetModuleIds.Next({PDU_ERR_FCT_FAILED});
  EXPECT_FALSE(AskForModules());
  Refill(model, {});
  EXPECT_THAT(Shown(model), ElementsAre("|3"));
  model.Select(0);
  EXPECT_FALSE(model.CanConnect());
  EXPECT_EQ(model.ToolTip(0), "");
  EXPECT_THAT(model.Menu(), IsEmpty());
  EXPECT_EQ(model.Run(Command::SetAsDefault), Outcome::Stays);
  EXPECT_EQ(model.Run(Command::Connect), Outcome::Stays);
  EXPECT_EQ(Shown(model), std::vector<std::string>{"|3"});
  Refill(model, {{1, "0", "USB"}});
  EXPECT_EQ(model.Selected(), std::nullopt) << "a placeholder is no VCI without a serial number";
}

TEST_F(ExplorerModelTest, ConnectsOverTheFirstEnabledInterfaceThatIsOffered) {
  WriteOrder({{5, 0}, {3, 1}, {77, 1}, {2, 1}, {1, 1}});
  ExplorerModel model = Opened({{1, "11", "USB"},
                                {2, "11", "Ethernet"},
                                {3, "11", "Local"},
                                {4, "12", "Local"},
                                {5, "13", "USB", PDU_MODST_NOT_AVAIL}});
  EXPECT_EQ(model.Run(Command::Connect), Outcome::Stays) << "nothing is selected";
  model.Select(0);
  EXPECT_TRUE(model.CanConnect());
  EXPECT_THAT(MenuOf(model),
              ElementsAre("32781 <set>", "32776 <usb>", "32777 <wireless>-", "32778 <ethernet>*",
                          "32784 <bluetooth>-", "32785 <local>"));
  EXPECT_EQ(model.Run(Command::Connect), Outcome::Chosen);
  EXPECT_EQ(ResultOf(model), "2 11 2");
  EXPECT_EQ(model.Run(Command::ConnectLocal), Outcome::Chosen);
  EXPECT_EQ(ResultOf(model), "3 11 5");
  EXPECT_EQ(model.Run(Command::Cancel), Outcome::Cancelled);
  EXPECT_EQ(ResultOf(model), "0 0 0");
  EXPECT_EQ(model.Run(Command::ConnectWireless), Outcome::Stays);

  model.Select(1);
  EXPECT_TRUE(model.CanConnect());
  EXPECT_EQ(model.Run(Command::Connect), Outcome::Stays) << "Local is not enabled";
  EXPECT_THAT(MenuOf(model),
              ElementsAre("32781 <set>", "32776 <usb>-", "32777 <wireless>-", "32778 <ethernet>-",
                          "32784 <bluetooth>-", "32785 <local>"));
  model.Select(2);
  EXPECT_FALSE(model.CanConnect());
  EXPECT_THAT(model.Menu(), IsEmpty());
  EXPECT_EQ(model.Run(Command::ConnectUsb), Outcome::Stays) << "it is not available";
  model.Select(3);
  EXPECT_EQ(model.Selected(), std::nullopt);
  EXPECT_EQ(ResultOf(model), "0 0 0");
}

TEST_F(ExplorerModelTest, ARefillKeepsTheSelectedVciAndReadsTheSettings) {
  ExplorerModel model = Opened({{1, "11", "USB"}, {2, "12", "USB"}});
  model.Select(1);
  Write("DefaultDevice", "SerialNumber", 12);
  Refill(model, {{3, "10", "USB"}, {1, "11", "USB"}, {4, "12", "USB", PDU_MODST_NOT_AVAIL}});
  EXPECT_EQ(model.Selected(), 2U);
  EXPECT_FALSE(model.CanConnect());
  EXPECT_THAT(Shown(model), ElementsAre("SN 10|0", "SN 11|0", "SN 12\n<default>|2"));
  Refill(model, {{3, "10", "USB"}, {1, "11", "USB"}, {2, "13", "USB"}});
  EXPECT_EQ(model.Selected(), std::nullopt);
}

TEST_F(ExplorerModelTest, SetsTheDefaultDevice) {
  Write("DefaultDevice", "SerialNumber", 11);
  Write("DefaultDevice", "Version", 3);
  const std::vector<test::ModuleSpec> modules{{1, "11", "Wireless WifiSigQuality='4'"},
                                              {2, "12", "Wireless WifiSigQuality='1'"}};
  ExplorerModel model = Opened(modules);
  EXPECT_THAT(Shown(model), ElementsAre("SN 11\n<default>|4", "SN 12|7"));
  model.Select(1);
  EXPECT_EQ(model.Run(Command::SetAsDefault), Outcome::Stays);
  EXPECT_THAT(Shown(model), ElementsAre("SN 11\n<default>|0", "SN 12|1"));
  EXPECT_EQ(MenuOf(model).front(), "32781 <set>*");
  EXPECT_EQ(model.ToolTip(0), "<has> <wireless>");
  EXPECT_EQ(model.ToolTip(1), "<has> <wireless>/<default>");
  EXPECT_EQ(Read("DefaultDevice", "SerialNumber"), 12U);
  EXPECT_EQ(Read("DefaultDevice", "Version"), 3U) << "else newer defaults would replace the choice";
  model.Select(0);
  model.Run(Command::SetAsDefault);
  EXPECT_THAT(Shown(model), ElementsAre("SN 11\n<default>|1", "SN 12|0"));
  model.Run(Command::SetAsDefault);
  EXPECT_THAT(Shown(model), ElementsAre("SN 11\n<default>|1", "SN 12|0"));
  Refill(model, modules);
  EXPECT_THAT(Shown(model), ElementsAre("SN 11\n<default>|4", "SN 12|7"));
}

}  // namespace
}  // namespace passbridge
