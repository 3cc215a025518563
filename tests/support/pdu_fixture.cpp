#include "support/pdu_fixture.h"

#include <array>

#include "j2534/cj2534.h"
#include "pdu/com_param.h"

namespace passbridge::test {

PduFixture::PduFixture() {
  pdu::ResolvePduObjectIds();
  pdu.Calls().Clear();
  record.SetLastStatus(STATUS_NOERROR);
}

PduFixture::~PduFixture() {
  EXPECT_EQ(pdu.Items().Alive(), 0U) << "every item is destroyed";
  EXPECT_EQ(pdu.Items().WrongDestroys(), 0U) << "and none of them twice";
}

std::string PduFixture::LastErrorText() {
  std::array<char, 80> text{};
  EXPECT_EQ(CJ2534::PassThruGetLastError(text.data()), STATUS_NOERROR);
  return text.data();
}

}  // namespace passbridge::test
