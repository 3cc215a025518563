#include "j2534/cj2534.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

#include "passbridge/j2534.h"
#include "trace/last_error.h"

namespace passbridge {
namespace {

std::string ReadOut() {
  std::array<char, 81> text{};
  text.fill('#');
  EXPECT_EQ(CJ2534::PassThruGetLastError(text.data()), STATUS_NOERROR);
  EXPECT_EQ(text[80], '#') << "the caller's buffer has 80 characters";
  return text.data();
}

TEST(CJ2534Test, LastErrorIsWordedByItsStatus) {
  LastErrorRecord& record = LastErrorRecord::Instance();
  record.SetCodes(0x14080002, 0);
  record.SetText("(14060002:00000000) Unable to create a J2534 Device.\r\n");
  struct Case {
    Status status;
    std::string text;
  };
  for (const Case& c : {
           Case{STATUS_NOERROR, "Function call successful"},
           Case{ERR_INVALID_DEVICE_ID, "(14080002:00000000) Device ID invalid"},
           Case{ERR_FAILED, "(14060002:00000000) Unable to create a J2534 Device.\r\n"},
           Case{ERR_BUFFER_OVERFLOW,
                "(14080002:00000000) Indicates a buffer overflow occurred and messages were lost"},
           Case{0x1B, "UNKNOWN Error Code"},
       }) {
    record.SetLastStatus(c.status);
    EXPECT_EQ(ReadOut(), c.text);
    EXPECT_EQ(ReadOut(), c.text) << "reading changes nothing";
  }
  EXPECT_EQ(CJ2534::PassThruGetLastError(nullptr), ERR_NULL_PARAMETER);
  EXPECT_EQ(CJ2534::PassThruGetLastError(reinterpret_cast<char*>(8)), ERR_NULL_PARAMETER);
}

TEST(CJ2534Test, ClassifiesProtocols) {
  struct Case {
    std::uint32_t protocolId;
    ProtocolType type;
    const char* name;  // empty: none
  };
  for (const Case& c :
       {Case{0x05, 0x05, "CAN"}, Case{0x907F, 0x05, "CAN"}, Case{0x9560, 0x06, "ISO15765"},
        Case{0x9641, 0x07, "SCI_A_ENGINE"}, Case{0x8006, 0x07, "SCI_A_ENGINE"},
        Case{0x8007, 0x8007, ""}, Case{0x9480, 0x8008, ""}, Case{0x800F, 0x05, "CAN"},
        Case{0x10001, 0x10000, "FGA7274"}, Case{0x10002, 0x10002, "UBP_PS"}}) {
    ProtocolType type = 0;
    EXPECT_EQ(CJ2534::GetProtocolType(c.protocolId, &type), STATUS_NOERROR);
    EXPECT_EQ(type, c.type) << std::hex << c.protocolId;
    std::array<char, 13> name{};
    EXPECT_EQ(CJ2534::GetProtocolName(c.protocolId, name.data()),
              *c.name == '\0' ? ERR_INVALID_PROTOCOL_ID : STATUS_NOERROR);
    EXPECT_STREQ(name.data(), c.name);
  }
  for (const std::uint32_t unknown :
       {0U, 0x0BU, 0x800AU, 0x800EU, 0x8011U, 0x9100U, 0x91E0U, 0x96C0U, 0x10003U}) {
    ProtocolType type = 0;
    EXPECT_EQ(CJ2534::GetProtocolType(unknown, &type), ERR_INVALID_PROTOCOL_ID) << unknown;
    EXPECT_EQ(type, unknown);
  }
}

TEST(CJ2534Test, ValidatesPointersWithoutTouchingThem) {
  std::uint32_t word = 5;
  EXPECT_EQ(CJ2534::ValidatePointer(&word), STATUS_NOERROR);
  EXPECT_EQ(CJ2534::ValidatePointer(nullptr), ERR_NULL_PARAMETER);
  EXPECT_EQ(CJ2534::ValidatePointer(reinterpret_cast<void*>(8)), ERR_NULL_PARAMETER);
  EXPECT_EQ(CJ2534::ValidatePointer(AppValue(word)), STATUS_NOERROR);
  static const std::uint32_t kConstant = 5;
  EXPECT_EQ(
      CJ2534::ValidatePointer(AppValue(const_cast<std::uint32_t*>(&kConstant), FieldWidth::k32)),
      ERR_NULL_PARAMETER);
  EXPECT_EQ(word, 5U);
}

}  // namespace
}  // namespace passbridge
