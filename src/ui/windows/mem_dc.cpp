#include "ui/windows/mem_dc.h"

namespace passbridge {

CMemDC::CMemDC(HDC target, SIZE size, const RECT& part)
    : target_(target),
      part_(part),
      dc_(::CreateCompatibleDC(target)),
      bitmap_(::CreateCompatibleBitmap(target, size.cx, size.cy)) {
  if (dc_ != nullptr && bitmap_) before_ = ::SelectObject(dc_, bitmap_.get());
  if (before_ == nullptr && dc_ != nullptr) {
    ::DeleteDC(dc_);
    dc_ = nullptr;
  }
}

CMemDC::~CMemDC() {
  if (dc_ == nullptr) return;
  ::BitBlt(target_, part_.left, part_.top, part_.right - part_.left, part_.bottom - part_.top, dc_,
           part_.left, part_.top, SRCCOPY);
  ::SelectObject(dc_, before_);
  ::DeleteDC(dc_);
}

}  // namespace passbridge
