#include "channel/cop.h"

namespace passbridge {

void CopControl::ExpectEveryResponse(UNUM32 numMaskPatternBytes) {
  constexpr UNUM32 kAcceptanceId = 0x2534;
  response_.AcceptanceId = kAcceptanceId;
  response_.NumMaskPatternBytes = numMaskPatternBytes;
  response_.pMaskData = &mask_;
  response_.pPatternData = &pattern_;
  data.NumPossibleExpectedResponses = 1;
  data.pExpectedResponseArray = &response_;
}

void CopControl::SetTemporarily(const TemporaryComParam& param) {
  data.TempParamUpdate = 1;
  temporary.push_back(param);
}

}  // namespace passbridge
