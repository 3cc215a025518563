#ifndef PASSBRIDGE_UI_WINDOWS_EXPLORER_IMAGES_H_
#define PASSBRIDGE_UI_WINDOWS_EXPLORER_IMAGES_H_

#include "ui/windows/handles.h"

namespace passbridge {

/// Size of a picture at 96 pixels to an inch.
inline constexpr SIZE kImageSize{72, 112};

/// Image 0, the picture of a VCI, and the overlay images 1 to 10, as far as there are pictures:
/// Bitmaps\Main.bmp in the product's folder, the bitmaps of device-res.dll in that of its
/// libraries. For folders that the settings don't name stands this library's own.
/// @param dpi       pixels to an inch
/// @param mirrored  turns left and right round
Owned<HIMAGELIST> MakeExplorerImages(int dpi, bool mirrored);

/// Where the image list has the image of an overlay; negative for a number that is none. The list
/// need not reach so far.
int ImageOfOverlay(int overlay);

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_EXPLORER_IMAGES_H_
