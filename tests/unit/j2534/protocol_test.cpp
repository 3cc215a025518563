#include "j2534/protocol.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "passbridge/j2534.h"

namespace passbridge::test {

namespace {

TEST(ProtocolTest, OpensWhatItCarriesOutAndTellsTheOthersApart) {
  for (const std::uint32_t id : {J1850VPW, SCI_B_TRANS, J1850VPW_PS, ISO9141_PS, GM_UART_PS,
                                 FT_CAN_PS, FT_ISO15765_PS, FGA7274, FT_FGA7274, UBP_PS}) {
    EXPECT_EQ(OpeningStatus(id), STATUS_NOERROR) << std::hex << id;
  }
  for (const std::uint32_t id :
       {J1850PWM_PS, UART_ECHO_BYTE_PS, HONDA_DIAGH_PS, CAN_CH1, CAN_CH128, J1850VPW_CH128,
        J1850PWM_CH1, ISO9141_CH1, ISO14230_CH128, ISO15765_CH1, SW_CAN_CAN_CH1,
        SW_CAN_ISO15765_CH128, J2610_CH128, 0xC000u, 0xC01Fu}) {
    EXPECT_EQ(OpeningStatus(id), ERR_NOT_SUPPORTED) << std::hex << id;
  }
  for (const std::uint32_t id : {0u, SCI_B_TRANS + 1, J1939_PS, TP2_0_PS, FT_ISO15765_PS + 1,
                                 J1850VPW_CH128 + 1, 0xBFFFu, 0xC020u, UBP_PS + 1}) {
    EXPECT_EQ(OpeningStatus(id), ERR_INVALID_PROTOCOL_ID) << std::hex << id;
  }
}

TEST(ProtocolTest, NamesItsResourceInTheDpduApi) {
  const struct {
    std::initializer_list<std::uint32_t> ids;
    const char* protocol;
    const char* busType;
  } rows[] = {
      {{J1850VPW, J1850VPW_PS}, "SAE_J2190_on_SAE_J1850_VPW", "SAE_J1850_VPW"},
      {{J1850PWM}, "SAE_J2190_on_SAE_J1850_PWM", "SAE_J1850_PWM"},
      {{ISO9141, ISO9141_PS}, "SAE_J2190_on_ISO_9141", "ISO_9141_2_UART"},
      {{ISO14230, ISO14230_PS}, "SAE_J2190_on_ISO_14230_2", "ISO_14230_1_UART"},
      {{CAN, CAN_PS}, "ISO_11898_RAW", "ISO_11898_2_DWCAN"},
      {{FT_CAN_PS}, "ISO_11898_RAW", "ISO_11898_3_DWFTCAN"},
      {{SW_CAN_PS}, "ISO_11898_RAW", "SAE_J2411_SWCAN"},
      {{ISO15765, ISO15765_PS, FGA7274}, "SAE_J2190_on_ISO_15765_2", "ISO_11898_2_DWCAN"},
      {{FT_ISO15765_PS, FT_FGA7274}, "SAE_J2190_on_ISO_15765_2", "ISO_11898_3_DWFTCAN"},
      {{SW_ISO15765_PS}, "SAE_J2190_on_ISO_15765_2", "SAE_J2411_SWCAN"},
      {{SCI_A_ENGINE, SCI_A_TRANS, SCI_B_ENGINE, SCI_B_TRANS, J2610_PS},
       "SAE_J2610_on_SAE_J2610_SCI",
       "SAE_J2610_UART"},
      {{GM_UART_PS}, "XDE_5024_on_XDE_5024_UART", "SAE_J2740_UART"},
      {{UBP_PS}, "UBP_on_UBP_UART", "UBP_UART"},
  };
  for (const auto& row : rows) {
    for (const std::uint32_t id : row.ids) {
      EXPECT_STREQ(PduProtocolName(id), row.protocol) << std::hex << id;
      EXPECT_STREQ(PduBusTypeName(id), row.busType) << std::hex << id;
    }
  }
}

TEST(ProtocolTest, ReportsConnectFlagsThatItDoesNotAdmit) {
  constexpr std::uint32_t kCan = CAN_29BIT_ID | CAN_ID_BOTH;
  constexpr std::uint32_t kKLine = ISO9141_NO_CHECKSUM | ISO9141_K_LINE_ONLY;
  const struct {
    std::initializer_list<ProtocolType> types;
    std::uint32_t flags;
    std::uint16_t exitPoint;
    const char* failure;
  } rows[] = {
      {{CAN, SW_CAN_PS}, kCan, 3, "A non-CAN Connection Flag(s) was set."},
      {{ISO15765, SW_ISO15765_PS, FGA7274}, kCan, 4, "A non-ISO15765 Connection Flag(s) was set."},
      {{ISO14230, UBP_PS}, kKLine | 1, 5, "A non-ISO14230 Connection Flag(s) was set."},
      {{ISO9141}, kKLine, 6, "A non-ISO9141 Connection Flag(s) was set."},
      {{J1850VPW, J1850PWM, SCI_A_ENGINE, GM_UART_PS},
       0,
       7,
       "The ProtocolID does not support Connection Flag(s)."},
  };
  for (const auto& row : rows) {
    for (const ProtocolType type : row.types) {
      const AdmittedFlags& admitted = AdmittedFlagsOf(type);
      EXPECT_EQ(admitted.flags, row.flags) << std::hex << type;
      EXPECT_EQ(admitted.exitPoint, row.exitPoint) << std::hex << type;
      EXPECT_STREQ(admitted.failure, row.failure) << std::hex << type;
    }
  }
}

TEST(ProtocolTest, ConnectingStartsTheCommunicationWhereNoIoctlDoes) {
  for (const ProtocolType type :
       {J1850VPW, J1850PWM, CAN, ISO15765, SCI_A_ENGINE, SW_CAN_PS, SW_ISO15765_PS, FGA7274}) {
    EXPECT_TRUE(StartsCommunication(type)) << std::hex << type;
  }
  for (const ProtocolType type : {ISO9141, ISO14230, GM_UART_PS, UBP_PS}) {
    EXPECT_FALSE(StartsCommunication(type)) << std::hex << type;
  }
}

TEST(ProtocolTest, WaitsForPinsOnlyWhereTheyAreSwitched) {
  for (const std::uint32_t id : {J1850VPW_PS, J1850PWM_PS, GM_UART_PS, FT_CAN_PS, FT_ISO15765_PS,
                                 FGA7274, FT_FGA7274, UBP_PS}) {
    EXPECT_TRUE(IsPinSwitched(id)) << std::hex << id;
  }
  for (const std::uint32_t id : {J1850VPW, CAN, SCI_B_TRANS, CAN_CH1, J2610_CH128, 0u}) {
    EXPECT_FALSE(IsPinSwitched(id)) << std::hex << id;
  }
}

TEST(ProtocolTest, SendsTogetherWhatTheProtocolCanTake) {
  const struct {
    std::initializer_list<std::uint32_t> ids;
    Sending sending;
  } rows[] = {
      {{CAN, CAN_PS, J1850PWM}, Sending::Packed},
      {{ISO15765, ISO15765_PS}, Sending::Batched},
      {{J1850VPW, FT_CAN_PS, SW_CAN_PS, FT_ISO15765_PS, SW_ISO15765_PS, FGA7274, ISO9141, 0u},
       Sending::OneByOne},
  };
  for (const auto& row : rows) {
    for (const std::uint32_t id : row.ids) EXPECT_EQ(SendingOf(id), row.sending) << std::hex << id;
  }
}

TEST(ProtocolTest, PairsIso15765ChannelsWithTheirRawFrames) {
  const struct {
    std::uint32_t channel, raw;
  } rows[] = {
      {ISO15765, CAN},
      {ISO15765_PS, CAN_PS},
      {SW_ISO15765_PS, SW_CAN_PS},
      {FT_ISO15765_PS, FT_CAN_PS},
      {FGA7274, CAN_PS},
      {FT_FGA7274, FT_CAN_PS},
      {ISO15765_CH1 + 3, CAN_CH1 + 3},
      {SW_CAN_ISO15765_CH128, SW_CAN_CAN_CH128},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(RawFrameProtocol(row.channel), row.raw) << std::hex << row.channel;
    EXPECT_TRUE(IsRawFrameOf(row.channel, row.raw)) << std::hex << row.channel;
    EXPECT_FALSE(IsRawFrameOf(row.channel, row.channel)) << std::hex << row.channel;
  }
  EXPECT_FALSE(IsRawFrameOf(ISO15765, CAN_PS));
  EXPECT_EQ(RawFrameProtocol(CAN), CAN);
  EXPECT_FALSE(IsRawFrameOf(CAN, CAN));

  for (const std::uint32_t id : {CAN, CAN_PS, SW_CAN_PS, FT_CAN_PS}) {
    EXPECT_TRUE(IsRawFrameProtocol(id)) << std::hex << id;
  }
  for (const std::uint32_t id : {0u, ISO15765, CAN_CH1, SW_CAN_CAN_CH1}) {
    EXPECT_FALSE(IsRawFrameProtocol(id)) << std::hex << id;
  }
}

}  // namespace

}  // namespace passbridge::test
