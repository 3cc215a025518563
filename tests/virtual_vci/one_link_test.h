/// \file
/// What the tests of single protocols share: VCI 4711, connected, and one link at a time.
#ifndef TESTS_VIRTUAL_VCI_ONE_LINK_TEST_H_
#define TESTS_VIRTUAL_VCI_ONE_LINK_TEST_H_

#include <memory>
#include <vector>

#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {

class OneLinkTest : public PduTest {
 protected:
  using PduTest::PduTest;
  void SetUp() override {
    PduTest::SetUp();
    module_ = Connect();
  }
  void TearDown() override {
    link_.reset();
    PduTest::TearDown();
  }
  /// Instead of the link before.
  void Use(const TestLink::Setup& setup) {
    link_.reset();
    link_ = std::make_unique<TestLink>(library_, module_, setup);
    ASSERT_EQ(link_->Created(), PDU_STATUS_NOERROR);
    link_->Open();
  }
  void SetNumber(const char* comParam, UNUM32 value) {
    link_->Set(comParam, value);
    link_->Update();
  }
  /// Messages until none comes for so long.
  static std::vector<Bytes> Heard(TestLink& link, milliseconds patience = milliseconds(50)) {
    std::vector<Bytes> messages;
    while (const auto result = link.AwaitResult(patience)) messages.push_back(result->data);
    return messages;
  }
  std::vector<Bytes> Heard(milliseconds patience = milliseconds(50)) {
    return Heard(*link_, patience);
  }
  void Break(const char* ecu, UNUM32 fault) {
    EXPECT_EQ(library_.VirtualVciSetEcuFault(module_, ecu, fault), PDU_STATUS_NOERROR);
  }

  UNUM32 module_ = 0;
  std::unique_ptr<TestLink> link_;
};

}  // namespace virtual_vci_test

#endif  // TESTS_VIRTUAL_VCI_ONE_LINK_TEST_H_
