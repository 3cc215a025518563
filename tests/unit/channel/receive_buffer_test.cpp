#include "channel/receive_buffer.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/scripted_pdu.h"

namespace passbridge {
namespace {

using test::ResultSpec;
using test::ScriptedPdu;

const std::vector<UNUM8> kBytes{0, 0, 7, 0xE8, 0x10, 1, 2, 3};

struct ReceiveBufferTest : testing::Test {
  Status Add(const ResultSpec& given, std::uint32_t protocolId = ISO15765) {
    const pdu::SharedEventItem item(pdu::Item<PDU_EVENT_ITEM>(pdu.Items().MakeResult(given)));
    const auto* const result = static_cast<const PDU_RESULT_DATA*>(item->pData);
    CJ2534PassThruMsg message;
    EXPECT_EQ(message.Initialize(protocolId, item, {result->pDataBytes, result->NumDataBytes}, 0),
              STATUS_NOERROR);
    return buffer.AddPassThruMsg(std::move(message));
  }

  Status Read() { return buffer.ReadPassThruMsg(AppMessage(out)); }

  /// RxStatus and size of every message up to the end.
  std::vector<std::pair<std::uint32_t, std::uint32_t>> ReadAll() {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> all;
    while (Read() == STATUS_NOERROR) all.emplace_back(out.rxStatus, out.dataSize);
    return all;
  }

  ScriptedPdu pdu;
  CJ2534ReceiveBuffer buffer;
  PassThruMsg out;
};

using Expected = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

TEST_F(ReceiveBufferTest, SplitsEachIndicationOff) {
  struct Case {
    const char* what;
    ResultSpec given;
    Expected messages;
  };
  for (const Case& c : std::vector<Case>{
           {"data", {.data = kBytes}, {{0, 8}}},
           {"loopback with TX_DONE: the indication first",
            {.data = kBytes, .rxFlags = {0, 0, 1, 9}},
            {{TX_MSG_TYPE | TX_DONE | CAN_29BIT_ID, 4}, {TX_MSG_TYPE | CAN_29BIT_ID, 8}}},
           {"TX_DONE of a message that is no loopback: only the indication",
            {.data = kBytes, .rxFlags = {0, 0, 0, 8}},
            {{TX_MSG_TYPE | TX_DONE, 4}}},
           {"first frame",
            {.rxFlags = {0, 0, 1, 0x82}, .header = {0, 0, 7, 0xE8, 0x10}},
            {{START_OF_MESSAGE | CAN_29BIT_ID | ISO15765_ADDR_TYPE, 5}}},
           {"break before start of message",
            {.rxFlags = {0, 0, 0, 6}, .header = {0, 0, 7, 0xE8}},
            {{RX_BREAK, 0}, {START_OF_MESSAGE, 4}}},
           {"data before its indications",
            {.data = kBytes, .rxFlags = {1, 5, 0, 0}},
            {{0, 8}, {RX_SPD_CHG_EVENT, 0}, {SW_CAN_HV_RX, 0}, {FT_ERROR, 0}}},
       }) {
    ASSERT_EQ(Add(c.given), STATUS_NOERROR);
    EXPECT_EQ(ReadAll(), c.messages) << c.what;
    EXPECT_EQ(pdu.Items().Alive(), 0U) << c.what;
  }
  EXPECT_EQ(pdu.Items().WrongDestroys(), 0U);
}

TEST_F(ReceiveBufferTest, EachIndicationOfAFrameHasItsOwnHeader) {
  ASSERT_EQ(Add({.data = kBytes, .rxFlags = {0, 0, 0, 0x0F}, .header = {1, 2, 3, 4, 5}}),
            STATUS_NOERROR);
  struct Piece {
    std::uint32_t rxStatus;
    std::vector<UNUM8> bytes;
  };
  for (const Piece& piece :
       {Piece{TX_MSG_TYPE | TX_DONE, {0, 0, 7, 0xE8}}, Piece{TX_MSG_TYPE, kBytes},
        Piece{RX_BREAK, {}}, Piece{START_OF_MESSAGE, {1, 2, 3, 4, 5}}}) {
    ASSERT_EQ(Read(), STATUS_NOERROR);
    EXPECT_EQ(out.rxStatus, piece.rxStatus);
    EXPECT_EQ(std::vector<UNUM8>(out.data.begin(), out.data.begin() + out.dataSize), piece.bytes);
  }
}

TEST_F(ReceiveBufferTest, MessagesBeyondTheCapacityAreDeliveredAsOverflow) {
  for (std::uint32_t i = 0; i < CJ2534ReceiveBuffer::kCapacity; ++i) Add({.data = kBytes});
  Add({.data = {0, 0, 1, 2, 0x55}});
  for (std::uint32_t i = 0; i < CJ2534ReceiveBuffer::kCapacity; ++i) {
    ASSERT_EQ(Read(), STATUS_NOERROR);
  }
  EXPECT_EQ(Read(), ERR_BUFFER_OVERFLOW);
  EXPECT_EQ(out.dataSize, 5U);
  EXPECT_EQ(out.data[4], 0x55);
  EXPECT_EQ(Read(), ERR_BUFFER_EMPTY);
  EXPECT_EQ(pdu.Items().Alive(), 0U);
}

TEST_F(ReceiveBufferTest, DeliversTheMessageWhoseItemCannotBeDestroyed) {
  struct Case {
    T_PDU_ERROR result;
    Status status;
  };
  for (const Case& c :
       {Case{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
        Case{PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID},
        Case{PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED}, Case{PDU_ERR_FCT_FAILED, ERR_FAILED}}) {
    Add({.data = kBytes});
    pdu.PDUDestroyItem.Next({c.result});
    out = {};
    EXPECT_EQ(Read(), c.status);
    EXPECT_EQ(out.dataSize, 8U);
    EXPECT_EQ(Read(), ERR_BUFFER_EMPTY);
  }
}

TEST_F(ReceiveBufferTest, ClearAndSuspensionGiveTheItemsBack) {
  Add({.data = kBytes});
  Add({.rxFlags = {0, 0, 0, 2}, .header = {0, 0, 7, 0xE8}});
  EXPECT_EQ(pdu.Items().Alive(), 2U);
  buffer.Clear();
  EXPECT_EQ(pdu.Items().Alive(), 0U);

  buffer.Suspend();
  EXPECT_EQ(Add({.data = kBytes}), STATUS_NOERROR);
  EXPECT_EQ(pdu.Items().Alive(), 0U);
  EXPECT_EQ(Read(), ERR_BUFFER_EMPTY);
  buffer.Resume();
  Add({.data = kBytes});
  EXPECT_EQ(Read(), STATUS_NOERROR);
}

}  // namespace
}  // namespace passbridge
