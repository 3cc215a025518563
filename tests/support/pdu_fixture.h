#ifndef PASSBRIDGE_SUPPORT_PDU_FIXTURE_H_
#define PASSBRIDGE_SUPPORT_PDU_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>

#include "support/scripted_pdu.h"
#include "trace/last_error.h"

namespace passbridge::test {

/// A test on a scripted D-PDU library whose identifiers are known; calls and last error are clear.
/// When the test and its members are gone, every item must have been given back, and once only.
class PduFixture : public testing::Test {
 protected:
  PduFixture();
  ~PduFixture() override;

  /// What PassThruGetLastError gives.
  static std::string LastErrorText();

  ScriptedPdu pdu;
  LastErrorRecord& record = LastErrorRecord::Instance();
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_SUPPORT_PDU_FIXTURE_H_
