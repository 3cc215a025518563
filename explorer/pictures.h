#ifndef PASSBRIDGE_EXPLORER_PICTURES_H_
#define PASSBRIDGE_EXPLORER_PICTURES_H_

#include <QIcon>
#include <QMap>
#include <QSize>

namespace passbridge::explorer {

/// The pictures of the list: a VCI, over which an overlay is drawn.
class Pictures {
 public:
  static constexpr QSize kSize{72, 112};

  /// For windows that are laid out from right to left, pictures are mirrored.
  void SetMirrored(bool mirrored);
  /// @param overlay  its number; one that there is no picture of shows the VCI alone
  const QIcon& IconOf(int overlay);

 private:
  QIcon Compose(int overlay) const;

  bool mirrored_ = false;
  QMap<int, QIcon> icons_;  // those made so far
};

}  // namespace passbridge::explorer

#endif  // PASSBRIDGE_EXPLORER_PICTURES_H_
