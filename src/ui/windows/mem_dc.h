#ifndef PASSBRIDGE_UI_WINDOWS_MEM_DC_H_
#define PASSBRIDGE_UI_WINDOWS_MEM_DC_H_

#include "ui/windows/handles.h"

namespace passbridge {

/// A device context in memory with the coordinates of another one, to which it is copied when it
/// goes: what is painted there is seen all at once.
class CMemDC {
 public:
  /// @param size  of the picture, which begins at 0, 0
  /// @param part  of it, which is copied
  CMemDC(HDC target, SIZE size, const RECT& part);
  CMemDC(const CMemDC&) = delete;
  CMemDC& operator=(const CMemDC&) = delete;
  ~CMemDC();

  /// The target itself if there is no memory.
  HDC Get() const { return dc_ != nullptr ? dc_ : target_; }

 private:
  const HDC target_;
  const RECT part_;
  HDC dc_ = nullptr;
  Owned<HBITMAP> bitmap_;
  HGDIOBJ before_ = nullptr;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_MEM_DC_H_
